#include "commands/dump_cmds.h"

#include "support/command_rig.h"
#include "support/command_session.h"
#include "support/symbol_builder.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

std::string Blanks(size_t count) { return std::string(count, ' '); }

class DumpCmds : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
        std::vector<uint8_t> bytes(256);
        std::iota(bytes.begin(), bytes.end(), uint8_t{0});
        rig.target.Poke(0x400000, bytes);
        rig.target.Poke(0x403000, bytes);
        rig.session.DropPageCache();
        rig.target.ForgetCalls();
    }
    /// kernel!main.c|start at 400020 and |second at 400040.
    void AddSymbols() {
        ktModule *module = builder.AddModule("kernel", 0x400010, 0x1000);
        ktCompUnit *unit = builder.AddUnit(module, "main.c");
        builder.AddFunction(unit, "start", {{0x400020, 0x10}});
        builder.AddFunction(unit, "second", {{0x400040, 0x10}});
        builder.Publish(*rig.Current(), module);
    }
    uint64_t Run(const char *line) {
        rig.output.lines.clear();
        return rig.Run(line);
    }
    const Lines &Output() const { return rig.output.lines; }
    Calls TakeCalls() {
        Calls calls = rig.target.Calls();
        rig.target.ForgetCalls();
        return calls;
    }

    ktSymbolBuilder builder;
    ktCommandRig rig;
};

const char firstRow[] = "0000000000400000: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  "
                        "................ +0x0";

} // namespace

TEST_F(DumpCmds, DbWithoutACountReads256BytesIn16Rows) {
    rig.target.Map(0, 0x1000);
    EXPECT_EQ(Run("db 0"), 0u);
    ASSERT_EQ(Output().size(), 16u);
    EXPECT_EQ(Output().front(), "0000000000000000: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00  "
                                "................ +0x0");
    EXPECT_TRUE(Output().back().starts_with("00000000000000F0: "));
    EXPECT_TRUE(Output().back().ends_with(" +0xF0"));
}

TEST_F(DumpCmds, DbShowsBytesCharactersAndOffset) {
    EXPECT_EQ(Run("db 400030 24"), 0u);
    EXPECT_EQ(Output(),
              (Lines{"0000000000400030: 30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F  "
                     "0123456789:;<=>? +0x0",
                     "0000000000400040: 40 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F  "
                     "@ABCDEFGHIJKLMNO +0x10",
                     "0000000000400050: 50 51 52 53 " + Blanks(1 + 36) + "PQRS" + Blanks(1 + 12) + "+0x20"}));
}

TEST_F(DumpCmds, DwDdDqShowTheirElementsAndNoCharacters) {
    EXPECT_EQ(Run("dw 400000 10"), 0u);
    EXPECT_EQ(Output(), Lines{"0000000000400000: 0100 0302 0504 0706 0908 0B0A 0D0C 0F0E  +0x0"});
    EXPECT_EQ(Run("dd 400000 10"), 0u);
    EXPECT_EQ(Output(), Lines{"0000000000400000: 03020100 07060504 0B0A0908 0F0E0D0C  +0x0"});
    EXPECT_EQ(Run("dq 400000 18"), 0u);
    EXPECT_EQ(Output(), (Lines{"0000000000400000: 0706050403020100 0F0E0D0C0B0A0908  +0x0",
                               "0000000000400010: 1716151413121110 " + Blanks(1 + 8) + "+0x10"}));
}

TEST_F(DumpCmds, EachDefaultsTo256Bytes) {
    for (const char *line : {"db 400000", "dw 400000", "dd 400000", "dq 400000"}) {
        EXPECT_EQ(Run(line), 0u);
        EXPECT_EQ(Output().size(), 16u) << line;
    }
}

TEST_F(DumpCmds, TheCountIsHexadecimal) {
    EXPECT_EQ(Run("db 400000 20"), 0u);
    EXPECT_EQ(Output().size(), 2u);
}

TEST_F(DumpCmds, ACountThatIsNoMultipleShowsAWidthsPartOfIt) {
    EXPECT_EQ(Run("dd 400000 3"), 0u);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(Run("dd 400000 a"), 0u); // 2 bytes' worth, one element
    EXPECT_EQ(Output(), Lines{"0000000000400000: 03020100 " + Blanks(1 + 14) + "+0x0"});
    EXPECT_EQ(Run("dw 400000 1"), 0u);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(Run("dq 400000 7"), 0u);
    EXPECT_TRUE(Output().empty());
}

