#include "gui/native_window.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "gui/key_event.h"
#include "support/native_rig.h"

namespace {

using Calls = std::vector<std::string>;

class NativeKeys : public ktNativePageRig {};

TEST_F(NativeKeys, AKeyBecomesAnEventWithScanAndRepeat) {
    ktNativeMessage message;
    message.kind = ktMessageKind::keyDown;
    message.key = 65;
    message.scan = 30;
    message.repeat = 3;
    system.Send(message);
    EXPECT_EQ(page.lastKey.key, 65u);
    EXPECT_FALSE(page.lastKey.is_char);
    EXPECT_EQ(page.lastKey.scan, 30);
    EXPECT_EQ(page.lastKey.repeat, 3);
    EXPECT_EQ(page.lastKey.mods, 0u);
    EXPECT_EQ(page.lastKey.code, 65u);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 65", "page OnKey 65"}));
}

TEST_F(NativeKeys, HeldKeysAreInModsAndInTheTopBitsOfTheCode) {
    Hold({ktKeyCtrl});
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 1u);
    EXPECT_EQ(page.lastKey.code, 0x4000000000000041u);
    KeyUp(ktKeyCtrl);
    Hold({ktKeyAlt});
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 2u);
    EXPECT_EQ(page.lastKey.code, 0x2000000000000041u);
    KeyUp(ktKeyAlt);
    Hold({ktKeyShift});
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 4u);
    EXPECT_EQ(page.lastKey.code, 0x1000000000000041u);
    Hold({ktKeyCtrl, ktKeyAlt});
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 7u);
    EXPECT_EQ(page.lastKey.code, 0x7000000000000041u);
}

TEST_F(NativeKeys, ACharacterHasTheTopBit) {
    Character('x');
    EXPECT_TRUE(page.lastKey.is_char);
    EXPECT_EQ(page.lastKey.key, 'x');
    EXPECT_EQ(page.lastKey.code, 0x8000000000000078u);
    Hold({ktKeyAlt});
    Character('x');
    EXPECT_EQ(page.lastKey.mods, 2u);
    EXPECT_EQ(page.lastKey.code, 0xA000000000000078u);
}

TEST_F(NativeKeys, TheModifierKeysThemselvesAreDispatchedAndTheirReleasesAreNot) {
    KeyDown(ktKeyShift);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 16", "page OnKey 16"}));
    KeyUp(ktKeyShift);
    EXPECT_EQ(log.size(), 2u);
    EXPECT_FALSE(native.shift_down);
}

TEST_F(NativeKeys, ActivationAndLossOfFocusReleaseAllHeldKeys) {
    for (const ktMessageKind kind : {ktMessageKind::activated, ktMessageKind::focusLost}) {
        Hold({ktKeyCtrl, ktKeyAlt, ktKeyShift});
        native.reserved_key = true;
        Notice(kind);
        EXPECT_FALSE(native.ctrl_down);
        EXPECT_FALSE(native.alt_down);
        EXPECT_FALSE(native.shift_down);
        EXPECT_FALSE(native.reserved_key);
        KeyDown(65);
        EXPECT_EQ(page.lastKey.mods, 0u);
    }
}

TEST_F(NativeKeys, TheControlCharactersOfPQAndRCountAsHeldKeys) {
    Character(16);
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 4u);
    Character(17);
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 5u);
    Character(18);
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 7u);
    KeyUp(ktKeyShift);
    KeyUp(ktKeyCtrl);
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 2u);
    Notice(ktMessageKind::focusLost);
    KeyDown(65);
    EXPECT_EQ(page.lastKey.mods, 0u);
}

TEST_F(NativeKeys, AltF4AsksForTheEnd) {
    Hold({ktKeyAlt});
    log.clear();
    KeyDown(ktKeyF4);
    EXPECT_TRUE(log.empty());
    EXPECT_NE(native.handle, nullptr);
    system.RunLoop();
    EXPECT_EQ(native.handle, nullptr);
}

TEST_F(NativeKeys, CtrlAltF4IsAnOrdinaryKey) {
    Hold({ktKeyCtrl, ktKeyAlt});
    log.clear();
    KeyDown(ktKeyF4);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 115", "page OnKey 115"}));
    EXPECT_EQ(system.closeRequests, 0u);
}

TEST_F(NativeKeys, AltF4WithAnyOtherModifierIsAnOrdinaryKey) {
    Hold({ktKeyAlt, ktKeyShift});
    KeyDown(ktKeyF4);
    KeyUp(ktKeyShift);
    native.reserved_key = true;
    log.clear();
    KeyDown(ktKeyF4);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 115", "page OnKey 115"}));
    EXPECT_EQ(page.lastKey.mods, 10u);
    EXPECT_EQ(system.closeRequests, 0u);
}

TEST_F(NativeKeys, TheOtherShortcutsLookAtCtrlAltAndShiftAlone) {
    Hold({ktKeyCtrl, ktKeyAlt});
    native.reserved_key = true;
    KeyDown(ktKeyUp);
    EXPECT_TRUE(native.maximized);
}

