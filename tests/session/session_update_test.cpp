#include "session/session.h"

#include "session/mem_view_request.h"
#include "support/session_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace {

using Calls = std::vector<std::string>;

constexpr uint64_t ip = ktSessionRig::ip;
constexpr uint64_t generationBeforePinned = 0xFFFFFFFE;

class SessionUpdate : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(rig.ConnectQuietly()); }

    void MoveTo(uint64_t pointer) { rig.target.SetRegister(ktRegIp, pointer); }
    ktPageCache &Pages() { return rig.Current()->Pages(); }
    const ktSnapshot &Published() { return *rig.session.publishedSnapshot; }
    ktSnapshot &Next() { return *rig.session.writeSnapshot; }
    /// Two updates: afterwards the published record and the next one to write hold the same code.
    void FillBothRecords() {
        ASSERT_TRUE(rig.session.Update(0));
        ASSERT_TRUE(rig.session.Update(0));
        rig.target.ForgetCalls();
    }
    void EmptyPages() { Pages().Clear(); }
    size_t CodeReads() {
        const Calls calls = rig.target.Calls();
        return static_cast<size_t>(std::count_if(calls.begin(), calls.end(), [](const std::string &call) {
            return call.rfind("ReadTarget kind 2", 0) == 0;
        }));
    }
    /// Runs an update that has to fail, and checks what every failure leaves.
    void ExpectFailure(uint32_t flags) {
        const ktSnapshot *published = rig.session.publishedSnapshot;
        const uint64_t pointer = published->context.values[ktRegIp];
        const uint64_t mask = published->context.validMask;
        ktSnapshot &dropped = Next();
        dropped.coreCount = 7;
        dropped.currentCore = 7;
        dropped.space = rig.Current();
        EXPECT_FALSE(rig.session.Update(flags));
        EXPECT_EQ(rig.session.publishedSnapshot, published);
        EXPECT_EQ(published->context.values[ktRegIp], pointer);
        EXPECT_EQ(published->context.validMask, mask);
        EXPECT_EQ(rig.session.writeSnapshot, &dropped) << "it returns to the rotation";
        EXPECT_EQ(dropped.coreCount, 0u);
        EXPECT_EQ(dropped.currentCore, 0u);
        EXPECT_EQ(dropped.space, nullptr);
        EXPECT_EQ(dropped.codeSize, ktSnapshotCodeSize);
        EXPECT_EQ(dropped.stackSize, ktSnapshotStackSize);
        EXPECT_EQ(dropped.context.validMask, 0u);
        EXPECT_FALSE(dropped.context.complete);
        ktSession &session = rig.session;
        bool entered = false;
        std::thread([&] {
            entered = session.writeSnapshot.load()->lock.TryEnter();
            if (entered) session.writeSnapshot.load()->lock.Leave();
        }).join();
        EXPECT_TRUE(entered) << "the lock was left";
    }

    ktSessionRig rig;
};

} // namespace

