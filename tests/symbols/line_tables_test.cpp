#include "symbols/dwarf/line_tables.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/line_fixture.h"

namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<uint64_t>;
using Code = ktLineBytes;

enum Content : uint8_t { path = 1, directory, timestamp, size, md5 };

class LineTables : public ktLineFixture {
protected:
    LineTables() {
        const std::string text = "..the str";
        str.assign(text.begin(), text.end());
        str.push_back(0);
        sections.str = str;
    }
    /// A version 5 header with these tables; its line program is empty.
    bool ParseVersion5(const Code &directories, const Code &files) {
        program.version = 5;
        program.tables = directories;
        program.tables.bytes.insert(program.tables.bytes.end(), files.bytes.begin(), files.bytes.end());
        Forget(lines);
        return Parse(program);
    }
    /// A file table of two formats, inline names and `content` in `form`, and of one file, whose fields
    /// follow.
    bool ParseFile(uint8_t content, uint64_t form, const Code &field) {
        Code files;
        files.U8(2).Uleb(path).Uleb(0x08).Uleb(content).Uleb(form).Uleb(1).Text("f");
        files.bytes.insert(files.bytes.end(), field.bytes.begin(), field.bytes.end());
        program.code = Code().Copy(); // runs only where all of the field was read
        return ParseVersion5(NoEntries(), files) && Rows() == ktLineRows{{0, 0, 1}};
    }
    static Code NoEntries() { return Code().U8(0).U8(0); }
    static Code InlineNames(const Texts &names) {
        Code table;
        table.U8(1).Uleb(path).Uleb(0x08).Uleb(names.size());
        for (const std::string &name : names) table.Text(name);
        return table;
    }

    ktBytes str;
};

TEST_F(LineTables, Index0StaysEmptyAndPlacesGrowBy16) {
    program.tables.Text("/include").Text("sub").U8(0).File("a.c", 0).File("b.h", 2).U8(0);
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Directories(4), (Texts{"-", "/include", "sub", "-"}));
    EXPECT_EQ(Files(4), (Texts{"-", "a.c", "b.h", "-"}));
    EXPECT_EQ(FileDirs(4), (Numbers{0, 0, 2, 0}));
    EXPECT_EQ(lines.Table().directories.size(), 16u);
    EXPECT_EQ(lines.Table().files.size(), 16u);
    EXPECT_EQ(lines.Table().fileDirs.size(), 16u);
}

TEST_F(LineTables, EmptyTablesHaveNoPlaces) {
    EXPECT_TRUE(Parse(program));
    EXPECT_TRUE(lines.Table().directories.empty());
    EXPECT_TRUE(lines.Table().files.empty());
    EXPECT_TRUE(lines.Table().fileDirs.empty());
}

TEST_F(LineTables, PlacesGrowToTheNextMultipleOf16AboveTheIndex) {
    for (const auto &[count, capacity] :
         std::vector<std::pair<int, size_t>>{{15, 16}, {16, 32}, {31, 32}, {32, 48}}) {
        SCOPED_TRACE(count);
        program.tables = {};
        for (int i = 0; i < count; ++i) program.tables.Text("d");
        program.tables.U8(0);
        for (int i = 0; i < count; ++i) program.tables.File("f", 1);
        program.tables.U8(0);
        Forget(lines);
        EXPECT_TRUE(Parse(program));
        EXPECT_EQ(lines.Table().directories.size(), capacity);
        EXPECT_EQ(lines.Table().files.size(), capacity);
        EXPECT_EQ(lines.Table().fileDirs.size(), capacity);
    }
}

TEST_F(LineTables, DirectoriesPast1024AreLoggedOneByOneAndDropped) {
    for (int i = 0; i < 1027; ++i) program.tables.Text("d" + std::to_string(i));
    program.tables.U8(0).File("f", 1027).U8(0);
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(log.lines, (Texts{"Directories count (1025) exceeds maximum (1024)",
                                "Directories count (1026) exceeds maximum (1024)",
                                "Directories count (1027) exceeds maximum (1024)"}));
    EXPECT_EQ(lines.Table().directories.size(), 1040u);
    EXPECT_STREQ(lines.Table().directories[1024].Get(), "d1023");
    EXPECT_EQ(lines.Table().directories[1025].Get(), nullptr);
    EXPECT_EQ(Files(2), (Texts{"-", "f"}));
    EXPECT_EQ(FileDirs(2), (Numbers{0, 1027}));
    EXPECT_EQ(log.lines.size(), 3u); // and not again when the table was asked for
}

