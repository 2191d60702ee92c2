#include "session/break_point_cmds.h"

#include "session/break_point.h"
#include "session/break_point_manager.h"
#include "support/command_rig.h"
#include "support/engine_session.h"
#include "support/symbol_builder.h"

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

class BreakPointCmds : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(live.Connect());
        live.testLibrary->ForgetCalls();
    }
    Lines List() {
        EXPECT_EQ(live.Run("bl"), 0u);
        return live.Output();
    }
    /// The functions of demo!main.c: one each 0x40 bytes from 0x400040 on.
    void PublishFunctions(const Lines &names) {
        ktSymbolBuilder builder;
        ktModule *module = builder.AddModule("demo", 0x400000, 0x4000);
        ktCompUnit *unit = builder.AddUnit(module, "main.c");
        uint64_t entry = 0x400000;
        for (const std::string &name : names)
            builder.AddFunction(unit, name.c_str(), {{entry += 0x40, 0x20}});
        builder.Publish(*live.session.spaces->Current(), module);
    }
    /// A function: its entry and ranges as a reader of symbols leaves them.
    struct Described {
        const char *name;
        uint64_t entry;
        std::vector<ktAddrRange> ranges;
    };
    /// Each in a unit of its own, as names are unique within one. The first unit is demo!main.c.
    void PublishDescribed(const std::vector<Described> &functions, uint64_t size = 0x4000) {
        ktSymbolBuilder builder;
        ktModule *module = builder.AddModule("demo", 0x400000, size);
        for (const Described &described : functions) {
            ktCompUnit *unit = builder.AddUnit(module, "main.c");
            ktFunction *function = builder.AddFunction(unit, described.name, {});
            for (const ktAddrRange &range : described.ranges) function->ranges.Add(range.start, range.size);
            function->entry = described.entry;
        }
        builder.Publish(*live.session.spaces->Current(), module);
    }
    std::string LastCall() {
        const Lines calls = live.testLibrary->Calls();
        return calls.empty() ? "" : calls.back();
    }

    ktEngineSession live;
};

/// A manager whose one breakpoint has an address that is not printed.
class OddManager final : public ktBreakPointManager {
public:
    struct Odd final : ktBreakPoint {
        uint32_t GetId() const override { return 12; }
        ktAddress &GetAddress(ktAddress &out) const override {
            out.Reset();
            out.kind = ktAddress::kindIoPort;
            out.value = 0xABCD;
            return out;
        }
        uint8_t GetSavedByte() const override { return 0; }
        bool IsEnabled() const override { return true; }
    };
    bool Initialize(ktDbgEng *) override { return true; }
    bool Add(ktAddress &, uint32_t *) override { return false; }
    bool Get(uint32_t, ktBreakPoint **) override { return false; }
    bool Remove(uint32_t) override { return false; }
    void List(std::vector<ktBreakPoint *> &list) override { list.push_back(&odd); }
    bool Reload() override { return false; }
    bool ClearAll() override { return false; }
    Odd odd;
};

} // namespace

TEST_F(BreakPointCmds, PrintWhatTheyDid) {
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    EXPECT_EQ(live.Run("bp 10:400020"), 0u);
    EXPECT_EQ(live.Run("bp #400030"), 0u);
    EXPECT_EQ(live.Output(), (Lines{"Breakpoint ID: 0", "Breakpoint ID: 1", "Breakpoint ID: 2"}));
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0000000000400010",
                             "Breakpoint ID: 1, E, address: 0010:0000000000400020",
                             "Breakpoint ID: 2, E, address: #0000000000400030"}));
    EXPECT_EQ(live.Run("bc 1"), 0u);
    EXPECT_EQ(live.Output(), Lines{"Breakpoint 1 cleared"});
    EXPECT_EQ(live.Run("bcls"), 0u);
    EXPECT_EQ(live.Output(), Lines{"Breakpoints cleared"});
    EXPECT_EQ(List(), Lines{});
}

