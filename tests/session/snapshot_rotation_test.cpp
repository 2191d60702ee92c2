#include "platform/sync.h"
#include "platform/thread.h"
#include "session/mem_view_request.h"
#include "session/session.h"
#include "support/session_rig.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <set>
#include <thread>

namespace {

constexpr auto stressTime = std::chrono::seconds(2);
constexpr uint32_t firstMark = 11; // r8 to r15: all the same number in a record that is of one piece
constexpr uint32_t lastMark = 18;

/// Holds a record's lock on a thread of its own, as the render thread does during a frame.
class LockHolder {
public:
    explicit LockHolder(ktSnapshot *snapshot) {
        thread = std::thread([this, snapshot] {
            entered = snapshot->lock.TryEnter();
            held.Set();
            release.Wait();
            if (entered) snapshot->lock.Leave();
        });
        held.Wait();
    }
    ~LockHolder() {
        release.Set();
        thread.join();
    }
    bool Entered() const { return entered; }

private:
    ktEvent held;
    ktEvent release;
    bool entered = false;
    std::thread thread;
};

class SnapshotRotation : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(rig.ConnectQuietly()); }

    /// The three records of the rotation, whatever their roles.
    std::set<const ktSnapshot *> Roles() {
        return {rig.session.writeSnapshot, rig.session.spareSnapshot, rig.session.publishedSnapshot};
    }
    void Mark(uint64_t number) {
        for (uint32_t i = firstMark; i <= lastMark; ++i) rig.target.SetRegister(i, number);
    }

    ktSessionRig rig;
};

/// One frame: true when the record could be had, with what it says in `mark`.
bool DrawFrame(ktSession &session, uint64_t &mark, bool &torn) {
    ktSnapshot *snapshot = session.publishedSnapshot;
    if (!snapshot || !snapshot->lock.TryEnter()) return false;
    session.heldSnapshot = snapshot;
    mark = snapshot->context.values[firstMark];
    for (uint32_t i = firstMark; i <= lastMark; ++i) torn |= snapshot->context.values[i] != mark;
    torn |= snapshot->code[256] != snapshot->code[257];
    uint64_t sum = snapshot->codeAddress.value + snapshot->codeSize + snapshot->stackAddress.value +
                   snapshot->stackSize + snapshot->coreCount + snapshot->currentCore +
                   snapshot->context.validMask + snapshot->context.mode + snapshot->stop.running +
                   snapshot->stop.reason;
    for (const uint8_t byte : snapshot->code) sum += byte;
    for (const uint8_t byte : snapshot->stack) sum += byte;
    volatile uint64_t seen = sum; // the whole record has been read
    (void)seen;
    session.heldSnapshot = nullptr;
    snapshot->lock.Leave();
    return true;
}

} // namespace

TEST_F(SnapshotRotation, ThePublishedRecordAndTheWriteRecordChangePlaces) {
    ktSnapshot *write = rig.session.writeSnapshot;
    ktSnapshot *spare = rig.session.spareSnapshot;
    ktSnapshot *published = rig.session.publishedSnapshot;
    ktSnapshot *held = rig.session.heldSnapshot;
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.session.publishedSnapshot, write);
    EXPECT_EQ(rig.session.writeSnapshot, published);
    EXPECT_EQ(rig.session.spareSnapshot, spare);
    EXPECT_EQ(rig.session.heldSnapshot, held);
}

TEST_F(SnapshotRotation, WithAViewHoldingTheWriteRecordUpdateFinishesOnTheSpareOne) {
    ktSnapshot *write = rig.session.writeSnapshot;
    ktSnapshot *spare = rig.session.spareSnapshot;
    ktSnapshot *published = rig.session.publishedSnapshot;
    const LockHolder view(write);
    ASSERT_TRUE(view.Entered());
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.session.publishedSnapshot, spare);
    EXPECT_EQ(rig.session.writeSnapshot, published);
    EXPECT_EQ(rig.session.spareSnapshot, write);
}

TEST_F(SnapshotRotation, WithAViewHoldingThePublishedRecordUpdatesGoOn) {
    ktSnapshot *drawn = rig.session.publishedSnapshot;
    const LockHolder view(drawn);
    ASSERT_TRUE(view.Entered());
    for (uint64_t i = 1; i <= 5; ++i) {
        Mark(i);
        ASSERT_TRUE(rig.session.Update(0));
        EXPECT_NE(rig.session.publishedSnapshot, drawn);
        EXPECT_EQ(rig.Published()->context.values[firstMark], i);
        EXPECT_EQ(Roles().size(), 3u);
    }
    EXPECT_EQ(drawn->context.values[firstMark], 0u);
}

TEST_F(SnapshotRotation, ThePublishedRecordIsUnlocked) {
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_TRUE(LockHolder(rig.session.publishedSnapshot).Entered());
}

TEST_F(SnapshotRotation, TheRecordInWorkIsLocked) {
    rig.target.Hold("GetContext");
    ktSnapshot *write = rig.session.writeSnapshot;
    std::thread updating([&] { EXPECT_TRUE(rig.session.Update(0)); });
    rig.target.WaitUntilHeld("GetContext");
    EXPECT_FALSE(LockHolder(write).Entered());
    rig.target.Free("GetContext");
    updating.join();
    EXPECT_EQ(rig.session.publishedSnapshot, write);
}