TEST_F(LineTables, DirectoriesUpTo1024AreNotLogged) {
    for (int i = 0; i < 1024; ++i) program.tables.Text("d");
    program.tables.U8(0).U8(0);
    EXPECT_TRUE(Parse(program));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineTables, FilesPast1024AreLoggedWithTheSameMaximum) {
    program.tables.U8(0);
    for (int i = 0; i < 1025; ++i) program.tables.File("f", static_cast<uint64_t>(i));
    program.tables.U8(0);
    program.code.Copy();
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(log.lines, Texts{"Files count (1025) exceeds maximum (1024)"});
    EXPECT_EQ(lines.Table().files[1025].Get(), nullptr);
    EXPECT_EQ(lines.Table().fileDirs[1024], 1023u);
    EXPECT_EQ(lines.Table().fileDirs[1025], 0u);
    EXPECT_EQ(Rows().size(), 1u);
}

TEST_F(LineTables, LongNamesAreCutTo4095Bytes) {
    const std::string longest(4095, 'x');
    program.tables.Text(longest).Text(longest + "y").U8(0).File(longest + "yz", 1).File("f", 2).U8(0);
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Directories(3), (Texts{"-", longest, longest}));
    EXPECT_EQ(Files(3), (Texts{"-", longest, "f"})); // all of it was passed
}

TEST_F(LineTables, ShortNamesAreNotCopied) {
    program.tables.Text("dir").U8(0).U8(0);
    EXPECT_TRUE(Parse(program));
    const auto *text = reinterpret_cast<const uint8_t *>(lines.Table().directories[1].Get());
    EXPECT_GE(text, sections.line.data());
    EXPECT_LT(text, sections.line.data() + sections.line.size());
}

TEST_F(LineTables, AFurtherProgramOverwritesTheNamesItHas) {
    program.tables.Text("d1").Text("d2").U8(0).File("f1", 1).File("f2", 2).U8(0);
    EXPECT_TRUE(Parse(program));
    program.tables = Code().Text("e1").U8(0).File("g1", 0).U8(0);
    EXPECT_TRUE(Parse(program));
    EXPECT_EQ(Directories(3), (Texts{"-", "e1", "d2"}));
    EXPECT_EQ(Files(3), (Texts{"-", "g1", "f2"}));
    EXPECT_EQ(FileDirs(3), (Numbers{0, 0, 2}));
}

TEST_F(LineTables, AHeaderThatFailsLeavesTheTablesEmpty) {
    program.tables.Text("d").U8(0).Text("f"); // the numbers of the file are missing
    program.tables.Uleb(1);
    EXPECT_FALSE(Parse(program));
    EXPECT_TRUE(lines.Table().directories.empty());
    EXPECT_TRUE(Rows().empty());
}

TEST_F(LineTables, Version5NumbersFrom0AndIsStoredFrom1) {
    program.code = Code().Copy();
    EXPECT_TRUE(ParseVersion5(InlineNames({"/build", "/inc"}), InlineNames({"main.c", "a.h"})));
    EXPECT_EQ(Directories(4), (Texts{"-", "/build", "/inc", "-"}));
    EXPECT_EQ(Files(4), (Texts{"-", "main.c", "a.h", "-"}));
    EXPECT_EQ(Rows(),
              (ktLineRows{{0, 0, 1}})); // the file register is not corrected: 1 means a.h, and gives main.c
}

