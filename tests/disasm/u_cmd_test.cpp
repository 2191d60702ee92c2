#include "disasm/u_cmd.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "disasm/xed_disasm.h"
#include "support/command_session.h"
#include "support/fixed_rows.h"
#include "support/temp_folder.h"

namespace {

using Lines = std::vector<std::string>;

class UCmd : public testing::Test {
protected:
    UCmd() {
        auto made = std::make_unique<ktXedDisasm>();
        disasm = made.get();
        target.session.disasm = std::move(made);
        target.Write(0x101000, std::vector<uint8_t>(0x2000, 0x90));
    }
    ~UCmd() override { disasm->SetSpace(nullptr); }

    /// first: 3 bytes at 101000, second: 2 at 101003, and no function from 101005 on.
    void AddSymbols() {
        ktModule *module = target.builder.AddModule("kernel", 0x100000, 0x10000);
        ktCompUnit *unit = target.builder.AddUnit(module, "main.c");
        first = target.builder.AddFunction(unit, "first", {{0x101000, 3}});
        second = target.builder.AddFunction(unit, "second", {{0x101003, 2}});
        target.builder.Publish(*target.space, module);
    }
    uint32_t Run(std::vector<std::string> words) { return target.Run(command, std::move(words)); }
    const Lines &Output() const { return target.output.lines; }
    static std::string Nop(const char *address) { return std::string(address) + ": 90                nop"; }

    ktCommandSession target;
    ktXedDisasm *disasm;
    ktUCmd command;
    ktFunction *first = nullptr, *second = nullptr;
};

TEST_F(UCmd, TwelveLinesWithoutACount) {
    EXPECT_EQ(Run({"101000"}), ktCmdOk);
    ASSERT_EQ(Output().size(), 12u);
    EXPECT_EQ(Output().front(), Nop("0000000000101000"));
    EXPECT_EQ(Output().back(), Nop("000000000010100B"));
}

TEST_F(UCmd, CountIsDecimal) {
    EXPECT_EQ(Run({"101000", "10"}), ktCmdOk);
    EXPECT_EQ(Output().size(), 10u);
}

TEST_F(UCmd, CountZeroPrintsNothing) {
    EXPECT_EQ(Run({"101000", "0"}), ktCmdOk);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(Run({"5000", "0"}), ktCmdOk); // not even a read
    AddSymbols();
    EXPECT_EQ(Run({"kernel!main.c|first", "0"}), ktCmdOk);
    EXPECT_TRUE(Output().empty());
}

TEST_F(UCmd, UnreadableAddressFailsWithoutALine) {
    EXPECT_EQ(Run({"5000"}), ktCmdReadFailed);
    EXPECT_TRUE(Output().empty());
}

TEST_F(UCmd, FailedReadKeepsTheLinesSoFar) {
    EXPECT_EQ(Run({"102FFE"}), ktCmdReadFailed);
    EXPECT_EQ(Output(), (Lines{Nop("0000000000102FFE"), Nop("0000000000102FFF")}));
}

TEST_F(UCmd, InstructionCutByTheEndOfMemoryDoesNotDecode) {
    target.Write(0x102FFE, {0x48, 0xB8});
    EXPECT_EQ(Run({"102FFE"}), ktCmdReadFailed);
    EXPECT_EQ(Output(),
              (Lines{"0000000000102FFE:                   ???", "0000000000102FFF:                   ???"}));
}

TEST_F(UCmd, NoSpaceListNoSpaceNoDisasm) {
    target.session.disasm.reset();
    EXPECT_EQ(Run({"101000"}), ktCmdNoDisasm);
    target.session.disasm = std::make_unique<ktXedDisasm>();
    disasm = static_cast<ktXedDisasm *>(target.session.disasm.get());
    target.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(Run({"101000"}), ktCmdReadFailed);
    target.session.spaces.reset();
    EXPECT_EQ(Run({"101000"}), ktCmdNoSpaces);
    EXPECT_TRUE(Output().empty());
}

TEST_F(UCmd, NoSessionAtAll) {
    command.SetCmdContext({});
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdNoSpaces);
}

TEST_F(UCmd, ReleasedTextsLeaveTheNumber) {
    EXPECT_EQ(Run({"101000"}), ktCmdOk); // sets the context
    target.output.lines.clear();
    ktCmdArg args[2] = {{ktArgAddressOrLocation, nullptr, 0x101000, nullptr},
                        {ktArgDecimal, nullptr, 1, nullptr}};
    EXPECT_EQ(command.Execute(args, 2), ktCmdOk);
    EXPECT_EQ(Output(), Lines{Nop("0000000000101000")});
}

