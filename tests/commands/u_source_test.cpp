#include "disasm/u_cmd.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "disasm/xed_disasm.h"
#include "support/command_session.h"
#include "support/fixed_rows.h"
#include "support/temp_folder.h"
#include "symbols/srcpath_cmd.h"

namespace {

using Lines = std::vector<std::string>;

/// Two modules that touch, full of one-byte instructions: kernel from 101000, whose units one.c and two.c
/// have a function of four bytes each, and user from 101008, whose unit three.S has lines and no function,
/// and whose unit four.c has a function from 101018. Rows stand at the first and the third byte of each.
class USource : public testing::Test {
protected:
    USource() {
        auto made = std::make_unique<ktXedDisasm>();
        disasm = made.get();
        target.session.disasm = std::move(made);
        target.Write(0x101000, std::vector<uint8_t>(0x1000, 0x90));
        kernel = target.builder.AddModule("kernel", 0x101000, 8);
        ktCompUnit *one = target.builder.AddUnit(kernel, "one.c");
        target.builder.AddFunction(one, "first", {{0x101000, 4}});
        SetRows(*one, {{0x101000, 0, 1}, {0x101002, 1, 1}, {0x101003, 0, 2}});
        ktCompUnit *two = target.builder.AddUnit(kernel, "two.c");
        target.builder.AddFunction(two, "second", {{0x101004, 4}});
        SetRows(*two, {{0x101004, 0, 1}, {0x101006, 1, 1}});
        target.builder.Publish(*target.space, kernel);
        user = target.builder.AddModule("user", 0x101008, 0x18);
        ktCompUnit *three = target.builder.AddUnit(user, "three.S");
        three->ranges.Add(0x101008, 0x10);
        SetRows(*three, {{0x101008, 0, 1}, {0x10100A, 1, 1}});
        ktCompUnit *four = target.builder.AddUnit(user, "four.c");
        target.builder.AddFunction(four, "fourth", {{0x101018, 8}});
        SetRows(*four, {{0x101018, 0, 1}, {0x10101A, 1, 1}});
        target.builder.Publish(*target.space, user);
        for (const char *place : {"here", "there"}) {
            for (const char *name : {"one.c", "one.h", "two.c", "three.S", "four.c"})
                WriteSource(place, name);
        }
    }
    ~USource() override { disasm->SetSpace(nullptr); }

    /// The file 1 of a unit has its name, file 2 that name with an h.
    static void SetRows(ktCompUnit &unit, std::initializer_list<ktLineRecord> rows) {
        const std::string name = unit.name.Get();
        ktLineTable table;
        ktLineTable::PlaceAt(table.files, 1).Assign(name);
        table.files[2].Assign(name.substr(0, name.find('.')) + ".h");
        AddLines(unit.lines, std::move(table), rows);
        unit.lines.compDir.Assign("/build");
    }
    /// Two lines that say where they stand.
    void WriteSource(const std::string &place, const std::string &name) {
        const std::string text = place + " " + name + " 1\n" + place + " " + name + " 2\n";
        std::filesystem::create_directories(folder.Path(place));
        folder.Write(place + "/" + name, {text.begin(), text.end()});
    }
    /// What the command `u` prints, the instructions as their last two digits.
    Lines List(std::vector<std::string> words) {
        EXPECT_EQ(target.Run(u, std::move(words)), ktCmdOk);
        Lines lines = target.output.lines;
        for (std::string &line : lines) {
            const size_t colon = line.find(": 90 ");
            if (colon != line.npos) line = line.substr(colon - 2, 2);
        }
        return lines;
    }
    void SetPath(const char *module, const std::string &place) {
        EXPECT_EQ(target.Run(srcpath, {module, folder.Path(place)}), ktCmdOk);
        EXPECT_TRUE(target.output.lines.empty());
    }

