#include "session/sb_break_point_manager.h"
#include "session/static_break_point_manager.h"

#include "session/static_dbg_eng.h"
#include "support/break_point_fixture.h"
#include "support/fake_dbg_eng.h"
#include "support/fake_host.h"

namespace {

using BreakPointManager = ktBreakPointFixture;

// Filters as the library gets them: type, root and address.
constexpr char filterA[] = "\"030000000000000003A000000000000010004000000000000000000000000000000000"
                           "0000000000\"";
constexpr char filterB[] = "\"030000000000000003B000000000000010004000000000000000000000000000000000"
                           "0000000000\"";

} // namespace

TEST(StaticBreakPointManager, HasNoBreakpoints) {
    ktStaticBreakPointManager manager;
    EXPECT_TRUE(manager.Initialize(nullptr));
    ktAddress address;
    address.kind = ktAddress::kindLinear;
    address.value = 0x1000;
    uint32_t id = 7;
    EXPECT_FALSE(manager.Add(address, &id));
    EXPECT_EQ(address.kind, uint32_t{ktAddress::kindNone});
    EXPECT_EQ(address.value, 0u);
    EXPECT_EQ(id, 7u);
    EXPECT_FALSE(manager.Get(0, nullptr));
    EXPECT_FALSE(manager.Remove(0));
    EXPECT_FALSE(manager.Reload());
    EXPECT_FALSE(manager.ClearAll());
    ktBreakPoint *const stays = reinterpret_cast<ktBreakPoint *>(&manager);
    std::vector<ktBreakPoint *> list = {stays};
    manager.List(list);
    EXPECT_EQ(list, std::vector<ktBreakPoint *>{stays});
}

TEST(SbBreakPointManager, AcceptsOnlyAnEngineOverALibrary) {
    ktFakeHost host;
    ktStaticDbgEng other(host);
    ktSbBreakPointManager manager;
    EXPECT_FALSE(manager.Initialize(nullptr));
    EXPECT_FALSE(manager.Initialize(&other));
    ktAddress address;
    EXPECT_FALSE(manager.Add(address, nullptr));
    EXPECT_FALSE(manager.Reload());
    EXPECT_FALSE(manager.ClearAll());
}

TEST(SbBreakPointManager, AnEngineWithoutCodeBreakpointsFailsEachOperation) {
    ktFakeTarget target;
    ktFakeDbgEng engine(target);
    ktSbBreakPointManager manager;
    ASSERT_TRUE(manager.Initialize(&engine));
    ktAddress address;
    address.kind = ktAddress::kindPhysical;
    EXPECT_FALSE(manager.Add(address, nullptr));
    EXPECT_EQ(address.kind, uint32_t{ktAddress::kindNone});
    EXPECT_FALSE(manager.Reload());
    EXPECT_FALSE(manager.ClearAll());
    EXPECT_EQ(manager.Ids().InUse(), 0u);
    EXPECT_TRUE(target.Calls().empty());
}

TEST_F(BreakPointManager, ALinearAddressGetsABreakpointWithAFilter) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbLinearToPhysical E1 A003 400010", "SbReadPhysicalMemory E1 7010 1",
                     "SbSetBreakPoint E1 7010", std::string("SbAddBreakPointFilter E1 1 ") + filterA}));
    const ktSbBreakPoint *made = Get(0);
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsEnabled());
    EXPECT_TRUE(made->hasFilter);
    EXPECT_EQ(made->engineId, 1);
    EXPECT_EQ(made->filterId, 0x10);
    EXPECT_EQ(made->physical, physical);
    EXPECT_EQ(made->GetSavedByte(), 0x07);
    ktAddress address;
    EXPECT_EQ(&made->GetAddress(address), &address);
    EXPECT_EQ(address.value, linear);
    EXPECT_EQ(address.root, rootA);
    const ktSbPhysBreak *entry = manager.FindPhysBreak(physical);
    ASSERT_NE(entry, nullptr);
    EXPECT_FALSE(entry->isPhysical);
    EXPECT_EQ(entry->engineId, 1);
    EXPECT_EQ(entry->savedByte, 0x07);
    EXPECT_EQ(entry->physical, physical);
    EXPECT_EQ(entry->filters, std::set<uint32_t>{0});
    EXPECT_EQ(entry->filterCount, 1);
}

