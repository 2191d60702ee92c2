#include "session/sb_break_point_manager.h"

#include "support/break_point_fixture.h"

namespace {

using BreakPointReload = ktBreakPointFixture;

ktSbRawFilter Filter(uint64_t root, uint64_t address) { return {3, {}, root, address, {}}; }

} // namespace

TEST_F(BreakPointReload, OfNothingAsksOnce) {
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(), Calls{"SbGetBreakPointInfo E1 0 40 FFFF"});
}

TEST_F(BreakPointReload, WithoutAChangeChangesNothing) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    ASSERT_EQ(Add(Physical(0x9000)), 2);
    TakeCalls();
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointFilterInfo E1 1 0 40",
                     "SbGetBreakPointFilterInfo E1 1 0 40", "SbGetBreakPointFilterInfo E1 1 0 40"}))
        << "for each breakpoint with a filter, then for each of the library's";
    EXPECT_EQ(List(), "0E 1E 2E");
    EXPECT_EQ(manager.Ids().InUse(), 3u);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, (std::set<uint32_t>{0, 1}));
    for (const uint32_t id : {0u, 1u, 2u}) EXPECT_TRUE(manager.Remove(id));
    library->With([](ktTestEngine::Machine &m) { EXPECT_TRUE(m.breakPoints.empty()); });
}

TEST_F(BreakPointReload, WhatTheLibraryLostIsDisabled) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Virtual(linear)), 1);
    ASSERT_EQ(Add(Physical(0x9000)), 2);
    ASSERT_EQ(Add(Physical(0xA000)), 3);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints.erase(1);
        m.breakPoints.erase(2);
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0D 1D 2D 3E");
    for (const uint32_t id : {0u, 1u, 2u}) ExpectCleared(id);
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    EXPECT_EQ(manager.FindPhysBreak(0x9000), nullptr);
    EXPECT_NE(manager.FindPhysBreak(0xA000), nullptr);
    TakeCalls();
    for (const uint32_t id : {0u, 1u, 2u}) EXPECT_TRUE(manager.Remove(id));
    EXPECT_TRUE(TakeCalls().empty());
}

TEST_F(BreakPointReload, ALostFilterDisablesItsBreakpoint) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[1].filters.erase(0x10); });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0D 1E");
    ExpectCleared(0);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, std::set<uint32_t>{1});
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
}

TEST_F(BreakPointReload, AFilterHasToHaveBothRootAndAddress) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[1].filters[0x10].root = 0xC000;
        m.breakPoints[1].filters[0x11].address = linear + 0x1000;
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0D 1D 2E 3E") << "and what the library has is adopted";
}

TEST_F(BreakPointReload, WithoutFiltersAPhysicalBreakpointIsAdopted) {
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[5] = {physical, 0xCC, {}}; });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(), Calls{"SbGetBreakPointInfo E1 0 40 FFFF"}) << "adopting makes no call";
    ASSERT_EQ(List(), "0E");
    const ktSbBreakPoint *adopted = Get(0);
    EXPECT_EQ(adopted->address.kind, uint32_t{ktAddress::kindPhysical});
    EXPECT_EQ(adopted->address.value, physical);
    EXPECT_EQ(adopted->engineId, 5);
    EXPECT_EQ(adopted->savedByte, 0xCC);
    EXPECT_FALSE(adopted->hasFilter);
    const ktSbPhysBreak *entry = manager.FindPhysBreak(physical);
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->isPhysical);
    EXPECT_EQ(entry->ownerId, 0u);
    EXPECT_EQ(entry->engineId, 5);
    EXPECT_EQ(entry->savedByte, 0xCC);
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 5"});
}

TEST_F(BreakPointReload, EachFilterIsAdoptedAsALinearAddress) {
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[5] = {physical, 0xCC, {{7, Filter(rootA, linear)}, {9, Filter(rootB, linear)}}};
    });
    EXPECT_TRUE(manager.Reload());
    ASSERT_EQ(List(), "0E 1E");
    for (const uint32_t id : {0u, 1u}) {
        const ktSbBreakPoint *adopted = Get(id);
        EXPECT_EQ(adopted->address.kind, uint32_t{ktAddress::kindLinear});
        EXPECT_EQ(adopted->address.value, linear);
        EXPECT_EQ(adopted->address.root, id == 0 ? rootA : rootB);
        EXPECT_EQ(adopted->physical, physical);
        EXPECT_EQ(adopted->engineId, 5);
        EXPECT_EQ(adopted->filterId, id == 0 ? 7 : 9);
        EXPECT_EQ(adopted->savedByte, 0xCC);
        EXPECT_TRUE(adopted->hasFilter);
    }
    EXPECT_FALSE(manager.FindPhysBreak(physical)->isPhysical);
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E") << "once is enough";
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), (Calls{"SbRemoveBreakPointFilter E1 5 7", "SbRemoveBreakPoint E1 5"}));
}

TEST_F(BreakPointReload, ADisabledBreakpointIsEnabledByItsCounterpart) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(physical)), 1);
    ASSERT_EQ(List(), "0D 1E");
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[1].filters[0x20] = Filter(rootA, linear); });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E") << "the physical one is kept as it is";
    EXPECT_EQ(Get(0)->filterId, 0x20);
}

