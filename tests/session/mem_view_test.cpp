#include "session/mem_view_request.h"
#include "session/session.h"
#include "support/session_rig.h"

#include <gtest/gtest.h>

namespace {

using Calls = std::vector<std::string>;

class MemView : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(rig.ConnectQuietly());
        Ask(ktAddress::kindLinear, 0x400000, 64);
        rig.session.memViewRequests.push_back(&request);
    }
    void Ask(uint32_t kind, uint64_t value, uint32_t size, uint64_t root = 0) {
        request.address.Reset();
        request.address.kind = kind;
        request.address.value = value;
        request.address.root = root;
        request.size = size;
        request.gotSize = 77;
        request.skipped = 77;
        request.buffer = bytes;
        request.pending = 1;
    }

    uint8_t bytes[8192] = {};
    ktMemViewRequest request;
    ktSessionRig rig;
};

} // namespace

TEST_F(MemView, AReadFillsTheBufferAndTakesOneOffPending) {
    rig.target.Poke(0x400000, {1, 2, 3});
    request.pending = 3;
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 2u);
    EXPECT_EQ(request.gotSize, 64u);
    EXPECT_EQ(request.skipped, 0u);
    EXPECT_EQ(bytes[2], 3);
}

TEST_F(MemView, APausedRequestIsPassedOver) {
    request.paused = 1;
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 1u);
    EXPECT_EQ(request.gotSize, 77u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(MemView, ARequestThatAsksForNothingIsPassedOver) {
    request.pending = 0;
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 0u);
    EXPECT_EQ(request.gotSize, 77u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(MemView, ReadsThroughThePageCacheOfTheSpace) {
    EXPECT_TRUE(rig.session.RefreshMemViews());
    const Calls expected = {"ReadTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1000"};
    EXPECT_EQ(rig.target.Calls(), expected);
    rig.target.ForgetCalls();
    Ask(ktAddress::kindVirtual, 0x400800, 16);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_TRUE(rig.target.Calls().empty());
    EXPECT_EQ(request.gotSize, 16u);
}

TEST_F(MemView, ARootChoosesTheSpaceWithThatKey) {
    rig.target.SetRegister(ktRegCr3, 0x2000);
    ASSERT_TRUE(rig.session.Update(0)); // the space of the old root is not the current one now
    rig.target.ForgetCalls();
    Ask(ktAddress::kindLinear, 0x403000, 16, ktSessionRig::cr3);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    const Calls expected = {"ReadTarget kind 2 at 0000:403000 root 80000000001A5003 attribute 9 for 1000"};
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(MemView, ARootWithoutASpaceReadsTheTargetDirectly) {
    Ask(ktAddress::kindLinear, 0x403000, 16, 0x7000);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    const Calls expected = {"ReadTarget kind 2 at 0000:403000 root 7000 attribute 9 for 10"};
    EXPECT_EQ(rig.target.Calls(), expected);
    EXPECT_EQ(request.gotSize, 16u);
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, PhysicalMemoryIsReadDirectlyAndGetsNoRoot) {
    Ask(ktAddress::kindPhysical, 0x403000, 16);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    const Calls expected = {"ReadTarget kind 3 at 0000:403000 root 0 attribute 9 for 10"};
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(MemView, ARangeWhoseFirstPageIsAbsentShowsTheNextPageOn) {
    rig.target.Map(0x500000, 0x1000);
    Ask(ktAddress::kindLinear, 0x4FFF00, 512);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.skipped, 256u);
    EXPECT_EQ(request.gotSize, 256u);
    EXPECT_EQ(bytes[0], 0x00) << "the bytes of page 500 stand at the buffer's start";
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, TheBytesBehindTheAbsentPageStandAtTheBuffersStart) {
    rig.target.Map(0x501000, 0x1000);
    Ask(ktAddress::kindLinear, 0x500F80, 256);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.skipped, 128u);
    EXPECT_EQ(request.gotSize, 128u);
    EXPECT_EQ(bytes[0], 0x01);
    EXPECT_EQ(bytes[127], 0x01);
    EXPECT_EQ(bytes[128], 0x00);
}

TEST_F(MemView, AnAlignedRangeSkipsAWholePage) {
    rig.target.Map(0x501000, 0x1000);
    Ask(ktAddress::kindLinear, 0x500000, 8192);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.skipped, 4096u);
    EXPECT_EQ(request.gotSize, 4096u);
}

TEST_F(MemView, ARangeThatEndsAtThePageBoundaryIsTriedWithNothingLeft) {
    Ask(ktAddress::kindLinear, 0x500FC0, 64); // skip equals the size: an empty read, which succeeds
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.skipped, 64u);
    EXPECT_EQ(request.gotSize, 0u);
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, ARangeInsideTheAbsentPageHasNoSecondTry) {
    Ask(ktAddress::kindLinear, 0x500FC0, 63);
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 0u);
    EXPECT_EQ(request.skipped, 0u);
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, WhatTheSpaceCannotReadIsTriedWithTheRootOfThePublishedState) {
    Ask(ktAddress::kindVirtual, 0x500F00, 512);
    request.address.selector = 0x23;
    EXPECT_FALSE(rig.session.RefreshMemViews());
    const Calls expected = {
        "ReadTarget kind 2 at 0000:500000 root 80000000001A5003 attribute 9 for 1000",
        "ReadTarget kind 2 at 0000:500F00 root 80000000001A5003 attribute 9 for 200",
        "ReadTarget kind 2 at 0000:501000 root 80000000001A5003 attribute 9 for 1000",
        "ReadTarget kind 2 at 0000:501000 root 80000000001A5003 attribute 9 for 100",
        "ReadTarget kind 1 at 0023:500F00 root 1A5000 attribute 9 for 200",
        "ReadTarget kind 1 at 0023:501000 root 1A5000 attribute 9 for 100",
    };
    EXPECT_EQ(rig.target.Calls(), expected);
    EXPECT_EQ(request.address.root, 0u) << "the request itself stays";
    EXPECT_EQ(request.address.value, 0x500F00u);
}