TEST_F(BreakPointCmds, WithoutARootTheSnapshotsIsTakenWithItsFlags) {
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 1A5003 400010");
    live.testLibrary->ForgetCalls();
    EXPECT_EQ(live.Run("bp 400010@7000"), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 7000 400010");
    EXPECT_EQ(live.Run("bp 400010@1A5003"), 18u) << "the root that the first one has";
}

TEST_F(BreakPointCmds, WhileTheTargetRunsTheRootOfTheLastStopIsTaken) {
    EXPECT_EQ(live.Run("g"), 0u);
    ASSERT_TRUE(live.session.publishedSnapshot.load()->stop.running);
    live.testLibrary->ForgetCalls();
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 1A5003 400010");
    live.testLibrary->ForgetCalls();
    EXPECT_EQ(live.Run("bp 400020@7000"), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 7000 400020");
}

TEST_F(BreakPointCmds, TheSameVirtualAddressASecondTimeIs18) {
    EXPECT_EQ(live.Run("bp 10:400010"), 0u);
    live.Output();
    EXPECT_EQ(live.Run("bp 10:400010"), 18u);
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_EQ(List().size(), 1u);
}

TEST_F(BreakPointCmds, TwoRootsAtOnePhysicalAddressShareABreakpoint) {
    EXPECT_EQ(live.Run("bp 10:400010@7000"), 0u);
    EXPECT_EQ(live.Run("bp 10:400010@8000"), 0u);
    EXPECT_EQ(live.Output(), (Lines{"Breakpoint ID: 0", "Breakpoint ID: 1"}));
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0010:0000000000400010",
                             "Breakpoint ID: 1, E, address: 0010:0000000000400010"}));
    live.testLibrary->With([](ktTestEngine::Machine &m) {
        ASSERT_EQ(m.breakPoints.size(), 1u);
        EXPECT_EQ(m.breakPoints.begin()->second.filters.size(), 2u);
    });
    EXPECT_EQ(live.Run("bc 0"), 0u);
    EXPECT_EQ(LastCall(), "SbRemoveBreakPointFilter E1 1 10");
    EXPECT_EQ(live.Run("bc 1"), 0u);
    EXPECT_EQ(LastCall(), "SbRemoveBreakPoint E1 1");
}

TEST_F(BreakPointCmds, APhysicalOneShowsTheOthersAsDisabled) {
    EXPECT_EQ(live.Run("bp 10:400010"), 0u);
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    EXPECT_EQ(live.Run("bp #400010"), 0u);
    live.Output();
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, D, address: 0010:0000000000400010",
                             "Breakpoint ID: 1, D, address: 0000000000400010",
                             "Breakpoint ID: 2, E, address: #0000000000400010"}));
    EXPECT_EQ(live.Run("bc 0"), 0u) << "a disabled one can still be removed";
}

TEST_F(BreakPointCmds, IdsAreReusedLowestFirst) {
    for (const char *line : {"bp 400010", "bp 400020", "bp 400030", "bc 2", "bc 0"})
        EXPECT_EQ(live.Run(line), 0u) << line;
    live.Output();
    EXPECT_EQ(live.Run("bp 400040"), 0u);
    EXPECT_EQ(live.Run("bp 400050"), 0u);
    EXPECT_EQ(live.Output(), (Lines{"Breakpoint ID: 0", "Breakpoint ID: 2"}));
}

TEST_F(BreakPointCmds, The1025thFails) {
    live.testLibrary->StopRecording();
    for (uint32_t i = 0; i < 1024; ++i) {
        char line[32];
        std::snprintf(line, sizeof(line), "bp #%X", 0x400000 + i);
        ASSERT_EQ(live.Run(line), 0u) << i;
    }
    EXPECT_EQ(live.Run("bp #401000"), 18u);
}

TEST_F(BreakPointCmds, UnreadableAddressesAre10) {
    for (const char *line : {"bp #8:400010", "bp 1:2:3", "bp 1@2@3", "bp #1@2"})
        EXPECT_EQ(live.Run(line), 10u) << line;
    EXPECT_EQ(live.Run("bp " + std::string(64, '1')), 10u);
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_TRUE(live.testLibrary->Calls().empty());
}

