#include "gui/native_window.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/native_message.h"
#include "support/native_rig.h"

namespace {

using Calls = std::vector<std::string>;

class NativeDrag : public ktNativePageRig {};

TEST_F(NativeDrag, APressInTheTop40PixelsStartsAMove) {
    PressAt(700, 39);
    EXPECT_TRUE(native.moving);
    EXPECT_FALSE(native.resizing);
    EXPECT_EQ(native.move_start_x, 800);
    EXPECT_EQ(native.move_start_y, 89);
    EXPECT_EQ(calls(), (Calls{"Capture 1"}));
    EXPECT_FALSE(renderer.live_resize);
    EXPECT_EQ(log, (ktEventLog{"overlay OnLeftDown 700 39", "page OnLeftDown 700 39"}));
}

TEST_F(NativeDrag, APressBelowTheTop40PixelsDoesNot) {
    PressAt(700, 40);
    EXPECT_FALSE(native.moving);
    EXPECT_FALSE(native.resizing);
    EXPECT_TRUE(calls().empty());
}

TEST_F(NativeDrag, APressThatAComponentTakesStartsNoMove) {
    page.answer = true;
    PressAt(700, 39);
    EXPECT_FALSE(native.moving);
    page.answer = false;
    overlay.answer = true;
    PressAt(700, 39);
    EXPECT_FALSE(native.moving);
}

TEST_F(NativeDrag, AMoveFollowsThePointerAndChangesTheRectangleAtItsEnd) {
    PressAt(700, 20);
    DragBy(10, 5);
    DragBy(-30, 5);
    EXPECT_EQ(calls(), (Calls{"Capture 1", "Move 110 55", "Move 80 60"}));
    ExpectRectangle(100, 50, 1440, 900);
    ReleaseButton();
    EXPECT_EQ(calls().back(), "Capture 0");
    ExpectRectangle(80, 60, 1440, 900);
    EXPECT_FALSE(native.moving);
    calls().clear();
    DragBy(50, 50);
    EXPECT_TRUE(calls().empty());
}

TEST_F(NativeDrag, ADragTakesThePositionFromThePointerAndNotFromTheMessage) {
    PressAt(700, 20);
    system.window->pointerX += 40;
    system.SendMouse(ktMessageKind::mouseMove, 3, 3); // told before the window last moved
    EXPECT_EQ(calls().back(), "Move 140 50");
}

TEST_F(NativeDrag, AMoveWithoutTheButtonIsIgnoredDuringADrag) {
    PressAt(700, 20);
    log.clear();
    system.window->leftIsDown = false;
    DragBy(400, 400);
    EXPECT_EQ(calls(), (Calls{"Capture 1"}));
    EXPECT_EQ(native.move_dx, 0);
    EXPECT_EQ(log, (ktEventLog{"overlay OnMouseMove 1100 420", "page OnMouseMove 1100 420"})); // it hovers
    EXPECT_EQ(native.mouse_x, 1100);
}

TEST_F(NativeDrag, TheLastStretchOfAQuickDragIsMadeUpForAtItsRelease) {
    PressAt(700, 20);
    DragBy(10, 10);
    system.window->leftIsDown = false; // released, and the message of that is not here yet
    DragBy(90, 20);
    ReleaseButton();
    ExpectRectangle(200, 80, 1440, 900);
    EXPECT_EQ(calls().back(), "Capture 0");
    system.window->pointerX += 500; // the next drag knows nothing of it
    PressAt(700, 20);
    ReleaseButton();
    ExpectRectangle(200, 80, 1440, 900);
}

TEST_F(NativeDrag, APointerThatMovedOnAfterTheReleaseMovesNothing) {
    PressAt(700, 20);
    DragBy(10, 10);
    ktNativeMessage release;
    release.kind = ktMessageKind::leftUp;
    release.screenX = system.window->pointerX + 5;
    release.screenY = system.window->pointerY;
    system.window->leftIsDown = false; // from here on the release waits behind moves
    DragBy(300, 0);
    system.Send(release);
    ExpectRectangle(115, 60, 1440, 900);
    EXPECT_EQ(calls(), (Calls{"Capture 1", "Move 110 60", "Move 115 60", "Capture 0"}));
}

TEST_F(NativeDrag, MovesAndReleasesOfADragReachThePagesToo) {
    PressAt(700, 20);
    log.clear();
    DragBy(0, 5);
    ReleaseButton();
    EXPECT_EQ(log, (ktEventLog{"overlay OnMouseMove 700 25", "page OnMouseMove 700 25",
                               "overlay OnLeftUp 700 20", "page OnLeftUp 700 20"}));
}

TEST_F(NativeDrag, AClickInTheTitleBandLeavesTheWindowWhereItIs) {
    PressAt(700, 20);
    ReleaseButton();
    ExpectRectangle(100, 50, 1440, 900);
    EXPECT_EQ(calls(), (Calls{"Capture 1", "Capture 0"}));
}

TEST_F(NativeDrag, ASecondMoveStartsWithoutTheFirstOnesDistance) {
    PressAt(700, 20);
    DragBy(10, 10);
    ReleaseButton();
    PressAt(700, 20);
    ReleaseButton();
    ExpectRectangle(110, 60, 1440, 900);
}

TEST_F(NativeDrag, ALostReleaseLeavesNoTwoDragsAtOnce) {
    PressAt(700, 20);
    DragBy(10, 10);
    PressAt(1430, 890);
    EXPECT_FALSE(native.moving);
    EXPECT_TRUE(native.resizing);
    ExpectRectangle(110, 60, 1440, 900);
}

TEST_F(NativeDrag, APressInTheLast25PixelsStartsAResize) {
    PressAt(1415, 875);
    EXPECT_TRUE(native.resizing);
    EXPECT_FALSE(native.moving);
    EXPECT_TRUE(renderer.live_resize);
    EXPECT_EQ(native.resize_start_x, 1515);
    EXPECT_EQ(native.resize_start_y, 925);
    EXPECT_EQ(calls(), (Calls{"Capture 1"}));
}

TEST_F(NativeDrag, APressBesideTheCornerStartsNone) {
    PressAt(1414, 899);
    EXPECT_FALSE(native.resizing);
    PressAt(1439, 874);
    EXPECT_FALSE(native.resizing);
    EXPECT_FALSE(renderer.live_resize);
}

TEST_F(NativeDrag, InTheTitleBandTheCornerMoves) {
    native.rect_h = 50;
    PressAt(1430, 39);
    EXPECT_TRUE(native.moving);
    EXPECT_FALSE(native.resizing);
}

TEST_F(NativeDrag, AResizeGivesEverySizeToWindowRendererAndPages) {
    PressAt(1430, 890);
    log.clear();
    DragBy(10, -20);
    EXPECT_EQ(calls(), (Calls{"Capture 1", "Resize 1450 880"}));
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(1450, 880));
    EXPECT_EQ(log[0], "page SetSize 1450 880");
    EXPECT_EQ(log[1], "overlay SetSize 1450 880");
    EXPECT_EQ(log[2], "overlay OnMouseMove 1440 870");
    ExpectRectangle(100, 50, 1440, 900);
    ReleaseButton();
    ExpectRectangle(100, 50, 1450, 880);
    EXPECT_FALSE(native.resizing);
    EXPECT_FALSE(renderer.live_resize);
    EXPECT_EQ(calls().back(), "Capture 0");
}