TEST_F(UCmd, BytesFillTheirColumn) {
    target.Write(0x101000, {0x48, 0x89, 0xE5, 0x8B, 0x04, 0x25, 0x78, 0x56, 0x34, 0x12, //
                            0xFF, 0x15, 1, 0, 0, 0});
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(Output()[0], "0000000000101000: 48 89 E5          mov rbp, rsp");
    EXPECT_EQ(Run({"10100A", "1"}), ktCmdOk); // six bytes: all are shown
    EXPECT_EQ(Output()[0], "000000000010100A: FF 15 01 00 00 00 call qword ptr [rip+0x1]");
}

TEST_F(UCmd, SevenBytesShowFiveAndDots) {
    target.Write(0x101000, {0x8B, 0x04, 0x25, 0x78, 0x56, 0x34, 0x12, 0x90});
    EXPECT_EQ(Run({"101000", "2"}), ktCmdOk);
    EXPECT_EQ(Output()[0], "0000000000101000: 8B 04 25 78 56 .. mov eax, dword ptr [0x12345678]");
    EXPECT_EQ(Output()[1], Nop("0000000000101007"));
}

TEST_F(UCmd, BytesThatDoNotDecodeAreSteppedOver) {
    target.Write(0x101000, {0x06, 0x90});
    EXPECT_EQ(Run({"101000", "2"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"0000000000101000:                   ???", Nop("0000000000101001")}));
}

TEST_F(UCmd, LocationWithoutACountListsTheFunction) {
    AddSymbols();
    EXPECT_EQ(Run({"kernel!main.c|first"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|first", Nop("0000000000101000"), Nop("0000000000101001"),
                               Nop("0000000000101002")}));
}