TEST_F(DumpCmds, EachChunkIsCutToItsOwnWidthsPart) {
    rig.target.Map(0x100000, 0x2000);
    rig.target.Poke(0x101000, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
    EXPECT_EQ(Run("dd #100000 1002"), 0u); // 2 bytes are left for the second chunk, and none of them is shown
    ASSERT_EQ(Output().size(), 256u);
    EXPECT_TRUE(Output().back().starts_with("0000000000100FF0: "));
    EXPECT_EQ(TakeCalls(), (Calls{"ReadTarget kind 3 at 0000:100000 root 0 attribute 9 for 1000",
                                  "ReadTarget kind 3 at 0000:101000 root 0 attribute 9 for 2"}));

    EXPECT_EQ(Run("dd #100000 100A"), 0u); // 10 bytes are left: 2 bytes' worth, one element
    ASSERT_EQ(Output().size(), 257u);
    EXPECT_TRUE(Output()[255].ends_with(" +0xFF0"));
    EXPECT_EQ(Output().back(), "0000000000101000: 44332211 " + Blanks(1 + 14) + "+0x1000");
}

TEST_F(DumpCmds, AShortReadIsCutToAWidthsPartAndMovesOnByAllThatCame) {
    rig.target.LimitTransfers(6);
    EXPECT_EQ(Run("dd #400000 C"), 0u); // 6 and 6 bytes, 1 byte's worth of each
    EXPECT_EQ(Output(), (Lines{"0000000000400000: 03020100 " + Blanks(1 + 15) + "+0x0",
                               "0000000000400006: 09080706 " + Blanks(1 + 15) + "+0x6"}));
    EXPECT_EQ(TakeCalls(), (Calls{"ReadTarget kind 3 at 0000:400000 root 0 attribute 9 for C",
                                  "ReadTarget kind 3 at 0000:400006 root 0 attribute 9 for 6"}));
}

TEST_F(DumpCmds, ACountOfZeroReadsNothing) {
    EXPECT_EQ(Run("db 400000 0"), 0u);
    EXPECT_EQ(Run("db 5000 0"), 0u);
    EXPECT_EQ(Run("db #5000 0"), 0u);
    EXPECT_TRUE(Output().empty());
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(DumpCmds, ALinearAddressIsReadByPagesThroughTheCache) {
    EXPECT_EQ(Run("db 400000 10"), 0u);
    EXPECT_EQ(TakeCalls(),
              Calls{"ReadTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1000"});
    EXPECT_EQ(Run("db 400000 10"), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
    EXPECT_TRUE(TakeCalls().empty());
}

TEST_F(DumpCmds, ALocationNameIsReadThroughTheCache) {
    AddSymbols();
    const struct {
        const char *line;
        const char *row;
    } cases[] = {
        {"db kernel!main.c|start 10", "0000000000400020: 20 21 "},
        {"dw kernel!main.c|start 10", "0000000000400020: 2120 2322 "},
        {"dd kernel!main.c|start 10", "0000000000400020: 23222120 27262524 "},
        {"dq kernel!main.c|start 10", "0000000000400020: 2726252423222120 "},
    };
    for (const auto &one : cases) {
        rig.session.DropPageCache();
        EXPECT_EQ(Run(one.line), 0u);
        EXPECT_EQ(TakeCalls(),
                  Calls{"ReadTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1000"})
            << one.line;
        EXPECT_EQ(Run(one.line), 0u);
        ASSERT_EQ(Output().size(), 1u) << one.line;
        EXPECT_TRUE(Output()[0].starts_with(one.row)) << Output()[0];
        EXPECT_TRUE(TakeCalls().empty()) << one.line;
    }
    EXPECT_EQ(Run("db kernel 10"), 0u);
    ASSERT_EQ(Output().size(), 1u);
    EXPECT_TRUE(Output()[0].starts_with("0000000000400010: 10 11 "));
}

TEST_F(DumpCmds, TheFirstOfManyLocationsCounts) {
    AddSymbols();
    EXPECT_EQ(Run("dd *!*|* 4"), 0u);
    EXPECT_EQ(Output(), Lines{"0000000000400020: 23222120 " + Blanks(1 + 12) + "+0x0"});
}

TEST_F(DumpCmds, ALocationWinsOverAnAddress) {
    ktModule *module = builder.AddModule("1000", 0x400010, 0x1000);
    builder.Publish(*rig.Current(), module);
    EXPECT_EQ(Run("dd 1000 4"), 0u);
    EXPECT_EQ(Output(), Lines{"0000000000400010: 13121110 " + Blanks(1 + 12) + "+0x0"});
}

TEST_F(DumpCmds, APhysicalAddressGoesToTheEngineAtOnce) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Run("db #400000 10"), 0u);
        EXPECT_EQ(Output(), Lines{firstRow});
        EXPECT_EQ(TakeCalls(), Calls{"ReadTarget kind 3 at 0000:400000 root 0 attribute 9 for 10"});
    }
}

