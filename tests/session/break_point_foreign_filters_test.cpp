#include "session/sb_break_point_manager.h"

#include "support/break_point_fixture.h"

namespace {

/// Filters of the library that no breakpoint here goes by, or that fit one at another address.
class BreakPointForeignFilters : public ktBreakPointFixture {
protected:
    static constexpr uint64_t newPage = 0x9000;
    static constexpr uint64_t newPhysical = 0x9010;

    static ktSbRawFilter Filter(uint64_t root, uint64_t address) { return {3, {}, root, address, {}}; }

    /// All ids but one: breakpoints that the library lists from number 1 on.
    void TakeAllIdsButOne() {
        for (int i = 0; i < 1023; ++i) ASSERT_EQ(Add(Physical(0x8000 + static_cast<uint64_t>(i))), i);
    }
    /// The guest maps the linear page of `rootA` elsewhere.
    void Remap() {
        library->With([](ktTestEngine::Machine &m) {
            m.translations[{rootA & ktTestEngine::rootMask, linear >> 12}] = newPage >> 12;
        });
    }
    std::set<uint16_t> LibrarysFilters(uint16_t number) {
        std::set<uint16_t> numbers;
        library->With([&](ktTestEngine::Machine &m) {
            const auto found = m.breakPoints.find(number);
            if (found == m.breakPoints.end()) return;
            for (const auto &[filterNumber, filter] : found->second.filters) numbers.insert(filterNumber);
        });
        return numbers;
    }
};

} // namespace

TEST_F(BreakPointForeignFilters, WithoutAnIdForAllOfThemTheBreakpointStaysWhenOneGoes) {
    TakeAllIdsButOne();
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[2000] = {0xF000, 0, {{7, Filter(rootA, linear)}, {9, Filter(rootB, linear)}}};
    });
    EXPECT_FALSE(manager.Reload());
    ASSERT_EQ(Get(1023)->filterId, 7);
    EXPECT_EQ(manager.FindPhysBreak(0xF000)->filters, std::set<uint32_t>{1023});
    EXPECT_EQ(manager.FindPhysBreak(0xF000)->filterCount, 2);
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1023));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 7D0 7"});
    EXPECT_EQ(LibrarysFilters(2000), std::set<uint16_t>{9});
    EXPECT_TRUE(manager.Reload());
    ASSERT_NE(Get(1023), nullptr);
    EXPECT_EQ(Get(1023)->filterId, 9);
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1023));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 7D0"}) << "now it is the last";
}

TEST_F(BreakPointForeignFilters, AreCountedAtAddressesThatAReloadWithoutIdsDidNotReach) {
    TakeAllIdsButOne();
    ASSERT_EQ(Add(Linear(linear, rootA)), 1023);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[0] = {0xF000, 0, {}}; // the first of the list
        m.breakPoints[1024].filters[0x20] = Filter(rootB, linear);
    });
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(manager.FindPhysBreak(physical)->filterCount, 2);
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1023));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 400 10"});
    EXPECT_EQ(LibrarysFilters(1024), std::set<uint16_t>{0x20});
}

TEST_F(BreakPointForeignFilters, AreOverriddenByAPhysicalBreakpoint) {
    TakeAllIdsButOne();
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[2000] = {0xF000, 0, {{7, Filter(rootA, linear)}, {9, Filter(rootB, linear)}}};
    });
    EXPECT_FALSE(manager.Reload());
    EXPECT_TRUE(manager.Remove(1023));
    TakeCalls();
    EXPECT_EQ(Add(Physical(0xF000)), 1023);
    EXPECT_EQ(TakeCalls(), Calls{"SbClearBreakPointFilters E1 7D0"});
    EXPECT_EQ(manager.FindPhysBreak(0xF000)->filterCount, 0);
    EXPECT_TRUE(manager.Remove(1023));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 7D0"});
}

TEST_F(BreakPointForeignFilters, AFilterThatWasDroppedAndHandedOutAgainCountsOnce) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints[1].filters.clear(); });
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    ASSERT_EQ(Get(1)->filterId, Get(0)->filterId);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filterCount, 1);
    EXPECT_TRUE(manager.Remove(0));
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
}

TEST_F(BreakPointForeignFilters, AnEqualFilterElsewhereDoesNotMoveABreakpointThatIsRight) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    Remap();
    ASSERT_EQ(Add(Virtual(linear)), 1);
    ASSERT_EQ(Get(1)->physical, newPhysical);
    ASSERT_EQ(Get(1)->engineId, 2);
    for (const bool isSwapped : {false, true}) {
        if (isSwapped) // listed the other way round
            library->With([](ktTestEngine::Machine &m) { std::swap(m.breakPoints[1], m.breakPoints[2]); });
        EXPECT_TRUE(manager.Reload());
        EXPECT_EQ(List(), "0E 1E");
        EXPECT_EQ(Get(0)->physical, physical);
        EXPECT_EQ(Get(0)->engineId, isSwapped ? 2 : 1);
        EXPECT_EQ(Get(1)->physical, newPhysical);
        EXPECT_EQ(Get(1)->engineId, isSwapped ? 1 : 2);
        EXPECT_EQ(manager.FindPhysBreak(physical)->filters, std::set<uint32_t>{0});
        EXPECT_EQ(manager.FindPhysBreak(newPhysical)->filters, std::set<uint32_t>{1});
    }
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), (Calls{"SbRemoveBreakPoint E1 2", "SbRemoveBreakPoint E1 1"}));
    library->With([](ktTestEngine::Machine &m) { EXPECT_TRUE(m.breakPoints.empty()); });
}

TEST_F(BreakPointForeignFilters, AnEqualFilterElsewhereThatFitsNobodyThereStaysBehindItsRemoval) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    library->With([](ktTestEngine::Machine &m) {
        m.breakPoints[2] = {newPhysical, 0x55, {{0x30, Filter(rootA, linear)}}};
    });
    ASSERT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E");
    EXPECT_EQ(manager.FindPhysBreak(newPhysical)->filterCount, 1);
    Remap();
    ASSERT_EQ(Add(Virtual(linear)), 1);
    TakeCalls();
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 2 10"});
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(List(), "0E") << "its old place is gone, so it is adopted at the other";
    EXPECT_EQ(Get(0)->physical, newPhysical);
}
