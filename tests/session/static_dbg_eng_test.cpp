#include "session/static_dbg_eng.h"

#include "session/context.h"
#include "support/fake_host.h"

#include <gtest/gtest.h>

namespace {

class StaticDbgEng : public testing::Test {
protected:
    ktFakeHost host;
    ktStaticDbgEng engine{host};
};

void IgnoreEvent(void *, uint32_t) {}

} // namespace

TEST_F(StaticDbgEng, ConnectsAndAnswers) {
    EXPECT_EQ(engine.Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(engine.Connect(ktTransportNet, "10.0.0.1"), 0);
    EXPECT_EQ(engine.Ping(), 0);
    EXPECT_EQ(engine.GetEngineType(), 1u);
}

TEST_F(StaticDbgEng, SupportsNothingThatNeedsATarget) {
    const ktStatus notSupported = static_cast<int32_t>(0xC000000D);
    ASSERT_LT(notSupported, 0);
    ktStopState stop;
    ktContext context;
    ktAddress address;
    uint64_t number = 5;
    uint64_t other = 5;
    uint8_t bytes[4] = {1, 2, 3, 4};
    uint8_t digest[20] = {};
    EXPECT_EQ(engine.SetEventCallback(IgnoreEvent, nullptr), notSupported);
    EXPECT_EQ(engine.Go(), notSupported);
    EXPECT_EQ(engine.BreakIn(), notSupported);
    EXPECT_EQ(engine.Step(true), notSupported);
    EXPECT_EQ(engine.Reboot(), notSupported);
    EXPECT_EQ(engine.GetStateInfo(&stop), notSupported);
    EXPECT_EQ(engine.SwitchCpu(1), notSupported);
    EXPECT_EQ(engine.GetCpuInfo(&number, &other), notSupported);
    EXPECT_EQ(engine.GetContext(&context), notSupported);
    EXPECT_EQ(engine.SetContext(&context), notSupported);
    EXPECT_EQ(engine.ReadTarget(address, bytes, 4, &number), notSupported);
    EXPECT_EQ(engine.WriteTarget(address, bytes, 4, &number), notSupported);
    EXPECT_EQ(engine.WalkPage(address, nullptr), notSupported);
    EXPECT_EQ(engine.ToPhysical(address, &number), notSupported);
    EXPECT_EQ(engine.SearchMemory(address, &other, "MZ", 2, 4096, &address), notSupported);
    EXPECT_EQ(engine.ComputeSha1(address, digest, 4, &number), notSupported);
    EXPECT_EQ(engine.SetLogSink(nullptr), notSupported);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(context.validMask, 0u);
    EXPECT_EQ(bytes[0], 1);
}

TEST_F(StaticDbgEng, OperationsWithoutAUseAreNotSupported) {
    for (const ktStatus status : {engine.Reserved1(), engine.Reserved2(), engine.Reserved3(),
                                  engine.Reserved4(), engine.Reserved5(), engine.Reserved6()})
        EXPECT_EQ(status, static_cast<int32_t>(0xC000000D));
}

TEST_F(StaticDbgEng, CpuIdIsTheHosts) {
    host.cpuId[{0x80000008, 3}] = {0x3027, 1, 2, 3};
    uint32_t words[4] = {};
    EXPECT_EQ(engine.CpuId(0x80000008, 3, words), 0);
    EXPECT_EQ(words[0], 0x3027u);
    EXPECT_EQ(words[3], 3u);
}

TEST_F(StaticDbgEng, CpuIdOfAHostWithoutItGivesZerosAndSucceeds) {
    host.hasCpuId = false;
    uint32_t words[4] = {9, 9, 9, 9};
    EXPECT_EQ(engine.CpuId(1, 0, words), 0);
    EXPECT_EQ(words[0], 0u);
    EXPECT_EQ(words[3], 0u);
}
