#include "views/overlay_window.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "support/allocation_count.h"
#include "support/native_rig.h"
#include "support/test_font.h"

namespace {

std::vector<uint32_t> RectOf(const ktComponent &component) {
    return {component.x, component.y, component.w, component.h};
}

TEST(OverlayWindow, LaysItsComponentsOutFromTheRightEdge) {
    ktOverlayWindow overlay;
    overlay.SetFont(&TestFont());
    const uint32_t line = TestFont().LineHeight();
    for (const uint32_t w : {1440u, 2560u, 640u}) {
        const uint32_t h = w / 2;
        overlay.SetSize(w, h);
        EXPECT_EQ(overlay.w, w);
        EXPECT_EQ(overlay.h, h);
        EXPECT_EQ(RectOf(overlay.close_button), (std::vector<uint32_t>{w - 40, 0, 40, 30}));
        EXPECT_EQ(RectOf(overlay.maximize_button), (std::vector<uint32_t>{w - 80, 0, 40, 30}));
        EXPECT_EQ(RectOf(overlay.minimize_button), (std::vector<uint32_t>{w - 120, 0, 40, 30}));
        EXPECT_EQ(RectOf(overlay.resize_icon), (std::vector<uint32_t>{w - 25, h - 25, 25, 25}));
        EXPECT_EQ(RectOf(overlay.label), (std::vector<uint32_t>{0, 2 * line, 254 * 9, line}));
        EXPECT_EQ(RectOf(overlay.fps_label), (std::vector<uint32_t>{0, 0, 254 * 9, line}));
        EXPECT_EQ(RectOf(overlay.time_label), (std::vector<uint32_t>{0, line, 254 * 9, line}));
    }
}

TEST(OverlayWindow, WithoutAFontALineHas20Pixels) {
    ktOverlayWindow overlay;
    overlay.SetSize(1440, 990);
    EXPECT_EQ(overlay.label.y, 40u);
    EXPECT_EQ(overlay.fps_label.y, 0u);
    EXPECT_EQ(overlay.time_label.y, 20u);
}

TEST(OverlayWindow, OnTheSmallestWindowTheLastButtonStartsLeftOfTheEdge) {
    ktOverlayWindow overlay;
    overlay.SetSize(100, 100);
    EXPECT_TRUE(overlay.minimize_button.HitTest(10, 10));
    EXPECT_FALSE(overlay.minimize_button.HitTest(20, 10));
    EXPECT_TRUE(overlay.maximize_button.HitTest(21, 10));
}

TEST(OverlayWindow, HasFourComponentsAndTheLabelsAreNone) {
    ktOverlayWindow overlay;
    EXPECT_EQ(overlay.components,
              (std::vector<ktComponent *>{&overlay.close_button, &overlay.maximize_button,
                                          &overlay.minimize_button, &overlay.resize_icon}));
}

TEST(OverlayWindow, DrawsItsIconsAndNoText) {
    ktOverlayWindow overlay;
    ASSERT_TRUE(overlay.draw_list.Reserve());
    overlay.SetFont(&TestFont());
    overlay.SetSize(1440, 990);
    EXPECT_TRUE(overlay.Draw());
    EXPECT_EQ(overlay.draw_list.text.vertex_count, 0u);
    EXPECT_EQ(overlay.draw_list.triangles.vertex_count, 3u * 4 + 3);
    EXPECT_EQ(overlay.draw_list.lines.vertex_count, 4u + 8 + 2);
    overlay.Draw();
    EXPECT_EQ(overlay.draw_list.triangles.vertex_count, 3u * 4 + 3);
    EXPECT_EQ(overlay.draw_list.lines.vertex_count, 4u + 8 + 2);
}

TEST(OverlayWindow, ItsButtonsActOnTheNativeWindow) {
    ktFakeWindowSystem system;
    ktNativeWindow native(system);
    ktOverlayWindow overlay;
    overlay.SetNative(&native);
    EXPECT_EQ(overlay.close_button.target, &native);
    EXPECT_EQ(overlay.maximize_button.target, &native);
    EXPECT_EQ(overlay.minimize_button.target, &native);
}

TEST(OverlayWindow, ASteadyFrameAllocatesNothing) {
    ktFakeClock clock;
    ktSilentGlSurface surface;
    ktRenderer renderer(surface, clock);
    renderer.frame_time_us = 16600;
    ktOverlayWindow overlay;
    ASSERT_TRUE(overlay.draw_list.Reserve());
    overlay.SetFont(&TestFont());
    overlay.SetRenderer(&renderer);
    overlay.SetSize(1440, 990);
    const auto draw = [&overlay] {
        overlay.Draw();
        overlay.label.Draw(overlay.draw_list);
        overlay.fps_label.Draw(overlay.draw_list);
        overlay.time_label.Draw(overlay.draw_list);
    };
    draw();
    const uint64_t before = AllocationCount();
    draw();
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(overlay.draw_list.text.vertex_count, 4u * (254 + 5 + 16));
}

class OverlayInput : public ktNativeRig {
protected:
    OverlayInput() : page(log, "page") {
        set.overlay = &overlay;
        set.AddWindow(page);
        set.Show(page);
        overlay.SetNative(&native);
        set.SetSize(1440, 900);
        log.clear();
    }

