#include "symbols/location_cmds.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/command_session.h"
#include "support/fixed_rows.h"

namespace {

using Lines = std::vector<std::string>;

class LocationCmds : public testing::Test {
protected:
    /// Two modules; the second one's only unit has lines.
    void AddSymbols() {
        kernel = target.builder.AddModule("kernel", 0x100000, 0x10000);
        mainUnit = target.builder.AddUnit(kernel, "Main.c");
        target.builder.AddInlined(mainUnit, "inner", {{0x101010, 0x10}});
        target.builder.AddFunction(mainUnit, "start", {{0x101000, 0x100}});
        target.builder.AddFunction(mainUnit, "main", {{0x101100, 0x100}});
        target.builder.AddType(mainUnit, "point");
        target.builder.Publish(*target.space, kernel);
        user = target.builder.AddModule("user", 0x200000, 0x10000);
        userUnit = target.builder.AddUnit(user, "ExecByte.c");
        target.builder.AddFunction(userUnit, "main", {{0x200100, 0x10}});
        target.builder.AddFunction(userUnit, "ExecSuperByteHere", {{0x200110, 0x10}});
        target.builder.Publish(*target.space, user);
    }
    /// Files 1 and 2 in directories 0 and 1; file 3 without a name; rows for them and for file 99.
    void AddUserLines() {
        ktLineInfo &info = userUnit->lines;
        info.compDir.Assign("/build");
        ktLineTable table;
        table.directories.resize(2);
        table.directories[1].Assign("/include");
        table.files.resize(4);
        table.files[1].Assign("exec.c");
        table.files[2].Assign("byte.h");
        table.fileDirs = {0, 0, 1, 7};
        const std::vector<ktLineRecord> rows = {{0x200100, 9, 1},  {0x200104, 41, 2},
                                                {0x200104, 77, 1}, {0x200108, 3, 99},
                                                {0x20010A, 5, 3},  {0x20010C, ~uint64_t(0), 1}};
        AddLines(info, std::move(table), rows);
    }
    const Lines &Output() const { return target.output.lines; }