TEST_F(LineTables, Version5PathsComeFromTheirSections) {
    const std::string dwo = "the dwo";
    const std::string line = "-the line";
    const ktBytes dwoBytes(dwo.c_str(), dwo.c_str() + dwo.size() + 1);
    const ktBytes lineBytes(line.c_str(), line.c_str() + line.size() + 1);
    sections.strDwo = dwoBytes;
    sections.lineStr = lineBytes;
    const auto names = [](bool wide) {
        const size_t bytes = wide ? 8 : 4;
        Code table;
        table.U8(4).Uleb(path).Uleb(0x0E).Uleb(path).Uleb(0x1D).Uleb(path).Uleb(0x1F).Uleb(directory).Uleb(
            0x0B);
        table.Uleb(1).Number(2, bytes).Number(0, bytes).Number(1, bytes).U8(7);
        return table;
    };
    const auto one = [](uint8_t form, uint64_t offset) {
        return Code().U8(1).Uleb(path).Uleb(form).Uleb(1).U32(offset);
    };
    EXPECT_TRUE(ParseVersion5(one(0x0E, 2), one(0x1D, 0)));
    EXPECT_EQ(Directories(2), (Texts{"-", "the str"}));
    EXPECT_EQ(Files(2), (Texts{"-", "the dwo"}));
    EXPECT_TRUE(ParseVersion5(one(0x1F, 1), names(false)));
    EXPECT_EQ(Directories(2), (Texts{"-", "the line"}));
    EXPECT_EQ(Files(2), (Texts{"-", "the line"})); // the last path of an entry stays
    EXPECT_EQ(FileDirs(2), (Numbers{0, 7}));
    is32 = false; // of the unit: the header itself is still of the 32-bit form
    EXPECT_TRUE(ParseVersion5(NoEntries(), names(true)));
    EXPECT_EQ(Files(2), (Texts{"-", "the line"}));
    EXPECT_EQ(FileDirs(2), (Numbers{0, 7}));
    is32 = true;
    program.wide = true;
    EXPECT_TRUE(ParseVersion5(NoEntries(), names(false)));
    EXPECT_EQ(FileDirs(2), (Numbers{0, 7}));
}

TEST_F(LineTables, Version5PathsOutsideOfTheirSectionFailTheHeader) {
    const auto one = [](uint8_t form, uint64_t offset) {
        return Code().U8(1).Uleb(path).Uleb(form).Uleb(1).U32(offset);
    };
    EXPECT_TRUE(ParseVersion5(NoEntries(), one(0x0E, 9))); // the zero at the end
    EXPECT_EQ(Files(2), (Texts{"-", ""}));
    EXPECT_FALSE(ParseVersion5(NoEntries(), one(0x0E, 10)));
    EXPECT_FALSE(ParseVersion5(NoEntries(), one(0x0E, 0xFFFFFFFF)));
    EXPECT_FALSE(ParseVersion5(NoEntries(), one(0x1F, 0))); // there is no such section
    EXPECT_FALSE(ParseVersion5(NoEntries(), one(0x1D, 0)));
    str.back() = 'x'; // no end
    EXPECT_FALSE(ParseVersion5(NoEntries(), one(0x0E, 2)));
}

TEST_F(LineTables, Version5ReadsEachListedFormOfEachContent) {
    const Code block = Code().Uleb(3).Raw({1, 1, 1});
    struct Case {
        uint8_t content;
        uint64_t form;
        Code field;
    };
    const std::vector<Case> cases = {
        {directory, 0x0B, Code().U8(9)},
        {directory, 0x05, Code().U16(9)},
        {directory, 0x0F, Code().Uleb(300)},
        {timestamp, 0x06, Code().U32(9)},
        {timestamp, 0x07, Code().U64(9)},
        {timestamp, 0x0F, Code().Uleb(300)},
        {timestamp, 0x09, block},
        {size, 0x0B, Code().U8(9)},
        {size, 0x05, Code().U16(9)},
        {size, 0x06, Code().U32(9)},
        {size, 0x07, Code().U64(9)},
        {size, 0x0F, Code().Uleb(300)},
        {md5, 0x1E, Code().U64(1).U64(2)},
        {path, 0x08, Code().Text("f")},
        {path, 0x0E, Code().U32(0)},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(testing::Message() << int(one.content) << " in form " << one.form);
        EXPECT_TRUE(ParseFile(one.content, one.form, one.field));
    }
    EXPECT_TRUE(ParseFile(directory, 0x05, Code().U16(0x1234)));
    EXPECT_EQ(FileDirs(2), (Numbers{0, 0x1234}));
}

