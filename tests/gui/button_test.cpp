#include "gui/button.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "gui/clipboard.h"
#include "gui/draw_list.h"
#include "gui/lines_button.h"
#include "gui/monitor_list.h"
#include "gui/native_window.h"
#include "gui/resize_icon.h"
#include "gui/window_button.h"
#include "support/drawn_shapes.h"
#include "support/fake_window_system.h"
#include "support/recording_lines.h"
#include "support/recording_window.h"

namespace {

using Points = std::vector<int>;

constexpr ktColor grey = ktColorFrom(0xFF6B6867);
constexpr ktColor black = ktColorFrom(0xFF000000);
constexpr ktColor nothing = ktColorFrom(0x00000000);

class CountingButton final : public ktIconButton<int> {
public:
    void OnClick() override { ++clicks; }
    int clicks = 0;
};

class ButtonPress : public testing::Test {
protected:
    ButtonPress() : window(log, "window") {
        button.SetRect(100, 100, 40, 30);
        window.components = {&button};
    }

    // Past the recording of a ktRecordingWindow, to what every window does.
    void Press(int32_t x, int32_t y) { window.ktWindow::OnLeftDown(x, y); }
    void Release(int32_t x, int32_t y) { window.ktWindow::OnLeftUp(x, y); }
    void MoveTo(int32_t x, int32_t y) { window.ktWindow::OnMouseMove(x, y); }