TEST_F(UCmd, AddressInAFunctionListsUpToTheNextWithoutAHeader) {
    AddSymbols();
    EXPECT_EQ(Run({"101001"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{Nop("0000000000101001"), Nop("0000000000101002")}));
}

TEST_F(UCmd, FunctionIsListedForAtMostAThousandLines) {
    AddSymbols();
    EXPECT_EQ(Run({"kernel!main.c|second"}), ktCmdOk); // no function follows
    ASSERT_EQ(Output().size(), 1001u);
    EXPECT_EQ(Output()[0], "kernel!main.c|second");
    EXPECT_EQ(Output()[1000], Nop("00000000001013EA"));
}

TEST_F(UCmd, CountPassesFunctionsWithAHeaderEach) {
    AddSymbols();
    EXPECT_EQ(Run({"kernel!main.c|first", "6"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|first", Nop("0000000000101000"), Nop("0000000000101001"),
                               Nop("0000000000101002"), "kernel!main.c|second", Nop("0000000000101003"),
                               Nop("0000000000101004"), Nop("0000000000101005")}));
}

TEST_F(UCmd, PlaceWithoutAFunctionStopsAtTheNextFunctionToo) {
    AddSymbols();
    EXPECT_EQ(Run({"100FFE"}), ktCmdReadFailed); // in the module, in no function, unreadable
    target.Write(0x100FFE, {0x90, 0x90});
    EXPECT_EQ(Run({"100FFE"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{Nop("0000000000100FFE"), Nop("0000000000100FFF")}));
}

TEST_F(UCmd, PlaceWithoutALocationIgnoresFunctionsOnItsWay) {
    AddSymbols();
    target.space->GetModule(0)->base += 0x1000; // starts at 101000 now
    target.Write(0x100FFF, {0x90});
    EXPECT_EQ(Run({"100FFF", "3"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{Nop("0000000000100FFF"), Nop("0000000000101000"), Nop("0000000000101001")}));
}

TEST_F(UCmd, LocationWinsOverTheNumberInItsText) {
    ktModule *module = target.builder.AddModule("101000", 0x102000, 0x100);
    target.builder.Publish(*target.space, module);
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{Nop("0000000000102000")});
}

TEST_F(UCmd, OffsetInALocationPlaysNoPart) {
    AddSymbols();
    EXPECT_EQ(Run({"kernel!main.c|second+1", "1"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|second", Nop("0000000000101003")}));
}

TEST_F(UCmd, UnknownLocationIsReadAsANumber) {
    AddSymbols();
    EXPECT_EQ(Run({"nosuch!101000", "1"}), ktCmdReadFailed); // its c is a digit as well
    EXPECT_EQ(Run({"x!101001", "1"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{Nop("0000000000101001")});
}

TEST_F(UCmd, InlinedCallIsTheHeaderAtItsEntry) {
    ktModule *module = target.builder.AddModule("kernel", 0x100000, 0x10000);
    ktCompUnit *unit = target.builder.AddUnit(module, "main.c");
    target.builder.AddInlined(unit, "inner", {{0x101001, 2}});
    target.builder.AddFunction(unit, "outer", {{0x101000, 8}});
    target.builder.Publish(*target.space, module);
    EXPECT_EQ(Run({"101000", "5"}), ktCmdOk); // outer alone covers the start, and goes on covering
    EXPECT_EQ(Output()[0], "kernel!main.c|outer");
    EXPECT_EQ(Output().size(), 6u);
    EXPECT_EQ(Run({"101001", "4"}), ktCmdOk); // inner and outer
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|inner", Nop("0000000000101001"), Nop("0000000000101002"),
                               Nop("0000000000101003"), Nop("0000000000101004")}));
}

TEST_F(UCmd, TargetsShowTheirLocation) {
    AddSymbols();
    target.Write(0x101000, {0xEB, 0x01});
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(Output()[1], "0000000000101000: EB 01             jmp 0x101003 <kernel!main.c|second>");
}

TEST_F(UCmd, LongLinesAreCutTo255Characters) {
    ktModule *module = target.builder.AddModule(std::string(400, 'm').c_str(), 0x200000, 0x100);
    target.builder.Publish(*target.space, module);
    target.Write(0x101000, {0xE9, 0xFB, 0xEF, 0x0F, 0x00});
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    ASSERT_EQ(Output().size(), 1u);
    EXPECT_EQ(Output()[0].size(), 255u);
    EXPECT_EQ(Output()[0].substr(0, 52), "0000000000101000: E9 FB EF 0F 00    jmp 0x200000 <mm");
}

TEST_F(UCmd, TopOfTheAddressSpaceEndsTheListing) {
    target.Write(0xFFFFFFFFFFFFF000, std::vector<uint8_t>(0x1000, 0x90));
    EXPECT_EQ(Run({"FFFFFFFFFFFFFFFD", "100"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{Nop("FFFFFFFFFFFFFFFD"), Nop("FFFFFFFFFFFFFFFE"), Nop("FFFFFFFFFFFFFFFF")}));
}

TEST_F(UCmd, StaticEngineMeans64Bit) {
    disasm->SetMode(ktModeLegacy32);
    target.Write(0x101000, {0x48, 0x89, 0xE5});
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(disasm->GetMode(), ktModeLong64);
    EXPECT_EQ(Output()[0], "0000000000101000: 48 89 E5          mov rbp, rsp");
}

TEST_F(UCmd, TargetsModeComesFromTheSnapshot) {
    target.session.engineType = ktEngineSable;
    ktSnapshot snapshot;
    target.session.stopMode = ktModeCompat32;
    target.session.publishedSnapshot = &snapshot;
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(disasm->GetMode(), ktModeCompat32);
    target.session.stopMode = ktModeUnknown; // the last mode stays
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(disasm->GetMode(), ktModeCompat32);
    target.session.publishedSnapshot = nullptr;
    target.session.stopMode = ktModeReal; // of no stop any more
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(disasm->GetMode(), ktModeCompat32);
}

/// The symbols of AddSymbols with a source file whose lines begin at 101000, 101002 and 101004.
class UCmdWithSource : public UCmd {
protected:
    UCmdWithSource() {
        AddSymbols();
        ktModule *module = target.space->FindModule("kernel");
        ktLineInfo &lines = module->FindCompUnit("main.c")->lines;
        ktLineTable table;
        ktLineTable::PlaceAt(table.files, 1).Assign("main.c");
        const std::vector<ktLineRecord> rows = {{0x101004, 2, 1}, {0x101000, 0, 1}, {0x101002, 1, 1}};
        AddLines(lines, std::move(table), rows);
        lines.compDir.Assign("/build");
        const std::string text = "void first() {\n    body();\nvoid second() {\n";
        folder.Write("main.c", {text.begin(), text.end()});
        module->sourcePath.Assign(folder.Path(""));
    }

    ktTempFolder folder;
};

TEST_F(UCmdWithSource, SourceLinesStandBetweenHeaderAndInstruction) {
    EXPECT_EQ(Run({"kernel!main.c|first", "6"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|first", "void first() {", Nop("0000000000101000"),
                               Nop("0000000000101001"), "    body();", Nop("0000000000101002"),
                               "kernel!main.c|second", Nop("0000000000101003"), "void second() {",
                               Nop("0000000000101004"), Nop("0000000000101005")}));
}

TEST_F(UCmdWithSource, SourceLineOfAnUnreadableInstructionStays) {
    target.space->Pages().Clear();
    EXPECT_EQ(Run({"101000"}), ktCmdReadFailed);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|first", "void first() {"}));
}

TEST_F(UCmdWithSource, NoSourceLinesWithoutASourcePath) {
    target.space->FindModule("kernel")->sourcePath = ktOwnedText();
    EXPECT_EQ(Run({"101000", "1"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"kernel!main.c|first", Nop("0000000000101000")}));
}

TEST_F(UCmd, DeclaresAddressAndCount) {
    EXPECT_STREQ(command.GetName(), "u");
    EXPECT_EQ(command.GetMinArgs(), 1u);
    EXPECT_EQ(command.GetMaxArgs(), 2u);
    EXPECT_TRUE(command.IsSynchronous());
}

} // namespace
