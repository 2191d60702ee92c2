#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

class FrontControl : public EngineRig {};

} // namespace

TEST_F(FrontControl, ATargetIsFoundStopped) {
    Start();
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(StopCode(), ktSbStopBreakIn);
    EXPECT_TRUE(events.empty());
}

TEST_F(FrontControl, ATargetMayBeFoundRunning) {
    prepare = [](FakeTarget &target) { target.startState = {1, 0}; };
    Start();
    EXPECT_TRUE(IsRunning());
    EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
    EXPECT_FALSE(IsRunning());
}

TEST_F(FrontControl, GoRunsUntilAStop) {
    int slices = 0;
    prepare = [&](FakeTarget &target) {
        target.onRun = [&]() -> std::optional<ktSbStop> {
            return ++slices == 100 ? std::optional(ktSbStopBreakPoint) : std::nullopt;
        };
    };
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopBreakPoint}));
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(StopCode(), ktSbStopBreakPoint);
    EXPECT_EQ(slices, 100);
}

TEST_F(FrontControl, BreakInStopsARunningTarget) {
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(IsRunning());
    EXPECT_EQ(SbGo(engine), SABLE_OK) << "it runs already";
    EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(StopCode(), ktSbStopBreakIn);
    EXPECT_TRUE(WaitForEvents({ktSbStopBreakIn}));
}

TEST_F(FrontControl, BreakInOnAStoppedTargetChangesNothing) {
    Start();
    EXPECT_EQ(SbStep(engine, true), SABLE_OK);
    EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
    EXPECT_EQ(StopCode(), ktSbStopStep);
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopReset})) << "the first event";
}

TEST_F(FrontControl, AStepHasEndedWhenItReturns) {
    Start();
    ktRawContext context = {};
    EXPECT_EQ(SbStep(engine, true), SABLE_OK);
    EXPECT_EQ(SbGetContext(engine, &context, 1, nullptr), SABLE_OK);
    EXPECT_EQ(context.rip, 0x1001u);
    EXPECT_EQ(StopCode(), ktSbStopStep);
    EXPECT_FALSE(IsRunning());
}

TEST_F(FrontControl, AStepThatEndsOtherwiseIsAnEvent) {
    prepare = [](FakeTarget &target) { target.stepStop = ktSbStopException; };
    Start();
    EXPECT_EQ(SbStep(engine, true), SABLE_OK);
    EXPECT_EQ(StopCode(), ktSbStopException);
    EXPECT_TRUE(WaitForEvents({ktSbStopException}));
}

TEST_F(FrontControl, ResetLeavesTheTargetStopped) {
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(StopCode(), ktSbStopReset);
    EXPECT_TRUE(WaitForEvents({ktSbStopReset}));
}

TEST_F(FrontControl, WhatIsAboutRegistersWaitsForAStop) {
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    ktRawContext context = {};
    uint8_t byte = 0;
    EXPECT_EQ(SbGetContext(engine, &context, 1, nullptr), SABLE_FAILED);
    EXPECT_EQ(SbSetContext(engine, &context, 1), SABLE_FAILED);
    EXPECT_EQ(SbSwitchCpu(engine, 1), SABLE_FAILED);
    EXPECT_EQ(SbStep(engine, true), SABLE_FAILED);
    EXPECT_EQ(SbReadVirtualMemory(engine, 0, 0, 0x1000, &byte, 1, nullptr), SABLE_FAILED);
    EXPECT_EQ(SbReadLinearMemory(engine, 0, 0x1000, &byte, 1, nullptr), SABLE_OK);
    EXPECT_EQ(SbReadPhysicalMemory(engine, 0x1000, &byte, 1, nullptr), SABLE_OK);
    ktSbRawCpuId words = {};
    EXPECT_EQ(SbCpuId(engine, 0, 0, &words), SABLE_OK);
    EXPECT_TRUE(IsRunning());
}