TEST_F(SnapshotRotation, ASecondUpdateMeanwhileTakesTheSpareRecordAndTheLaterBegunStays) {
    ktSnapshot *first = rig.session.writeSnapshot;
    ktSnapshot *second = rig.session.spareSnapshot;
    ktSnapshot *old = rig.session.publishedSnapshot;
    rig.target.Hold("GetCpuInfo");
    std::thread updating([&] { EXPECT_TRUE(rig.session.Update(0)); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipCpuInfo));
    EXPECT_EQ(rig.session.publishedSnapshot, second);
    EXPECT_EQ(Roles().size(), 3u);
    rig.target.Free("GetCpuInfo");
    updating.join();
    EXPECT_EQ(rig.session.publishedSnapshot, second);
    EXPECT_EQ(Roles(), (std::set<const ktSnapshot *>{first, second, old}));
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_NE(rig.session.publishedSnapshot, second);
}

TEST_F(SnapshotRotation, WhatWasTakenFromAStopThatHasEndedIsNotPublished) {
    rig.target.Hold("GetCpuInfo");
    std::thread updating([&] { EXPECT_TRUE(rig.session.Update(0)); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    rig.target.Free("GetCpuInfo");
    updating.join();
    EXPECT_TRUE(rig.Published()->stop.running);
    EXPECT_EQ(Roles().size(), 3u);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_FALSE(rig.Published()->stop.running);
}

TEST_F(SnapshotRotation, TheCoreThatWasChosenMeanwhileStays) {
    rig.target.Hold("GetCpuInfo");
    rig.target.SetRegister(ktRegCr3, 0x9003);
    std::thread updating([&] { EXPECT_TRUE(rig.session.Update(0)); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    rig.target.SetRegister(ktRegCr3, 0xB003);
    ASSERT_TRUE(rig.session.Update(ktUpdateSkipCpuInfo));
    rig.target.SetRegister(ktRegCr3, 0x9003);
    rig.target.Free("GetCpuInfo");
    updating.join();
    EXPECT_EQ(rig.Published()->context.values[ktRegCr3], 0xB003u);
    EXPECT_EQ(rig.session.stopRoot, 0xB003u);
}

TEST_F(SnapshotRotation, AFailedUpdateMeanwhileLeavesTheRolesWhole) {
    rig.target.Hold("GetCpuInfo");
    std::thread updating([&] { EXPECT_TRUE(rig.session.Update(0)); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
    EXPECT_FALSE(rig.session.Update(ktUpdateSkipCpuInfo));
    EXPECT_EQ(Roles().size(), 3u);
    rig.target.Free("GetCpuInfo");
    updating.join();
    EXPECT_EQ(Roles().size(), 3u);
}

TEST_F(SnapshotRotation, AReaderNeverSeesATornRecordAndTheWriterNeverWaits) {
    rig.target.StopRecording();
    std::atomic<bool> stop = false;
    bool torn = false;
    uint64_t frames = 0;
    uint64_t changes = 0;
    std::thread reader([&] {
        uint64_t last = 0;
        while (!stop) {
            uint64_t mark = 0;
            if (!DrawFrame(rig.session, mark, torn)) continue;
            ++frames;
            changes += mark != last;
            last = mark;
        }
    });
    uint64_t updates = 0;
    const auto end = std::chrono::steady_clock::now() + stressTime;
    while (std::chrono::steady_clock::now() < end) {
        Mark(++updates);
        const uint8_t byte = static_cast<uint8_t>(updates);
        rig.target.Poke(ktSessionRig::ip, {byte, byte});
        EXPECT_TRUE(rig.session.Update(updates % 5 == 0 ? uint32_t{ktUpdateDropCache} : 0));
        if (updates % 7 == 0) {
            EXPECT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
        }
        if (updates % 11 == 0) {
            rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
            EXPECT_FALSE(rig.session.Update(0));
        }
    }
    stop = true;
    reader.join();
    EXPECT_FALSE(torn);
    EXPECT_GT(frames, 100u);
    EXPECT_GT(changes, 10u);
    EXPECT_EQ(Roles().size(), 3u);
    RecordProperty("updates", std::to_string(updates));
    RecordProperty("frames", std::to_string(frames));
}

TEST_F(SnapshotRotation, TwoCommandThreadsAndAReaderKeepTheRolesWhole) {
    rig.target.StopRecording();
    const std::set<const ktSnapshot *> before = Roles();
    std::atomic<bool> stop = false;
    bool torn = false;
    uint8_t bytes[2][64];
    ktMemViewRequest requests[2];
    for (size_t i = 0; i < 2; ++i) {
        requests[i].address.kind = ktAddress::kindLinear;
        requests[i].address.value = 0x403000;
        requests[i].size = 64;
        requests[i].buffer = bytes[i];
        rig.session.memViewRequests.push_back(&requests[i]);
    }
    std::thread reader([&] {
        uint64_t mark = 0;
        while (!stop) DrawFrame(rig.session, mark, torn);
    });
    const auto update = [&](uint32_t flags) {
        const auto end = std::chrono::steady_clock::now() + stressTime;
        while (std::chrono::steady_clock::now() < end) EXPECT_TRUE(rig.session.Update(flags));
    };
    std::thread second(update, uint32_t{ktUpdateDropCache});
    update(0);
    second.join();
    stop = true;
    reader.join();
    EXPECT_FALSE(torn);
    EXPECT_EQ(Roles(), before);
    EXPECT_TRUE(rig.session.Update(0));
    EXPECT_EQ(requests[0].pending, 0u);
    EXPECT_EQ(requests[1].pending, 0u);
}