TEST(SessionUpdateAlone, WithoutAConnectionFails) {
    ktSessionRig rig;
    EXPECT_FALSE(rig.session.Update(0));
    EXPECT_FALSE(rig.session.Update(ktUpdateAssumeRunning));
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(SessionUpdate, AsksTheEngineInOrder) {
    rig.target.SetRegister(ktRegIp, ip + 0x1000); // code that is not cached yet
    ASSERT_TRUE(rig.session.Update(0));
    const Calls expected = {
        "GetStateInfo",
        "GetCpuInfo",
        "GetContext",
        "ReadTarget kind 2 at 0000:402000 root 80000000001A5003 attribute 9 for 1000",
        "ReadTarget kind 1 at 0018:700010 root 1A5000 attribute 9 for 80",
    };
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(SessionUpdate, FillsTheWholeRecord) {
    rig.target.SetCores(3, 8);
    rig.target.SetStop(false, 5);
    rig.target.SetMode(4);
    rig.target.Poke(ip, {0x0F, 0x0B});
    rig.target.Poke(ktSessionRig::sp, {1, 2, 3});
    ASSERT_TRUE(rig.session.Update(ktUpdateDropCache));
    const ktSnapshot &now = Published();
    EXPECT_FALSE(now.stop.running);
    EXPECT_EQ(now.stop.reason, 5u);
    EXPECT_EQ(now.currentCore, 3u);
    EXPECT_EQ(now.coreCount, 8u);
    EXPECT_EQ(now.context.mode, 4u);
    EXPECT_TRUE(now.context.complete);
    EXPECT_EQ(now.context.validMask, 0x07FFFFFFFFFFFFFFu);
    EXPECT_EQ(now.context.values[ktRegIp], ip);
    EXPECT_EQ(now.codeAddress.value, ip - 256);
    EXPECT_EQ(now.codeAddress.root, ktSessionRig::root);
    EXPECT_EQ(now.codeAddress.selector, 0x10);
    EXPECT_EQ(now.codeAddress.kind, uint32_t{ktAddress::kindVirtual});
    EXPECT_EQ(now.codeSize, 1024u);
    EXPECT_EQ(now.code[255], 0x01);
    EXPECT_EQ(now.code[256], 0x0F);
    EXPECT_EQ(now.code[257], 0x0B);
    EXPECT_EQ(now.stackAddress.value, ktSessionRig::sp);
    EXPECT_EQ(now.stackAddress.root, ktSessionRig::root);
    EXPECT_EQ(now.stackAddress.selector, 0x18);
    EXPECT_EQ(now.stackAddress.kind, uint32_t{ktAddress::kindVirtual});
    EXPECT_EQ(now.stackAddress.attribute, 9u);
    EXPECT_EQ(now.stackSize, 128u);
    EXPECT_EQ(now.stack[2], 3);
    EXPECT_EQ(now.space, rig.Current());
}

TEST_F(SessionUpdate, KeepsTheLastGoodStateWhenTheEngineDoesNotAnswer) {
    for (const char *operation : {"GetStateInfo", "GetCpuInfo", "GetContext"}) {
        SCOPED_TRACE(operation);
        rig.target.Fail(operation);
        ExpectFailure(0);
        rig.target.Mend(operation);
    }
    EXPECT_TRUE(rig.session.Update(0));
}

TEST_F(SessionUpdate, AFailingStateInfoAsksNothingElse) {
    rig.target.Fail("GetStateInfo");
    ExpectFailure(ktUpdateDropCache);
    EXPECT_EQ(rig.target.Calls(), Calls{"GetStateInfo"});
    EXPECT_NE(Pages().PageCount(), 0u) << "the cache is dropped for a stopped target only";
}

TEST_F(SessionUpdate, AFailingCpuInfoStillAsksForTheContext) {
    rig.target.Fail("GetCpuInfo");
    ExpectFailure(0);
    const Calls expected = {"GetStateInfo", "GetCpuInfo", "GetContext"};
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(SessionUpdate, AFailingCodeReadReadsNoStack) {
    MoveTo(0x900000);
    ExpectFailure(0);
    EXPECT_EQ(rig.target.Calls().back().rfind("ReadTarget kind 2", 0), 0u);
}

TEST_F(SessionUpdate, AFailingStackReadFails) {
    rig.target.SetRegister(ktRegSp, 0x900000);
    ExpectFailure(0);
}

TEST_F(SessionUpdate, PositiveResultsAreSuccess) {
    FillBothRecords(); // a scripted result does nothing else
    for (const char *operation : {"GetStateInfo", "GetCpuInfo", "GetContext"})
        rig.target.Fail(operation, 1, 1);
    EXPECT_TRUE(rig.session.Update(0));
}

TEST_F(SessionUpdate, ARunningTargetPublishesAStaleRecordThatShowsRunning) {
    FillBothRecords();
    rig.target.SetStop(true, 3);
    const ktSnapshot *next = &Next();
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Calls(), Calls{"GetStateInfo"});
    EXPECT_EQ(&Published(), next);
    EXPECT_TRUE(Published().stop.running);
    EXPECT_EQ(Published().stop.reason, 0u);
    EXPECT_EQ(Published().context.validMask, 0u);
    EXPECT_FALSE(Published().context.complete);
    EXPECT_EQ(Published().context.values[ktRegIp], ip);
    EXPECT_EQ(Published().codeAddress.value, ip - 256);
    EXPECT_EQ(Published().space, rig.Current());
}

TEST_F(SessionUpdate, Flag1TakesTheTargetAsRunningWithoutAnyCall) {
    rig.target.SetStop(false, 3);
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    EXPECT_TRUE(rig.target.Calls().empty());
    EXPECT_TRUE(Published().stop.running);
    EXPECT_EQ(Published().stop.reason, 0u);
    EXPECT_EQ(Published().context.validMask, 0u);
    EXPECT_FALSE(Published().context.complete);
}

TEST_F(SessionUpdate, Flag2SkipsTheCpuInfo) {
    rig.target.SetCores(5, 6);
    Next().currentCore = 1;
    Next().coreCount = 2;
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipCpuInfo));
    EXPECT_EQ(rig.target.Count("GetCpuInfo"), 0u);
    EXPECT_EQ(rig.target.Count("GetContext"), 1u);
    EXPECT_EQ(Published().currentCore, 1u);
    EXPECT_EQ(Published().coreCount, 2u);
}

