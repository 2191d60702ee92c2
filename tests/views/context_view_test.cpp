#include "views/context_view.h"

#include <gtest/gtest.h>

#include <string>

#include "session/context.h"
#include "support/allocation_count.h"
#include "support/drawn_runs.h"
#include "support/drawn_shapes.h"
#include "support/test_clipboard.h"
#include "support/test_font.h"

namespace {

constexpr int32_t viewX = 300;
constexpr int32_t viewY = 40;

class ContextView : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        view.SetFont(&TestFont());
        view.SetRect(viewX, viewY, 360, 900);
        lineHeight = static_cast<int32_t>(TestFont().LineHeight());
        context.complete = true;
        for (uint32_t index = 0; index < ktRegisterCount; ++index)
            context.values[index] = 0xABCD000000000000 + index;
        context.validMask = UINT64_MAX;
        view.context = &context;
    }

    void Draw() {
        list.text.Clear();
        EXPECT_TRUE(view.Draw(list));
    }
    /// The strings in row `row`, of which row 0 is the view's first line.
    ktDrawnRun NameIn(int32_t row) { return RunAt(list, viewX, viewY + row * lineHeight); }
    ktDrawnRun ValueIn(int32_t row) { return RunAt(list, viewX + 120, viewY + row * lineHeight); }
    int32_t PointIn(int32_t row) const { return viewY + row * lineHeight + lineHeight / 2; }
    void Press(int32_t row) { EXPECT_TRUE(view.OnRightDown(viewX + 5, PointIn(row))); }
    void Release(int32_t row) { EXPECT_TRUE(view.OnRightUp(viewX + 5, PointIn(row))); }

    ktTestClipboard clipboard;
    ktDrawList list;
    ktContext context;
    ktContextView view;
    int32_t lineHeight = 0;
};

TEST(ContextViewFields, AreAsConstructed) {
    const ktContextView view;
    EXPECT_EQ(view.GetKind(), 6u);
    EXPECT_EQ(view.context, nullptr);
    EXPECT_EQ(view.normal_color, ktColorFrom(0xFFFFFFFF));
    EXPECT_EQ(view.selected_color, ktColorFrom(0xFFFF0000));
    EXPECT_EQ(view.back_color, ktColorFrom(0xFF1E1A1A));
    EXPECT_EQ(view.first_row, 2u);
    EXPECT_EQ(view.selected_row, -1);
    EXPECT_EQ(view.back_first, -1);
}

TEST_F(ContextView, SaysThatThereIsNoContext) {
    view.context = nullptr;
    Draw();
    EXPECT_EQ(NameIn(0).text, "No bound context");
    EXPECT_EQ(DrawnRuns(list).size(), 1u);
    EXPECT_EQ(view.line_height, TestFont().LineHeight());
}

TEST_F(ContextView, SaysThatTheContextIsIncomplete) {
    context.complete = false;
    Draw();
    EXPECT_EQ(NameIn(0).text, "Context is undefined");
    EXPECT_EQ(DrawnRuns(list).size(), 1u);
}

TEST_F(ContextView, DrawsTheFirst64RegistersFromTheThirdRowOn) {
    Draw();
    EXPECT_EQ(DrawnRuns(list).size(), 128u);
    EXPECT_EQ(NameIn(1).text, "");
    EXPECT_EQ(NameIn(2).text, "rip");
    EXPECT_EQ(ValueIn(2).text, "ABCD000000000000");
    EXPECT_EQ(NameIn(2 + 63).text, "dr6");
    EXPECT_EQ(ValueIn(2 + 63).text, "ABCD00000000003F");
    EXPECT_EQ(NameIn(2 + 64).text, "");
}

TEST_F(ContextView, NamesRegistersByTheirDisplayLabels) {
    Draw();
    EXPECT_EQ(NameIn(2 + 10).text, "rflags");
    EXPECT_EQ(NameIn(2 + 19).text, "CS Selector");
    EXPECT_EQ(NameIn(2 + 52).text, "LDT Access");
}

TEST_F(ContextView, ASkippedRegisterLeavesNoGap) {
    context.validMask = UINT64_MAX & ~uint64_t{0b1010};
    Draw();
    EXPECT_EQ(NameIn(3).text, "rsp");
    EXPECT_EQ(NameIn(4).text, "rbx");
    EXPECT_EQ(NameIn(2 + 61).text, "dr6");
    EXPECT_EQ(NameIn(2 + 62).text, "");
}