    ktEventLog log;
    ktRecordingWindow window;
    CountingButton button;
};

TEST_F(ButtonPress, AClickFiresOnce) {
    Press(110, 110);
    EXPECT_EQ(button.clicks, 0);
    Release(110, 110);
    EXPECT_EQ(button.clicks, 1);
    Release(110, 110);
    EXPECT_EQ(button.clicks, 1);
}

TEST_F(ButtonPress, ADragOffAndBackDropsTheClick) {
    Press(110, 110);
    MoveTo(200, 200);
    MoveTo(110, 110);
    Release(110, 110);
    EXPECT_EQ(button.clicks, 0);
}

TEST_F(ButtonPress, AMoveOverTheButtonKeepsTheClick) {
    Press(110, 110);
    MoveTo(120, 120);
    Release(120, 120);
    EXPECT_EQ(button.clicks, 1);
}

TEST_F(ButtonPress, APressedStateThatIsSetIsHeld) {
    EXPECT_TRUE(button.SetPressed(true));
    Release(110, 110);
    EXPECT_EQ(button.clicks, 1);
    EXPECT_TRUE(button.SetPressed(true));
    EXPECT_TRUE(button.SetPressed(false));
    Release(110, 110);
    EXPECT_EQ(button.clicks, 1);
}

TEST_F(ButtonPress, AReleaseWithoutAPressIsNoClick) {
    MoveTo(110, 110);
    Release(110, 110);
    EXPECT_EQ(button.clicks, 0);
    EXPECT_FALSE(button.OnLeftUp(110, 110));
}

TEST_F(ButtonPress, ThePressIsConsumed) {
    EXPECT_TRUE(button.OnLeftDown(110, 110));
    EXPECT_TRUE(button.pressed);
    EXPECT_TRUE(button.OnLeftUp(110, 110));
    EXPECT_FALSE(button.pressed);
}

TEST_F(ButtonPress, TheRightButtonDoesNothing) {
    EXPECT_FALSE(button.OnRightDown(110, 110));
    EXPECT_FALSE(button.OnRightUp(110, 110));
    EXPECT_EQ(button.clicks, 0);
}

TEST_F(ButtonPress, TheColoursFollowThePointerAndAClickResetsThem) {
    EXPECT_EQ(button.back.current.Get(), nothing);
    EXPECT_EQ(button.icon.current.Get(), grey);
    MoveTo(110, 110);
    EXPECT_EQ(button.back.current.Get(), grey);
    EXPECT_EQ(button.icon.current.Get(), black);
    MoveTo(99, 110);
    EXPECT_EQ(button.back.current.Get(), nothing);
    EXPECT_EQ(button.icon.current.Get(), grey);
    MoveTo(110, 110);
    Press(110, 110);
    Release(110, 110);
    EXPECT_EQ(button.back.current.Get(), nothing);
    EXPECT_EQ(button.icon.current.Get(), grey);
}

template <class Button>
class EveryButton : public testing::Test {};
using AllButtons =
    testing::Types<ktClearButton, ktCopyButton, ktCloseButton, ktMaximizeButton, ktMinimizeButton>;
TYPED_TEST_SUITE(EveryButton, AllButtons);

TYPED_TEST(EveryButton, StartsWithItsSizeKindAndPalette) {
    const TypeParam button;
    EXPECT_EQ(button.GetKind(), 1u);
    EXPECT_EQ(button.w, 40u);
    EXPECT_EQ(button.h, 30u);
    EXPECT_FALSE(button.pressed);
    EXPECT_EQ(button.target, nullptr);
    EXPECT_EQ(button.back.current.Get(), nothing);
    EXPECT_EQ(button.back.normal, nothing);
    EXPECT_EQ(button.back.hover, grey);
    EXPECT_EQ(button.icon.current.Get(), grey);
    EXPECT_EQ(button.icon.normal, grey);
    EXPECT_EQ(button.icon.hover, black);
}

TYPED_TEST(EveryButton, WithoutATargetAClickDoesNothingAndIsConsumed) {
    TypeParam button;
    EXPECT_TRUE(button.OnLeftDown(1, 1));
    EXPECT_TRUE(button.OnLeftUp(1, 1));
    EXPECT_FALSE(button.pressed);
}

TYPED_TEST(EveryButton, DrawsInPlaceFromTheSecondFrameOn) {
    ktDrawList list;
    ASSERT_TRUE(list.Reserve());
    TypeParam button;
    button.SetRect(100, 10, 40, 30);
    EXPECT_TRUE(button.Draw(list));
    EXPECT_EQ(PointsAt(list.triangles, 0, 4), (Points{100, 10, 140, 10, 140, 40, 100, 40}));
    EXPECT_TRUE(AllHave(list.triangles, 0, 4, nothing));
    const uint32_t lineVertices = list.lines.vertex_count;
    ASSERT_GT(lineVertices, 0u);
    EXPECT_TRUE(AllHave(list.lines, 0, lineVertices, grey));
    const Points before = PointsAt(list.lines, 0, lineVertices);

    button.x = 200;
    button.OnHoverEnter();
    EXPECT_TRUE(button.Draw(list));
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(list.triangles.index_count, 6u);
    EXPECT_EQ(list.lines.vertex_count, lineVertices);
    EXPECT_EQ(PointsAt(list.triangles, 0, 4), (Points{200, 10, 240, 10, 240, 40, 200, 40}));
    EXPECT_TRUE(AllHave(list.triangles, 0, 4, grey));
    EXPECT_TRUE(AllHave(list.lines, 0, lineVertices, black));
    Points moved = before;
    for (size_t at = 0; at < moved.size(); at += 2) moved[at] += 100;
    EXPECT_EQ(PointsAt(list.lines, 0, lineVertices), moved);
}

class ButtonIcon : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(list.Reserve()); }
    ktDrawList list;
};

TEST_F(ButtonIcon, TheClearCrossReachesFivePixelsFromTheCentre) {
    ktClearButton button;
    button.SetRect(100, 50, 20, 20);
    button.Draw(list);
    EXPECT_EQ(PointsAt(list.lines, 0, 4), (Points{105, 55, 115, 65, 115, 55, 105, 65}));
}