    ktCommandSession target;
    ktXlCmd xl;
    ktXaCmd xa;
    ktSlCmd sl;
    ktModule *kernel = nullptr, *user = nullptr;
    ktCompUnit *mainUnit = nullptr, *userUnit = nullptr;
};

TEST_F(LocationCmds, NoSpaceListIsStatus8) {
    target.session.spaces.reset();
    EXPECT_EQ(target.Run(xl, {"kernel"}), ktCmdNoSpaces);
    EXPECT_EQ(target.Run(xa, {"101000"}), ktCmdNoSpaces);
    EXPECT_EQ(target.Run(sl, {"main"}), ktCmdNoSpaces);
    for (ktCmd *command : {static_cast<ktCmd *>(&xl), static_cast<ktCmd *>(&xa), static_cast<ktCmd *>(&sl)}) {
        command->SetCmdContext({});
        EXPECT_EQ(command->Execute(nullptr, 0), ktCmdNoSpaces);
    }
}

TEST_F(LocationCmds, NoCurrentSpaceFindsNothing) {
    target.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(target.Run(xl, {"kernel"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(xa, {"101000"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(sl, {"main"}), ktCmdNotFound);
}

TEST_F(LocationCmds, NoModuleFindsNothing) {
    EXPECT_EQ(target.Run(xl, {"*"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(xa, {"0"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(sl, {"a"}), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(LocationCmds, ReleasedTextsFindNothing) {
    AddSymbols();
    target.Run(xl, {"kernel"});
    target.Run(sl, {"main"});
    target.output.lines.clear();
    ktCmdArg args[2] = {{ktArgLocation, nullptr, 0, nullptr}, {ktArgString, nullptr, 0, nullptr}};
    EXPECT_EQ(xl.Execute(args, 1), ktCmdNotFound);
    EXPECT_EQ(sl.Execute(args, 2), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(LocationCmds, XlOfOneResultGivesItsAddress) {
    AddSymbols();
    EXPECT_EQ(target.Run(xl, {"kernel"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Address: 0000000000100000"});
    EXPECT_EQ(target.Run(xl, {"kernel!Main.c|start"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Address: 0000000000101000"});
    EXPECT_EQ(target.Run(xl, {"kernel!Main.c|start+0x10"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Address: 0000000000101000"});
}

TEST_F(LocationCmds, XlOfSeveralResultsListsThemInTheMaskOfTheText) {
    AddSymbols();
    EXPECT_EQ(target.Run(xl, {"*!*|main"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "Address: 0000000000101100 (kernel!Main.c|main)",
                               "Address: 0000000000200100 (user!ExecByte.c|main)"}));
    EXPECT_EQ(target.Run(xl, {"*"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "Address: 0000000000100000 (kernel)",
                               "Address: 0000000000200000 (user)"}));
    EXPECT_EQ(target.Run(xl, {"*!*"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "Address: 0000000000101000 (kernel!Main.c)",
                               "Address: 0000000000200100 (user!ExecByte.c)"}));
    EXPECT_EQ(target.Run(xl, {"kernel!Main.c|start#point"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "Address: 0000000000101000 (kernel!Main.c|start)",
                               "Address: 0000000000101000 (kernel!Main.c|start#point)"}));
}

TEST_F(LocationCmds, XlWithABarAndNoUnitFindsTheModule) {
    AddSymbols();
    EXPECT_EQ(target.Run(xl, {"kernel|nosuch"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Address: 0000000000100000"});
}

TEST_F(LocationCmds, XlOfUnknownPartsIsStatus10) {
    AddSymbols();
    for (const char *text : {"nosuch", "Kernel", "kernel!nosuch", "kernel!Main.c|nosuch",
                             "kernel!Main.c#nosuch", "kernel|main!Main.c", "!", "|", ""}) {
        EXPECT_EQ(target.Run(xl, {text}), ktCmdNotFound) << text;
        EXPECT_TRUE(Output().empty()) << text;
    }
}

TEST_F(LocationCmds, XaNamesThePlace) {
    AddSymbols();
    EXPECT_EQ(target.Run(xa, {"1011FF"}), ktCmdOk); // the last byte
    EXPECT_EQ(Output(), (Lines{"Address location:", "kernel!Main.c|main+0xff"}));
    EXPECT_EQ(target.Run(xa, {"0x101200"}), ktCmdOk); // the byte behind: only the module
    EXPECT_EQ(Output(), (Lines{"Address location:", "kernel+0x1200"}));
    EXPECT_EQ(target.Run(xa, {"300000"}), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(LocationCmds, XaShowsTheWholeInlineStack) {
    AddSymbols();
    EXPECT_EQ(target.Run(xa, {"101018"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "kernel!Main.c|inner+0x8",
                               "Address location:", "kernel!Main.c|start+0x18"}));
}

TEST_F(LocationCmds, XaShowsTheFirstRowOfExactlyThisAddress) {
    AddSymbols();
    AddUserLines();
    EXPECT_EQ(target.Run(xa, {"200104"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "user!ExecByte.c|main+0x4", "Source file path:", "byte.h",
                               "Source directory path:", "/include", "Line: 41"}));
    EXPECT_EQ(target.Run(xa, {"200105"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "user!ExecByte.c|main+0x5"}));
}

TEST_F(LocationCmds, XaTakesDirectory0FromTheBuildDirectory) {
    AddSymbols();
    AddUserLines();
    EXPECT_EQ(target.Run(xa, {"200100"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "user!ExecByte.c|main", "Source file path:", "exec.c",
                               "Source directory path:", "/build", "Line: 9"}));
}

TEST_F(LocationCmds, XaNeedsAFileNumberOfTheTable) {
    AddSymbols();
    AddUserLines();
    EXPECT_EQ(target.Run(xa, {"200108"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "user!ExecByte.c|main+0x8"}));
}

TEST_F(LocationCmds, XaPassesOverTextsThatAreMissing) {
    AddSymbols();
    AddUserLines();
    EXPECT_EQ(target.Run(xa, {"20010A"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address location:", "user!ExecByte.c|main+0xa", "Line: 5"}));
}

TEST_F(LocationCmds, XaPrintsTheLineAsASignedNumber) {
    AddSymbols();
    AddUserLines();
    EXPECT_EQ(target.Run(xa, {"20010C"}), ktCmdOk);
    EXPECT_EQ(Output().back(), "Line: -1");
}

TEST_F(LocationCmds, SlFindsTextsInAnyCaseAndOrder) {
    AddSymbols();
    const Lines found = {"Address: 0000000000200100 (user!ExecByte.c|main)",
                         "Address: 0000000000200110 (user!ExecByte.c|ExecSuperByteHere)"};
    EXPECT_EQ(target.Run(sl, {"exec", "byte"}), ktCmdOk);
    EXPECT_EQ(Output(), found);
    EXPECT_EQ(target.Run(sl, {"EXEC", "byte"}), ktCmdOk);
    EXPECT_EQ(Output(), found);
    EXPECT_EQ(target.Run(sl, {"byte", "exec"}), ktCmdOk);
    EXPECT_EQ(Output(), found);
    EXPECT_EQ(target.Run(sl, {"exec", "byte", "super", "USER!"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{found[1]});
}

TEST_F(LocationCmds, SlPrintsEveryFunctionInOrder) {
    AddSymbols();
    EXPECT_EQ(target.Run(sl, {"|"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Address: 0000000000101010 (kernel!Main.c|inner)",
                               "Address: 0000000000101000 (kernel!Main.c|start)",
                               "Address: 0000000000101100 (kernel!Main.c|main)",
                               "Address: 0000000000200100 (user!ExecByte.c|main)",
                               "Address: 0000000000200110 (user!ExecByte.c|ExecSuperByteHere)"}));
}

TEST_F(LocationCmds, SlKnowsNoWildcards) {
    AddSymbols();
    EXPECT_EQ(target.Run(sl, {"*"}), ktCmdNotFound);
    EXPECT_EQ(target.Run(sl, {"exec*byte"}), ktCmdNotFound);
}

TEST_F(LocationCmds, SlNeedsEveryTextToMatch) {
    AddSymbols();
    EXPECT_EQ(target.Run(sl, {"main", "start"}), ktCmdOk); // Main.c|start
    EXPECT_EQ(Output(), Lines{"Address: 0000000000101000 (kernel!Main.c|start)"});
    EXPECT_EQ(target.Run(sl, {"main", "nosuch"}), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
}

TEST_F(LocationCmds, DeclareTheirArguments) {
    EXPECT_STREQ(xl.GetName(), "xl");
    EXPECT_STREQ(xa.GetName(), "xa");
    EXPECT_STREQ(sl.GetName(), "sl");
    EXPECT_EQ(xl.GetArgType(0), ktArgLocation);
    EXPECT_EQ(xa.GetArgType(0), ktArgAddress);
    EXPECT_EQ(sl.GetMaxArgs(), 4u);
    EXPECT_TRUE(xl.IsSynchronous() && xa.IsSynchronous() && sl.IsSynchronous());
}

} // namespace