TEST_F(DumpCmds, AVirtualAddressGoesToTheEngineAtOnce) {
    EXPECT_EQ(Run("db 8:400000 10"), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
    EXPECT_EQ(TakeCalls(), Calls{"ReadTarget kind 1 at 0008:400000 root 0 attribute 9 for 10"});
    EXPECT_EQ(Run("db 8:400000@2000 10"), 0u);
    EXPECT_EQ(TakeCalls(), Calls{"ReadTarget kind 1 at 0008:400000 root 2000 attribute 9 for 10"});
}

TEST_F(DumpCmds, ALinearAddressWithARootGoesToTheEngineAtOnce) {
    EXPECT_EQ(Run("db 400000@2000 10"), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
    EXPECT_EQ(TakeCalls(), Calls{"ReadTarget kind 2 at 0000:400000 root 2000 attribute 9 for 10"});
    // Root 0 is none, and then the number that stands in the whole text is the address.
    EXPECT_EQ(Run("db 40000@0 10"), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
    EXPECT_EQ(TakeCalls(),
              Calls{"ReadTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1000"});
}

TEST_F(DumpCmds, ATextThatIsNoAddressCountsAsItsNumber) {
    EXPECT_EQ(Run("dd 40:00:00 4"), 0u);
    EXPECT_EQ(Output(), Lines{"0000000000400000: 03020100 " + Blanks(1 + 12) + "+0x0"});
    EXPECT_EQ(TakeCalls(),
              Calls{"ReadTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1000"});
}

TEST_F(DumpCmds, AChunkThatFailsInTheMiddleLeavesTheRowsBeforeIt) {
    rig.target.Poke(0x403FF0, std::vector<uint8_t>(16, 0x03));
    const struct {
        const char *word;
        const char *lastRow;
    } cases[] = {
        {"db", "0000000000403FF0: 03 03 "},
        {"dw", "0000000000403FF0: 0303 0303 "},
        {"dd", "0000000000403FF0: 03030303 03030303 "},
        {"dq", "0000000000403FF0: 0303030303030303 0303030303030303 "},
    };
    for (const auto &one : cases) {
        for (const char *range : {" 403000 2000", " #403000 2000"}) {
            const std::string line = std::string(one.word) + range;
            EXPECT_EQ(Run(line.c_str()), 12u) << line;
            ASSERT_EQ(Output().size(), 256u) << line;
            EXPECT_TRUE(Output().back().starts_with(one.lastRow)) << Output().back();
            EXPECT_TRUE(Output().back().ends_with(" +0xFF0")) << line;
        }
    }
}

TEST_F(DumpCmds, AReadThatFailsPrintsNothing) {
    EXPECT_EQ(Run("db 5000"), 12u);
    EXPECT_EQ(Run("db #5000"), 12u);
    EXPECT_TRUE(Output().empty());
}

TEST_F(DumpCmds, ChunksAre4096Bytes) {
    EXPECT_EQ(Run("db #400800 2100"), 0u);
    EXPECT_EQ(TakeCalls(), (Calls{"ReadTarget kind 3 at 0000:400800 root 0 attribute 9 for 1000",
                                  "ReadTarget kind 3 at 0000:401800 root 0 attribute 9 for 1000",
                                  "ReadTarget kind 3 at 0000:402800 root 0 attribute 9 for 100"}));
    ASSERT_EQ(Output().size(), 0x210u);
    EXPECT_TRUE(Output()[0x100].starts_with("0000000000401800: 01 "));
    EXPECT_TRUE(Output()[0x100].ends_with(" +0x1000"));
    EXPECT_TRUE(Output().back().starts_with("00000000004028F0: 02 "));
    EXPECT_TRUE(Output().back().ends_with(" +0x20F0"));
}

TEST_F(DumpCmds, TheNextChunkStartsBehindTheBytesThatCame) {
    rig.target.LimitTransfers(0x18);
    EXPECT_EQ(Run("db #400000 38"), 0u);
    EXPECT_EQ(TakeCalls(), (Calls{"ReadTarget kind 3 at 0000:400000 root 0 attribute 9 for 38",
                                  "ReadTarget kind 3 at 0000:400018 root 0 attribute 9 for 20",
                                  "ReadTarget kind 3 at 0000:400030 root 0 attribute 9 for 8"}));
    ASSERT_EQ(Output().size(), 5u);
    const char *starts[] = {"0000000000400000: 00 ", "0000000000400010: 10 ", "0000000000400018: 18 ",
                            "0000000000400028: 28 ", "0000000000400030: 30 "};
    const char *ends[] = {" +0x0", " +0x10", " +0x18", " +0x28", " +0x30"};
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(Output()[i].starts_with(starts[i])) << Output()[i];
        EXPECT_TRUE(Output()[i].ends_with(ends[i])) << Output()[i];
    }
}

TEST_F(DumpCmds, AReadOfNoBytesIsAFailure) {
    rig.target.LimitTransfers(0);
    EXPECT_EQ(Run("db #400000 10"), 12u);
    EXPECT_EQ(Run("db 400000 10"), 12u);
    EXPECT_TRUE(Output().empty());
}

TEST_F(DumpCmds, ARangeIntoAnUnmappedPageIsServedBySourceAlone) {
    rig.target.AllowShortReads();
    EXPECT_EQ(Run("db 403F00 1000"), 12u); // what is mapped, then nothing
    EXPECT_EQ(Output().size(), 16u);
    EXPECT_TRUE(Output().back().starts_with("0000000000403FF0: 03 "));
}

TEST_F(DumpCmds, ADumpGoesOnAtZeroBehindTheTop) {
    rig.target.Map(0xFFFFFFFFFFFFF000, 0x1000);
    rig.target.Map(0, 0x1000);
    EXPECT_EQ(Run("db FFFFFFFFFFFFFFF0 20"), 0u);
    ASSERT_EQ(Output().size(), 2u);
    EXPECT_TRUE(Output()[0].starts_with("FFFFFFFFFFFFFFF0: FF "));
    EXPECT_TRUE(Output()[1].starts_with("0000000000000000: 00 "));
    EXPECT_TRUE(Output()[1].ends_with(" +0x10"));
}

TEST_F(DumpCmds, AFirstEmptyPositionMakesTheCountTheAddress) {
    rig.target.Map(0, 0x1000);
    EXPECT_EQ(Run("db  10"), 0u);
    ASSERT_EQ(Output().size(), 16u);
    EXPECT_TRUE(Output()[0].starts_with("0000000000000010: "));
}

TEST_F(DumpCmds, ReleasedTextsLeaveTheNumbers) {
    ktDbCmd db;
    ktCmdContext context;
    context.session = &rig.session;
    context.output = &rig.output;
    db.SetCmdContext(context);
    ktCmdArg args[2] = {{ktArgAddressOrLocation, nullptr, 0x400000, nullptr},
                        {ktArgHex, nullptr, 0x10, nullptr}};
    rig.output.lines.clear();
    EXPECT_EQ(db.Execute(args, 2), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
}

TEST_F(DumpCmds, WithoutAnEngineTheCacheStillAnswers) {
    EXPECT_EQ(Run("db 400000 10"), 0u);
    rig.session.engine.reset();
    EXPECT_EQ(Run("db 400000 10"), 0u);
    EXPECT_EQ(Output(), Lines{firstRow});
    EXPECT_EQ(Run("db 401000 10"), 12u);
    EXPECT_EQ(Run("db #400000 10"), 16u);
}

TEST(DumpCmdStatus, WithoutASessionItIs8AndWithoutASpace12) {
    ktDbCmd db;
    ktDwCmd dw;
    ktDdCmd dd;
    ktDqCmd dq;
    ktMemDumpCmd *const commands[] = {&db, &dw, &dd, &dq};
    ktCommandSession target;
    for (ktMemDumpCmd *command : commands) {
        EXPECT_EQ(ExecuteIn(nullptr, *command, {0x1000}), 8u);
        EXPECT_FALSE(command->IsSynchronous());
        EXPECT_EQ(target.Run(*command, {}), 5u);
        target.session.spaces->SetCurrent(nullptr);
        EXPECT_EQ(target.Run(*command, {"1000"}), 12u);
        EXPECT_EQ(target.Run(*command, {"1000", "0"}), 12u); // before the count is looked at
        target.session.spaces->SetCurrent(target.space);
    }
    target.session.spaces.reset();
    for (ktMemDumpCmd *command : commands) EXPECT_EQ(target.Run(*command, {"1000"}), 8u);
    EXPECT_TRUE(target.output.lines.empty());
}

TEST(DumpCmdStatus, AStaticSessionShowsThePagesOfItsModules) {
    ktCommandSession target;
    target.Write(0x10000, std::vector<uint8_t>(0x1000, 0x41));
    ktDqCmd dq;
    EXPECT_EQ(target.Run(dq, {"10FF0", "20"}), 12u); // the page ends in the middle
    EXPECT_EQ(target.output.lines, Lines{"0000000000010FF0: 4141414141414141 4141414141414141  +0x0"});
}