TEST_F(ButtonIcon, TheCloseCrossReachesSevenPixelsFromTheCentre) {
    ktCloseButton button;
    button.SetRect(100, 0, 40, 30);
    button.Draw(list);
    EXPECT_EQ(PointsAt(list.lines, 0, 4), (Points{113, 8, 127, 22, 127, 8, 113, 22}));
}

TEST_F(ButtonIcon, TheCopySheetsLieOneBehindTheOther) {
    ktCopyButton button;
    button.SetRect(100, 50, 20, 20);
    button.Draw(list);
    ASSERT_EQ(list.lines.vertex_count, 16u);
    EXPECT_EQ(PointsAt(list.lines, 0, 1), (Points{105, 54}));
    EXPECT_EQ(PointsAt(list.lines, 8, 1), (Points{108, 56}));
}

TEST_F(ButtonIcon, TheMinimizeLineRunsThroughTheMiddle) {
    ktMinimizeButton button;
    button.SetRect(100, 0, 40, 30);
    button.Draw(list);
    EXPECT_EQ(PointsAt(list.lines, 0, 2), (Points{112, 15, 128, 15}));
}

TEST_F(ButtonIcon, TheMaximizeBoxIsLowerWhileMaximized) {
    ktFakeWindowSystem system;
    ktNativeWindow native(system);
    ktMaximizeButton button;
    button.target = &native;
    button.SetRect(100, 0, 40, 30);
    button.Draw(list);
    EXPECT_EQ(PointsAt(list.lines, 0, 8),
              (Points{112, 8, 128, 8, 128, 8, 128, 22, 128, 22, 112, 22, 112, 22, 112, 8}));
    native.maximized = true;
    button.Draw(list);
    EXPECT_EQ(PointsAt(list.lines, 0, 8),
              (Points{112, 12, 128, 12, 128, 12, 128, 18, 128, 18, 112, 18, 112, 18, 112, 12}));
    EXPECT_EQ(list.lines.vertex_count, 8u);
}

TEST_F(ButtonIcon, AFullBatchLeavesTheIconForALaterFrame) {
    ktMinimizeButton button;
    button.SetRect(100, 0, 40, 30);
    while (list.AddLine(0, 0, 1, 1, black) != -1) continue;
    EXPECT_TRUE(button.Draw(list));
    EXPECT_EQ(button.line_first, -1);
    list.lines.Clear();
    EXPECT_TRUE(button.Draw(list));
    EXPECT_EQ(button.line_first, 0);
}

TEST(ClearButton, EmptiesTheStoreUnderItsLock) {
    ktRecordingLines lines;
    lines.AddLine("one");
    ktClearButton button;
    button.target = &lines;
    button.OnLeftDown(1, 1);
    EXPECT_EQ(lines.GetLineCount(), 1u);
    button.OnLeftUp(1, 1);
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_TRUE(lines.clearedUnderLock);
    EXPECT_FALSE(lines.exclusiveHeld);
}

class CopyButton : public testing::Test {
protected:
    CopyButton() {
        SetClipboardSystem(&system);
        system.clipboard = "before";
    }
    ~CopyButton() override { SetClipboardSystem(nullptr); }

    ktFakeWindowSystem system;
    ktRecordingLines lines;
    ktCopyButton button;
};

TEST_F(CopyButton, PutsAllTextOnTheClipboard) {
    lines.AddLine("one");
    lines.AddLine("two");
    button.target = &lines;
    button.OnLeftDown(1, 1);
    button.OnLeftUp(1, 1);
    EXPECT_EQ(system.clipboard, "one\ntwo");
    EXPECT_TRUE(lines.copiedUnderLock);
    EXPECT_EQ(lines.held, 0);
}

TEST_F(CopyButton, LeavesTheClipboardAloneWithoutText) {
    button.target = &lines;
    button.OnClick();
    EXPECT_EQ(system.clipboard, "before");
}

TEST_F(CopyButton, LeavesTheClipboardAloneWithoutAStore) {
    button.OnClick();
    EXPECT_EQ(system.clipboard, "before");
}

