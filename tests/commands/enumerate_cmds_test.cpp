#include "symbols/enumerate_cmds.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/command_session.h"

namespace {

using Lines = std::vector<std::string>;

const std::string moduleHead =
    "Module name:                     Start:               End:                Entry:                ";
const std::string unitHead =
    "Compiation Unit:                          Start:               End:               ";
const std::string functionHead =
    "Function:                                 Start:               End:               ";

/// The line of a unit or function, from its number and the name's column on.
std::string Line(const ktObject *object, const std::string &column, const std::string &rest) {
    std::string number = std::to_string(object->GetId());
    return std::string(number.size() < 8 ? 8 - number.size() : 0, '0') + number + " " + column + " " + rest;
}

std::string Padded(const std::string &name) { return name + std::string(32 - name.size(), ' '); }

class EnumerateCmds : public testing::Test {
protected:
    /// `kernel` with units `main.c` and `data.c`, the latter without code, and `user` with one unit.
    void AddSymbols() {
        kernel = target.builder.AddModule("kernel", 0x100000, 0x10000);
        kernel->entry = 0x101000;
        mainUnit = target.builder.AddUnit(kernel, "main.c");
        start = target.builder.AddFunction(mainUnit, "start", {{0x101000, 0x100}, {0x103000, 0x20}});
        declared = target.builder.AddFunction(mainUnit, "declared", {});
        dataUnit = target.builder.AddUnit(kernel, "data.c");
        target.builder.Publish(*target.space, kernel);
        user = target.builder.AddModule("user", 0x200000, 0x10000);
        user->offset = 0x1000;
        userUnit = target.builder.AddUnit(user, "exec.c");
        exec = target.builder.AddFunction(userUnit, "exec", {{0x200100, 0x10}});
        target.builder.Publish(*target.space, user);
    }
    /// Lists one function of that name; the line from behind the number on.
    std::string ListedAs(const std::string &name) {
        ktCommandSession session;
        ktModule *module = session.builder.AddModule("m", 0x1000, 0x1000);
        session.builder.AddFunction(session.builder.AddUnit(module, "u"), name.c_str(), {{0x1000, 1}});
        session.builder.Publish(*session.space, module);
        EXPECT_EQ(session.Run(efn, {"m!u"}), ktCmdOk);
        return session.output.lines.at(1).substr(9);
    }
    const Lines &Output() const { return target.output.lines; }

    const std::string noCode = "No code contribution";
    const std::string mainRange = "0x0000000000101000 - 0x0000000000103020";
    const std::string execRange = "0x0000000000200100 - 0x0000000000200110";
    const std::string listedRange = " 0x0000000000001000 - 0x0000000000001001";

