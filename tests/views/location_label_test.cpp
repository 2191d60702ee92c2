#include "views/location_label.h"

#include <gtest/gtest.h>

#include <string>

#include "session/snapshot.h"
#include "support/allocation_count.h"
#include "support/drawn_runs.h"
#include "support/symbol_builder.h"
#include "support/test_font.h"
#include "symbols/space.h"

namespace {

/// A module "kernel" at 0x1000: start is 0x1000 to 0x10FF, main 0x1100 to 0x11FF with step inlined at 0x1150.
class LocationLabel : public testing::Test {
protected:
    void SetUp() override {
        AddKernel();
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        label.SetFont(&TestFont());
        label.x = 208;
        label.y = 180;
        label.may_look_up = true;
        label.snapshot = &state;
        state.space = &space;
    }

    void AddKernel() {
        kernel = builder.AddModule("kernel", 0x1000, 0x1000);
        ktCompUnit *unit = builder.AddUnit(kernel, "main.c");
        unit->ranges.Add(0x1000, 0x200);
        builder.AddFunction(unit, "start", {{0x1000, 0x100}});
        builder.AddInlined(unit, "step", {{0x1150, 0x10}});
        builder.AddFunction(unit, "main", {{0x1100, 0x100}});
        builder.Publish(space, kernel);
    }
    std::string DrawnAtPointer(uint64_t pointer) {
        state.context.values[ktRegIp] = pointer;
        return Drawn();
    }
    std::string Drawn() {
        list.text.Clear();
        EXPECT_TRUE(label.Draw(list));
        return RunAt(list, 208, 180).text;
    }