TEST_F(BreakPointManager, AVirtualAddressGetsTheSameFilter) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    const Calls calls = TakeCalls();
    EXPECT_EQ(calls.front(), "SbVirtualToPhysical E1 A003 10 400010");
    EXPECT_EQ(calls.back(), std::string("SbAddBreakPointFilter E1 1 ") + filterA);
}

TEST_F(BreakPointManager, APhysicalAddressGetsNoFilter) {
    ASSERT_EQ(Add(Physical(physical)), 0);
    EXPECT_EQ(TakeCalls(), (Calls{"SbReadPhysicalMemory E1 7010 1", "SbSetBreakPoint E1 7010"}));
    const ktSbPhysBreak *entry = manager.FindPhysBreak(physical);
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->isPhysical);
    EXPECT_EQ(entry->ownerId, 0u);
    EXPECT_TRUE(entry->filters.empty());
    EXPECT_FALSE(Get(0)->hasFilter);
}

TEST_F(BreakPointManager, TheIdMayBeUnwanted) {
    ktAddress address = Physical(physical);
    EXPECT_TRUE(manager.Add(address, nullptr));
    EXPECT_TRUE(manager.Get(0, nullptr));
}

TEST_F(BreakPointManager, DuplicatesAreRefusedWithoutACall) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Virtual(linear)), 1);
    ASSERT_EQ(Add(Physical(0x8000)), 2);
    TakeCalls();
    EXPECT_EQ(Add(Linear(linear)), -1);
    EXPECT_EQ(Add(Virtual(linear)), -1);
    ktAddress physicalInARoot = Physical(0x8000);
    physicalInARoot.root = 0x5000;
    physicalInARoot.selector = 7;
    EXPECT_EQ(Add(physicalInARoot), -1) << "root and selector do not count";
    ktAddress linearWithSelector = Linear(linear);
    linearWithSelector.selector = 7;
    EXPECT_EQ(Add(linearWithSelector), -1) << "the selector does not count";
    EXPECT_TRUE(TakeCalls().empty());
    EXPECT_EQ(manager.Ids().InUse(), 3u);
}

TEST_F(BreakPointManager, AnythingElseIsNoDuplicate) {
    ASSERT_EQ(Add(Virtual(linear)), 0);
    EXPECT_EQ(Add(Virtual(linear, rootA, 0x18)), 1);
    EXPECT_EQ(Add(Virtual(linear, rootB)), 2);
    EXPECT_EQ(Add(Virtual(linear + 1)), 3);
    EXPECT_EQ(Add(Linear(linear)), 4);
    EXPECT_EQ(Add(Linear(linear, rootB)), 5);
    EXPECT_EQ(Add(Linear(linear + 1)), 6);
    EXPECT_EQ(List(), "0E 1E 2E 3E 4E 5E 6E");
}

TEST_F(BreakPointManager, TwoRootsAtOnePhysicalAddressShareABreakpoint) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    TakeCalls();
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    EXPECT_EQ(TakeCalls(), (Calls{"SbLinearToPhysical E1 B003 400010",
                                  std::string("SbAddBreakPointFilter E1 1 ") + filterB}));
    EXPECT_EQ(Get(1)->engineId, 1);
    EXPECT_EQ(Get(1)->filterId, 0x11);
    EXPECT_EQ(Get(1)->savedByte, 0x07);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, (std::set<uint32_t>{0, 1}));
    EXPECT_EQ(manager.FindPhysBreak(physical)->filterCount, 2);
    library->With([](ktTestEngine::Machine &m) {
        ASSERT_EQ(m.breakPoints.size(), 1u);
        EXPECT_EQ(m.breakPoints[1].filters.size(), 2u);
    });
    EXPECT_EQ(List(), "0E 1E");
}