TEST_F(SessionUpdate, Flag4SkipsTheContextAndWorksOnTheRecordsOwn) {
    FillBothRecords();
    MoveTo(ip + 0x1000);
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipContext));
    EXPECT_EQ(rig.target.Count("GetContext"), 0u);
    EXPECT_EQ(Published().context.values[ktRegIp], ip);
    EXPECT_EQ(rig.target.Count("ReadTarget"), 1u) << "the stack alone";
}

TEST_F(SessionUpdate, Flag8SkipsTheCode) {
    MoveTo(0x900000);
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipCode));
    EXPECT_EQ(CodeReads(), 0u);
    EXPECT_EQ(Published().context.values[ktRegIp], 0x900000u);
    EXPECT_EQ(rig.target.Count("ReadTarget"), 1u);
}

TEST_F(SessionUpdate, Flag16SkipsTheStack) {
    rig.target.SetRegister(ktRegSp, 0x900000);
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipStack));
    EXPECT_EQ(rig.target.Count("ReadTarget"), 0u);
}

TEST_F(SessionUpdate, Flag32LeavesTheMemoryViewsAndTheGenerationAlone) {
    uint8_t bytes[16];
    ktMemViewRequest request;
    request.address.kind = ktAddress::kindLinear;
    request.address.value = 0x400000;
    request.size = sizeof(bytes);
    request.buffer = bytes;
    rig.session.memViewRequests.push_back(&request);
    const uint64_t before = Pages().generation;
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipMemViews));
    EXPECT_EQ(Pages().generation, before);
    EXPECT_EQ(request.pending, 0u);
    EXPECT_EQ(request.gotSize, 0u);
    EXPECT_EQ(Published().space, rig.Current());
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().generation, before + 1);
    EXPECT_EQ(request.gotSize, 16u);
}

TEST_F(SessionUpdate, SkipFlagsHoldForOneUpdateOnly) {
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipCpuInfo | ktUpdateSkipContext | ktUpdateSkipStack));
    EXPECT_EQ(rig.target.Calls(), Calls{"GetStateInfo"}) << "the code's page is cached";
    rig.target.ForgetCalls();
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Count("GetCpuInfo"), 1u);
    EXPECT_EQ(rig.target.Count("GetContext"), 1u);
    EXPECT_EQ(rig.target.Count("ReadTarget"), 1u);
}

TEST_F(SessionUpdate, Flag64DropsTheCacheAndReadsTheCodeAnew) {
    FillBothRecords();
    ASSERT_EQ(Pages().FindPage(ip >> 12)->generation, ktPinnedGeneration);
    Pages().generation = 40;
    rig.target.Poke(ip, {0xCC});
    ASSERT_TRUE(rig.session.Update(ktUpdateDropCache));
    EXPECT_EQ(CodeReads(), 1u);
    EXPECT_EQ(Published().code[256], 0xCC);
    EXPECT_EQ(Pages().generation, 1u) << "0 by the flag, then raised for the stop";
    EXPECT_EQ(Pages().PageCount(), 1u);
}

TEST_F(SessionUpdate, Flag64DropsTheCacheAlsoWhenTheContextCannotBeHad) {
    rig.target.Fail("GetContext");
    ExpectFailure(ktUpdateDropCache);
    EXPECT_EQ(Pages().PageCount(), 0u);
    EXPECT_EQ(Pages().generation, 0u);
}

TEST_F(SessionUpdate, Flag64WithoutTheCpuInfoDropsTheCacheOfTheSpaceBeforeAndReadsNothing) {
    const ktSpace *before = rig.Current();
    Pages().generation = 40;
    rig.target.SetRegister(ktRegCr3, 0x9000); // a space that is not selected
    rig.target.Fail("GetCpuInfo");
    ExpectFailure(ktUpdateDropCache);
    EXPECT_EQ(rig.target.Calls(), (Calls{"GetStateInfo", "GetCpuInfo", "GetContext"}));
    EXPECT_EQ(rig.Current(), before);
    EXPECT_EQ(Pages().PageCount(), 0u);
    EXPECT_EQ(Pages().generation, 0u);
}

