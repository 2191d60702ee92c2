#include "gui/native_window.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "gui/window_set.h"
#include "support/native_rig.h"

namespace {

using Calls = std::vector<std::string>;

TEST(NativeWindowCreation, KeepsItsFirstRectangleAsHome) {
    ktFakeWindowSystem system;
    ktNativeWindow native(system);
    ASSERT_TRUE(native.Create(100, 50, 1440, 900));
    EXPECT_EQ(system.window->title, "SableDbg");
    EXPECT_EQ(native.home_x, 100);
    EXPECT_EQ(native.home_y, 50);
    EXPECT_EQ(native.home_w, 1440);
    EXPECT_EQ(native.home_h, 900);
    EXPECT_EQ(native.rect_x, 100);
    EXPECT_EQ(native.rect_y, 50);
    EXPECT_EQ(native.rect_w, 1440);
    EXPECT_EQ(native.rect_h, 900);
    EXPECT_EQ(native.min_w, 100u);
    EXPECT_EQ(native.min_h, 100u);
    EXPECT_FALSE(native.maximized);
    EXPECT_TRUE(system.window->calls.empty()); // hidden
}

TEST(NativeWindowCreation, FailsWhenTheSystemRefuses) {
    ktFakeWindowSystem system;
    system.createsWindows = false;
    ktNativeWindow native(system);
    EXPECT_FALSE(native.Create(100, 50, 1440, 900));
    EXPECT_EQ(native.handle, nullptr);
    EXPECT_EQ(native.home_w, 0);
    native.Maximize();
    native.Restore();
    native.Minimize();
    native.PostClose();
    native.Destroy();
    EXPECT_EQ(system.quits, 0u);
}

TEST(NativeWindowCreation, WithoutPagesAndRendererEveryMessageIsTaken) {
    ktFakeWindowSystem system;
    ktNativeWindow native(system);
    ASSERT_TRUE(native.Create(100, 50, 1440, 900));
    for (uint32_t kind = 0; kind <= static_cast<uint32_t>(ktMessageKind::wheel); ++kind) {
        if (kind == static_cast<uint32_t>(ktMessageKind::destroyed) ||
            kind == static_cast<uint32_t>(ktMessageKind::close))
            continue;
        system.SendMouse(static_cast<ktMessageKind>(kind), 1435, 895);
    }
    native.Maximize();
    EXPECT_EQ(system.window->calls.back(), "Place 0 0 1920 1079");
    system.SendMouse(ktMessageKind::close, 0, 0);
    EXPECT_EQ(system.window, nullptr);
    EXPECT_EQ(system.quits, 1u);
}

class NativeWindow : public ktNativePageRig {};

TEST_F(NativeWindow, ItsEndEndsTheMessageLoop) {
    native.Destroy();
    EXPECT_EQ(system.window, nullptr);
    EXPECT_EQ(system.quits, 1u);
    native.Destroy();
    EXPECT_EQ(system.quits, 1u);
}

TEST_F(NativeWindow, CloseStopsTheRenderThreadBeforeTheWindowGoes) {
    renderer.gui = &set;
    ASSERT_TRUE(renderer.Start());
    ASSERT_FALSE(renderer.stop);
    Notice(ktMessageKind::close);
    EXPECT_TRUE(renderer.stop);
    EXPECT_EQ(system.window, nullptr);
    EXPECT_EQ(native.handle, nullptr);
    EXPECT_EQ(system.quits, 1u);
}

TEST_F(NativeWindow, MessagesAfterTheEndAreIgnored) {
    native.Destroy();
    ktNativeMessage message;
    message.kind = ktMessageKind::leftDown;
    native.OnMessage(message);
    message.kind = ktMessageKind::close;
    native.OnMessage(message);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(system.quits, 1u);
}

TEST_F(NativeWindow, PostedCloseWaitsInTheQueue) {
    native.PostClose();
    EXPECT_NE(native.handle, nullptr);
    system.RunLoop();
    EXPECT_EQ(native.handle, nullptr);
}

TEST_F(NativeWindow, AnotherThreadMayAskForTheEndWhileTheWindowGoes) {
    std::atomic<bool> gone = false;
    std::atomic<uint32_t> requests = 0;
    std::thread other([&] {
        while (!gone) {
            native.PostClose();
            ++requests;
        }
    });
    while (requests < 10) std::this_thread::yield();
    native.Destroy();
    const uint32_t accepted = system.closeRequests;
    for (const uint32_t before = requests; requests < before + 10;) std::this_thread::yield();
    gone = true;
    other.join();
    EXPECT_GE(accepted, 10u);
    EXPECT_EQ(system.closeRequests, accepted);
}

TEST_F(NativeWindow, PaintDoesNothing) {
    Notice(ktMessageKind::paint);
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(calls().empty());
}

TEST_F(NativeWindow, MaximizedItIsOnePixelShortOfTheWorkAreaAtTheMonitorsOrigin) {
    system.monitors = {{0, 0, 1920, 1080, 1880, 1040}};
    native.Maximize();
    EXPECT_EQ(calls(), (Calls{"Place 0 0 1880 1039"}));
    ExpectRectangle(0, 0, 1880, 1039);
    EXPECT_EQ(native.saved_x, 100);
    EXPECT_EQ(native.saved_y, 50);
    EXPECT_EQ(native.saved_w, 1440);
    EXPECT_EQ(native.saved_h, 900);
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(1880, 1039));
}