TEST_F(BreakPointManager, TwoVirtualAddressesInTwoRootsShareABreakpoint) {
    ASSERT_EQ(Add(Virtual(linear, rootA)), 0);
    ASSERT_EQ(Add(Virtual(linear, rootB)), 1);
    EXPECT_EQ(TakeCalls(),
              (Calls{"SbVirtualToPhysical E1 A003 10 400010", "SbReadPhysicalMemory E1 7010 1",
                     "SbSetBreakPoint E1 7010", std::string("SbAddBreakPointFilter E1 1 ") + filterA,
                     "SbVirtualToPhysical E1 B003 10 400010",
                     std::string("SbAddBreakPointFilter E1 1 ") + filterB}));
    EXPECT_EQ(List(), "0E 1E");
    EXPECT_EQ(Get(0)->filterId, 0x10);
    EXPECT_EQ(Get(1)->filterId, 0x11);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, (std::set<uint32_t>{0, 1}));
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 11"});
    EXPECT_EQ(List(), "0E");
}

TEST_F(BreakPointManager, APhysicalBreakpointOverridesThoseWithFilters) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Virtual(linear, rootB)), 1);
    ASSERT_EQ(Add(Linear(linear + 1)), 2);
    TakeCalls();
    ASSERT_EQ(Add(Physical(physical)), 3);
    EXPECT_EQ(TakeCalls(), Calls{"SbClearBreakPointFilters E1 1"});
    EXPECT_EQ(List(), "0D 1D 2E 3E");
    ExpectCleared(0);
    ExpectCleared(1);
    const ktSbPhysBreak *entry = manager.FindPhysBreak(physical);
    EXPECT_TRUE(entry->isPhysical);
    EXPECT_EQ(entry->ownerId, 3u);
    EXPECT_TRUE(entry->filters.empty());
    EXPECT_EQ(entry->filterCount, 0);
    EXPECT_EQ(Get(3)->engineId, 1);
    EXPECT_EQ(Get(3)->savedByte, 0x07);
    EXPECT_FALSE(Get(3)->hasFilter);
}

TEST_F(BreakPointManager, AFilterOnAPhysicalBreakpointDisablesItsOwnerAndTheEntryStaysPhysical) {
    ASSERT_EQ(Add(Physical(physical)), 0);
    ASSERT_EQ(Add(Linear(linear)), 1);
    EXPECT_EQ(List(), "0D 1E");
    EXPECT_EQ(Get(0)->engineId, 1) << "nothing else of the owner changes";
    EXPECT_EQ(Get(0)->savedByte, 0x07);
    EXPECT_TRUE(manager.FindPhysBreak(physical)->isPhysical);
    EXPECT_EQ(manager.FindPhysBreak(physical)->ownerId, 0u);
    TakeCalls();
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 10"}) << "only the owner could end it";
    ASSERT_TRUE(manager.Remove(0));
    EXPECT_TRUE(TakeCalls().empty()) << "a disabled one has no counterpart";
    EXPECT_NE(manager.FindPhysBreak(physical), nullptr);
}

TEST_F(BreakPointManager, AnEntryThatLostItsOwnerTakesNoPhysicalBreakpoint) {
    ASSERT_EQ(Add(Physical(physical)), 0);
    ASSERT_EQ(Add(Linear(linear)), 1);
    ASSERT_TRUE(manager.Remove(0));
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(Add(Physical(physical)), -1);
    EXPECT_EQ(manager.Ids().InUse(), 0u);
    ASSERT_TRUE(manager.ClearAll());
    EXPECT_EQ(Add(Physical(physical)), 0);
}

