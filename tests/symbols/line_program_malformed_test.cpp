#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/line_fixture.h"

namespace {

using Code = ktLineBytes;
using Texts = std::vector<std::string>;

constexpr uint64_t allOnes = ~uint64_t(0);

class LineProgramMalformed : public ktLineFixture {
protected:
    void FillProgram() {
        program.tables = {};
        if (program.version == 5) {
            program.tables.U8(1).Uleb(1).Uleb(0x08).Uleb(1).Text("dir");
            program.tables.U8(2).Uleb(1).Uleb(0x1F).Uleb(2).Uleb(0x0B).Uleb(1).U32(0).U8(1);
        } else {
            program.tables.Text("dir").U8(0).File("file.c", 1).U8(0);
        }
        program.code =
            Code().SetAddress(0x1000).SetFile(2).AdvanceLine(9).Copy().AdvancePc(300).U8(5).Uleb(3);
        program.code.U8(8).U8(200).Raw({9, 4}).U8(12).Uleb(1).Raw({0, 5, 3}).Text("x").Raw({1, 2, 3});
        program.code.Raw({0, 3, 4, 1, 1}).EndSequence();
    }
};

TEST_F(LineProgramMalformed, EveryCutGivesTheRowsBeforeIt) {
    const ktBytes name = {'f', 0};
    for (const uint16_t version : {uint16_t(2), uint16_t(4), uint16_t(5)}) {
        SCOPED_TRACE(version);
        program.version = version;
        sections.lineStr = name;
        FillProgram();
        const ktBytes whole = program.Build();
        Forget(lines);
        ASSERT_TRUE(Parse(whole));
        const ktLineRows rows = Rows();
        ASSERT_EQ(rows.size(), 3u);
        size_t failed = 0;
        for (size_t size = 0; size < whole.size(); ++size) {
            Forget(lines);
            EXPECT_FALSE(Parse(ktBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)))) << size;
            const ktLineRows some = Rows();
            ASSERT_LE(some.size(), rows.size());
            for (size_t i = 0; i < some.size(); ++i) EXPECT_EQ(some[i], rows[i]);
            const bool hasTables = !lines.Table().files.empty();
            EXPECT_EQ(hasTables, size >= whole.size() - program.code.bytes.size()) << size;
            failed += hasTables ? 0 : 1;
        }
        EXPECT_EQ(failed, whole.size() - program.code.bytes.size());
    }
}

TEST_F(LineProgramMalformed, EveryByteMayBeAnything) {
    for (const uint16_t version : {uint16_t(4), uint16_t(5)}) {
        program.version = version;
        FillProgram();
        const ktBytes whole = program.Build();
        for (size_t at = 0; at < whole.size(); ++at) {
            for (const uint8_t value : ktBytes{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
                ktBytes bent = whole;
                bent[at] = value;
                Forget(lines);
                Parse(bent);
                EXPECT_LE(Rows().size(), bent.size());
                EXPECT_LE(lines.Table().files.size(), 1040u);
            }
        }
    }
}

TEST_F(LineProgramMalformed, LineRange0FailsTheOpcodesThatDivide) {
    program.lineRange = 0;
    program.code = Code().Copy().U8(13 + 5).Copy();
    EXPECT_FALSE(Parse(program));
    EXPECT_EQ(Rows(), (ktLineRows{{0, 0, 1}}));
    Forget(lines);
    program.code = Code().Copy().U8(8).Copy();
    EXPECT_FALSE(Parse(program));
    EXPECT_EQ(Rows().size(), 1u);
    Forget(lines);
    program.code = Code().SetAddress(0x10).Copy().AdvancePc(1).EndSequence(); // nothing to divide
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Rows().size(), 2u);
}

TEST_F(LineProgramMalformed, MaxOps0FailsTheOpcodesThatDivide) {
    program.maxOps = 0;
    program.code = Code().Copy().U8(13 + 5).Copy();
    EXPECT_FALSE(Parse(program));
    EXPECT_EQ(Rows().size(), 1u);
    Forget(lines);
    program.code = Code().U8(8).Copy();
    EXPECT_FALSE(Parse(program));
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineProgramMalformed, Length0HasNoVersionAndRunsNothing) {
    // Without a version: the length of the header, then the fields of an old one.
    Code bytes;
    bytes.U32(0).U32(0).U8(1).U8(1).U8(0xFB).U8(14).U8(1).Text("dir").U8(0).U8(0).Copy();
    EXPECT_TRUE(Parse(bytes.bytes));
    EXPECT_EQ(Directories(2), (Texts{"-", "dir"}));
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineProgramMalformed, LengthShorterThanTheTablesRunsNothing) {
    program.tables.Text("dir").U8(0).U8(0);
    program.code.Copy();
    ktBytes bytes = program.Build();
    PutField<uint32_t>(bytes, 0, 20);
    EXPECT_TRUE(Parse(bytes));
    EXPECT_EQ(Directories(2), (Texts{"-", "dir"}));
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineProgramMalformed, LengthBeyondTheSectionKeepsTheRowsUpToItsEnd) {
    program.code.Copy().Copy();
    ktBytes bytes = program.Build();
    PutField<uint32_t>(bytes, 0, 0xFFFFFFF0);
    EXPECT_FALSE(Parse(bytes));
    EXPECT_EQ(Rows().size(), 2u);
    program.wide = true;
    bytes = program.Build();
    for (const uint64_t length : {uint64_t(1) << 32, uint64_t(1) << 63}) {
        Forget(lines);
        PutField(bytes, 4, length);
        EXPECT_FALSE(Parse(bytes));
        EXPECT_EQ(Rows().size(), 2u);
    }
}