TEST_F(FrontControl, FailuresOfTheTargetAreTold) {
    prepare = [](FakeTarget &target) { target.controlStatus = int32_t(0xC0000042); };
    Start();
    ktRawContext context = {};
    EXPECT_EQ(SbGo(engine), int32_t(0xC0000042));
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(SbStep(engine, false), int32_t(0xC0000042));
    EXPECT_EQ(SbReboot(engine), int32_t(0xC0000042));
    EXPECT_EQ(SbSwitchCpu(engine, 1), int32_t(0xC0000042));
    EXPECT_EQ(SbSwitchCpu(engine, 2), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbGetContext(engine, &context, 1, nullptr), int32_t(0xC0000042));
    EXPECT_EQ(SbSetContext(engine, &context, 1), int32_t(0xC0000042));
    EXPECT_EQ(StopCode(), ktSbStopBreakIn);
}

TEST_F(FrontControl, ABreakInThatFailsLeavesTheTargetRunning) {
    prepare = [](FakeTarget &target) {
        target.startState = {1, 0};
        target.controlStatus = SABLE_FAILED;
    };
    Start();
    EXPECT_EQ(SbBreakIn(engine), SABLE_FAILED);
    EXPECT_TRUE(IsRunning());
}

TEST_F(FrontControl, CoresAreToldAndSwitched) {
    Start();
    uint8_t current = 9;
    uint8_t count = 9;
    EXPECT_EQ(SbGetCpuInfo(engine, &current, &count), SABLE_OK);
    EXPECT_EQ(current, 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(SbSwitchCpu(engine, 1), SABLE_OK);
    EXPECT_EQ(SbGetCpuInfo(engine, &current, nullptr), SABLE_OK);
    EXPECT_EQ(current, 1);
    EXPECT_EQ(SbGetCpuInfo(engine, nullptr, nullptr), SABLE_OK);
}

TEST_F(FrontControl, RegistersGoBothWaysAsTheyAre) {
    uint64_t mask = 0;
    prepare = [&](FakeTarget &target) { target.onNote = [&] { mask = target.lastMask; }; };
    Start();
    ktRawContext written;
    std::memset(&written, 0x5A, sizeof written);
    EXPECT_EQ(SbSetContext(engine, &written, 0x1234), SABLE_OK);
    EXPECT_EQ(mask, 0x1234u);
    ktRawContext read = {};
    uint32_t mode = 99;
    EXPECT_EQ(SbGetContext(engine, &read, UINT64_MAX, &mode), SABLE_OK);
    EXPECT_EQ(mask, UINT64_MAX);
    EXPECT_EQ(std::memcmp(&read, &written, sizeof read), 0);
    EXPECT_EQ(mode, uint32_t(ktSbModeProtected32));
}

TEST_F(FrontControl, ProcessorQuestions) {
    Start();
    ktSbRawCpuId words = {};
    EXPECT_EQ(SbCpuId(engine, 7, 1, &words), SABLE_OK);
    EXPECT_EQ(words.eax, 7u);
    EXPECT_EQ(words.ebx, 1u);
    EXPECT_EQ(words.edx, 4u);
}

TEST_F(FrontControl, ModelSpecificRegistersHaveEightBytesOrTheLowFour) {
    Start();
    uint64_t value = 0;
    EXPECT_EQ(SbWriteMsr(engine, 0x10, 0x1122334455667788, 8), SABLE_OK);
    EXPECT_EQ(SbReadMsr(engine, 0x10, &value, 8), SABLE_OK);
    EXPECT_EQ(value, 0x1122334455667788u);
    value = 0;
    EXPECT_EQ(SbReadMsr(engine, 0x10, &value, 4), SABLE_OK);
    EXPECT_EQ(value, 0x55667788u);
    EXPECT_EQ(SbWriteMsr(engine, 0x10, 0x1122334455667788, 4), SABLE_OK);
    EXPECT_EQ(SbReadMsr(engine, 0x10, &value, 8), SABLE_OK);
    EXPECT_EQ(value, 0x55667788u);
    EXPECT_EQ(SbReadMsr(engine, 0x11, &value, 8), SABLE_FAILED) << "there is none";
    for (const uint32_t size : {0u, 1u, 2u, 7u, 9u, UINT32_MAX}) {
        EXPECT_EQ(SbReadMsr(engine, 0x10, &value, size), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(SbWriteMsr(engine, 0x10, 0, size), SABLE_BAD_ARGUMENT);
    }
}