TEST_F(BreakPointManager, AReusedOwnerIdIsNotMistakenForTheOwner) {
    ASSERT_EQ(Add(Physical(physical)), 0);
    ASSERT_EQ(Add(Linear(linear)), 1);
    ASSERT_TRUE(manager.Remove(0));
    ASSERT_EQ(Add(Physical(0x9000)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 2);
    EXPECT_EQ(List(), "0E 1E 2E");
}

TEST_F(BreakPointManager, AReusedOwnerIdAtTheOwnersAddressIsNotMistakenForTheOwner) {
    for (const bool isVirtual : {false, true}) {
        ASSERT_EQ(Add(Physical(physical)), 0);
        ASSERT_EQ(Add(Linear(linear)), 1);
        ASSERT_TRUE(manager.Remove(0));
        ASSERT_EQ(Add(isVirtual ? Virtual(linear, rootB) : Linear(linear, rootB)), 0);
        ASSERT_EQ(Add(Virtual(linear)), 2);
        EXPECT_EQ(List(), "0E 1E 2E");
        TakeCalls();
        ASSERT_TRUE(manager.Remove(0));
        EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 11"});
        ASSERT_TRUE(manager.ClearAll());
    }
}

TEST_F(BreakPointManager, RemovingTheOnlyUserRemovesTheBreakpointWithItsFilter) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    TakeCalls();
    ASSERT_TRUE(manager.Remove(0));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    EXPECT_EQ(List(), "");
    EXPECT_EQ(manager.Ids().InUse(), 0u);
    EXPECT_FALSE(manager.Remove(0));
    EXPECT_FALSE(manager.Get(0, nullptr));
}

TEST_F(BreakPointManager, RemovingOneOfTwoUsersRemovesItsFilter) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    TakeCalls();
    ASSERT_TRUE(manager.Remove(0));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPointFilter E1 1 10"});
    EXPECT_EQ(List(), "1E");
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
}

TEST_F(BreakPointManager, RemovingAPhysicalBreakpointRemovesItAsAWhole) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(physical)), 1);
    TakeCalls();
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
    EXPECT_EQ(List(), "0D") << "what was overridden does not come back";
    ASSERT_TRUE(manager.Remove(0));
    EXPECT_TRUE(TakeCalls().empty());
}

TEST_F(BreakPointManager, IdsAreReusedLowestFirst) {
    for (int i = 0; i < 5; ++i) ASSERT_EQ(Add(Physical(0x8000 + static_cast<uint64_t>(i))), i);
    ASSERT_TRUE(manager.Remove(3));
    ASSERT_TRUE(manager.Remove(1));
    EXPECT_EQ(Add(Physical(0x9000)), 1);
    EXPECT_EQ(Add(Physical(0x9001)), 3);
    EXPECT_EQ(Add(Physical(0x9002)), 5);
}

TEST_F(BreakPointManager, The1025thFails) {
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(Add(Physical(0x8000 + static_cast<uint64_t>(i))), i);
    TakeCalls();
    EXPECT_EQ(Add(Physical(0x9000)), -1);
    EXPECT_TRUE(TakeCalls().empty());
    ASSERT_TRUE(manager.Remove(500));
    EXPECT_EQ(Add(Physical(0x9000)), 500);
}

TEST_F(BreakPointManager, AFailingStepLeavesNothingBehind) {
    for (const char *function :
         {"SbLinearToPhysical", "SbReadPhysicalMemory", "SbSetBreakPoint", "SbAddBreakPointFilter"}) {
        library->Fail(function, ktTestEngine::failure, 1);
        TakeCalls();
        EXPECT_EQ(Add(Linear(linear)), -1) << function;
        const Calls calls = TakeCalls();
        const bool wasSet = std::string(function) == "SbAddBreakPointFilter";
        EXPECT_EQ(calls.back() == "SbRemoveBreakPoint E1 1", wasSet) << function;
        EXPECT_EQ(manager.Ids().InUse(), 0u) << function;
        EXPECT_EQ(manager.FindPhysBreak(physical), nullptr) << function;
        library->With([&](ktTestEngine::Machine &m) { EXPECT_TRUE(m.breakPoints.empty()) << function; });
        EXPECT_EQ(List(), "");
    }
    EXPECT_EQ(Add(Linear(linear)), 0);
}

