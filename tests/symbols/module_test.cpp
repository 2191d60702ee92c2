#include "symbols/module.h"

#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocation_count.h"
#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/symbol_factory.h"

namespace {

constexpr uint64_t top = ~uint64_t(0);

class ModuleTest : public testing::TestWithParam<bool> {
protected:
    ModuleTest() {
        factory.indexNames = GetParam();
        module.Reset(factory.CreateModule());
    }

    ktCompUnit *Add(const char *name) {
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        unit->name.Assign(name);
        return module->AddCompUnit(unit.Get()) ? unit.Get() : nullptr;
    }

    ktSymbolFactory factory;
    ktRef<ktModule> module;
};

INSTANTIATE_TEST_SUITE_P(Names, ModuleTest, testing::Values(false, true),
                         [](const auto &instance) { return instance.param ? "Indexed" : "Scanned"; });

} // namespace

TEST_P(ModuleTest, EqualUnitNamesGetNumbersInOrder) {
    Add("a.c");
    Add("a.c");
    Add("b.c");
    Add("a.c");
    ASSERT_EQ(module->CompUnits().size(), 4u);
    EXPECT_STREQ(module->CompUnits()[1]->name.Get(), "a.c_1");
    EXPECT_STREQ(module->CompUnits()[3]->name.Get(), "a.c_2");
    EXPECT_EQ(module->FindCompUnit("a.c"), module->CompUnits()[0]);
    EXPECT_EQ(module->FindCompUnit("a.c_2"), module->CompUnits()[3]);
    EXPECT_EQ(module->FindCompUnit("a.c_3"), nullptr);
    EXPECT_EQ(module->FindCompUnit("A.C"), nullptr);
    EXPECT_EQ(module->FindCompUnit(nullptr), nullptr);
}

TEST_P(ModuleTest, AnAddTakesOneReferenceAndTheEndDropsIt) {
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    EXPECT_TRUE(module->AddCompUnit(unit.Get()));
    EXPECT_FALSE(module->AddCompUnit(nullptr));
    EXPECT_EQ(unit->RefCount(), 2u);
    module.Reset();
    EXPECT_EQ(unit->RefCount(), 1u);
}

TEST_P(ModuleTest, TheTrieStandsOnlyWhileIndexed) {
    Add("a.c");
    Add("b.c");
    for (const bool on : {true, false, true}) {
        module->SetIndexed(on);
        EXPECT_EQ(module->IsIndexed(), on);
        EXPECT_EQ(module->UnitNames().KeyCount(), on ? 2u : 0u);
        EXPECT_EQ(module->FindCompUnit("b.c"), module->CompUnits()[1]);
    }
}

TEST_P(ModuleTest, TensOfThousandsOfUnits) {
    constexpr size_t count = 65000;
    for (size_t i = 0; i < count; ++i) ASSERT_NE(Add(i % 2 ? "unit.c" : "cu"), nullptr);
    module->Freeze();
    EXPECT_EQ(module->FindCompUnit("unit.c_32499"), module->CompUnits().back());
    EXPECT_EQ(module->FindCompUnit("cu_32500"), nullptr);
}

TEST(Module, HoldsItsAddressRange) {
    ktModule module(1);
    EXPECT_FALSE(module.Holds(0));
    module.base = 0x1000;
    module.offset = 0x200;
    module.size = 0x100;
    EXPECT_EQ(module.Start(), 0x1200u);
    EXPECT_FALSE(module.Holds(0x11FF));
    EXPECT_TRUE(module.Holds(0x1200));
    EXPECT_TRUE(module.Holds(0x12FF));
    EXPECT_FALSE(module.Holds(0x1300));
}

TEST(Module, ARangeThatPassesTheTopEndsThere) {
    ktModule module(1);
    module.base = top - 0xF;
    module.size = 0x100;
    EXPECT_TRUE(module.Holds(top));
    EXPECT_FALSE(module.Holds(0));
    EXPECT_FALSE(module.Holds(0x20));
}