TEST_F(BreakPointReload, AFilterBesideAPhysicalBreakpointEndsWithIt) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(physical)), 1);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[1].filters[0x20] = Filter(rootA, linear); });
    ASSERT_TRUE(manager.Reload());
    ASSERT_EQ(List(), "0E 1E");
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
    EXPECT_EQ(List(), "0D") << "the library has it no more";
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(TakeCalls().empty());
}

TEST_F(BreakPointReload, AVirtualBreakpointIsKeptAndItsFilterAdoptedAsALinearOne) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E");
    EXPECT_EQ(Get(0)->address.kind, uint32_t{ktAddress::kindVirtual});
    EXPECT_EQ(Get(1)->address.kind, uint32_t{ktAddress::kindLinear});
    EXPECT_EQ(Get(1)->filterId, Get(0)->filterId);
}

TEST_F(BreakPointReload, ASharedFilterGoesWithItsLastUser) {
    for (const uint32_t first : {0u, 1u}) {
        ASSERT_EQ(Add(Virtual(linear)), 0);
        ASSERT_TRUE(manager.Reload());
        ASSERT_EQ(List(), "0E 1E");
        TakeCalls();
        EXPECT_TRUE(manager.Remove(first));
        EXPECT_TRUE(TakeCalls().empty()) << "without it the breakpoint would stop everybody";
        EXPECT_EQ(List(), first == 0 ? "1E" : "0E");
        EXPECT_TRUE(manager.Remove(1 - first));
        EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
        EXPECT_EQ(List(), "");
    }
}

TEST_F(BreakPointReload, ASharedFilterAmongOthersGoesWithItsLastUser) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    ASSERT_TRUE(manager.Reload());
    ASSERT_EQ(List(), "0E 1E 2E");
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(TakeCalls().empty());
    EXPECT_TRUE(manager.Remove(2));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 10"});
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
}

TEST_F(BreakPointReload, AKeptVirtualBreakpointTakesTheNewNumberOfItsFilter) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->With([](ktTestEngine::Machine &m) {
        std::map<uint16_t, ktSbRawFilter> &filters = m.breakPoints[1].filters;
        filters[0x20] = filters[0x10];
        filters.erase(0x10);
    });
    ASSERT_TRUE(manager.Reload());
    EXPECT_EQ(Get(0)->filterId, 0x20);
    ASSERT_EQ(List(), "0E 1E 2E");
    ASSERT_TRUE(manager.Remove(2)) << "the linear one that came with it";
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 20"});
}

TEST_F(BreakPointReload, EqualFiltersOfTwoBreakpointsStayTheirOwn) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    ASSERT_EQ(Add(Linear(linear)), 1);
    ASSERT_EQ(Add(Linear(linear, rootB)), 2);
    ASSERT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E 2E");
    EXPECT_EQ(Get(0)->filterId, 0x10);
    EXPECT_EQ(Get(1)->filterId, 0x11);
    library->With([](ktTestEngine::Machine &m) {
        std::map<uint16_t, ktSbRawFilter> &filters = m.breakPoints[1].filters;
        for (const uint16_t old : {uint16_t{0x10}, uint16_t{0x11}}) {
            filters[static_cast<uint16_t>(old + 0x10)] = filters[old];
            filters.erase(old);
        }
    });
    ASSERT_TRUE(manager.Reload());
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), (Calls{"SbRemoveBreakPointFilter E1 1 20", "SbRemoveBreakPointFilter E1 1 21"}));
}

TEST_F(BreakPointReload, APhysicalCounterpartClearsTheOthersAtItsAddress) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Virtual(linear, rootB)), 1);
    ASSERT_EQ(Add(Linear(linear + 1)), 2);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[1].filters.clear(); });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0D 1D 2E 3E");
    ExpectCleared(0);
    ExpectCleared(1);
    EXPECT_TRUE(manager.FindPhysBreak(physical)->filters.empty());
    EXPECT_TRUE(manager.FindPhysBreak(physical)->isPhysical);
    EXPECT_EQ(manager.FindPhysBreak(physical)->ownerId, 3u);
}

TEST_F(BreakPointReload, NumbersOfTheLibraryAreTakenOver) {
    ASSERT_EQ(Add(Physical(0x8000)), 0);
    ASSERT_EQ(Add(Physical(0x9000)), 1);
    ASSERT_EQ(Add(Linear(linear)), 2);
    library->With([](ktTestEngine::Machine &m) {
        std::swap(m.breakPoints[1], m.breakPoints[2]);
        m.breakPoints[9] = m.breakPoints[3];
        m.breakPoints.erase(3);
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E 2E");
    EXPECT_EQ(Get(0)->engineId, 2);
    EXPECT_EQ(Get(1)->engineId, 1);
    EXPECT_EQ(Get(2)->engineId, 9);
    TakeCalls();
    for (const uint32_t id : {0u, 1u, 2u}) EXPECT_TRUE(manager.Remove(id));
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbRemoveBreakPoint E1 2", "SbRemoveBreakPoint E1 1", "SbRemoveBreakPoint E1 9"}));
}

TEST_F(BreakPointReload, AFilterThatMovedToAnotherAddressTakesItsBreakpointAlong) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[1].filters.erase(0x10);
        m.breakPoints[2] = {0x9010, 0x55, {{0x30, Filter(rootA, linear)}}};
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E");
    EXPECT_EQ(Get(0)->filterId, 0x30);
    EXPECT_EQ(Get(0)->physical, 0x9010u);
    EXPECT_EQ(Get(0)->savedByte, 0x55);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, std::set<uint32_t>{1});
    EXPECT_EQ(manager.FindPhysBreak(0x9010)->filters, std::set<uint32_t>{0});
}