TEST_F(SessionUpdate, TwoInARowAFewBytesFurtherOnDoNotReadCodeBytesAgain) {
    MoveTo(ip + 0x10);
    ASSERT_TRUE(rig.session.Update(0));
    MoveTo(ip + 0x20);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(CodeReads(), 0u);
}

TEST_F(SessionUpdate, CodeIsKeptAsItStandsInTheFirstThreeQuartersOfTheWindow) {
    FillBothRecords();
    EmptyPages();
    for (const uint64_t pointer : {ip - 256, ip, ip + 511}) {
        MoveTo(pointer);
        ASSERT_TRUE(rig.session.Update(0));
        EXPECT_EQ(Published().codeAddress.value, ip - 256);
    }
    EXPECT_EQ(CodeReads(), 0u);
}

TEST_F(SessionUpdate, CodeIsReadAgainBehindTheThirdQuarter) {
    FillBothRecords();
    MoveTo(ip + 512);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, ip + 256);
}

TEST_F(SessionUpdate, CodeIsReadAgainBeforeTheWindow) {
    MoveTo(ip + 0x400);
    FillBothRecords();
    MoveTo(ip + 0x400 - 257);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, ip + 0x400 - 257 - 256);
}

TEST_F(SessionUpdate, CodeIsReadAgainForAnotherRootOrSelector) {
    FillBothRecords();
    rig.target.Poke(ip, {0xAA});
    EmptyPages();
    rig.target.SetRegister(ktRegCs, 0x20);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.selector, 0x20);
    EXPECT_EQ(Published().code[256], 0xAA);
    rig.target.SetRegister(ktRegCs, 0x10);
    rig.target.SetRegister(ktRegCr3, 0x9000);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.root, 0x9000u);
    EXPECT_EQ(Published().code[256], 0xAA);
}

TEST_F(SessionUpdate, FlagBitsOfTheRootDoNotMakeOtherCode) {
    FillBothRecords();
    rig.target.SetRegister(ktRegCr3, ktSessionRig::root | 0x18); // another key, and so another space
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(CodeReads(), 0u);
    EXPECT_EQ(rig.Current(), Published().space);
    EXPECT_EQ(Published().space->Key(), ktSessionRig::root | 0x18);
}

TEST_F(SessionUpdate, CodeStartsAtThePointersPageWhenThePageBeforeIsAbsent) {
    rig.target.Map(0x500000, 0x1000);
    rig.target.Poke(0x500010, {0xEB, 0xFE});
    MoveTo(0x500010);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, 0x500000u);
    EXPECT_EQ(Published().codeSize, 1024u);
    EXPECT_EQ(Published().code[0x10], 0xEB);
    EXPECT_EQ(Pages().FindPage(0x500)->generation, ktPinnedGeneration);
    EXPECT_EQ(Pages().FindPage(0x4FF), nullptr);
}

TEST_F(SessionUpdate, CodeFollowsTheBaseOfTheSegment) {
    rig.target.SetRegister(ktRegCsBase, 0x400000);
    MoveTo(0x2300);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, 0x2200u);
    EXPECT_EQ(Published().code[0], 0x02) << "linear 402200";
    EXPECT_EQ(CodeReads(), 1u);
}

TEST_F(SessionUpdate, ThePagesOfTheCodeArePinnedThroughLaterStops) {
    MoveTo(0x402000); // 1024 bytes from 401F00 on: two pages
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().FindPage(0x401)->generation, ktPinnedGeneration);
    EXPECT_EQ(Pages().FindPage(0x402)->generation, ktPinnedGeneration);
    rig.target.ForgetCalls();
    MoveTo(0x402000 + 768);
    ASSERT_TRUE(rig.session.Update(0));
    MoveTo(0x402000);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(CodeReads(), 0u);
}

TEST_F(SessionUpdate, AShortReadOfTheCodeIsKeptAsFarAsItWent) {
    rig.target.AllowShortReads();
    rig.target.Map(0x500000, 0x1000);
    MoveTo(0x500F00); // from 500E00: 512 bytes up to the end of the memory
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, 0x500E00u);
    EXPECT_EQ(Published().codeSize, 512u);
    EXPECT_EQ(Pages().FindPage(0x500)->generation, ktPinnedGeneration);
}