    ktTempFolder folder;
    ktCommandSession target;
    ktXedDisasm *disasm;
    ktUCmd u;
    ktSrcPathCmd srcpath;
    ktModule *kernel = nullptr, *user = nullptr;
};

TEST_F(USource, AListingThatPassesIntoAnotherUnitShowsThatUnitsLines) {
    SetPath("kernel", "here");
    EXPECT_EQ(List({"101000", "8"}),
              (Lines{"kernel!one.c|first", "here one.c 1", "00", "01", "here one.c 2", "02", "here one.h 1",
                     "03", "kernel!two.c|second", "here two.c 1", "04", "05", "here two.c 2", "06", "07"}));
}

TEST_F(USource, WithoutACountTheListingEndsBeforeTheNextUnitsFunction) {
    SetPath("kernel", "here");
    EXPECT_EQ(List({"101002"}), (Lines{"here one.c 2", "02", "here one.h 1", "03"}));
}

TEST_F(USource, AListingThatPassesIntoAnotherModuleShowsLinesByThatModulesPath) {
    SetPath("kernel", "here");
    const Lines withoutPath = {"07", "08", "09", "0A"};
    EXPECT_EQ(List({"101007", "4"}), withoutPath);
    SetPath("user", "there");
    EXPECT_EQ(List({"101006", "6"}), (Lines{"here two.c 2", "06", "07", "there three.S 1", "08", "09",
                                            "there three.S 2", "0A", "0B"}));
}

TEST_F(USource, AUnitWithoutFunctionsShowsItsLinesAndNoHeader) {
    SetPath("user", "here");
    EXPECT_EQ(List({"101008"}), (Lines{"here three.S 1", "08", "09", "here three.S 2", "0A", "0B", "0C", "0D",
                                       "0E", "0F", "10", "11", "12", "13"})); // twelve instructions
    EXPECT_EQ(List({"101016", "4"}), (Lines{"16", "17", "user!four.c|fourth", "here four.c 1", "18", "19"}));
    EXPECT_EQ(List({"101016"}), (Lines{"16", "17"}));
}

TEST_F(USource, AUnitWithoutFunctionsIsListedFromItsName) {
    SetPath("user", "here");
    EXPECT_EQ(List({"user!three.S", "3"}), (Lines{"here three.S 1", "08", "09", "here three.S 2", "0A"}));
}

TEST_F(USource, APathThatIsSetBetweenTwoListingsCountsAtOnce) {
    const Lines withoutSource = {"kernel!one.c|first", "00", "01"};
    const Lines withSource = {"kernel!one.c|first", "here one.c 1", "00", "01"};
    EXPECT_EQ(List({"101000", "2"}), withoutSource);
    SetPath("kernel", "nowhere");
    EXPECT_EQ(List({"101000", "2"}), withoutSource);
    SetPath("kernel", "here");
    EXPECT_EQ(List({"101000", "2"}), withSource);
}

TEST_F(USource, ANewPathCountsForFilesThatAreNotLoadedAndLoadedOnesStay) {
    SetPath("kernel", "here");
    EXPECT_EQ(List({"101000", "1"}), (Lines{"kernel!one.c|first", "here one.c 1", "00"}));
    SetPath("kernel", "there");
    EXPECT_EQ(List({"101002", "3"}), (Lines{"here one.c 2", "02", "there one.h 1", "03",
                                            "kernel!two.c|second", "there two.c 1", "04"}));
    SetPath("kernel", "nowhere");
    EXPECT_EQ(List({"101002", "3"}), (Lines{"here one.c 2", "02", "there one.h 1", "03",
                                            "kernel!two.c|second", "there two.c 1", "04"}));
}

TEST_F(USource, TheSourceFileOfAListingMayChangeOnDiskOnceItIsLoaded) {
    SetPath("kernel", "here");
    EXPECT_EQ(List({"101000", "1"}), (Lines{"kernel!one.c|first", "here one.c 1", "00"}));
    folder.Write("here/one.c", {});
    EXPECT_EQ(List({"101002", "1"}), (Lines{"here one.c 2", "02"}));
}

} // namespace