TEST(ModuleLookUp, IsThatOfAWalk) {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        ktSymbolFactory factory;
        ktRef<ktModule> module(factory.CreateModule());
        const uint64_t space = 200 + random() % 400;
        const uint64_t origin = seed % 5 ? 0x1000 : top - 300;
        const auto add = [&] {
            ktRef<ktCompUnit> unit(factory.CreateCompUnit());
            for (size_t i = random() % 4; i > 0; --i)
                unit->ranges.Add(origin + random() % space, random() % 50);
            ASSERT_TRUE(module->AddCompUnit(unit.Get()));
        };
        const auto expectWalk = [&] {
            std::vector<ktCompUnit *> hits;
            for (uint64_t offset = 0; offset < space + 60; ++offset) {
                std::vector<ktCompUnit *> wanted;
                for (ktCompUnit *unit : module->CompUnits()) {
                    bool isInside = false;
                    for (const ktAddrRange &range : unit->ranges.Ranges()) {
                        const uint64_t address = origin + offset;
                        isInside |= address >= range.start && address - range.start < range.size;
                    }
                    if (isInside && origin + offset >= unit->ranges.Low() &&
                        origin + offset <= unit->ranges.High()) {
                        wanted.push_back(unit);
                    }
                }
                hits.clear();
                module->UnitsAt(origin + offset, hits);
                ASSERT_EQ(hits, wanted) << "offset " << offset;
                ASSERT_EQ(module->FirstUnitAt(origin + offset), wanted.empty() ? nullptr : wanted[0]);
            }
        };
        for (size_t i = random() % 80; i > 0; --i) add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        module->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        module->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
    }
}

TEST(ModuleLookUp, AnAddressAtTheHighEndOfAUnitIsOutside) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    unit->ranges.Add(0x1000, 0x10);
    module->AddCompUnit(unit.Get());
    module->Freeze();
    EXPECT_EQ(module->FirstUnitAt(0x100F), unit.Get());
    EXPECT_EQ(unit->ranges.High(), 0x1010u);
    EXPECT_EQ(module->FirstUnitAt(0x1010), nullptr);
}

TEST(ModuleLookUp, FreezeSeesWhatChangedSinceTheLastOne) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    for (uint64_t i = 0; i < 40; ++i) {
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        unit->ranges.Add(i * 0x100, 0x10);
        module->AddCompUnit(unit.Get());
    }
    module->Freeze();
    EXPECT_EQ(module->FirstUnitAt(0x20), nullptr);
    module->CompUnits()[7]->ranges.Add(0x20, 1);
    module->Freeze();
    EXPECT_EQ(module->FirstUnitAt(0x20), module->CompUnits()[7]);
}

TEST(ModuleLookUp, AllocatesNothingOnceTheIndexStands) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    for (uint64_t i = 0; i < 500; ++i) {
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        unit->ranges.Add(i * 0x100, 0x80);
        module->AddCompUnit(unit.Get());
    }
    module->Freeze();
    ASSERT_NE(module->FirstUnitAt(0), nullptr);
    const uint64_t before = AllocationCount();
    for (uint64_t i = 0; i < 500; ++i) ASSERT_EQ(module->FirstUnitAt(i * 0x100 + 5), module->CompUnits()[i]);
    EXPECT_EQ(AllocationCount(), before);
}

TEST(ModuleLookUp, ManyThreadsMayLookUpAtOnce) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    for (uint64_t i = 0; i < 100; ++i) {
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        for (uint64_t n = 0; n < 40; ++n) {
            ktRef<ktFunction> function(factory.CreateFunction());
            function->ranges.Add(i * 0x1000 + n * 0x20, 0x10);
            unit->AddFunction(function.Get());
        }
        module->AddCompUnit(unit.Get());
    }
    module->Freeze();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&module] {
            for (uint64_t i = 0; i < 100; ++i) {
                for (uint64_t n = 0; n < 40; ++n) {
                    const ktCompUnit *unit = module->FirstUnitAt(i * 0x1000 + n * 0x20 + 8);
                    ASSERT_EQ(unit, module->CompUnits()[i]);
                    ASSERT_EQ(unit->FirstFunctionAt(i * 0x1000 + n * 0x20 + 8), unit->Functions()[n]);
                }
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
}