TEST_F(SessionUpdate, AMissingPageUndoesThePinsUpToTheSumOfTheTwoPageNumbers) {
    // The page behind cannot be fetched, but the read straight through it can: bytes without a page.
    rig.target.Map(0x500000, 0x2000);
    constexpr uint64_t first = 0x500;
    constexpr uint64_t missing = first + 1;
    for (const uint64_t page : {first - 1, first + missing - 1, first + missing}) {
        Pages().AddPage(page)->generation = ktPinnedGeneration;
    }
    Pages().generation = 9;
    MoveTo(0x500E00);
    rig.target.Fail("ReadTarget", ktFakeTarget::failure, 1, 1);
    ExpectFailure(0);
    const Calls expected = {
        "GetStateInfo",
        "GetCpuInfo",
        "GetContext",
        "ReadTarget kind 2 at 0000:500000 root 80000000001A5003 attribute 9 for 1000",
        "ReadTarget kind 2 at 0000:501000 root 80000000001A5003 attribute 9 for 1000",
        "ReadTarget kind 2 at 0000:500D00 root 80000000001A5003 attribute 9 for 400",
    };
    EXPECT_EQ(rig.target.Calls(), expected);
    EXPECT_EQ(Pages().FindPage(missing), nullptr);
    EXPECT_EQ(Pages().FindPage(first - 1)->generation, ktPinnedGeneration);
    EXPECT_EQ(Pages().FindPage(first)->generation, 9u);
    EXPECT_EQ(Pages().FindPage(first + missing - 1)->generation, 9u);
    EXPECT_EQ(Pages().FindPage(first + missing)->generation, ktPinnedGeneration);
}

TEST_F(SessionUpdate, CodeAtTheTopOfTheAddressSpaceIsNoTrouble) {
    rig.target.AllowShortReads();
    for (const uint64_t pointer : {uint64_t{0}, uint64_t{0x10}, ~uint64_t{0}, ~uint64_t{0} - 100}) {
        MoveTo(pointer);
        ExpectFailure(0);
    }
    rig.target.Map(0xFFFFFFFFFFFFF000, 0x1000);
    MoveTo(0xFFFFFFFFFFFFFF00);
    rig.session.Update(0);
    rig.target.Map(0, 0x1000);
    MoveTo(0x10);
    EXPECT_TRUE(rig.session.Update(0));
}

TEST_F(SessionUpdate, ACodeReadThatFailsLeavesTheRecordsCode) {
    FillBothRecords();
    const ktSnapshot &dropped = Next();
    MoveTo(0x900000);
    ExpectFailure(0);
    EXPECT_EQ(dropped.codeAddress.value, ip - 256);
    EXPECT_EQ(dropped.code[256], 0x01);
}

TEST_F(SessionUpdate, AShortReadOfTheStackIsKeptAsFarAsItWent) {
    rig.target.AllowShortReads();
    rig.target.SetRegister(ktRegSp, 0x700FF0);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().stackSize, 16u);
    EXPECT_EQ(Published().stackAddress.value, 0x700FF0u);
}

TEST_F(SessionUpdate, EachStopRaisesTheGenerationByOne) {
    const uint64_t before = Pages().generation;
    ASSERT_TRUE(rig.session.Update(0));
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().generation, before + 2);
}

TEST_F(SessionUpdate, TheGenerationJumpsOverTheStampOfPinnedPages) {
    Pages().generation = generationBeforePinned - 1;
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().generation, generationBeforePinned);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().generation, 0x100000000u);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Pages().generation, 0x100000001u);
}

TEST_F(SessionUpdate, EveryRequestIsRaisedAndThoseBehindAFailureStayRaised) {
    uint8_t bytes[3][16] = {};
    ktMemViewRequest requests[3];
    for (size_t i = 0; i < 3; ++i) {
        requests[i].address.kind = ktAddress::kindLinear;
        requests[i].address.value = i == 1 ? 0x900000 : 0x400000;
        requests[i].size = 16;
        requests[i].buffer = bytes[i];
        rig.session.memViewRequests.push_back(&requests[i]);
    }
    ASSERT_TRUE(rig.session.Update(0)) << "a view that cannot be read fails no update";
    EXPECT_EQ(requests[0].pending, 0u);
    EXPECT_EQ(requests[0].gotSize, 16u);
    EXPECT_EQ(requests[1].pending, 0u);
    EXPECT_EQ(requests[1].gotSize, 0u);
    EXPECT_EQ(requests[2].pending, 1u);
    requests[1].address.value = 0x401000;
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(requests[2].pending, 1u) << "raised to two, and one served";
    EXPECT_EQ(requests[2].gotSize, 16u);
}

