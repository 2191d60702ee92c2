#include "symbols/line_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "support/allocation_count.h"
#include "support/line_fixture.h"

namespace {

/// One row, in file 1; counts how often it was asked.
class OneRow final : public ktFixedRows {
public:
    OneRow(uint64_t address, uint64_t line, std::atomic<int> &counter)
        : ktFixedRows({}, {{address, line, 1}}), asked(counter) {}
    void AddNames(ktLineTable &table) const override {
        ++asked;
        ktLineTable::PlaceAt(table.files, 1).Lend("a.c");
    }
    void AddStretches(std::vector<ktLineStretch> &stretches) const override {
        ++asked;
        ktFixedRows::AddStretches(stretches);
    }

private:
    std::atomic<int> &asked;
};

/// Two rows, for which there is no memory the first `failures` times that it is asked.
class FailingRows final : public ktFixedRows {
public:
    FailingRows(uint64_t address, int failures)
        : ktFixedRows({}, {{address, 1, 1}, {address + 4, 2, 1}}), failuresLeft(failures) {}
    void AddNames(ktLineTable &table) const override {
        ktLineTable::PlaceAt(table.files, 1).Lend("b.c");
        Fail();
        ktLineTable::PlaceAt(table.files, 2).Lend("c.c");
    }
    void AddStretches(std::vector<ktLineStretch> &stretches) const override {
        ktFixedRows::AddStretches(stretches);
        Fail();
    }

private:
    void Fail() const {
        if (failuresLeft == 0) return;
        --failuresLeft;
        throw std::bad_alloc();
    }

    mutable int failuresLeft;
};

TEST(LineInfo, IsEmptyWithoutSources) {
    const ktLineInfo lines;
    EXPECT_TRUE(lines.Rows().empty());
    EXPECT_TRUE(lines.Table().files.empty());
    EXPECT_FALSE(lines.FirstRowAt(0));
    EXPECT_EQ(lines.compDir.Get(), nullptr);
}

TEST(LineInfo, WorksNamesAndIndexOutOnceWhenTheyAreAskedFor) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, 0, asked));
    lines.Add(std::make_unique<OneRow>(0x2000, 1, asked));
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(&lines.Table(), &lines.Table());
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(lines.FirstRowAt(0x2000), (ktLineRecord{0x2000, 1, 1}));
    EXPECT_EQ(lines.FirstRowAt(0x1000), (ktLineRecord{0x1000, 0, 1}));
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(lines.Rows(), (ktLineRows{{0x1000, 0, 1}, {0x2000, 1, 1}}));
}

TEST(LineInfo, AFurtherSourceShowsBehindTheOthers) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, 0, asked));
    EXPECT_FALSE(lines.FirstRowAt(0x2000));
    lines.Add(std::make_unique<OneRow>(0x2000, 1, asked));
    lines.Add(std::make_unique<OneRow>(0x1000, 2, asked));
    EXPECT_EQ(lines.FirstRowAt(0x2000), (ktLineRecord{0x2000, 1, 1}));
    EXPECT_EQ(lines.FirstRowAt(0x1000), (ktLineRecord{0x1000, 0, 1}));
}

TEST(LineInfo, WithoutMemoryTheTableIsEmptyAndWholeWhenItIsAskedForAgain) {
    std::atomic<int> asked{0};
    ktLineInfo lines;
    lines.Add(std::make_unique<OneRow>(0x1000, 0, asked));
    lines.Add(std::make_unique<FailingRows>(0x2000, 2));
    EXPECT_TRUE(lines.Table().files.empty()); // not even those of the source that had memory
    EXPECT_TRUE(lines.Table().files.empty());
    ASSERT_EQ(lines.Table().files.size(), 16u);
    EXPECT_STREQ(lines.Table().files[1].Get(), "b.c");
    EXPECT_STREQ(lines.Table().files[2].Get(), "c.c");
    EXPECT_EQ(asked, 3);
}

TEST(LineInfo, WithoutMemoryForTheIndexNoRowIsFoundAndTheNextSearchFindsIt) {
    ktLineInfo lines;
    lines.Add(std::make_unique<FailingRows>(0x2000, 1));
    EXPECT_FALSE(lines.FirstRowAt(0x2004));
    EXPECT_EQ(lines.FirstRowAt(0x2004), (ktLineRecord{0x2004, 2, 1}));
}