TEST_F(LineProgramMalformed, LengthOfAllOnesEndsBeforeItBegins) {
    program.wide = true;
    program.code.Copy();
    ktBytes bytes = program.Build();
    PutField(bytes, 4, allOnes);
    EXPECT_TRUE(Parse(bytes));
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineProgramMalformed, LongLebsDropWhatDoesNotFit) {
    Code longOne; // 12 bytes with the value 5
    longOne.U8(0x85);
    for (int i = 0; i < 10; ++i) longOne.U8(0x80);
    longOne.U8(0x00);
    program.code.U8(2);
    program.code.bytes.insert(program.code.bytes.end(), longOne.bytes.begin(), longOne.bytes.end());
    program.code.U8(3);
    program.code.bytes.insert(program.code.bytes.end(), longOne.bytes.begin(), longOne.bytes.end());
    program.code.Copy();
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Rows(), (ktLineRows{{5, 5, 1}}));
}

TEST_F(LineProgramMalformed, OffsetsOutsideOfTheSectionFail) {
    program.code.Copy();
    const ktBytes bytes = program.Build();
    for (const uint64_t offset :
         {uint64_t(bytes.size()), uint64_t(bytes.size() + 1), uint64_t(1) << 32, allOnes}) {
        EXPECT_FALSE(Parse(bytes, offset));
        EXPECT_TRUE(Rows().empty());
    }
    EXPECT_FALSE(Parse(ktBytes(), 0));
}

TEST_F(LineProgramMalformed, Version5EntriesThatNeverEndStopAtTheEndOfTheBytes) {
    program.version = 5;
    for (const uint64_t count : {uint64_t(0xFFFF), (uint64_t(1) << 32) - 1, allOnes}) {
        program.tables = Code().U8(1).Uleb(1).Uleb(0x08).Uleb(count).Text("dir");
        EXPECT_FALSE(Parse(program));
        EXPECT_TRUE(lines.Table().directories.empty());
    }
}

TEST_F(LineProgramMalformed, BlockLongerThanTheBytesFailsTheHeader) {
    program.version = 5;
    for (const uint64_t length : {uint64_t(100), uint64_t(1) << 63, allOnes}) {
        program.tables = Code().U8(0).U8(0).U8(1).Uleb(3).Uleb(0x09).Uleb(1).Uleb(length).U64(0);
        EXPECT_FALSE(Parse(program));
    }
}

TEST_F(LineProgramMalformed, UsedUpBudgetEndsReading) {
    for (int i = 0; i < 1000; ++i) program.code.Copy();
    const ktBytes bytes = program.Build();
    ktWorkBudget small(10 * bytes.size());
    ktLogBatch batch;
    sections.line = bytes;
    size_t parsed = 0;
    for (int unit = 0; unit < 100; ++unit) {
        ktLineInfo unitLines;
        const bool good = ParseLineProgram(sections, 0, true, 0, small, batch, unitLines);
        parsed += good ? 1 : 0;
        EXPECT_EQ(unitLines.Rows().size(), good ? 1000u : 0u);
    }
    EXPECT_EQ(parsed, 9u); // the tenth would take the last byte
    EXPECT_FALSE(small.Take(0));
}

TEST_F(LineProgramMalformed, BudgetPaysForBytesThatWereSearchedInVain) {
    // A text of .debug_str without an end, which each unit would search for one.
    const ktBytes endless(100000, 'x');
    sections.str = endless;
    program.version = 5;
    program.tables = Code().U8(0).U8(0).U8(1).Uleb(1).Uleb(0x0E).Uleb(1).U32(0);
    ktBytes bytes = program.Build();
    sections.line = bytes;
    ktWorkBudget forTexts(250000);
    ktLogBatch batch;
    for (int unit = 0; unit < 2; ++unit)
        EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forTexts, batch, lines));
    EXPECT_TRUE(forTexts.Take(1000));
    EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forTexts, batch, lines));
    EXPECT_FALSE(forTexts.Take(1000));

    // An operand without an end, behind a length that hides it.
    program = {};
    program.code.U8(2);
    bytes = program.Build();
    bytes.insert(bytes.end(), 100000, 0x80);
    sections.line = bytes;
    ktWorkBudget forOperands(150000);
    EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forOperands, batch, lines));
    EXPECT_TRUE(forOperands.Take(1000));
    EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forOperands, batch, lines));
    EXPECT_FALSE(forOperands.Take(1000));
}

TEST_F(LineProgramMalformed, BudgetPaysForLongTextsAndForEntriesWithoutBytes) {
    ktBytes text(5000, 'x');
    text.push_back(0);
    sections.str = text;
    program.version = 5;
    program.tables = Code().U8(0).U8(0).U8(1).Uleb(1).Uleb(0x0E).Uleb(100);
    for (int i = 0; i < 100; ++i) program.tables.U32(0);
    ktBytes bytes = program.Build();
    sections.line = bytes;
    ktLogBatch batch;
    ktWorkBudget forTexts(100 * 5000);
    EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forTexts, batch, lines));
    ktWorkBudget enough(101 * 5000);
    EXPECT_TRUE(ParseLineProgram(sections, 0, true, 0, enough, batch, lines));

    program.tables = Code().U8(0).Uleb(0xFFFF).U8(0).Uleb(0xFFFF);
    bytes = program.Build();
    sections.line = bytes;
    ktWorkBudget forEntries(2048);
    EXPECT_FALSE(ParseLineProgram(sections, 0, true, 0, forEntries, batch, lines));
}

} // namespace