TEST_F(BreakPointManager, AFailedAttachmentLeavesTheOthersAsTheyAre) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    library->Fail("SbAddBreakPointFilter", ktTestEngine::failure, 1);
    EXPECT_EQ(Add(Linear(linear, rootB)), -1);
    library->Fail("SbClearBreakPointFilters", ktTestEngine::failure, 1);
    EXPECT_EQ(Add(Physical(physical)), -1);
    EXPECT_EQ(List(), "0E");
    EXPECT_EQ(manager.Ids().InUse(), 1u);
    EXPECT_FALSE(manager.FindPhysBreak(physical)->isPhysical);
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, std::set<uint32_t>{0});
}

TEST_F(BreakPointManager, AFailedAttachmentToAPhysicalOneLeavesItEnabled) {
    ASSERT_EQ(Add(Physical(physical)), 0);
    library->Fail("SbAddBreakPointFilter", ktTestEngine::failure, 1);
    EXPECT_EQ(Add(Linear(linear)), -1);
    EXPECT_EQ(List(), "0E");
}

TEST_F(BreakPointManager, AFailedRemovalChangesNothing) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    library->Fail("SbRemoveBreakPoint", ktTestEngine::failure, 1);
    EXPECT_FALSE(manager.Remove(0));
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->Fail("SbRemoveBreakPointFilter", ktTestEngine::failure, 1);
    EXPECT_FALSE(manager.Remove(0));
    ASSERT_EQ(Add(Physical(0x9000)), 2);
    library->Fail("SbRemoveBreakPoint", ktTestEngine::failure, 1);
    EXPECT_FALSE(manager.Remove(2));
    EXPECT_EQ(List(), "0E 1E 2E");
    EXPECT_EQ(manager.FindPhysBreak(physical)->filters, (std::set<uint32_t>{0, 1}));
    EXPECT_EQ(Get(0)->filterId, 0x10);
    for (const uint32_t id : {0u, 1u, 2u}) EXPECT_TRUE(manager.Remove(id));
}

TEST_F(BreakPointManager, AddressesThatAreNoMemoryAreRefused) {
    for (const uint32_t kind : {0u, 4u, 5u, 6u, 7u, 8u, 9u}) {
        ktAddress address = Linear(linear);
        address.kind = kind;
        EXPECT_EQ(Add(address), -1) << kind;
    }
    EXPECT_TRUE(TakeCalls().empty());
    EXPECT_EQ(manager.Ids().InUse(), 0u);
}

TEST_F(BreakPointManager, ANumberThatIsHandedOutAgainEndsWhatStoodUnderIt) {
    ASSERT_EQ(Add(Physical(0x8000)), 0);
    ASSERT_EQ(Add(Physical(0x8001)), 1);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints.clear(); }); // it starts from 1 again
    ASSERT_EQ(Add(Physical(0x9000)), 2);
    EXPECT_EQ(List(), "0D 1E 2E") << "only of number 1 is it known";
    ExpectCleared(0);
    EXPECT_EQ(manager.FindPhysBreak(0x8000), nullptr);
    EXPECT_EQ(manager.FindPhysBreak(0x9000)->ownerId, 2u);
    TakeCalls();
    EXPECT_TRUE(manager.Remove(0));
    EXPECT_TRUE(TakeCalls().empty());
    EXPECT_TRUE(manager.Remove(2));
    EXPECT_EQ(TakeCalls(), Calls{"SbRemoveBreakPoint E1 1"});
    library->With([](ktTestEngine::Machine &m) { EXPECT_TRUE(m.breakPoints.empty()); });
}

TEST_F(BreakPointManager, AllUsersOfANumberThatIsHandedOutAgainAreDisabled) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Virtual(linear, rootB)), 1);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints.clear(); });
    ASSERT_EQ(Add(Linear(linear + 1)), 2);
    EXPECT_EQ(List(), "0D 1D 2E");
    ExpectCleared(0);
    ExpectCleared(1);
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    EXPECT_EQ(manager.FindPhysBreak(physical + 1)->filters, std::set<uint32_t>{2});
    ASSERT_EQ(Add(Linear(linear, rootB)), 3) << "the address is free for another";
    EXPECT_EQ(Get(3)->engineId, 2);
}