TEST(LineInfo, ASearchThatHasNoMemoryAtAnyPointFindsNothingAndTheNextOneFindsTheRow) {
    for (uint64_t failing = 0;; ++failing) {
        ktLineInfo lines;
        lines.Add(std::make_unique<FailingRows>(0x2000, 0));
        std::optional<ktLineRecord> row;
        bool hasThrown;
        {
            const ktAllocationThrow failure(failing);
            row = lines.FirstRowAt(0x2004);
            hasThrown = failure.HasThrown();
        }
        EXPECT_EQ(row.has_value(), !hasThrown) << failing;
        EXPECT_EQ(lines.FirstRowAt(0x2004), (ktLineRecord{0x2004, 2, 1})) << failing;
        if (!hasThrown) {
            EXPECT_GE(failing, 4u); // the index, its stretches, its tree, and the stretches that are found
            break;
        }
    }
}

TEST(LineInfo, ManyStretchesThatHoldOneAddressAreNotAllRunForIt) {
    // A source of a row at 0, the highest line at the address asked for, and a row at the end of the space.
    ktLineInfo lines;
    for (uint64_t i = 0; i < 1000; ++i) {
        AddLines(lines, {}, {{0, i, 1}, {0x1000 + i, i, 1}, {0x1000 + i, i + 1, 1}, {~uint64_t(0), i, 1}});
    }
    EXPECT_EQ(lines.FirstRowAt(0), (ktLineRecord{0, 0, 1}));
    EXPECT_EQ(lines.FirstRowAt(~uint64_t(0)), (ktLineRecord{~uint64_t(0), 0, 1}));
    for (uint64_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(lines.FirstRowAt(0x1000 + i), (ktLineRecord{0x1000 + i, i, 1}));
    }
    EXPECT_FALSE(lines.FirstRowAt(0x800));
    EXPECT_FALSE(lines.FirstRowAt(0x1000 + 1000));
    AddLines(lines, {}, {{0x800, 7, 1}});
    EXPECT_EQ(lines.FirstRowAt(0x800), (ktLineRecord{0x800, 7, 1})); // also of what comes later
}

TEST(LineInfo, FirstRowAtIsTheFirstInTheTablesOrder) {
    ktLineInfo lines;
    AddLines(
        lines, {},
        {{0x2000, 1, 1}, {0x1000, 2, 1}, {0x2000, 3, 1}, {~uint64_t(0), 4, 1}, {0, 5, 1}, {0x1000, 6, 1}});
    const auto lineAt = [&lines](uint64_t address) {
        const std::optional<ktLineRecord> row = lines.FirstRowAt(address);
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
        std::vector<ktLineRecord> rows;
        const uint64_t gap = round % 4 * 5; // without a gap sequences touch
        uint64_t start = 0x1000;
        for (uint64_t sequence = random() % 6; sequence > 0; --sequence) {
            if (round % 2) start = 0x1000 + random() % 40;
            uint64_t address = start;
            for (uint64_t row = 1 + random() % 6; row > 0; --row) {
                rows.push_back({address, rows.size(), 1});
                address += random() % 3;
            }
            start = rows.back().address + gap;
        }
        if (round % 8 >= 4) std::reverse(rows.begin(), rows.end());
        ktLineInfo lines;
        lines.Add(std::make_unique<ktFixedRows>(ktLineTable(), rows, 1 + round % 5));
        for (uint64_t address = 0xFFF; address < 0x1080; ++address) {
            const auto wanted = std::find_if(rows.begin(), rows.end(), [address](const ktLineRecord &row) {
                return row.address == address;
            });
            const std::optional<ktLineRecord> found = lines.FirstRowAt(address);
            ASSERT_EQ(found.has_value(), wanted != rows.end()) << round << " " << address;
            if (found) {
                ASSERT_EQ(found->line, wanted->line) << round << " " << address;
            }
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
        for (uint64_t i = 0; i < 100; ++i) lines.Add(std::make_unique<OneRow>(i, i, asked));
        const ktLineTable *seen[2] = {};
        std::optional<ktLineRecord> rows[2];
        const auto ask = [&](int who) {
            seen[who] = &lines.Table();
            rows[who] = lines.FirstRowAt(99);
        };
        std::thread other(ask, 1);
        ask(0);
        other.join();
        EXPECT_EQ(seen[0], seen[1]);
        EXPECT_EQ(rows[0], (ktLineRecord{99, 99, 1}));
        EXPECT_EQ(rows[0], rows[1]);
    }
}

} // namespace
