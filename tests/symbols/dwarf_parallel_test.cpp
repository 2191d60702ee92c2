#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "support/dwarf_fixture.h"
#include "support/dwarf_program.h"

namespace {

/// The number of workers.
class DwarfParallel : public testing::TestWithParam<uint32_t>, protected ktDwarfFixture {
protected:
    static constexpr uint64_t unitCount = 200;

    /// Units with names of their own throughout, so that no name depends on the order of the units.
    ktBytes Program() {
        for (uint64_t number = 0; number < unitCount; ++number) {
            dwarf.version = number % 3 == 0 ? 4 : 5;
            dwarf.wide = number % 5 == 0;
            dwarf.BeginTable();
            AddProgramUnit(dwarf, number);
        }
        return dwarf.Build();
    }
    /// Default names differ with the order in which units take numbers.
    static std::string WithoutNumbers(const std::string &text) {
        std::string out;
        for (size_t i = 0; i < text.size(); ++i) {
            out += text[i];
            if (text[i] == '_') {
                while (i + 1 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1]))) ++i;
            }
        }
        return out;
    }
    Lines SortedUnits() {
        Lines lines = DescribeAll();
        for (std::string &line : lines) line = WithoutNumbers(line);
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    Lines SortedMessages() {
        Lines lines = log.lines;
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

TEST_P(DwarfParallel, GivesWhatOneThreadGivesButForTheOrder) {
    const ktBytes file = Program();
    ASSERT_TRUE(LoadFile(file));
    const Lines units = SortedUnits();
    const Lines messages = SortedMessages();
    const uint64_t lastId = factory.nextId;
    ASSERT_EQ(units.size(), unitCount);
    ASSERT_GE(messages.size(), unitCount);
    request.module.Reset();

    log.Clear();
    factory.nextId = 0;
    UsePool(GetParam());
    ASSERT_TRUE(LoadFile(file));
    EXPECT_EQ(SortedUnits(), units);
    EXPECT_EQ(SortedMessages(), messages);
    EXPECT_EQ(factory.nextId, lastId);
}

TEST_P(DwarfParallel, NumbersAreUniqueAndThoseOfOneUnitAscend) {
    const ktBytes file = Program();
    UsePool(GetParam());
    ASSERT_TRUE(LoadFile(file));
    std::vector<uint64_t> ids;
    for (const ktCompUnit *unit : Module().CompUnits()) {
        uint64_t last = unit->GetId();
        ids.push_back(last);
        for (const ktType *type : unit->Types()) {
            EXPECT_GT(type->GetId(), last);
            last = type->GetId();
            ids.push_back(last);
        }
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST_P(DwarfParallel, TheLinesOfUnitsAreTheirs) {
    const ktBytes file = Program();
    UsePool(GetParam());
    ASSERT_TRUE(LoadFile(file));
    for (const ktCompUnit *unit : Module().CompUnits()) {
        ASSERT_FALSE(unit->lines.Rows().empty());
        EXPECT_EQ(unit->lines.Rows()[0].address, unit->ranges.Low());
    }
}

INSTANTIATE_TEST_SUITE_P(Workers, DwarfParallel, testing::Values(1, 2, 7, 128));

} // namespace