TEST_F(NativeKeys, AnEventDoesNotCountItsOwnKeyAsHeld) {
    for (const uint32_t key : {ktKeyCtrl, ktKeyAlt, ktKeyShift}) {
        KeyDown(key);
        EXPECT_EQ(page.lastKey.mods, 0u) << key;
        KeyDown(key); // repeated
        EXPECT_NE(page.lastKey.mods, 0u) << key;
        KeyUp(key);
        Character(key);
        EXPECT_EQ(page.lastKey.mods, 0u) << key;
        Notice(ktMessageKind::focusLost);
    }
}

TEST_F(NativeKeys, F4AloneIsAnOrdinaryKey) {
    KeyDown(ktKeyF4);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 115", "page OnKey 115"}));
    EXPECT_EQ(system.closeRequests, 0u);
}

TEST_F(NativeKeys, AltF4WorksWhileMaximized) {
    native.Maximize();
    Hold({ktKeyAlt});
    KeyDown(ktKeyF4);
    system.RunLoop();
    EXPECT_EQ(native.handle, nullptr);
}

TEST_F(NativeKeys, CtrlAltShiftArrowsMoveByTwoPixels) {
    Hold({ktKeyCtrl, ktKeyAlt, ktKeyShift});
    log.clear();
    KeyDown(ktKeyUp);
    KeyDown(ktKeyLeft);
    KeyDown(ktKeyDown);
    KeyDown(ktKeyDown);
    KeyDown(ktKeyRight);
    KeyDown(ktKeyRight);
    EXPECT_EQ(calls(),
              (Calls{"Move 100 48", "Move 98 48", "Move 98 50", "Move 98 52", "Move 100 52", "Move 102 52"}));
    ExpectRectangle(102, 52, 1440, 900);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(renderer.requested_size.Get(), 0u);
}

TEST_F(NativeKeys, CtrlAltShiftArrowsDoNothingWhileMaximized) {
    native.Maximize();
    calls().clear();
    Hold({ktKeyCtrl, ktKeyAlt, ktKeyShift});
    log.clear();
    for (const uint32_t key : {ktKeyUp, ktKeyDown, ktKeyLeft, ktKeyRight}) KeyDown(key);
    EXPECT_TRUE(calls().empty());
    ExpectRectangle(0, 0, 1920, 1039);
    EXPECT_EQ(log.size(), 8u); // they are ordinary keys then
}

TEST_F(NativeKeys, CtrlAltF5GoesHomeAndForgetsTheSavedRectangle) {
    native.Maximize();
    native.Restore();
    Hold({ktKeyCtrl, ktKeyAlt, ktKeyShift});
    KeyDown(ktKeyRight);
    KeyUp(ktKeyShift);
    native.rect_w = 500;
    calls().clear();
    log.clear();
    KeyDown(ktKeyF5);
    EXPECT_EQ(calls(), (Calls{"Place 100 50 1440 900"}));
    ExpectRectangle(100, 50, 1440, 900);
    EXPECT_EQ(native.saved_x, 0);
    EXPECT_EQ(native.saved_y, 0);
    EXPECT_EQ(native.saved_w, 0);
    EXPECT_EQ(native.saved_h, 0);
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(1440, 900));
    EXPECT_EQ(log, (ktEventLog{"page SetSize 1440 900", "overlay SetSize 1440 900"}));
    EXPECT_EQ(renderer.requested_size.Get(), ktPackSize(1440, 900));
}

TEST_F(NativeKeys, CtrlAltF5WhileMaximizedDoesNothing) {
    native.Maximize();
    calls().clear();
    Hold({ktKeyCtrl, ktKeyAlt});
    log.clear();
    KeyDown(ktKeyF5);
    EXPECT_TRUE(calls().empty());
    EXPECT_TRUE(native.maximized);
    EXPECT_EQ(native.saved_w, 1440);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 116", "page OnKey 116"}));
}

TEST_F(NativeKeys, CtrlAltUpMaximizesAndCtrlAltDownRestores) {
    Hold({ktKeyCtrl, ktKeyAlt});
    log.clear();
    KeyDown(ktKeyDown);
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 40", "page OnKey 40"}));
    log.clear();
    KeyDown(ktKeyUp);
    EXPECT_TRUE(native.maximized);
    EXPECT_EQ(log, (ktEventLog{"page SetSize 1920 1039", "overlay SetSize 1920 1039"}));
    log.clear();
    KeyDown(ktKeyUp);
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 38", "page OnKey 38"}));
    log.clear();
    KeyDown(ktKeyDown);
    EXPECT_FALSE(native.maximized);
    EXPECT_EQ(calls(), (Calls{"Place 0 0 1920 1039", "Place 100 50 1440 900"}));
    EXPECT_EQ(log, (ktEventLog{"page SetSize 1440 900", "overlay SetSize 1440 900"}));
}

} // namespace
