#include "symbols/comp_unit.h"

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocation_count.h"
#include "symbols/function.h"
#include "symbols/symbol_factory.h"

namespace {

constexpr uint64_t top = ~uint64_t(0);

struct Nest {
    size_t functions;
    uint64_t space;
    uint64_t longest;
    size_t maxRanges;
    uint64_t origin;
};

class CompUnitAddresses : public testing::TestWithParam<Nest> {};

} // namespace

TEST_P(CompUnitAddresses, LookUpIsThatOfAWalk) {
    const Nest &nest = GetParam();
    for (uint64_t seed = 0; seed < 30; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        ktSymbolFactory factory;
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        std::vector<std::vector<ktAddrRange>> plain; // the ranges of each function
        const auto add = [&] {
            ktRef<ktFunction> function(factory.CreateFunction());
            plain.emplace_back();
            for (size_t i = random() % (nest.maxRanges + 1); i > 0; --i) {
                plain.back().push_back({nest.origin + random() % nest.space, random() % nest.longest});
                function->ranges.Add(plain.back().back().start, plain.back().back().size);
            }
            ASSERT_TRUE(unit->AddFunction(function.Get()));
        };
        const auto holds = [&plain](size_t place, uint64_t address) {
            uint64_t low = top;
            uint64_t high = 0;
            bool isInside = false;
            for (const ktAddrRange &range : plain[place]) {
                low = std::min(low, range.start);
                high = std::max(high, range.start + range.size);
                isInside |= address >= range.start && address - range.start < range.size;
            }
            return address >= low && address <= high && isInside;
        };
        const auto expectWalk = [&] {
            std::vector<ktFunction *> hits;
            for (uint64_t offset = 0; offset <= nest.space + 4; ++offset) {
                const uint64_t address = nest.origin + offset - 2;
                std::vector<ktFunction *> wanted;
                for (size_t place = 0; place < plain.size(); ++place) {
                    if (holds(place, address)) wanted.push_back(unit->Functions()[place]);
                }
                hits.assign(1, nullptr); // what is there stays
                unit->FunctionsAt(address, hits);
                hits.erase(hits.begin());
                ASSERT_EQ(hits, wanted) << "offset " << offset;
                ASSERT_EQ(unit->FirstFunctionAt(address), wanted.empty() ? nullptr : wanted[0]);
            }
        };
        for (size_t i = 0; i < nest.functions; ++i) add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        unit->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        unit->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
    }
}

INSTANTIATE_TEST_SUITE_P(Nests, CompUnitAddresses,
                         testing::Values(Nest{5, 60, 30, 2, 0}, Nest{60, 300, 8, 3, 0x1000},
                                         Nest{120, 200, 150, 2, 0x1000}, Nest{3, 400, 20, 80, 0x1000},
                                         Nest{80, 300, 40, 3, top - 150}, Nest{40, 20, 10, 1, 0}));

TEST(CompUnitLookUp, AFunctionWithTwoRangesThatOverlapIsOneHit) {
    ktSymbolFactory factory;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    for (uint64_t i = 0; i < 40; ++i) {
        ktRef<ktFunction> function(factory.CreateFunction());
        function->ranges.Add(0x1000, 0x100);
        function->ranges.Add(0x1080, 0x100);
        unit->AddFunction(function.Get());
    }
    unit->Freeze();
    std::vector<ktFunction *> hits;
    unit->FunctionsAt(0x1090, hits);
    EXPECT_EQ(hits, unit->Functions());
}

TEST(CompUnitLookUp, AllocatesNothingOnceTheIndexStands) {
    ktSymbolFactory factory;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    for (uint64_t i = 0; i < 1000; ++i) {
        ktRef<ktFunction> function(factory.CreateFunction());
        function->ranges.Add(i * 0x20, 0x10);
        unit->AddFunction(function.Get());
    }
    unit->Freeze();
    std::vector<ktFunction *> hits;
    hits.reserve(8);
    ASSERT_NE(unit->FirstFunctionAt(0), nullptr);
    ASSERT_TRUE(unit->ranges.Holds(0));
    const uint64_t before = AllocationCount();
    for (uint64_t address = 0; address < 0x8000; ++address) {
        const bool isInside = address % 0x20 < 0x10 && address < 1000 * 0x20;
        hits.clear();
        unit->FunctionsAt(address, hits);
        ASSERT_EQ(hits.size(), isInside ? 1u : 0u);
        ASSERT_EQ(unit->FirstFunctionAt(address) != nullptr, isInside);
        ASSERT_EQ(unit->ranges.Holds(address), isInside);
    }
    EXPECT_EQ(AllocationCount(), before);
}

TEST(CompUnitLookUp, ManyThreadsMayLookUpAtOnce) {
    constexpr uint64_t count = 2000;
    for (int round = 0; round < 5; ++round) {
        ktSymbolFactory factory;
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        for (uint64_t i = 0; i < count; ++i) {
            ktRef<ktFunction> function(factory.CreateFunction());
            function->ranges.Add(i * 0x20, 0x10);
            unit->AddFunction(function.Get());
        }
        unit->Freeze();
        std::vector<std::thread> threads;
        for (uint64_t n = 0; n < 4; ++n) {
            threads.emplace_back([&unit, n] {
                std::vector<ktFunction *> hits;
                for (uint64_t i = n; i < count; i += 3) {
                    hits.clear();
                    unit->FunctionsAt(i * 0x20 + 1, hits);
                    ASSERT_EQ(hits, std::vector<ktFunction *>{unit->Functions()[i]});
                    ASSERT_EQ(unit->FirstFunctionAt(i * 0x20 + 0x10), nullptr);
                    ASSERT_TRUE(unit->ranges.Holds(i * 0x20));
                    ASSERT_EQ(unit->FindFunction(unit->Functions()[i]->name.Get()), unit->Functions()[i]);
                }
            });
        }
        for (std::thread &thread : threads) thread.join();
    }
}
