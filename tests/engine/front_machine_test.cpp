#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "abi/functions.h"
#include "front/exports.h"

namespace {

using std::chrono::steady_clock;

/// The simulated PC, used as a debugger uses it: through the table's functions.
class FrontMachine : public testing::Test {
protected:
    FrontMachine() {
        EXPECT_EQ(TransportCreate(&transport, 10), SABLE_OK);
        EXPECT_EQ(TransportSetInterfaceName(transport, "demo"), SABLE_OK);
        EXPECT_EQ(EngCreateEngine(&engine), SABLE_OK);
        EXPECT_EQ(EngAssignTransport(engine, transport), SABLE_OK);
        EXPECT_EQ(SbSetEventCallback(engine, OnEvent, this), SABLE_OK);
        EXPECT_EQ(TransportSetRawDataCallback(transport, OnText, this), SABLE_OK);
        EXPECT_EQ(EngStart(engine), SABLE_OK);
    }
    ~FrontMachine() override {
        EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
        EXPECT_EQ(TransportDestroy(transport), SABLE_OK);
    }

    bool WaitForText(const char *part) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(60),
                                [&] { return text.find(part) != std::string::npos; });
    }
    bool WaitForEvent(uint8_t event) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(60),
                                [&] { return !events.empty() && events.back() == event; });
    }
    ktRawContext Context() {
        ktRawContext context = {};
        uint32_t mode = 0;
        EXPECT_EQ(SbGetContext(engine, &context, ~uint64_t(0), &mode), SABLE_OK);
        return context;
    }

    static void OnEvent(void *context, uint8_t event) {
        FrontMachine &test = *static_cast<FrontMachine *>(context);
        const std::lock_guard guard(test.lock);
        test.events.push_back(event);
        test.changed.notify_all();
    }
    static void OnText(void *context, const void *bytes, uint32_t size) {
        FrontMachine &test = *static_cast<FrontMachine *>(context);
        const std::lock_guard guard(test.lock);
        test.text.append(static_cast<const char *>(bytes), size);
        test.changed.notify_all();
    }

    void *transport = nullptr;
    void *engine = nullptr;
    std::mutex lock;
    std::condition_variable changed;
    std::string text;            // under the lock
    std::vector<uint8_t> events; // under the lock
};

} // namespace

TEST_F(FrontMachine, BootsAndIsBrokenInto) {
    EXPECT_EQ(Context().rip, 0x7C00u);
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForText("second: step 2, total 6\n"));
    EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvent(ktSbStopBreakIn));
    const uint64_t root = Context().cr3;
    EXPECT_NE(root, 0u);
    uint64_t physical = 0;
    EXPECT_EQ(SbLinearToPhysical(engine, 0, 0xFFFF800000123456, &physical), SABLE_OK);
    EXPECT_EQ(physical, 0x123456u);
    ktSbRawPageWalk walk = {};
    EXPECT_EQ(SbWalkPageLinear(engine, 0, 0xFFFFC00000000000, &walk), SABLE_OK);
    EXPECT_EQ(walk.entryCount, 2);
    EXPECT_EQ(walk.isValid, 1);
}

TEST_F(FrontMachine, StopsAtABreakPointAndSteps) {
    uint16_t number = 0;
    EXPECT_EQ(SbSetBreakPoint(engine, 0x1000, &number), SABLE_OK); // where the second core begins
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    ASSERT_TRUE(WaitForEvent(ktSbStopBreakPoint));
    uint8_t core = 0, count = 0;
    EXPECT_EQ(SbGetCpuInfo(engine, &core, &count), SABLE_OK);
    EXPECT_EQ(core, 1);
    const uint64_t rip = Context().rip;
    EXPECT_EQ(rip, 0u);
    EXPECT_EQ(Context().selector[ktSbCs], 0x100);
    EXPECT_EQ(SbStep(engine, true), SABLE_OK);
    EXPECT_EQ(Context().rip, 1u) << "behind CLI";
    EXPECT_EQ(SbRemoveBreakPoint(engine, number), SABLE_OK);
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForText("kernel: second core runs, identifier 1\n"));
}

TEST_F(FrontMachine, RebootsWhileItRuns) {
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForText("kernel: long mode"));
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvent(ktSbStopReset));
    EXPECT_EQ(Context().rip, 0x7C00u);
}

TEST_F(FrontMachine, IsStoppedWhileItRuns) {
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForText("first: hello\n"));
    EXPECT_EQ(EngStop(engine), SABLE_OK);
    EXPECT_EQ(SbPing(engine), SABLE_FAILED);
    EXPECT_EQ(EngStart(engine), SABLE_OK);
    EXPECT_EQ(Context().rip, 0x7C00u) << "a new machine";
}

TEST_F(FrontMachine, ABreakInIsAnsweredSoon) {
    steady_clock::duration best = std::chrono::hours(1);
    for (int n = 0; n < 20; ++n) {
        EXPECT_EQ(SbGo(engine), SABLE_OK);
        const auto before = steady_clock::now();
        EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
        best = std::min<steady_clock::duration>(best, steady_clock::now() - before);
    }
    EXPECT_LT(best, std::chrono::milliseconds(10));
}

TEST_F(FrontMachine, RequestsAreServedWhileItRuns) {
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    uint64_t magic = 0;
    for (int n = 0; n < 100; ++n) {
        uint32_t done = 0;
        EXPECT_EQ(SbReadPhysicalMemory(engine, 0x500, &magic, 4, &done), SABLE_OK);
        EXPECT_EQ(magic, 0x44424C53u);
        ktSbRawState state = {};
        EXPECT_EQ(SbGetStateInfo(engine, &state), SABLE_OK);
        EXPECT_EQ(state.isRunning, 1);
    }
}