    ktCommandSession target;
    ktEmCmd em;
    ktEcuCmd ecu;
    ktEfnCmd efn;
    ktModule *kernel = nullptr, *user = nullptr;
    ktCompUnit *mainUnit = nullptr, *dataUnit = nullptr, *userUnit = nullptr;
    ktFunction *start = nullptr, *declared = nullptr, *exec = nullptr;
};

TEST_F(EnumerateCmds, NoSpaceListIsStatus8) {
    target.session.spaces.reset();
    EXPECT_EQ(target.Run(em, {}), ktCmdNoSpaces);
    EXPECT_EQ(target.Run(ecu, {"*"}), ktCmdNoSpaces);
    EXPECT_EQ(target.Run(efn, {"*!*"}), ktCmdNoSpaces);
    for (ktCmd *command :
         {static_cast<ktCmd *>(&em), static_cast<ktCmd *>(&ecu), static_cast<ktCmd *>(&efn)}) {
        command->SetCmdContext({});
        EXPECT_EQ(command->Execute(nullptr, 0), ktCmdNoSpaces);
    }
}

TEST_F(EnumerateCmds, NoCurrentSpaceHasNoModules) {
    AddSymbols();
    target.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(target.Run(em, {}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{moduleHead});
    EXPECT_EQ(target.Run(ecu, {"*"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(efn, {"*!*"}), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(EnumerateCmds, ReleasedTextsFindNothing) {
    AddSymbols();
    target.Run(ecu, {"*"});
    target.Run(efn, {"*!*"});
    target.output.lines.clear();
    ktCmdArg released[1] = {};
    EXPECT_EQ(ecu.Execute(released, 1), ktCmdNotFound);
    EXPECT_EQ(efn.Execute(released, 1), ktCmdNotFound);
    EXPECT_EQ(ecu.Execute(nullptr, 0), ktCmdNotFound);
    EXPECT_EQ(efn.Execute(nullptr, 0), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(EnumerateCmds, ModulesAreListedUpToTheirLastByte) {
    EXPECT_EQ(target.Run(em, {}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{moduleHead});
    AddSymbols();
    EXPECT_EQ(target.Run(em, {}), ktCmdOk);
    EXPECT_EQ(
        Output(),
        (Lines{moduleHead, Padded("kernel") + " 0x0000000000100000 - 0x000000000010FFFF  0x0000000000101000",
               Padded("user") + " 0x0000000000201000 - 0x0000000000210FFF  0x0000000000000000"}));
}

TEST_F(EnumerateCmds, EndOfAnEmptyModuleIsInFrontOfItsStart) {
    target.builder.Publish(*target.space, target.builder.AddModule("empty", 0, 0));
    EXPECT_EQ(target.Run(em, {}), ktCmdOk);
    EXPECT_EQ(Output().at(1),
              Padded("empty") + " 0x0000000000000000 - 0xFFFFFFFFFFFFFFFF  0x0000000000000000");
}

TEST_F(EnumerateCmds, UnitsOfOneModuleAreListedUpToBehindTheirLastByte) {
    AddSymbols();
    EXPECT_EQ(target.Run(ecu, {"kernel"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{unitHead, Line(mainUnit, Padded("main.c"), mainRange),
                               Line(dataUnit, Padded("data.c"), noCode)}));
}

TEST_F(EnumerateCmds, WildcardListsEveryUnitOfEveryModuleUnderOneHeader) {
    AddSymbols();
    EXPECT_EQ(target.Run(ecu, {"*"}), ktCmdOk);
    EXPECT_EQ(Output(),
              (Lines{unitHead, Line(mainUnit, Padded("main.c"), mainRange),
                     Line(dataUnit, Padded("data.c"), noCode), Line(userUnit, Padded("exec.c"), execRange)}));
}

TEST_F(EnumerateCmds, UnknownModulesAreStatus10) {
    EXPECT_EQ(target.Run(ecu, {"*"}), ktCmdNotFound);
    AddSymbols();
    for (const char *name : {"nosuch", "KERNEL", "kernel!main.c"})
        EXPECT_EQ(target.Run(ecu, {name}), ktCmdNotFound) << name;
    EXPECT_TRUE(Output().empty());
}

TEST_F(EnumerateCmds, NamelessUnitShowsItsDefaultName) {
    ktModule *module = target.builder.AddModule("m", 0, 0x1000);
    ktCompUnit *unit = target.builder.AddUnit(module, nullptr);
    target.builder.Publish(*target.space, module);
    EXPECT_EQ(target.Run(ecu, {"m"}), ktCmdOk);
    EXPECT_EQ(Output().at(1), Line(unit, Padded("cu_2"), noCode));
}

TEST_F(EnumerateCmds, FunctionsOfOneUnitAreListed) {
    AddSymbols();
    EXPECT_EQ(target.Run(efn, {"kernel!main.c"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{functionHead, Line(start, Padded("start"), mainRange),
                               Line(declared, Padded("declared"), noCode)}));
    EXPECT_EQ(target.Run(efn, {"kernel!data.c"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{functionHead});
}

TEST_F(EnumerateCmds, FunctionsOfAllUnitsOfAModuleAreListed) {
    AddSymbols();
    EXPECT_EQ(target.Run(efn, {"kernel"}), ktCmdNotFound); // a unit has to be asked for
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(target.Run(efn, {"kernel!*"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{functionHead, Line(start, Padded("start"), mainRange),
                               Line(declared, Padded("declared"), noCode)}));
    EXPECT_EQ(target.Run(efn, {"*!*"}), ktCmdOk);
    EXPECT_EQ(Output().size(), 4u);
    EXPECT_EQ(Output().back(), Line(exec, Padded("exec"), execRange));
}

TEST_F(EnumerateCmds, UnknownUnitsAreStatus10) {
    AddSymbols();
    for (const char *name : {"kernel!nosuch", "nosuch!*", "kernel!", "!main.c"})
        EXPECT_EQ(target.Run(efn, {name}), ktCmdNotFound) << name;
    EXPECT_TRUE(Output().empty());
}

TEST_F(EnumerateCmds, NumbersAreDecimalAndMayBeLong) {
    target.builder.factory.nextId = 123456788;
    ktModule *module = target.builder.AddModule("m", 0, 0x1000);
    target.builder.AddUnit(module, nullptr);
    target.builder.Publish(*target.space, module);
    EXPECT_EQ(target.Run(ecu, {"m"}), ktCmdOk);
    EXPECT_EQ(Output().at(1), "123456790 " + Padded("cu_75BCD16") + " " + noCode);
}

TEST_F(EnumerateCmds, NamesAreFilledUpTo32Characters) {
    EXPECT_EQ(ListedAs(""), Padded("") + listedRange);
    EXPECT_EQ(ListedAs(std::string(30, 'x')), std::string(30, 'x') + "  " + listedRange);
    EXPECT_EQ(ListedAs(std::string(31, 'x')), std::string(31, 'x') + " " + listedRange);
}

TEST_F(EnumerateCmds, NamesOf32CharactersAndMoreAreCutTo31WithoutABlank) {
    EXPECT_EQ(ListedAs(std::string(32, 'x')), std::string(31, 'x') + listedRange);
    EXPECT_EQ(ListedAs(std::string(33, 'x')), std::string(31, 'x') + listedRange);
    EXPECT_EQ(ListedAs(std::string(100000, 'x')), std::string(31, 'x') + listedRange);
}

TEST_F(EnumerateCmds, PercentSignsInNamesActAsConversions) {
    EXPECT_EQ(ListedAs("operator%"), Padded("operator%") + listedRange);
    EXPECT_EQ(ListedAs("f<%d%u>"), "f<00>" + listedRange); // shorter than the name: not filled up
    EXPECT_EQ(ListedAs("a%%b"), "a%b" + listedRange);
    EXPECT_EQ(ListedAs("%n%s"), listedRange);
    EXPECT_EQ(ListedAs("[%9d]"),
              Padded("[    ") + listedRange); // longer: filled up from the name's length on
    EXPECT_EQ(ListedAs("%9999999999d"), Padded("") + listedRange);
    EXPECT_EQ(ListedAs("%1000d" + std::string(26, 'x')), std::string(31, ' ') + listedRange);
    EXPECT_EQ(ListedAs(std::string(16, 'x') + std::string(20, '%')),
              std::string(16, 'x') + std::string(10, '%') + listedRange);
}

TEST_F(EnumerateCmds, PercentSignsInNamesOfUnitsAndModulesActAsConversions) {
    ktModule *module = target.builder.AddModule("%04d%s", 0, 0x1000);
    ktCompUnit *unit = target.builder.AddUnit(module, "%x.c");
    target.builder.Publish(*target.space, module);
    EXPECT_EQ(target.Run(em, {}), ktCmdOk);
    EXPECT_EQ(Output().at(1), "0000 0x0000000000000000 - 0x0000000000000FFF  0x0000000000000000");
    EXPECT_EQ(target.Run(ecu, {"%04d%s"}), ktCmdOk);
    EXPECT_EQ(Output().at(1), Line(unit, "0.c", noCode));
}

} // namespace
