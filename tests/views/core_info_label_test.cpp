#include "views/core_info_label.h"

#include <gtest/gtest.h>

#include <string>

#include "session/snapshot.h"
#include "support/allocation_count.h"
#include "support/drawn_runs.h"
#include "support/test_font.h"

namespace {

class CoreInfoLabel : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        label.SetFont(&TestFont());
        label.x = 20;
        label.y = 30;
        label.snapshot = &state;
    }
    std::string Drawn() {
        list.text.Clear();
        EXPECT_TRUE(label.Draw(list));
        return RunAt(list, 20, 30).text;
    }

    ktDrawList list;
    ktSnapshotState state;
    ktCoreInfoLabel label;
};

TEST_F(CoreInfoLabel, WithoutASnapshotThereAreNoCores) {
    label.snapshot = nullptr;
    EXPECT_EQ(Drawn(), "No cores present");
    EXPECT_EQ(label.GetKind(), 2u);
}

TEST_F(CoreInfoLabel, NamesTheCoreThatStopped) {
    EXPECT_EQ(Drawn(), "Stopped on core 0");
    state.currentCore = 11;
    state.coreCount = 16;
    EXPECT_EQ(Drawn(), "Stopped on core 11");
}

TEST_F(CoreInfoLabel, ARunningTargetWithoutACountRunsOnAllCores) {
    state.stop.running = true;
    EXPECT_EQ(Drawn(), "Running on all cores");
}

TEST_F(CoreInfoLabel, ARunningTargetsCoresAreCounted) {
    state.stop.running = true;
    state.coreCount = 4;
    EXPECT_EQ(Drawn(), "Running on 4 cores");
    state.coreCount = 1;
    EXPECT_EQ(Drawn(), "Running on 1 cores");
}

TEST_F(CoreInfoLabel, NumbersAreSigned) {
    state.currentCore = UINT64_MAX;
    EXPECT_EQ(Drawn(), "Stopped on core -1");
    state.stop.running = true;
    state.coreCount = UINT64_MAX;
    EXPECT_EQ(Drawn(), "Running on -1 cores");
}

TEST_F(CoreInfoLabel, TakesTheSizeOfItsText) {
    Drawn();
    EXPECT_EQ(label.w, TestFont().TextWidth("Stopped on core 0"));
    EXPECT_EQ(label.h, TestFont().LineHeight());
}

TEST_F(CoreInfoLabel, DrawsNothingWhenNotVisible) {
    label.visible = false;
    EXPECT_FALSE(label.Draw(list));
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(CoreInfoLabel, DrawingAllocatesNothing) {
    Drawn();
    const uint64_t before = AllocationCount();
    list.text.Clear();
    label.Draw(list);
    EXPECT_EQ(AllocationCount(), before);
}

} // namespace