    ktSymbolBuilder builder;
    ktSpace space{1, nullptr};
    ktModule *kernel = nullptr;
    ktDrawList list;
    ktSnapshotState state;
    ktLocationLabel label;
};

TEST_F(LocationLabel, ShowsTheLocationOfThePointer) {
    EXPECT_EQ(DrawnAtPointer(0x1010), "kernel!main.c|start+0x10");
    EXPECT_EQ(label.shown_ip, 0x1010u);
    EXPECT_EQ(DrawnAtPointer(0x1100), "kernel!main.c|main");
    EXPECT_EQ(label.GetKind(), 2u);
}

TEST_F(LocationLabel, ShowsTheInnermostOfSeveral) {
    EXPECT_EQ(DrawnAtPointer(0x1152), "kernel!main.c|step+0x2");
    EXPECT_EQ(label.found.size(), 2u);
}

TEST_F(LocationLabel, IsEmptyWithoutASnapshot) {
    DrawnAtPointer(0x1010);
    label.snapshot = nullptr;
    EXPECT_EQ(Drawn(), "");
    EXPECT_EQ(label.w, 0u);
    EXPECT_TRUE(label.found.empty());
}

TEST_F(LocationLabel, IsEmptyWhereNothingIsFound) {
    EXPECT_EQ(DrawnAtPointer(0x1010), "kernel!main.c|start+0x10");
    EXPECT_EQ(DrawnAtPointer(0x9000), "");
    EXPECT_EQ(label.shown_ip, 0x9000u);
    EXPECT_EQ(DrawnAtPointer(0x1010), "kernel!main.c|start+0x10");
}

TEST_F(LocationLabel, IsEmptyWithoutASpace) {
    state.space = nullptr;
    EXPECT_EQ(DrawnAtPointer(0x1010), "");
    EXPECT_EQ(label.shown_ip, 0x1010u);
}

TEST_F(LocationLabel, IsEmptyWhileTheTargetRuns) {
    DrawnAtPointer(0x1010);
    state.stop.running = true;
    EXPECT_EQ(Drawn(), "");
    EXPECT_EQ(DrawnAtPointer(0x1100), "");
    EXPECT_EQ(label.shown_ip, 0x1100u);
}

TEST_F(LocationLabel, LooksUpOnlyWhenThePointerMoves) {
    EXPECT_EQ(DrawnAtPointer(0x5010), "");
    ktModule *late = builder.AddModule("late", 0x5000, 0x1000);
    builder.Publish(space, late);
    EXPECT_EQ(Drawn(), "");
    EXPECT_EQ(DrawnAtPointer(0x5011), "late+0x11");
    space.RemoveModule(late);
    EXPECT_EQ(Drawn(), "late+0x11");
}

TEST_F(LocationLabel, AStopWhereItStoodBeforeShowsTheKeptResult) {
    DrawnAtPointer(0x1010);
    state.stop.running = true;
    EXPECT_EQ(Drawn(), "");
    state.stop.running = false;
    space.RemoveModule(kernel); // so that a search would find nothing
    EXPECT_EQ(Drawn(), "kernel!main.c|start+0x10");
}

TEST_F(LocationLabel, APointerThatWasOnlySeenRunningIsLookedUpAtTheStop) {
    DrawnAtPointer(0x1010);
    state.stop.running = true; // a running target's snapshot has the pointer of an earlier stop
    EXPECT_EQ(DrawnAtPointer(0x1100), "");
    state.stop.running = false;
    EXPECT_EQ(Drawn(), "kernel!main.c|main");
}

TEST_F(LocationLabel, AFirstPointerOf0IsLookedUp) {
    ktModule *low = builder.AddModule("low", 0, 0x100);
    builder.Publish(space, low);
    EXPECT_EQ(DrawnAtPointer(0), "low");
}

TEST_F(LocationLabel, AFrameThatMustNotLookUpKeepsTheTextAndTheNextOneTriesAgain) {
    EXPECT_EQ(DrawnAtPointer(0x1010), "kernel!main.c|start+0x10");
    label.may_look_up = false;
    EXPECT_EQ(DrawnAtPointer(0x1100), "kernel!main.c|start+0x10");
    EXPECT_EQ(label.shown_ip, 0x1010u);
    label.may_look_up = true;
    EXPECT_EQ(Drawn(), "kernel!main.c|main");
    EXPECT_EQ(label.shown_ip, 0x1100u);
}

TEST_F(LocationLabel, ResultsAreMovedBeforeTheyAreSearchedAnew) {
    DrawnAtPointer(0x1152);
    ASSERT_EQ(label.found.size(), 2u);
    // Both are moved to the function that is there; a search would have found one.
    EXPECT_EQ(DrawnAtPointer(0x1020), "kernel!main.c|start+0x20");
    EXPECT_EQ(label.found.size(), 2u);
    DrawnAtPointer(0x9000);
    EXPECT_TRUE(label.found.empty());
}

TEST_F(LocationLabel, ResultsAreNotUsedOnceAModuleHasGone) {
    DrawnAtPointer(0x1010);
    ASSERT_FALSE(label.found.empty());
    space.RemoveModule(kernel);
    EXPECT_EQ(DrawnAtPointer(0x1020), "");
    EXPECT_TRUE(label.found.empty());
    AddKernel();
    EXPECT_EQ(DrawnAtPointer(0x1030), "kernel!main.c|start+0x30");
}

TEST_F(LocationLabel, ResultsOfAnotherSpaceAreNotUsed) {
    DrawnAtPointer(0x1010);
    ktSpace other{2, nullptr};
    state.space = &other;
    EXPECT_EQ(DrawnAtPointer(0x1020), "");
    state.space = &space;
    EXPECT_EQ(DrawnAtPointer(0x1030), "kernel!main.c|start+0x30");
}

TEST_F(LocationLabel, TheSamePointerIsLookedUpAgainAfterATimeWithoutASnapshot) {
    DrawnAtPointer(0x1010);
    label.snapshot = nullptr;
    Drawn();
    ktSpace other{2, nullptr}; // of the next connection
    state.space = &other;
    label.snapshot = &state;
    EXPECT_EQ(Drawn(), "");
}

TEST_F(LocationLabel, ALongLocationIsCutAt254Bytes) {
    const std::string name(300, 'n');
    builder.Publish(space, builder.AddModule(name.c_str(), 0x7000, 0x1000));
    EXPECT_EQ(DrawnAtPointer(0x7000), name.substr(0, 254));
}

TEST_F(LocationLabel, DrawsNothingWhenNotVisible) {
    label.visible = false;
    state.context.values[ktRegIp] = 0x1010;
    EXPECT_FALSE(label.Draw(list));
    EXPECT_EQ(label.shown_ip, 0u);
}

TEST_F(LocationLabel, AFrameWithoutALookUpAllocatesNothing) {
    DrawnAtPointer(0x1010);
    const uint64_t before = AllocationCount();
    list.text.Clear();
    label.Draw(list);
    EXPECT_EQ(AllocationCount(), before);
}

} // namespace