TEST_F(BreakPointReload, TheListIsFetchedInPartsThatShrink) {
    library->With([](ktTestEngine::Machine &m) {
        for (uint16_t i = 0; i < 150; ++i) m.breakPoints[i] = {0x8000u + i, 0, {}};
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(), (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointInfo E1 40 40 96",
                                  "SbGetBreakPointInfo E1 80 40 96"}));
    EXPECT_EQ(manager.Ids().InUse(), 150u);

    library->With([](ktTestEngine::Machine &m) { m.infoPerCall = 40; });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(), (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointInfo E1 28 28 96",
                                  "SbGetBreakPointInfo E1 50 28 96", "SbGetBreakPointInfo E1 78 28 96"}));
    EXPECT_EQ(manager.Ids().InUse(), 150u);
}

TEST_F(BreakPointReload, FiltersAreFetchedInParts) {
    library->With([](ktTestEngine::Machine &m) {
        ktTestEngine::BreakPoint &many = m.breakPoints[3];
        many.physical = physical;
        for (uint16_t i = 0; i < 130; ++i) many.filters[i] = Filter(0x1000u * i, linear);
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointFilterInfo E1 3 0 40",
                     "SbGetBreakPointFilterInfo E1 3 40 40", "SbGetBreakPointFilterInfo E1 3 80 40"}));
    EXPECT_EQ(manager.Ids().InUse(), 130u);
}

TEST_F(BreakPointReload, BehindAFullPartOfFiltersTheEndIsAsked) {
    library->With([](ktTestEngine::Machine &m) {
        ktTestEngine::BreakPoint &many = m.breakPoints[3];
        many.physical = physical;
        for (uint16_t i = 0; i < 64; ++i) many.filters[i] = Filter(0x1000u * i, linear);
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(), (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointFilterInfo E1 3 0 40",
                                  "SbGetBreakPointFilterInfo E1 3 40 40"}));
    EXPECT_EQ(manager.Ids().InUse(), 64u);
}

TEST_F(BreakPointReload, FiltersMayComeInSmallerParts) {
    library->With([](ktTestEngine::Machine &m) {
        ktTestEngine::BreakPoint &many = m.breakPoints[3];
        many.physical = physical;
        for (uint16_t i = 0; i < 100; ++i) many.filters[i] = Filter(0x1000u * i, linear);
        m.infoPerCall = 40;
    });
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbGetBreakPointInfo E1 0 40 FFFF", "SbGetBreakPointFilterInfo E1 3 0 40",
                     "SbGetBreakPointFilterInfo E1 3 28 40", "SbGetBreakPointFilterInfo E1 3 50 40"}));
    EXPECT_EQ(manager.Ids().InUse(), 100u);
}

TEST_F(BreakPointReload, AListThatEndsEarlyLeavesTheTables) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(0x9000)), 1);
    library->With([](ktTestEngine::Machine &m) { m.infoPerCall = 0; });
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(List(), "0E 1E");
    EXPECT_NE(manager.FindPhysBreak(physical), nullptr);
}

TEST_F(BreakPointReload, AFailingCallLeavesTheTables) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Physical(0x9000)), 1);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints.erase(2);
        m.breakPoints[7] = {0xA000, 0, {{1, Filter(rootA, linear)}}};
    });
    for (size_t i = 0; i < 3; ++i) {
        library->Fail(i == 0 ? "SbGetBreakPointInfo" : "SbGetBreakPointFilterInfo", ktTestEngine::failure, 1,
                      i == 0 ? 0 : i - 1);
        EXPECT_FALSE(manager.Reload()) << i;
        EXPECT_EQ(List(), "0E 1E") << i;
        EXPECT_NE(manager.FindPhysBreak(0x9000), nullptr) << i;
        EXPECT_EQ(manager.FindPhysBreak(0xA000), nullptr) << i;
    }
    EXPECT_TRUE(manager.Reload());
}

TEST_F(BreakPointReload, WithoutFreeIdsTheRestIsLeftOutAndItFails) {
    for (int i = 0; i < 1023; ++i) ASSERT_EQ(Add(Physical(0x8000 + static_cast<uint64_t>(i))), i);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[2000] = {0xF000, 0, {}};
        m.breakPoints[2001] = {0xF001, 0, {}};
    });
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(manager.Ids().InUse(), 1024u);
    EXPECT_EQ(Get(1023)->address.value, 0xF000u);
}