    ktEventLog log;
    ktOverlayWindow overlay;
    ktRecordingWindow page;
};

TEST_F(OverlayInput, MovesReachThePageToo) {
    system.SendMouse(ktMessageKind::mouseMove, 1420, 10);
    EXPECT_EQ(log, (ktEventLog{"page OnMouseMove 1420 10"}));
    EXPECT_EQ(overlay.close_button.back.current.Get(), ktColorButton);
    EXPECT_EQ(overlay.maximize_button.back.current.Get(), ktColorClear);
}

TEST_F(OverlayInput, APressOnAButtonStartsNoMoveAndReachesNoPage) {
    for (const int32_t x : {1330, 1380, 1420}) {
        PressAt(x, 10);
        EXPECT_FALSE(native.moving) << x;
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(OverlayInput, APressBesideAndBelowTheButtonsMovesTheWindow) {
    PressAt(1319, 10);
    EXPECT_TRUE(native.moving);
    ReleaseButton();
    PressAt(1420, 30);
    EXPECT_TRUE(native.moving);
    ReleaseButton();
    PressAt(1420, 39);
    EXPECT_TRUE(native.moving);
    ReleaseButton();
    PressAt(1420, 40);
    EXPECT_FALSE(native.moving);
}

TEST_F(OverlayInput, APressOnTheCornerFallsThroughToTheResize) {
    PressAt(1430, 890);
    EXPECT_TRUE(native.resizing);
    EXPECT_EQ(overlay.focus, &overlay.resize_icon);
    EXPECT_EQ(log, (ktEventLog{"page OnLeftDown 1430 890"}));
    DragBy(60, 60);
    EXPECT_EQ(overlay.resize_icon.x, 1475u);
    EXPECT_EQ(overlay.close_button.x, 1460u);
}

TEST_F(OverlayInput, AClickOnMaximizeFillsTheMonitorAndASecondOneRestores) {
    PressAt(1380, 10);
    ReleaseButton();
    EXPECT_TRUE(native.maximized);
    EXPECT_EQ(calls().back(), "Place 0 0 1920 1039");
    EXPECT_EQ(overlay.maximize_button.x, 1840u);
    PressAt(1860, 10);
    ReleaseButton();
    EXPECT_FALSE(native.maximized);
    EXPECT_EQ(calls().back(), "Place 100 50 1440 900");
}

TEST_F(OverlayInput, AClickOnCloseClosesTheWindow) {
    PressAt(1420, 10);
    ReleaseButton();
    system.RunLoop();
    EXPECT_EQ(native.handle, nullptr);
}

TEST_F(OverlayInput, FramesAreDrawnWhileThePointerAndTheWindowMove) {
    ASSERT_TRUE(overlay.draw_list.Reserve());
    ASSERT_TRUE(page.draw_list.Reserve());
    renderer.draw_lists = {&page.draw_list, &overlay.draw_list};
    renderer.gui = &set;
    ASSERT_TRUE(renderer.Start());
    const auto waitForFrames = [this](uint64_t count) {
        for (const uint64_t before = system.surface.swaps; system.surface.swaps < before + count;)
            std::this_thread::yield();
    };
    waitForFrames(3);
    for (int16_t x = 1300; x < 1440; x += 5) system.SendMouse(ktMessageKind::mouseMove, x, 10);
    native.Maximize();
    waitForFrames(3);
    native.Restore();
    PressAt(1430, 890);
    for (int at = 0; at < 20; ++at) DragBy(-3, -3);
    ReleaseButton();
    waitForFrames(3);
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(1380, 840));
    system.SendMouse(ktMessageKind::close, 0, 0);
    EXPECT_EQ(native.handle, nullptr);
    EXPECT_TRUE(renderer.stop);
    const ktFlatVertex *corner = overlay.draw_list.triangles.FlatAt(overlay.resize_icon.triangle_first);
    EXPECT_EQ(corner[0].x, 1380 - 4);
    EXPECT_EQ(corner[0].y, 840 - 25 + 4);
}

class OverlayLabel : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
    }
    ktDrawList list;
};

TEST_F(OverlayLabel, FramesASecondComeFromTheLastFrameTime) {
    ktFakeClock clock;
    ktSilentGlSurface surface;
    ktRenderer renderer(surface, clock);
    ktFpsLabel label;
    label.SetFont(&TestFont());
    label.renderer = &renderer;
    renderer.frame_time_us = 16600;
    EXPECT_TRUE(label.Draw(list));
    EXPECT_STREQ(label.text.Copy().data(), "60.24");
    EXPECT_EQ(label.first_vertex, 0);
    EXPECT_EQ(list.text.vertex_count, 20u);
    renderer.frame_time_us = 1000000;
    label.Draw(list);
    EXPECT_STREQ(label.text.Copy().data(), "1.00");
    renderer.frame_time_us = 0;
    label.Draw(list);
    EXPECT_STREQ(label.text.Copy().data(), "inf");
    label.visible = false;
    renderer.frame_time_us = 1000000;
    EXPECT_FALSE(label.Draw(list));
    EXPECT_STREQ(label.text.Copy().data(), "inf");
}

TEST_F(OverlayLabel, WithoutARendererThereIsNoFrameCount) {
    ktFpsLabel label;
    label.SetFont(&TestFont());
    EXPECT_FALSE(label.Draw(list));
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(OverlayLabel, TheTimeHasSixteenHexadecimalDigits) {
    ktTimeLabel label;
    label.SetFont(&TestFont());
    const uint64_t before = SystemClock().Milliseconds();
    EXPECT_TRUE(label.Draw(list));
    const uint64_t after = SystemClock().Milliseconds();
    const std::string text = label.text.Copy().data();
    ASSERT_EQ(text.size(), 16u);
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    const uint64_t shown = std::strtoull(text.c_str(), nullptr, 16);
    EXPECT_GE(shown, before);
    EXPECT_LE(shown, after);
    EXPECT_EQ(list.text.vertex_count, 64u);
}

} // namespace