TEST_F(BreakPointManager, ANumberThatIsHandedOutAgainGoesBackWhenItsFilterFails) {
    ASSERT_EQ(Add(Physical(0x8000)), 0);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints.clear(); });
    library->Fail("SbAddBreakPointFilter", ktTestEngine::failure, 1);
    EXPECT_EQ(Add(Linear(linear)), -1);
    EXPECT_EQ(List(), "0D");
    EXPECT_EQ(manager.Ids().InUse(), 1u);
    library->With([](ktTestEngine::Machine &m) { EXPECT_TRUE(m.breakPoints.empty()); });
}

TEST_F(BreakPointManager, InitializeASecondTimeFreesTheIds) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(0x9000)), 1);
    TakeCalls();
    EXPECT_FALSE(manager.Initialize(nullptr));
    EXPECT_EQ(manager.Ids().InUse(), 2u) << "a refused engine changes nothing";
    EXPECT_TRUE(manager.Initialize(engine.get()));
    EXPECT_TRUE(TakeCalls().empty());
    EXPECT_EQ(manager.Ids().InUse(), 0u);
    EXPECT_EQ(List(), "") << "what bore the ids is gone";
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    library->With([](ktTestEngine::Machine &m) { m.breakPoints.clear(); });
    EXPECT_EQ(Add(Linear(linear)), 0);
    EXPECT_EQ(List(), "0E");
}

TEST_F(BreakPointManager, APositiveStatusIsSuccess) {
    ASSERT_EQ(Add(Linear(linear, rootA)), 0);
    ASSERT_EQ(Add(Linear(linear, rootB)), 1);
    library->Fail("SbRemoveBreakPointFilter", 1);
    EXPECT_TRUE(manager.Remove(1));
    library->Fail("SbClearBreakPointFilters", 1);
    EXPECT_EQ(Add(Physical(physical)), 1);
    EXPECT_EQ(List(), "0D 1E");
    library->Fail("SbRemoveBreakPoint", 1);
    EXPECT_TRUE(manager.Remove(1));
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    library->Fail("SbAddBreakPointFilter", 1);
    EXPECT_EQ(Add(Linear(linear, rootB)), 1);
    library->Fail("SbSetBreakPoint", 1);
    EXPECT_EQ(Add(Physical(0x9000)), 2);
    EXPECT_EQ(List(), "0D 1E 2E");
    library->Fail("SbClearBreakPoints", 1);
    EXPECT_TRUE(manager.ClearAll());
    EXPECT_EQ(List(), "");
}

TEST_F(BreakPointManager, ClearAllEmptiesEverything) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    ASSERT_EQ(Add(Physical(0x9000)), 1);
    TakeCalls();
    EXPECT_TRUE(manager.ClearAll());
    EXPECT_EQ(TakeCalls(), Calls{"SbClearBreakPoints E1"});
    EXPECT_EQ(List(), "");
    EXPECT_EQ(manager.Ids().InUse(), 0u);
    EXPECT_EQ(manager.FindPhysBreak(physical), nullptr);
    EXPECT_EQ(Add(Linear(linear)), 0);
}

TEST_F(BreakPointManager, AFailedClearAllLeavesTheTables) {
    ASSERT_EQ(Add(Linear(linear)), 0);
    library->Fail("SbClearBreakPoints");
    EXPECT_FALSE(manager.ClearAll());
    EXPECT_EQ(List(), "0E");
    EXPECT_EQ(manager.Ids().InUse(), 1u);
}

TEST_F(BreakPointManager, TheEndMakesNoCalls) {
    {
        ktSbBreakPointManager other;
        ASSERT_TRUE(other.Initialize(engine.get()));
        ktAddress address = Physical(physical);
        ASSERT_TRUE(other.Add(address, nullptr));
        TakeCalls();
    }
    EXPECT_TRUE(TakeCalls().empty());
}