class WindowButtons : public testing::Test {
protected:
    WindowButtons() : native(system), monitors(system) {
        native.Create(100, 100, 1440, 900);
        native.monitors = &monitors;
    }

    ktFakeWindowSystem system;
    ktNativeWindow native;
    ktMonitorList monitors;
};

TEST_F(WindowButtons, CloseIsPostedAndDoneByTheMessageLoop) {
    ktCloseButton button;
    button.target = &native;
    button.OnClick();
    ASSERT_NE(native.handle, nullptr);
    system.RunLoop();
    EXPECT_EQ(native.handle, nullptr);
    EXPECT_EQ(system.quits, 1u);
}

TEST_F(WindowButtons, MaximizeTogglesBackAndForth) {
    ktMaximizeButton button;
    button.target = &native;
    button.OnClick();
    EXPECT_TRUE(native.maximized);
    EXPECT_EQ(system.window->calls.back(), "Place 0 0 1920 1039");
    button.OnClick();
    EXPECT_FALSE(native.maximized);
    EXPECT_EQ(system.window->calls.back(), "Place 100 100 1440 900");
}

TEST_F(WindowButtons, MinimizeMinimizes) {
    ktMinimizeButton button;
    button.target = &native;
    button.OnClick();
    EXPECT_EQ(system.window->calls.back(), "Minimize");
}

TEST_F(WindowButtons, AfterTheWindowIsGoneClicksDoNothing) {
    ktCloseButton close;
    ktMaximizeButton maximize;
    ktMinimizeButton minimize;
    close.target = maximize.target = minimize.target = &native;
    native.Destroy();
    close.OnClick();
    maximize.OnClick();
    minimize.OnClick();
    EXPECT_FALSE(native.maximized);
}

TEST(ResizeIcon, ShowsATriangleInTheLowerRightCorner) {
    ktDrawList list;
    ASSERT_TRUE(list.Reserve());
    ktResizeIcon icon;
    EXPECT_EQ(icon.GetKind(), 3u);
    EXPECT_EQ(icon.w, 25u);
    EXPECT_EQ(icon.h, 25u);
    icon.SetRect(100, 200, 25, 25);
    EXPECT_TRUE(icon.Draw(list));
    EXPECT_EQ(PointsAt(list.triangles, 0, 3), (Points{121, 204, 121, 221, 104, 221}));
    EXPECT_TRUE(AllHave(list.triangles, 0, 3, nothing));
    EXPECT_EQ(list.triangles.index_count, 3u);

    icon.SetRect(300, 200, 25, 25);
    icon.OnHoverEnter();
    EXPECT_TRUE(icon.Draw(list));
    EXPECT_EQ(PointsAt(list.triangles, 0, 3), (Points{321, 204, 321, 221, 304, 221}));
    EXPECT_TRUE(AllHave(list.triangles, 0, 3, grey));
    EXPECT_EQ(list.triangles.vertex_count, 3u);
    icon.OnHoverLeave();
    icon.Draw(list);
    EXPECT_TRUE(AllHave(list.triangles, 0, 3, nothing));
}

TEST(ResizeIcon, TriesAgainAfterAFullBatch) {
    ktDrawList list;
    ASSERT_TRUE(list.Reserve());
    ktResizeIcon icon;
    while (list.AddRect(0, 0, 1, 1, black) != -1) continue;
    EXPECT_FALSE(icon.Draw(list));
    EXPECT_EQ(icon.triangle_first, -1);
    list.triangles.Clear();
    EXPECT_TRUE(icon.Draw(list));
    EXPECT_EQ(icon.triangle_first, 0);
}

TEST(ResizeIcon, TakesNoPress) {
    ktResizeIcon icon;
    EXPECT_FALSE(icon.OnLeftDown(10, 10));
    EXPECT_FALSE(icon.OnLeftUp(10, 10));
}

} // namespace