TEST_F(MemView, TheDirectReadCanServeWhatTheSpaceCannot) {
    rig.target.SetSegmentBase(0x100000); // virtual 300000 is linear 400000
    Ask(ktAddress::kindVirtual, 0x300000, 64);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 64u);
    EXPECT_EQ(request.skipped, 0u);
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, AShortDirectReadTellsWhatCame) {
    rig.target.AllowShortReads();
    Ask(ktAddress::kindPhysical, 0x403FF0, 64);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 16u);
    EXPECT_EQ(request.skipped, 0u);
}

TEST_F(MemView, AnUntouchedViewFails) {
    Ask(ktAddress::kindNone, 0, 64);
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 0u);
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, ARoundGoesInListOrderUpToTheFirstFailure) {
    uint8_t others[2][16];
    ktMemViewRequest bad, last;
    for (ktMemViewRequest *more : {&bad, &last}) {
        more->address.kind = ktAddress::kindLinear;
        more->address.value = more == &bad ? 0x900000 : 0x400000;
        more->size = 16;
        more->buffer = others[more == &bad ? 0 : 1];
        more->pending = 1;
        rig.session.memViewRequests.push_back(more);
    }
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 64u);
    EXPECT_EQ(bad.pending, 0u);
    EXPECT_EQ(last.pending, 1u);
    EXPECT_EQ(last.gotSize, 0u);
    EXPECT_TRUE(rig.session.RefreshMemViews()) << "the failed one asks no more";
    EXPECT_EQ(last.gotSize, 16u);
}

TEST_F(MemView, AnAddressAtTheTopOfTheAddressSpaceIsNoTrouble) {
    Ask(ktAddress::kindLinear, ~uint64_t{0} - 10, 8192);
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 0u);
}

TEST_F(MemView, AMissingBufferFailsWithoutARead) {
    request.buffer = nullptr;
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 0u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST(MemViewAlone, WithoutRequestsARoundSucceeds) {
    ktSessionRig rig;
    EXPECT_TRUE(rig.session.RefreshMemViews());
}

TEST(MemViewAlone, WithoutAConnectionARequestFails) {
    ktSessionRig rig;
    uint8_t bytes[16];
    ktMemViewRequest request;
    request.address.kind = ktAddress::kindLinear;
    request.size = sizeof(bytes);
    request.buffer = bytes;
    request.pending = 1;
    rig.session.memViewRequests.push_back(&request);
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.pending, 0u);
}

TEST(MemViewStatic, ReadsWhatThePageCacheOfTheOneSpaceHolds) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    ktPageCache &pages = rig.Current()->Pages();
    const uint8_t image[3] = {7, 8, 9};
    uint64_t written = 0;
    ASSERT_TRUE(pages.ReservePages(0x1000, 3));
    ASSERT_TRUE(pages.WritePages(0x1000, image, 3, &written, 0));
    uint8_t bytes[3] = {};
    ktMemViewRequest request;
    request.address.kind = ktAddress::kindLinear;
    request.address.value = 0x1000;
    request.size = 3;
    request.buffer = bytes;
    request.pending = 1;
    rig.session.memViewRequests.push_back(&request);
    EXPECT_TRUE(rig.session.RefreshMemViews());
    EXPECT_EQ(bytes[2], 9);
    request.pending = 1;
    request.address.value = 0x9000;
    EXPECT_FALSE(rig.session.RefreshMemViews());
    EXPECT_EQ(request.gotSize, 0u);
}