TEST_F(NativeWindow, TheMonitorUnderTheHorizontalCentreIsFilled) {
    system.monitors = {{-1280, 10, 1280, 1024, 1280, 1000}, {0, 0, 1920, 1080, 1920, 1040}};
    native.rect_x = -721; // the centre is at -1
    native.Maximize();
    EXPECT_EQ(calls(), (Calls{"Place -1280 10 1280 999"}));
    native.Restore();
    native.rect_x = -719;
    native.Maximize();
    EXPECT_EQ(calls().back(), "Place 0 0 1920 1039");
}

TEST_F(NativeWindow, WithTheCentreOnNoMonitorTheScreenIsFilled) {
    system.screenW = 1600;
    system.screenH = 1200;
    native.rect_x = -720; // the centre is on the left edge
    native.Maximize();
    EXPECT_EQ(calls(), (Calls{"Place 0 0 1600 1199"}));
    native.Restore();
    ExpectRectangle(-720, 50, 1440, 900);
}

TEST_F(NativeWindow, WithoutMonitorsTheScreenIsFilled) {
    system.tellsMonitors = false;
    native.Maximize();
    EXPECT_EQ(calls(), (Calls{"Place 0 0 1920 1079"}));
    EXPECT_TRUE(native.maximized);
}

TEST_F(NativeWindow, MaximizingTwiceKeepsTheSavedRectangle) {
    native.Maximize();
    native.Maximize();
    EXPECT_EQ(calls().size(), 1u);
    EXPECT_EQ(native.saved_w, 1440);
    native.Restore();
    native.Restore();
    EXPECT_EQ(calls().size(), 2u);
    ExpectRectangle(100, 50, 1440, 900);
}

TEST_F(NativeWindow, EachMouseMessageLeavesItsPosition) {
    system.SendMouse(ktMessageKind::mouseMove, -5, 7);
    EXPECT_EQ(native.mouse_x, -5);
    EXPECT_EQ(native.mouse_y, 7);
    system.SendMouse(ktMessageKind::wheel, 8, 9);
    EXPECT_EQ(native.mouse_x, 8);
    EXPECT_EQ(native.mouse_y, 9);
}

TEST_F(NativeWindow, TheRightButtonNeitherMovesNorResizes) {
    system.SendMouse(ktMessageKind::rightDown, 700, 10);
    system.SendMouse(ktMessageKind::rightUp, 700, 10);
    EXPECT_FALSE(native.moving);
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(log, (ktEventLog{"overlay OnRightDown 700 10", "page OnRightDown 700 10",
                               "overlay OnRightUp 700 10", "page OnRightUp 700 10"}));
}

TEST_F(NativeWindow, TheWheelKeepsItsDirection) {
    ktNativeMessage message;
    message.kind = ktMessageKind::wheel;
    message.wheelDown = true;
    system.Send(message);
    message.wheelDown = false;
    system.Send(message);
    EXPECT_EQ(log,
              (ktEventLog{"overlay OnWheel 1", "page OnWheel 1", "overlay OnWheel 0", "page OnWheel 0"}));
}

TEST_F(NativeWindow, APlaceAndSizeThatTheDesktopGaveAreTakenOver) {
    system.window->x = 300;
    system.window->y = 150;
    system.window->w = 1000;
    system.window->h = 700;
    Notice(ktMessageKind::placed);
    ExpectRectangle(300, 150, 1000, 700);
    EXPECT_EQ(renderer.requested_size, ktPackSize(1000, 700));
    EXPECT_TRUE(calls().empty()); // nothing is asked of the window
    PressAt(990, 690);            // the corner is where it is seen
    EXPECT_TRUE(native.resizing);
}

TEST_F(NativeWindow, APlaceOfItsOwnChangesNothing) {
    renderer.requested_size = 7;
    Notice(ktMessageKind::placed);
    ExpectRectangle(100, 50, 1440, 900);
    EXPECT_EQ(renderer.requested_size, 7u);
}

TEST_F(NativeWindow, DuringADragTheWindowsPlacesAreItsOwn) {
    PressAt(700, 20);
    DragBy(30, 40);
    Notice(ktMessageKind::placed);
    ExpectRectangle(100, 50, 1440, 900);
    ReleaseButton();
    ExpectRectangle(130, 90, 1440, 900);
}

TEST_F(NativeWindow, MaximisingEndsADrag) {
    PressAt(700, 20);
    DragBy(30, 40);
    native.Maximize();
    ReleaseButton();
    ExpectRectangle(0, 0, 1920, 1039);
    native.Restore();
    ExpectRectangle(130, 90, 1440, 900);
}

} // namespace