TEST_F(ContextView, SelectionFollowsTheIndexAndNotThePicture) {
    context.validMask = UINT64_MAX & ~uint64_t{0b1010};
    Press(6);
    EXPECT_EQ(view.selected_row, -1); // there was no frame yet, so no row has a height
    Draw();
    Press(6);
    EXPECT_EQ(view.selected_row, 6);
    Draw();
    // Row 6 is what index 4 stands for, whose picture is two rows higher.
    EXPECT_EQ(NameIn(4).text, "rbx");
    EXPECT_EQ(NameIn(4).colors[0], view.selected_color);
    EXPECT_EQ(ValueIn(4).colors[15], view.selected_color);
    EXPECT_EQ(NameIn(6).colors[0], view.normal_color);
    Release(6);
    EXPECT_EQ(clipboard.Text(), "ABCD000000000004");
}

TEST_F(ContextView, AReleaseOnTheSelectedRowCopiesAndEndsTheSelection) {
    Draw();
    Press(2);
    Release(2);
    EXPECT_EQ(clipboard.Text(), "ABCD000000000000");
    EXPECT_EQ(view.selected_row, -1);
    Draw();
    EXPECT_EQ(NameIn(2).colors[0], view.normal_color);
}

TEST_F(ContextView, AReleaseOnAnotherRowCopiesNothing) {
    Draw();
    clipboard.Set("before");
    Press(5);
    Release(6);
    EXPECT_EQ(clipboard.Text(), "before");
    EXPECT_EQ(view.selected_row, -1);
    Release(5);
    EXPECT_EQ(clipboard.Text(), "before");
}

TEST_F(ContextView, RowsAboveTheRegistersAreSelectedButNotCopied) {
    Draw();
    clipboard.Set("before");
    for (const int32_t row : {0, 1}) {
        Press(row);
        EXPECT_EQ(view.selected_row, row);
        Release(row);
        EXPECT_EQ(clipboard.Text(), "before");
    }
}

TEST_F(ContextView, OnlyRowsUnder64AreSelected) {
    Draw();
    clipboard.Set("before");
    Press(63);
    EXPECT_EQ(view.selected_row, 63);
    Press(64);
    EXPECT_EQ(view.selected_row, 63); // stays as it was
    Release(64);
    EXPECT_EQ(view.selected_row, -1);
    EXPECT_EQ(clipboard.Text(), "before");
    Press(63);
    Release(63);
    EXPECT_EQ(clipboard.Text(), "ABCD00000000003D");
}

TEST_F(ContextView, APointFarOutsideIsHarmless) {
    Draw();
    clipboard.Set("before");
    for (const int32_t py : {INT32_MIN, viewY - 3 * lineHeight, INT32_MAX}) {
        EXPECT_TRUE(view.OnRightDown(0, py));
        EXPECT_TRUE(view.OnRightUp(0, py));
        EXPECT_EQ(view.selected_row, -1);
    }
    EXPECT_EQ(clipboard.Text(), "before");
}

TEST_F(ContextView, ASkippedRegistersStringIsTheLastOneItHad) {
    context.validMask = UINT64_MAX & ~uint64_t{0b1000};
    Draw();
    clipboard.Set("before");
    Press(2 + 3);
    Release(2 + 3);
    EXPECT_EQ(clipboard.Text(), ""); // never filled
    context.validMask = UINT64_MAX;
    Draw();
    context.validMask = 0;
    context.values[3] = 7;
    Draw();
    Press(2 + 3);
    Release(2 + 3);
    EXPECT_EQ(clipboard.Text(), "ABCD000000000003");
}

TEST_F(ContextView, MessagesHaveTheColourOfTheRowDrawnLast) {
    Draw();
    Press(2 + 61);
    context.validMask = uint64_t{1} << 61;
    Draw();
    view.context = nullptr;
    Draw();
    EXPECT_EQ(NameIn(0).colors[0], view.selected_color);
}

TEST_F(ContextView, TheBackgroundIsOneRectangleThatMoves) {
    Draw();
    view.SetRect(10, 20, 30, 40);
    Draw();
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(PointsAt(list.triangles, view.back_first, 4),
              (std::vector<int>{10, 20, 40, 20, 40, 60, 10, 60}));
    EXPECT_TRUE(AllHave(list.triangles, view.back_first, 4, view.back_color));
}

TEST_F(ContextView, WithoutAFontThereAreNoRows) {
    view.SetFont(nullptr);
    list.font = nullptr;
    Draw();
    EXPECT_EQ(view.line_height, 0u);
    EXPECT_EQ(list.text.vertex_count, 0u);
    Press(3);
    EXPECT_EQ(view.selected_row, -1);
    Release(3);
    EXPECT_EQ(clipboard.Text(), "");
}

TEST_F(ContextView, DrawingAllocatesNothing) {
    Draw();
    const uint64_t before = AllocationCount();
    Draw();
    EXPECT_EQ(AllocationCount(), before);
}

} // namespace
