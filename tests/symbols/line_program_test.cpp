#include "symbols/dwarf/line_program.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/line_fixture.h"

namespace {

using Lines = std::vector<std::string>;
using Code = ktLineBytes;

constexpr uint64_t allOnes = ~uint64_t(0);

using LineProgram = ktLineFixture;

TEST_F(LineProgram, RegistersStartAtAddress0File1Line1) {
    EXPECT_EQ(RowsOf(Code().Copy()), (ktLineRows{{0, 0, 1}}));
}

TEST_F(LineProgram, LineInTheTableIsOneLess) {
    EXPECT_EQ(RowsOf(Code().AdvanceLine(41).Copy().AdvanceLine(-42).Copy()),
              (ktLineRows{{0, 41, 1}, {0, allOnes, 1}}));
}

TEST_F(LineProgram, BiasIsAddedToRowsAndWraps) {
    bias = 0x1000;
    EXPECT_EQ(RowsOf(Code().SetAddress(0x234).Copy().SetAddress(allOnes).Copy()),
              (ktLineRows{{0x1234, 0, 1}, {0xFFF, 0, 1}}));
}

TEST_F(LineProgram, SpecialOpcodeMovesLineAndAddressAndMakesARow) {
    program.minInstLength = 4;
    // 13 + (line step + 5) + 14 * address step
    EXPECT_EQ(
        RowsOf(Code().SetAddress(0x1000).U8(13 + 5).U8(13 + 5 + 1 + 14 * 2).U8(13).U8(255)),
        (ktLineRows{
            {0x1000, 0, 1}, {0x1008, 1, 1}, {0x1008, allOnes - 3, 1}, {0x1008 + 17 * 4, allOnes - 4, 1}}));
}

TEST_F(LineProgram, EveryLineRangeDividesEveryOpcode) {
    for (uint32_t range = 1; range < 256; ++range) {
        SCOPED_TRACE(range);
        Forget(lines);
        program.lineRange = static_cast<uint8_t>(range);
        program.lineBase = 0;
        program.opcodeBase = 1;
        program.code = {};
        for (uint32_t opcode = 1; opcode < 256; ++opcode) program.code.SetAddress(0).U8(opcode);
        ASSERT_TRUE(Parse(program));
        const ktLineRows rows = Rows();
        ASSERT_EQ(rows.size(), 255u);
        uint64_t line = 0;
        for (uint32_t a = 0; a < 255; ++a) {
            line += a % range;
            ASSERT_EQ(rows[a], (ktLineRecord{a / range, line, 1}));
        }
    }
}

TEST_F(LineProgram, OpcodeBase10RunsOpcodes10To12AsSpecialOpcodes) {
    program.opcodeBase = 10;
    EXPECT_EQ(RowsOf(Code().AdvanceLine(20).U8(10).U8(11).U8(12)),
              (ktLineRows{{0, 15, 1}, {0, 11, 1}, {0, 8, 1}}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineProgram, OpcodeBase1And0LeaveOnlyExtendedOpcodes) {
    program.opcodeBase = 1;
    EXPECT_EQ(RowsOf(Code().U8(1 + 5).EndSequence()), (ktLineRows{{0, 0, 1}, {0, 0, 1}}));
    Forget(lines);
    program.opcodeBase = 0; // and no lengths
    EXPECT_EQ(RowsOf(Code().U8(5).EndSequence()), (ktLineRows{{0, 0, 1}, {0, 0, 1}}));
}

TEST_F(LineProgram, AdvancePcScalesByTheInstructionLengthAndWraps) {
    program.minInstLength = 4;
    EXPECT_EQ(RowsOf(Code().AdvancePc(3).Copy().AdvancePc(uint64_t(1) << 63).Copy()),
              (ktLineRows{{12, 0, 1}, {12, 0, 1}}));
}

TEST_F(LineProgram, SetFileAndSetColumn) {
    EXPECT_EQ(RowsOf(Code().SetFile(300).U8(5).Uleb(1000).Copy().SetFile(allOnes).Copy()),
              (ktLineRows{{0, 0, 300}, {0, 0, allOnes}}));
}

TEST_F(LineProgram, NegateStmtChangesNoRowAndDefaultIsStmtIsNotApplied) {
    program.defaultIsStmt = 0;
    EXPECT_EQ(RowsOf(Code().Copy().U8(6).Copy()), (ktLineRows{{0, 0, 1}, {0, 0, 1}}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineProgram, ConstAddPcMovesTheAddressOfOpcode255WithoutARow) {
    program.lineRange = 11;
    EXPECT_EQ(RowsOf(Code().U8(8).Copy()), (ktLineRows{{22, 0, 1}})); // (255 - 13) / 11
}

TEST_F(LineProgram, FixedAdvancePcReadsOneByteUnscaled) {
    program.minInstLength = 4;
    EXPECT_EQ(RowsOf(Code().Raw({9, 0xFF, 1})), (ktLineRows{{0xFF, 0, 1}}));
    EXPECT_EQ(log.lines, Lines{"Unexpected instruction DW_LNS_fixed_advance_pc"});
}

TEST_F(LineProgram, UnexpectedOpcodesAreLoggedOnceAndCarriedOut) {
    EXPECT_EQ(
        RowsOf(Code().U8(7).U8(10).U8(11).U8(12).Uleb(300).Raw({0, 5, 3}).Text("x").Raw({1, 2, 3}).Copy()),
        (ktLineRows{{0, 0, 1}}));
    const Lines expected = {
        "Unexpected instruction DW_LNS_set_basic_block", "Unexpected instruction DW_LNS_set_prologue_end",
        "Unexpected instruction DW_LNS_set_epilogue_begin", "Unexpected instruction DW_LNS_set_isa",
        "Unexpected instruction DW_LNE_define_file"};
    EXPECT_EQ(log.lines, expected);           // asking for the rows has logged nothing again
    EXPECT_TRUE(lines.Table().files.empty()); // defining a file adds none
}

TEST_F(LineProgram, OpcodesFrom13BelowTheBaseReadNothing) {
    program.opcodeBase = 20; // with one operand each, by the header
    EXPECT_EQ(RowsOf(Code().U8(13).U8(1).U8(19).U8(1)), (ktLineRows{{0, 0, 1}, {0, 0, 1}}));
}

TEST_F(LineProgram, TwoSequencesStandInProgramOrderWithTheirEndRows) {
    EXPECT_EQ(RowsOf(Code()
                         .SetAddress(0x2000)
                         .SetFile(2)
                         .AdvanceLine(9)
                         .Copy()
                         .AdvancePc(4)
                         .EndSequence()
                         .SetAddress(0x1000)
                         .Copy()
                         .AdvancePc(8)
                         .EndSequence()),
              (ktLineRows{{0x2000, 9, 2}, {0x2004, 9, 2}, {0x1000, 0, 1}, {0x1008, 0, 1}}));
}

TEST_F(LineProgram, EndOfSequenceSetsTheRegistersBack) {
    EXPECT_EQ(RowsOf(Code().SetAddress(0x1000).SetFile(7).AdvanceLine(3).EndSequence().Copy()),
              (ktLineRows{{0x1000, 3, 7}, {0, 0, 1}}));
}

TEST_F(LineProgram, SetAddressReadsAtMost8BytesAndTheRestRuns) {
    EXPECT_EQ(RowsOf(Code().SetAddress(0x1234, 4).Copy().SetAddress(0xAB, 1).Copy()),
              (ktLineRows{{0x1234, 0, 1}, {0xAB, 0, 1}}));
    Forget(lines);
    EXPECT_EQ(RowsOf(Code().Raw({0, 11, 2}).U64(0x5000).Raw({1, 1})),
              (ktLineRows{{0x5000, 0, 1}, {0x5000, 0, 1}}));
}

TEST_F(LineProgram, SetAddressOfLength0Reads8Bytes) {
    EXPECT_EQ(RowsOf(Code().Raw({0, 0, 2}).U64(0x5000).Copy()), (ktLineRows{{0x5000, 0, 1}}));
}

TEST_F(LineProgram, AnOperandOfNoBytesCannotBeReadAndEndsTheProgram) {
    for (const uint8_t instruction : {uint8_t(2), uint8_t(4)}) {
        Forget(lines);
        program.code = Code().Copy().Raw({0, 1, instruction}).Copy();
        EXPECT_FALSE(Parse(program));
        EXPECT_EQ(Rows(), (ktLineRows{{0, 0, 1}}));
    }
}

TEST_F(LineProgram, SetDiscriminatorTakesRawBytesNotALeb) {
    // As a LEB the operand would end at its first byte, and three rows would follow.
    EXPECT_EQ(RowsOf(Code().Raw({0, 4, 4, 1, 1, 1, 1})), (ktLineRows{{0, 0, 1}}));
    Forget(lines);
    EXPECT_EQ(RowsOf(Code().Raw({0, 12, 4}).U64(0x0101010101010101).Raw({1, 1, 1})).size(), 3u);
}

TEST_F(LineProgram, UnknownExtendedOpcodeRunsItsOperandsAndStopsAtTheEnd) {
    EXPECT_EQ(RowsOf(Code().Raw({0, 4, 0x80, 1, 1, 1})).size(), 3u);
    Forget(lines);
    // The operand of the last instruction reaches beyond the program, into bytes that do not run.
    program.code = Code().Raw({0, 2, 0x80, 3});
    ktBytes section = program.Build();
    section.insert(section.end(), {5, 1, 1, 1});
    EXPECT_TRUE(Parse(section));
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineProgram, BytesBehindTheProgramDoNotRun) {
    program.code = Code().Copy();
    ktBytes section = program.Build();
    section.insert(section.end(), {1, 1});
    EXPECT_TRUE(Parse(section));
    EXPECT_EQ(Rows().size(), 1u);
}

TEST_F(LineProgram, OperationsOfAVersion4ProgramShareAnAddress) {
    program.maxOps = 3;
    program.minInstLength = 16;
    program.opcodeBase = 1;
    program.lineBase = 0;
    program.lineRange = 1; // opcode - 1 is the number of operations
    EXPECT_EQ(RowsOf(Code().U8(2).U8(2).U8(2).U8(6).SetAddress(0x100).U8(3)),
              (ktLineRows{{0, 0, 1}, {0, 0, 1}, {16, 0, 1}, {32, 0, 1}, {0x100, 0, 1}}));
}

TEST_F(LineProgram, AdvancePcLeavesTheOperationIndex) {
    program.maxOps = 2;
    program.opcodeBase = 3;
    program.lineBase = 0;
    program.lineRange = 1;
    // Index 1, past AdvancePc; the next operation completes an instruction.
    EXPECT_EQ(RowsOf(Code().U8(4).AdvancePc(10).U8(4)), (ktLineRows{{0, 0, 1}, {11, 0, 1}}));
}

/// Version 4 with three operations to an instruction of 16 bytes; special opcode 13 + n goes n operations on.
class LineProgramOperations : public LineProgram {
protected:
    LineProgramOperations() {
        program.maxOps = 3;
        program.minInstLength = 16;
        program.lineBase = 0;
        program.lineRange = 1;
    }
    static constexpr uint8_t oneOperation = 13 + 1, twoOperations = 13 + 2;
};

TEST_F(LineProgramOperations, EndOfSequenceSetsTheOperationIndexBack) {
    EXPECT_EQ(RowsOf(Code().U8(twoOperations).EndSequence().U8(oneOperation).U8(twoOperations)),
              (ktLineRows{{0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {16, 0, 1}}));
}

TEST_F(LineProgramOperations, ConstAddPcGoesOnFromTheOperationIndexAndMovesIt) {
    // 255 - 13 = 242 operations: with the one before 81 whole instructions, and the index is 0 again.
    EXPECT_EQ(RowsOf(Code().U8(oneOperation).U8(8).Copy().U8(twoOperations).U8(oneOperation)),
              (ktLineRows{{0, 0, 1}, {81 * 16, 0, 1}, {81 * 16, 0, 1}, {82 * 16, 0, 1}}));
    Forget(lines);
    // From index 0 it leaves index 2.
    EXPECT_EQ(RowsOf(Code().U8(8).Copy().U8(oneOperation)), (ktLineRows{{80 * 16, 0, 1}, {81 * 16, 0, 1}}));
}

TEST_F(LineProgramOperations, FixedAdvancePcLeavesTheOperationIndex) {
    EXPECT_EQ(RowsOf(Code().U8(oneOperation).Raw({9, 0xFF}).U8(twoOperations)),
              (ktLineRows{{0, 0, 1}, {0xFF + 16, 0, 1}}));
}

TEST_F(LineProgramOperations, CopyLeavesTheOperationIndex) {
    EXPECT_EQ(RowsOf(Code().U8(twoOperations).Copy().U8(oneOperation)),
              (ktLineRows{{0, 0, 1}, {0, 0, 1}, {16, 0, 1}}));
}

TEST_F(LineProgramOperations, Opcode255AdvancesAndCarriesIntoTheAddress) {
    program.maxOps = 4;
    program.lineBase = -5;
    program.lineRange = 14;
    const uint8_t one = 13 + 5 + 14, three = 13 + 5 + 3 * 14; // operations, on the same line
    // 242 is 17 operations and line step 4 - 5. With the three before: five instructions and index 0.
    EXPECT_EQ(RowsOf(Code().AdvanceLine(20).U8(three).U8(255).U8(three).U8(one)),
              (ktLineRows{{0, 20, 1}, {5 * 16, 19, 1}, {5 * 16, 19, 1}, {6 * 16, 19, 1}}));
}

TEST_F(LineProgramOperations, Opcode255WithTheMostOperationsStaysInItsInstruction) {
    program.maxOps = 255;
    EXPECT_EQ(RowsOf(Code().U8(255).U8(13 + 12).U8(oneOperation)),
              (ktLineRows{{0, 0, 1}, {0, 0, 1}, {16, 0, 1}}));
}

TEST_F(LineProgram, VersionsBelow4HaveNoMaxOps) {
    for (const uint16_t version : {uint16_t(2), uint16_t(3)}) {
        Forget(lines);
        program.version = version;
        program.maxOps = 0; // not in the header
        EXPECT_EQ(RowsOf(Code().U8(8).U8(13 + 5 + 14)), (ktLineRows{{18, 0, 1}}));
    }
}

TEST_F(LineProgram, UnknownVersionIsReadLikeAnOldOne) {
    program.version = 3;
    program.tables.Text("d").U8(0).File("f", 1).U8(0);
    program.code.Copy();
    for (const uint16_t version : {uint16_t(0), uint16_t(1), uint16_t(6), uint16_t(0xFFFF)}) {
        SCOPED_TRACE(version);
        Forget(lines);
        ktBytes bytes = program.Build();
        PutField(bytes, 4, version);
        EXPECT_TRUE(Parse(bytes));
        EXPECT_EQ(Files(2), (Lines{"-", "f"}));
        EXPECT_EQ(Rows(), (ktLineRows{{0, 0, 1}}));
    }
}

TEST_F(LineProgram, WideFormHas8ByteLengths) {
    program.wide = true;
    EXPECT_EQ(RowsOf(Code().SetAddress(0x1000).Copy()), (ktLineRows{{0x1000, 0, 1}}));
}

TEST_F(LineProgram, Version5HeaderIsShiftedByOneByte) {
    program.version = 5;
    program.minInstLength = 4;
    program.tables.U8(0).U8(0).U8(0).U8(0); // no formats and no entries, twice
    // Read as: lineBase 1 (the default of is_stmt), lineRange 251 (the line base), opcodeBase 14 (the line
    // range).
    EXPECT_EQ(RowsOf(Code().U8(14).U8(13).U8(15).U8(14 + 241).U8(8).Copy()),
              (ktLineRows{{0, 1, 1}, {0, 3, 1}, {0, 245, 1}, {0, 245, 1}}));
}

TEST_F(LineProgram, Version5IgnoresItsMaxOps) {
    program.version = 5;
    program.maxOps = 7;     // read as the default of is_stmt
    program.lineBase = 3;   // read as the line range
    program.lineRange = 12; // read as the opcode base, whose 11 lengths end at the format's tenth
    // The lengths 0 and 1 that are left: no directory formats, one directory. Then no file formats and no
    // files.
    program.tables.U8(0).U8(0);
    program.code.U8(12 + 3 * 5);
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Directories(2), (Lines{"-", ""}));
    EXPECT_EQ(Rows(), (ktLineRows{{5, 1, 1}}));
}

TEST_F(LineProgram, OffsetNamesOneProgramOfMany) {
    program.code = Code().SetAddress(0x1000).Copy();
    ktBytes section = program.Build();
    const uint64_t second = section.size();
    program.code = Code().SetAddress(0x2000).Copy();
    const ktBytes more = program.Build();
    section.insert(section.end(), more.begin(), more.end());
    EXPECT_TRUE(Parse(section, second));
    EXPECT_EQ(Rows(), (ktLineRows{{0x2000, 0, 1}}));
    EXPECT_TRUE(Parse(section, 0)); // a further program's rows stand behind
    EXPECT_EQ(Rows(), (ktLineRows{{0x2000, 0, 1}, {0x1000, 0, 1}}));
}

TEST_F(LineProgram, EveryRowIsFoundByItsAddressWhateverItsOperationAndSequence) {
    std::minstd_rand random(11);
    for (int round = 0; round < 60; ++round) {
        Forget(lines);
        bias = round % 2 ? 0x7000 : 0;
        program.maxOps = static_cast<uint8_t>(1 + round % 3);
        program.code = Code();
        for (int i = 0; i < 400; ++i) {
            switch (random() % 12) {
            case 0:
                program.code.SetAddress(random() % 4 ? random() % 0x1000 : random());
                break;
            case 1:
                program.code.EndSequence();
                break;
            case 2:
                program.code.AdvancePc(random() % 0x3000);
                break;
            case 3:
                program.code.SetFile(random() % 5).AdvanceLine(static_cast<int64_t>(random() % 40) - 20);
                break;
            default:
                program.code.U8(13 + random() % 243);
            }
        }
        ASSERT_TRUE(Parse(program));
        const ktLineRows rows = Rows();
        ASSERT_GT(rows.size(), 200u);
        std::map<uint64_t, ktLineRecord> firstRows;
        for (const ktLineRecord &row : rows) firstRows.emplace(row.address, row);
        for (const auto &[address, row] : firstRows) {
            ASSERT_EQ(lines.FirstRowAt(address), row) << round;
            if (!firstRows.contains(address + 1)) {
                ASSERT_FALSE(lines.FirstRowAt(address + 1)) << round;
            }
        }
    }
}

TEST_F(LineProgram, InstructionsWithoutRowsDoNotRunForEachLookUp) {
    program.code = Code().SetAddress(0x1000).Copy();
    program.code.bytes.insert(program.code.bytes.end(), 4'000'000, 6); // the flag that no row keeps
    program.code.AdvancePc(1).Copy().AdvancePc(1).Copy();
    ASSERT_TRUE(Parse(program));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(lines.FirstRowAt(0x1000), (ktLineRecord{0x1000, 0, 1}));
        ASSERT_EQ(lines.FirstRowAt(0x1001), (ktLineRecord{0x1001, 0, 1}));
        ASSERT_EQ(lines.FirstRowAt(0x1002), (ktLineRecord{0x1002, 0, 1}));
        ASSERT_FALSE(lines.FirstRowAt(0x1003));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4)); // each time all: a minute
}

TEST_F(LineProgram, RowsAreTheSameForThreadsThatAskAtOnce) {
    Code code;
    code.SetAddress(0x1000);
    for (int i = 0; i < 20000; ++i) code.U8(13 + 5 + 14);
    program.code = code;
    ASSERT_TRUE(Parse(program));
    const auto ask = [this] {
        EXPECT_EQ(lines.Rows().size(), 20000u);
        EXPECT_EQ(lines.FirstRowAt(0x1000 + 20000), lines.Rows()[19999]);
    };
    std::thread other(ask);
    ask();
    other.join();
}

} // namespace