TEST_F(BreakPointCmds, FailuresOfTheLibraryAre18) {
    live.testLibrary->Fail("SbLinearToPhysical", ktTestEngine::failure, 1);
    EXPECT_EQ(live.Run("bp 400010"), 18u);
    EXPECT_EQ(live.Run("bp 900000"), 18u) << "no memory there";
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    live.Output();
    live.testLibrary->Fail("SbRemoveBreakPoint", ktTestEngine::failure, 1);
    EXPECT_EQ(live.Run("bc 0"), 18u);
    live.testLibrary->Fail("SbGetBreakPointInfo", ktTestEngine::failure, 1);
    EXPECT_EQ(live.Run("bl r"), 18u);
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_EQ(List().size(), 1u);
}

TEST_F(BreakPointCmds, IdsThatNobodyHasAre18) {
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    live.Output();
    for (const char *line : {"bc 1", "bc 1024", "bc 4294967295", "bc 4294967296"})
        EXPECT_EQ(live.Run(line), 18u) << line;
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_EQ(List().size(), 1u);
}

TEST_F(BreakPointCmds, ClearingThatFailsIsSilentAnd0) {
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    live.Output();
    live.testLibrary->Fail("SbClearBreakPoints", ktTestEngine::failure, 1);
    EXPECT_EQ(live.Run("bcls"), 0u);
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_EQ(List().size(), 1u);
}

TEST_F(BreakPointCmds, TheListReloadsForAWordThatBeginsWithR) {
    live.testLibrary->With([](ktTestEngine::Machine &m) { m.breakPoints[4] = {0x400010, 0, {}}; });
    for (const char *line : {"bl", "bl x", "bl R"}) {
        EXPECT_EQ(live.Run(line), 0u) << line;
        EXPECT_EQ(live.Output(), Lines{}) << line;
    }
    EXPECT_EQ(live.Run("bl rubbish"), 0u);
    EXPECT_EQ(live.Output(), Lines{"Breakpoint ID: 0, E, address: #0000000000400010"});
    live.testLibrary->With([](ktTestEngine::Machine &m) { m.breakPoints.clear(); });
    EXPECT_EQ(live.Run("bl r"), 0u);
    EXPECT_EQ(live.Output(), Lines{"Breakpoint ID: 0, D, address: #0000000000400010"});
}

TEST_F(BreakPointCmds, AnAddressThatIsNotPrintedIsShownByItsValue) {
    live.session.breakPoints = std::make_unique<OddManager>();
    EXPECT_EQ(List(), Lines{"Breakpoint ID: 12, E, address: 000000000000ABCD"});
}

TEST_F(BreakPointCmds, ALocationOfAFunctionIsItsAddress) {
    PublishFunctions({"zebra", "main"});
    EXPECT_EQ(live.Run("bp demo!main.c|zebra"), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 1A5003 400040");
    EXPECT_EQ(live.Run("bp *!*|main"), 0u);
    live.Output();
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0000000000400040",
                             "Breakpoint ID: 1, E, address: 0000000000400080"}));
}

TEST_F(BreakPointCmds, AnOffsetBehindALocationCounts) {
    PublishFunctions({"zebra"});
    for (const char *line : {"bp demo!main.c|zebra+8", "bp demo!main.c|zebra+0x1F", "bp *!*|zebra+"})
        EXPECT_EQ(live.Run(line), 0u) << line;
    live.Output();
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0000000000400048",
                             "Breakpoint ID: 1, E, address: 000000000040005F",
                             "Breakpoint ID: 2, E, address: 0000000000400040"}));
}