TEST_F(LineTables, Version5RefusesEveryOtherFormOfEachContent) {
    const Code field = Code().U64(0).U64(0).U64(0);
    for (uint64_t form = 0; form < 0x40; ++form) {
        const auto fails = [&](uint8_t content, std::vector<uint64_t> known) {
            for (const uint64_t good : known) {
                if (form == good) return;
            }
            EXPECT_FALSE(ParseFile(content, form, field)) << int(content) << " in form " << form;
            EXPECT_TRUE(lines.Table().files.empty());
        };
        fails(path, {0x08, 0x0E, 0x1D, 0x1F});
        fails(directory, {0x0B, 0x05, 0x0F});
        fails(timestamp, {0x06, 0x07, 0x0F, 0x09});
        fails(size, {0x0B, 0x05, 0x06, 0x07, 0x0F});
        fails(md5, {0x1E});
    }
}

TEST_F(LineTables, Version5ContentsThatAreNotKnownReadNothing) {
    for (const uint8_t content : {uint8_t(0), uint8_t(6), uint8_t(0x7F)})
        EXPECT_TRUE(ParseFile(content, 0x08, Code())) << int(content);
    Code files; // a two-byte LEB: the source text of some compilers
    files.U8(2).Uleb(path).Uleb(0x08).Uleb(0x2001).Uleb(0x1F).Uleb(1).Text("f");
    EXPECT_TRUE(ParseVersion5(NoEntries(), files));
    EXPECT_EQ(Files(2), (Texts{"-", "f"}));
}

TEST_F(LineTables, Version5DirectoryNumberInTheDirectoryTableGoesToTheFileOfThatNumber) {
    const Code directories =
        Code().U8(2).Uleb(path).Uleb(0x08).Uleb(directory).Uleb(0x0B).Uleb(2).Text("a").U8(5).Text("b").U8(6);
    EXPECT_TRUE(ParseVersion5(directories, InlineNames({"f", "g", "h"})));
    EXPECT_EQ(FileDirs(4), (Numbers{0, 5, 6, 0}));
    EXPECT_TRUE(ParseVersion5(directories, InlineNames({"f"})));
    EXPECT_EQ(FileDirs(3), (Numbers{0, 5, 0})); // file 2 is not in the table
    const Code files =
        Code().U8(2).Uleb(path).Uleb(0x08).Uleb(directory).Uleb(0x0F).Uleb(1).Text("f").Uleb(1);
    EXPECT_TRUE(ParseVersion5(directories, files));
    EXPECT_EQ(FileDirs(2), (Numbers{0, 1}));
}

TEST_F(LineTables, Version5EntriesPast1024AreReadAndDroppedWithoutAWord) {
    Texts names(1026, "n");
    names[1023] = "last";
    program.code = Code().Copy();
    EXPECT_TRUE(ParseVersion5(InlineNames(names), InlineNames(names)));
    EXPECT_STREQ(lines.Table().directories[1024].Get(), "last");
    EXPECT_EQ(lines.Table().files[1025].Get(), nullptr);
    EXPECT_EQ(lines.Table().files.size(), 1040u);
    EXPECT_EQ(Rows().size(), 1u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LineTables, Version5CountIsTakenInItsLow16Bits) {
    Code files;
    files.U8(1).Uleb(path).Uleb(0x08).Uleb(0x10001).Text("f");
    program.code = Code().Copy();
    EXPECT_TRUE(ParseVersion5(NoEntries(), files));
    EXPECT_EQ(Files(3), (Texts{"-", "f", "-"}));
    EXPECT_EQ(Rows().size(), 1u);
    for (const uint64_t huge : {uint64_t(1) << 32, uint64_t(1) << 63}) {
        EXPECT_TRUE(ParseVersion5(Code().U8(0).Uleb(huge), Code().U8(0).Uleb(huge + 2)));
        EXPECT_EQ(Directories(1), (Texts{"no such place"}));
        EXPECT_EQ(Files(4), (Texts{"-", "", "", "-"}));
    }
}

TEST_F(LineTables, Version5EntriesWithoutFormatsHaveEmptyNamesAndReadNothing) {
    program.code = Code().Copy();
    EXPECT_TRUE(ParseVersion5(Code().U8(0).Uleb(2), Code().U8(1).Uleb(9).Uleb(0x08).Uleb(0xFFFF)));
    EXPECT_EQ(Directories(4), (Texts{"-", "", "", "-"}));
    EXPECT_EQ(lines.Table().files.size(), 1040u);
    EXPECT_STREQ(lines.Table().files[1024].Get(), "");
    EXPECT_EQ(Rows().size(), 1u);
}

} // namespace
