#include "symbols/line_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// Appends one row, and counts how often it was asked.
class OneRow final : public ktLineSource {
public:
    OneRow(uint64_t rowAddress, std::atomic<int> &counter) : address(rowAddress), asked(counter) {}
    void AddTo(ktLineTable &table) const override {
        ++asked;
        table.rows.push_back({address, table.rows.size(), 1});
    }

private:
    const uint64_t address;
    std::atomic<int> &asked;
};

TEST(LineInfo, IsEmptyWithoutSources) {
    const ktLineInfo lines;
    EXPECT_TRUE(lines.Rows().empty());
    EXPECT_TRUE(lines.Table().files.empty());
    EXPECT_EQ(lines.FirstRowAt(0), nullptr);
    EXPECT_EQ(lines.compDir.Get(), nullptr);
}

TEST(LineInfo, WorksTheTableOutOnceWhenItIsAskedFor) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, asked));
    lines.Add(std::make_unique<OneRow>(0x2000, asked));
    EXPECT_EQ(asked, 0);
    ASSERT_EQ(lines.Rows().size(), 2u);
    EXPECT_EQ(lines.Rows()[1].address, 0x2000u);
    EXPECT_EQ(lines.Rows()[1].line, 1u);
    EXPECT_EQ(&lines.Table(), &lines.Table());
    EXPECT_EQ(asked, 2);
}

TEST(LineInfo, AFurtherSourceShowsBehindTheOthers) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, asked));
    EXPECT_EQ(lines.FirstRowAt(0x2000), nullptr);
    lines.Add(std::make_unique<OneRow>(0x2000, asked));
    ASSERT_NE(lines.FirstRowAt(0x2000), nullptr);
    EXPECT_EQ(lines.FirstRowAt(0x2000)->line, 1u);
}

TEST(LineInfo, ATableThatIsSetReplacesSources) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, asked));
    EXPECT_NE(lines.FirstRowAt(0x1000), nullptr);
    ktLineTable table;
    table.rows = {{0x3000, 7, 2}};
    lines.SetTable(std::move(table));
    EXPECT_EQ(lines.FirstRowAt(0x1000), nullptr);
    ASSERT_EQ(lines.Rows().size(), 1u);
    EXPECT_EQ(lines.Rows()[0].line, 7u);
    EXPECT_EQ(asked, 1);
}

TEST(LineInfo, FirstRowAtIsTheFirstInTheTablesOrder) {
    ktLineTable table;
    table.rows = {{0x2000, 1, 1},       {0x1000, 2, 1}, {0x2000, 3, 1},
                  {~uint64_t(0), 4, 1}, {0, 5, 1},      {0x1000, 6, 1}};
    ktLineInfo lines;
    lines.SetTable(std::move(table));
    const auto lineAt = [&lines](uint64_t address) {
        const ktLineRecord *row = lines.FirstRowAt(address);
        return row ? row->line : 0;
    };
    EXPECT_EQ(lineAt(0x1000), 2u);
    EXPECT_EQ(lineAt(0x2000), 1u);
    EXPECT_EQ(lineAt(~uint64_t(0)), 4u);
    EXPECT_EQ(lineAt(0), 5u);
    EXPECT_EQ(lineAt(0x1001), 0u);
    EXPECT_EQ(lineAt(~uint64_t(0) - 1), 0u);
}

TEST(LineInfo, FirstRowAtAgreesWithAScanForSequencesThatTouchOverlapAndStandInAnyOrder) {
    std::minstd_rand random(7);
    for (int round = 0; round < 200; ++round) {
        ktLineTable table;
        const uint64_t gap = round % 4 * 5; // without a gap sequences touch
        uint64_t start = 0x1000;
        for (uint64_t sequence = random() % 6; sequence > 0; --sequence) {
            if (round % 2) start = 0x1000 + random() % 40;
            uint64_t address = start;
            for (uint64_t row = 1 + random() % 6; row > 0; --row) {
                table.rows.push_back({address, table.rows.size(), 1});
                address += random() % 3;
            }
            start = table.rows.back().address + gap;
        }
        if (round % 8 >= 4) std::reverse(table.rows.begin(), table.rows.end());
        const std::vector<ktLineRecord> rows = table.rows;
        ktLineInfo lines;
        lines.SetTable(std::move(table));
        for (uint64_t address = 0xFFF; address < 0x1080; ++address) {
            const auto wanted = std::find_if(rows.begin(), rows.end(), [address](const ktLineRecord &row) {
                return row.address == address;
            });
            const ktLineRecord *found = lines.FirstRowAt(address);
            ASSERT_EQ(found != nullptr, wanted != rows.end()) << round << " " << address;
            if (!found) continue;
            ASSERT_EQ(found->line, wanted->line) << round << " " << address;
        }
    }
}

TEST(LineInfo, DirectoryOfAFile) {
    ktLineTable table;
    ktLineTable::PlaceAt(table.directories, 1).Assign("/inc");
    table.fileDirs = {0, 1, 0, 2, 15, 16, ~uint64_t(0)};
    EXPECT_STREQ(table.DirectoryOf(1, "/build"), "/inc");
    EXPECT_STREQ(table.DirectoryOf(2, "/build"), "/build");
    EXPECT_EQ(table.DirectoryOf(2, nullptr), nullptr);
    EXPECT_EQ(table.DirectoryOf(3, "/build"), nullptr); // a place that holds nothing
    EXPECT_EQ(table.DirectoryOf(4, "/build"), nullptr);
    EXPECT_EQ(table.DirectoryOf(5, "/build"), nullptr); // no such place
    EXPECT_EQ(table.DirectoryOf(6, "/build"), nullptr);
}

TEST(LineInfo, ThreadsThatAskAtOnceGetOneTable) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> asked{0};
        ktLineInfo lines;
        for (uint64_t i = 0; i < 100; ++i) lines.Add(std::make_unique<OneRow>(i, asked));
        const ktLineTable *seen[2] = {};
        const ktLineRecord *rows[2] = {};
        const auto ask = [&](int who) {
            seen[who] = &lines.Table();
            rows[who] = lines.FirstRowAt(99);
        };
        std::thread other(ask, 1);
        ask(0);
        other.join();
        EXPECT_EQ(seen[0], seen[1]);
        ASSERT_NE(rows[0], nullptr);
        EXPECT_EQ(rows[0], rows[1]);
        EXPECT_EQ(rows[0]->line, 99u);
    }
}

} // namespace