TEST_F(NativeDrag, AResizePastTheMinimumStaysAt100By100) {
    PressAt(1430, 890);
    DragBy(-2000, -2000);
    EXPECT_EQ(calls().back(), "Resize 100 100");
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(100, 100));
    ReleaseButton();
    ExpectRectangle(100, 50, 100, 100);
}

TEST_F(NativeDrag, AResizeHoldsEachSideByItself) {
    PressAt(1430, 890);
    DragBy(-2000, 30);
    EXPECT_EQ(calls().back(), "Resize 100 930");
    DragBy(2010, -40);
    EXPECT_EQ(calls().back(), "Resize 1450 890");
}

TEST_F(NativeDrag, AMoveWithoutTheButtonIsIgnoredDuringAResize) {
    PressAt(1430, 890);
    system.window->leftIsDown = false;
    DragBy(-100, -100);
    EXPECT_EQ(calls(), (Calls{"Capture 1"}));
    EXPECT_EQ(native.resize_dx, 0);
}

TEST_F(NativeDrag, WhileMaximizedNeitherAMoveNorAResizeStarts) {
    native.Maximize();
    calls().clear();
    PressAt(700, 10);
    EXPECT_FALSE(native.moving);
    PressAt(1915, 1035);
    EXPECT_FALSE(native.resizing);
    EXPECT_TRUE(calls().empty());
}

TEST_F(NativeDrag, GoingHomeEndsADrag) {
    PressAt(1430, 890);
    DragBy(200, 50);
    Hold({ktKeyCtrl, ktKeyAlt});
    KeyDown(ktKeyF5);
    EXPECT_FALSE(native.resizing);
    EXPECT_FALSE(renderer.live_resize);
    ReleaseButton();
    ExpectRectangle(100, 50, 1440, 900);
    EXPECT_EQ(calls().back(), "Place 100 50 1440 900");
}

TEST_F(NativeDrag, AnArrowEndsADragWhereItIs) {
    PressAt(700, 20);
    DragBy(30, 10);
    Hold({ktKeyCtrl, ktKeyAlt, ktKeyShift});
    KeyDown(ktKeyRight);
    EXPECT_FALSE(native.moving);
    ReleaseButton();
    ExpectRectangle(132, 60, 1440, 900);
    EXPECT_EQ(calls().back(), "Move 132 60");
}

} // namespace