TEST_F(SessionUpdate, ThePausedRequestIsRaisedAndNotServed) {
    ktMemViewRequest request;
    request.paused = 1;
    rig.session.memViewRequests.push_back(&request);
    ASSERT_TRUE(rig.session.Update(0));
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(request.pending, 2u);
}

TEST_F(SessionUpdate, AStaleReadOfAViewIsFetchedAgainAtTheNextStop) {
    uint8_t bytes[4] = {};
    ktMemViewRequest request;
    request.address.kind = ktAddress::kindLinear;
    request.address.value = 0x403000;
    request.size = 4;
    request.buffer = bytes;
    rig.session.memViewRequests.push_back(&request);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(bytes[0], 0x03);
    rig.target.Poke(0x403000, {0x77});
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(bytes[0], 0x77);
}

TEST(SessionUpdateStatic, ResetsTheRecordAndPublishesNothing) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    const ktSnapshot *published = rig.session.publishedSnapshot;
    ktSnapshot *next = rig.session.writeSnapshot;
    next->coreCount = 4;
    next->codeSize = 1;
    for (const uint32_t flags : {0u, 1u, 64u}) EXPECT_TRUE(rig.session.Update(flags));
    EXPECT_EQ(rig.session.publishedSnapshot, published);
    EXPECT_EQ(rig.session.writeSnapshot, next);
    EXPECT_EQ(next->coreCount, 0u);
    EXPECT_EQ(next->codeSize, ktSnapshotCodeSize);
    EXPECT_EQ(rig.Current()->Pages().generation, 0u);
    bool entered = false;
    std::thread([&] {
        entered = next->lock.TryEnter();
        if (entered) next->lock.Leave();
    }).join();
    EXPECT_TRUE(entered);
}

class DirectCodeRead : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(rig.ConnectQuietly());
        rig.session.useSpaceCache = false;
    }
    const ktSnapshot &Published() { return *rig.session.publishedSnapshot; }

    ktSessionRig rig;
};

TEST_F(DirectCodeRead, AResultOf0ReadsOnceMoreFromThePagesStart) {
    ASSERT_TRUE(rig.session.Update(0));
    const Calls expected = {
        "GetStateInfo",
        "GetCpuInfo",
        "GetContext",
        "ReadTarget kind 1 at 0010:401000 root 1A5000 attribute 9 for 400",
        "ReadTarget kind 1 at 0010:401000 root 1A5000 attribute 9 for 400",
        "ReadTarget kind 1 at 0018:700010 root 1A5000 attribute 9 for 80",
    };
    EXPECT_EQ(rig.target.Calls(), expected);
    rig.target.SetRegister(ktRegIp, 0x402345);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Published().codeAddress.value, 0x402000u);
    EXPECT_EQ(Published().codeAddress.root, ktSessionRig::root);
    EXPECT_EQ(Published().codeAddress.selector, 0x10);
    EXPECT_EQ(Published().codeAddress.kind, uint32_t{ktAddress::kindVirtual});
    EXPECT_EQ(Published().codeSize, 1024u);
    EXPECT_EQ(Published().code[0], 0x02);
}

TEST_F(DirectCodeRead, AFailureOfTheSecondReadFails) {
    const ktSnapshot *published = &Published();
    rig.target.Fail("ReadTarget", ktFakeTarget::failure, 1, 1);
    EXPECT_FALSE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Count("ReadTarget"), 2u);
    EXPECT_EQ(&Published(), published);
}

TEST_F(DirectCodeRead, APositiveResultKeepsWhatCame) {
    rig.target.Fail("ReadTarget", 1, 1);
    rig.target.SetRegister(ktRegIp, 0x402345);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Count("ReadTarget"), 2u) << "one for the code, one for the stack";
    EXPECT_EQ(Published().codeAddress.value, 0x402245u);
    EXPECT_EQ(Published().codeSize, 0u);
}

TEST_F(DirectCodeRead, ANegativeResultKeepsWhatCameAndSucceeds) {
    rig.target.SetRegister(ktRegIp, 0x900345);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Count("ReadTarget"), 2u);
    EXPECT_EQ(Published().codeAddress.value, 0x900245u);
    EXPECT_EQ(Published().codeSize, 0u);
}

TEST_F(DirectCodeRead, HappensOnEachUpdate) {
    ASSERT_TRUE(rig.session.Update(0));
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.target.Count("ReadTarget"), 6u);
}
