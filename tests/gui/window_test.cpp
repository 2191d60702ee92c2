#include "gui/window.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "gui/font.h"
#include "gui/key_event.h"
#include "support/recording_window.h"

namespace {

class Page final : public ktWindow {};

class Window : public testing::Test {
protected:
    Window() : a(log, "a", 0, 0, 100, 100), b(log, "b", 50, 50, 100, 100) {
        window.components = {&a, &b};
        window.SetSize(200, 200);
    }

    ktEventLog log;
    ktRecordingComponent a;
    ktRecordingComponent b;
    Page window;
};

TEST_F(Window, HasNoFocusAndIsVisibleAtFirst) {
    EXPECT_EQ(window.focus, nullptr);
    EXPECT_TRUE(window.visible);
    EXPECT_EQ(window.index, 0u);
}

TEST_F(Window, DrawsTheFirstComponentLast) {
    ASSERT_TRUE(window.draw_list.Reserve(1000));
    EXPECT_TRUE(window.Draw());
    EXPECT_EQ(log, (ktEventLog{"b Draw", "a Draw"}));
}

TEST_F(Window, DrawsNothingWhenNotVisible) {
    window.visible = false;
    EXPECT_FALSE(window.Draw());
    EXPECT_TRUE(log.empty());
}

TEST_F(Window, EachFrameStartsWithoutText) {
    ASSERT_TRUE(window.draw_list.Reserve(1000));
    const ktTexturedVertex vertex = {};
    const uint32_t index = 0;
    const ktFlatVertex flat = {};
    ASSERT_EQ(window.draw_list.text.Append(&vertex, 1, &index, 1), 0);
    ASSERT_EQ(window.draw_list.triangles.Append(&flat, 1, &index, 1), 0);
    window.Draw();
    EXPECT_EQ(window.draw_list.text.vertex_count, 0u);
    EXPECT_EQ(window.draw_list.text.index_count, 0u);
    EXPECT_EQ(window.draw_list.triangles.vertex_count, 1u);
}

TEST_F(Window, ThePointOnAnEdgeIsOutside) {
    EXPECT_FALSE(window.HitTest(0, 100));
    EXPECT_TRUE(window.HitTest(1, 1));
    EXPECT_TRUE(window.HitTest(199, 199));
    EXPECT_FALSE(window.HitTest(200, 100));
    EXPECT_FALSE(window.HitTest(100, 0));
    EXPECT_FALSE(window.HitTest(100, 200));
}

TEST_F(Window, APressGoesToTheFirstComponentUnderIt) {
    a.answer = true;
    EXPECT_TRUE(window.OnLeftDown(75, 75));
    EXPECT_EQ(log, (ktEventLog{"a SetFocus 1", "a OnLeftDown 75 75"}));
    EXPECT_EQ(window.focus, &a);
}

TEST_F(Window, APressThatIsNotConsumedMovesTheFocusAllTheSame) {
    EXPECT_FALSE(window.OnLeftDown(120, 120));
    EXPECT_EQ(window.focus, &b);
    EXPECT_EQ(log.back(), "b OnLeftDown 120 120");
}

TEST_F(Window, APressMovesTheFocusFromTheOldToTheNew) {
    window.OnLeftDown(20, 20);
    log.clear();
    window.OnLeftDown(120, 120);
    EXPECT_EQ(log, (ktEventLog{"a SetFocus 0", "b SetFocus 1", "b OnLeftDown 120 120"}));
}

TEST_F(Window, APressOnTheFocusTakesItAndGivesItBack) {
    window.OnLeftDown(20, 20);
    log.clear();
    window.OnLeftDown(20, 20);
    EXPECT_EQ(log, (ktEventLog{"a SetFocus 0", "a SetFocus 1", "a OnLeftDown 20 20"}));
}

TEST_F(Window, APressBesideAllComponentsKeepsTheFocus) {
    window.OnLeftDown(20, 20);
    log.clear();
    EXPECT_FALSE(window.OnLeftDown(190, 10));
    EXPECT_FALSE(window.OnRightDown(190, 10));
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(window.focus, &a);
}

TEST_F(Window, TheRightButtonMovesTheFocusToo) {
    b.answer = true;
    EXPECT_TRUE(window.OnRightDown(120, 120));
    EXPECT_EQ(log, (ktEventLog{"b SetFocus 1", "b OnRightDown 120 120"}));
    EXPECT_EQ(window.focus, &b);
}

TEST_F(Window, ReleasesGoToTheFirstComponentAndLeaveTheFocus) {
    a.answer = true;
    EXPECT_TRUE(window.OnLeftUp(75, 75));
    EXPECT_TRUE(window.OnRightUp(75, 75));
    EXPECT_FALSE(window.OnLeftUp(120, 120));
    EXPECT_FALSE(window.OnLeftUp(190, 10));
    EXPECT_FALSE(window.OnRightUp(190, 10));
    EXPECT_EQ(log, (ktEventLog{"a OnLeftUp 75 75", "a OnRightUp 75 75", "b OnLeftUp 120 120"}));
    EXPECT_EQ(window.focus, nullptr);
}

TEST_F(Window, AMoveTellsEveryComponentAndIsNeverConsumed) {
    a.answer = b.answer = true;
    EXPECT_FALSE(window.OnMouseMove(20, 20));
    EXPECT_EQ(log, (ktEventLog{"a OnMouseMove 20 20", "a OnHoverEnter", "b SetPressed 0", "b OnHoverLeave"}));
    log.clear();
    EXPECT_FALSE(window.OnMouseMove(75, 75));
    EXPECT_EQ(log,
              (ktEventLog{"a OnMouseMove 75 75", "a OnHoverEnter", "b OnMouseMove 75 75", "b OnHoverEnter"}));
}

TEST_F(Window, KeysAndWheelGoToTheFocusWhereverThePointerIs) {
    window.OnLeftDown(20, 20);
    log.clear();
    ktKeyEvent event;
    event.key = 65;
    a.answer = true;
    EXPECT_TRUE(window.OnKey(event));
    EXPECT_TRUE(window.OnWheel(true));
    a.answer = false;
    EXPECT_FALSE(window.OnWheel(false));
    EXPECT_EQ(log, (ktEventLog{"a OnKey 65", "a OnWheel 1", "a OnWheel 0"}));
}

TEST_F(Window, WithoutAFocusKeysAndWheelGoNowhere) {
    a.answer = b.answer = true;
    EXPECT_FALSE(window.OnKey(ktKeyEvent()));
    EXPECT_FALSE(window.OnWheel(true));
    EXPECT_FALSE(window.OnHotKey(ktKeyEvent()));
    EXPECT_TRUE(log.empty());
}

TEST_F(Window, TheFontGoesToTheDrawListAndAllComponents) {
    ktFont font;
    font.atlas_height = 16;
    EXPECT_EQ(window.LineHeight(), 20u);
    window.SetFont(&font);
    EXPECT_EQ(window.font, &font);
    EXPECT_EQ(window.draw_list.font, &font);
    EXPECT_EQ(a.font, &font);
    EXPECT_EQ(b.font, &font);
    EXPECT_EQ(window.LineHeight(), 16u);
}

TEST_F(Window, TheFocusCanBeTakenAway) {
    window.MoveFocus(&b);
    window.MoveFocus(nullptr);
    EXPECT_EQ(window.focus, nullptr);
    EXPECT_EQ(log, (ktEventLog{"b SetFocus 1", "b SetFocus 0"}));
}

} // namespace
