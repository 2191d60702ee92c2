#include "symbols/source_lines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/fixed_rows.h"
#include "support/recording_lines.h"
#include "support/symbol_builder.h"
#include "support/temp_folder.h"
#include "symbols/location.h"
#include "symbols/source_cache.h"

namespace {

using Lines = std::vector<std::string>;

class SourceLines : public testing::Test {
protected:
    SourceLines() {
        location.module = module = builder.AddModule("kernel", 0x100000, 0x10000);
        location.unit = unit = builder.AddUnit(module, "main.c");
        ktLineTable table;
        ktLineTable::PlaceAt(table.files, 1).Assign("main.c");
        table.files[2].Assign("other.c");
        table.fileDirs.resize(table.files.size());
        const std::vector<ktLineRecord> rows = {{0x1000, 1, 1},           {0x1004, 0, 1}, {0x1004, 1, 1},
                                                {0x1008, 2, 1},           {0x100C, 0, 2}, {0x1010, 0, 9},
                                                {0x1014, ~uint64_t(0), 1}};
        AddLines(unit->lines, std::move(table), rows);
        unit->lines.compDir.Assign("/build/kernel");
        Write("main.c", "int a;\nint b;\nint c;");
    }
    ~SourceLines() override { module->Release(); }

    void Write(const std::string &name, const std::string &text) {
        folder.Write(name, {text.begin(), text.end()});
    }
    Lines Show(uint64_t address) {
        ktRecordingLines output;
        ShowSourceLine(location, address, output);
        return output.lines;
    }

    ktTempFolder folder;
    ktSymbolBuilder builder;
    ktModule *module = nullptr;
    ktCompUnit *unit = nullptr;
    ktLocation location;
};

TEST_F(SourceLines, LineOfTheFirstRowOfExactlyThisAddress) {
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x1000), Lines{"int b;"});
    EXPECT_EQ(Show(0x1004), Lines{"int a;"});
    EXPECT_EQ(Show(0x1001), Lines{});
    EXPECT_EQ(Show(0xFFF), Lines{});
}

TEST_F(SourceLines, NothingWithoutASourcePath) { EXPECT_EQ(Show(0x1000), Lines{}); }

TEST_F(SourceLines, NothingWithoutModuleOrUnit) {
    module->sourcePath.Assign(folder.Path(""));
    location.unit = nullptr;
    EXPECT_EQ(Show(0x1000), Lines{});
    location.unit = unit;
    location.module = nullptr;
    EXPECT_EQ(Show(0x1000), Lines{});
}

TEST_F(SourceLines, NothingForALineOutOfRange) {
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x1008), Lines{}); // the last line, which no line feed ends
    EXPECT_EQ(Show(0x1014), Lines{}); // line 0 of the compiler
}

TEST_F(SourceLines, NothingForAFileThatIsNotFound) {
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x100C), Lines{});
    EXPECT_EQ(Show(0x1010), Lines{}); // no such number
    Write("other.c", "found now\n");
    EXPECT_EQ(Show(0x100C), Lines{"found now"});
}

TEST_F(SourceLines, AFolderOfTheFilesNameIsPassedOver) {
    std::filesystem::create_directories(folder.Path("build/kernel/main.c"));
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x1000), Lines{"int b;"});
}

TEST_F(SourceLines, ANewSourcePathCountsForFilesNotYetLoaded) {
    module->sourcePath.Assign(folder.Path("missing"));
    EXPECT_EQ(Show(0x1000), Lines{});
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x1000), Lines{"int b;"});
    module->sourcePath.Assign(folder.Path("missing"));
    EXPECT_EQ(Show(0x1004), Lines{"int a;"}); // loaded files stay
}

TEST_F(SourceLines, AUnitWithoutLinesShowsNothing) {
    location.unit = builder.AddUnit(module, "empty.c");
    module->sourcePath.Assign(folder.Path(""));
    EXPECT_EQ(Show(0x1000), Lines{});
}

} // namespace