TEST_F(BreakPointCmds, NamesOfCppFunctionsAreLocations) {
    PublishFunctions({"deck::Card::face", "operator+", "operator++", "operator||"});
    for (const char *line : {"bp demo!main.c|deck::Card::face", "bp demo!main.c|operator+",
                             "bp demo!main.c|operator+++4", "bp demo!main.c|operator||"})
        EXPECT_EQ(live.Run(line), 0u) << line;
    live.Output();
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0000000000400040",
                             "Breakpoint ID: 1, E, address: 0000000000400080",
                             "Breakpoint ID: 2, E, address: 00000000004000C4",
                             "Breakpoint ID: 3, E, address: 0000000000400100"}));
}

TEST_F(BreakPointCmds, ALocationMayBeLongerThanAnAddress) {
    const std::string name(100, 'f');
    PublishFunctions({name});
    EXPECT_EQ(live.Run("bp demo!main.c|" + name), 0u);
    EXPECT_EQ(live.testLibrary->Calls().front(), "SbLinearToPhysical E1 1A5003 400040");
    EXPECT_EQ(live.Run("bp demo!main.c|" + name + "+10"), 0u);
    live.Output();
    EXPECT_EQ(List().size(), 2u);
}

TEST_F(BreakPointCmds, AFunctionOfSeveralPartsBeginsWithTheFirstOfThem) {
    PublishDescribed({{"zebra", 0, {{0x400200, 0x20}, {0x400100, 0x10}}}});
    EXPECT_EQ(live.Run("bp demo!main.c|zebra"), 0u);
    EXPECT_EQ(live.Run("bp *!*|zebra+4"), 0u);
    live.Output();
    EXPECT_EQ(List(), (Lines{"Breakpoint ID: 0, E, address: 0000000000400200",
                             "Breakpoint ID: 1, E, address: 0000000000400204"}));
}

TEST_F(BreakPointCmds, OfSeveralFunctionsTheFirstWithAnEntryOfItsOwnIsTaken) {
    PublishDescribed({{"zebra", 0, {}},
                      {"zebra", 0, {{0, 0x20}}},
                      {"zebra", 0, {{0x400200, 0x20}, {0x400100, 0x10}}},
                      {"zebra", 0x400300, {{0x400300, 0x20}}},
                      {"zebra", 0x400400, {{0x400400, 0x20}}}});
    EXPECT_EQ(live.Run("bp *!*|zebra"), 0u);
    live.Output();
    EXPECT_EQ(List(), Lines{"Breakpoint ID: 0, E, address: 0000000000400300"});
}

TEST_F(BreakPointCmds, AFunctionOfUnknownSizeHasItsEntry) {
    PublishDescribed({{"zebra", 0x400300, {{0x400300, 0}}}});
    EXPECT_EQ(live.Run("bp *!*|zebra"), 0u);
    live.Output();
    EXPECT_EQ(List(), Lines{"Breakpoint ID: 0, E, address: 0000000000400300"});
}

TEST_F(BreakPointCmds, WhatIsOutsideItsImageIsNoPlace) {
    PublishDescribed({{"dropped", 0, {{0, 0x20}}},
                      {"droppedParts", 0, {{0, 0x20}, {0, 0x10}}},
                      {"declared", 0, {}},
                      {"behind", 0x404000, {{0x404000, 0x20}}}});
    for (const char *line : {"bp *!*|dropped", "bp *!*|droppedParts", "bp demo!*|declared",
                             "bp *!*|declared+400300", "bp *!*|behind"})
        EXPECT_EQ(live.Run(line), 10u) << line;
    EXPECT_TRUE(live.testLibrary->Calls().empty());
    EXPECT_EQ(List(), Lines{});
}

TEST_F(BreakPointCmds, AModuleWithoutAnImageTakesItsFunctionsAtTheirWord) {
    PublishDescribed({{"zebra", 0x400300, {{0x400300, 0x20}}}}, 0);
    EXPECT_EQ(live.Run("bp *!*|zebra"), 0u);
    live.Output();
    EXPECT_EQ(List(), Lines{"Breakpoint ID: 0, E, address: 0000000000400300"});
}

TEST_F(BreakPointCmds, ALocationThatNamesNoFunctionIs10AndSetsNothing) {
    const Lines lines = {"bp demo!main.c|face",   "bp *!*|face+8", "bp demo|zebra", "bp zebra|", "bp |zebra",
                         "bp demo!main.c|zebra#", "bp 400010|",    "bp #400010|",   "bp +|8",    "bp |"};
    for (const bool published : {false, true}) {
        if (published) PublishFunctions({"zebra"});
        for (const std::string &line : lines) EXPECT_EQ(live.Run(line), 10u) << line;
    }
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_TRUE(live.testLibrary->Calls().empty());
    live.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(live.Run("bp demo!main.c|zebra"), 10u) << "no space to look in";
}

TEST_F(BreakPointCmds, AnyOtherTextIsAnAddressAndWhatIsNoDigitVanishes) {
    PublishFunctions({"zebra"});
    for (const char *line : {"bp zebra", "bp *!*+zebra", "bp demo!zebra"}) live.Run(line);
    Lines calls;
    for (const std::string &call : live.testLibrary->Calls())
        if (call.rfind("SbLinear", 0) == 0) calls.push_back(call);
    EXPECT_EQ(calls, (Lines{"SbLinearToPhysical E1 1A5003 EBA", "SbLinearToPhysical E1 1A5003 EBA",
                            "SbLinearToPhysical E1 1A5003 DEEBA"}));
}

TEST_F(BreakPointCmds, BreakpointsEndWithTheConnection) {
    EXPECT_EQ(live.Run("bp 400010"), 0u);
    EXPECT_EQ(live.Run("disconnect"), 0u);
    EXPECT_EQ(live.session.breakPoints, nullptr);
    EXPECT_EQ(live.testLibrary->Count("SbRemoveBreakPoint"), 0u);
    ASSERT_TRUE(live.Connect());
    live.Output();
    EXPECT_EQ(List(), Lines{});
}

TEST(BreakPointCmdsStatus, WithTheStaticEngine) {
    ktEngineSession live;
    ASSERT_EQ(live.Run("connect static local"), 0u);
    ASSERT_NE(live.session.breakPoints, nullptr);
    EXPECT_EQ(live.Run("bp 400010"), 18u);
    EXPECT_EQ(live.Run("bc 0"), 18u);
    EXPECT_EQ(live.Run("bl"), 0u);
    EXPECT_EQ(live.Run("bl r"), 18u);
    EXPECT_EQ(live.Run("bcls"), 0u);
    EXPECT_EQ(live.Output(), Lines{});
    EXPECT_TRUE(live.testLibrary->Calls().empty());
}

TEST(BreakPointCmdsStatus, WithoutAConnectionOrAnEngine) {
    ktSessionRig rig;
    ktBpCmd set;
    ktBcCmd clear;
    ktBclsCmd clearAll;
    ktBlCmd list;
    for (ktSession *session : {static_cast<ktSession *>(nullptr), &rig.session}) {
        EXPECT_EQ(ExecuteIn(session, set, {"1000"}), 8u);
        EXPECT_EQ(ExecuteIn(session, clear, {uint64_t{0}}), 8u);
        EXPECT_EQ(ExecuteIn(session, clearAll), 8u);
        EXPECT_EQ(ExecuteIn(session, list), 8u);
        EXPECT_EQ(ExecuteIn(session, set, {"1:2:3"}), 10u) << "the address is read first";
        EXPECT_EQ(ExecuteIn(session, set, {"demo!main.c|zebra"}), 8u);
        EXPECT_EQ(ExecuteIn(session, set, {static_cast<const char *>(nullptr)}), 10u);
        EXPECT_EQ(ExecuteIn(session, clear), 5u);
    }
    ASSERT_TRUE(rig.Connect());
    rig.session.breakPoints.reset();
    EXPECT_EQ(ExecuteIn(&rig.session, set, {"1000"}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, clear, {uint64_t{0}}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, clearAll), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, list), 16u);
    rig.session.engine.reset();
    EXPECT_EQ(ExecuteIn(&rig.session, list), 16u);
}
