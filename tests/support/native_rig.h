#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "gui/monitor_list.h"
#include "gui/native_window.h"
#include "gui/renderer.h"
#include "support/fake_clock.h"
#include "support/fake_window_system.h"
#include "support/recording_window.h"

/// A native window of 1440 by 900 at (100, 50) with an idle renderer, on a desktop of one monitor.
class ktNativeRig : public testing::Test {
protected:
    ktNativeRig() : native(system), monitors(system), renderer(system.surface, clock) {
        native.Create(100, 50, 1440, 900);
        native.monitors = &monitors;
        native.renderer = &renderer;
        native.gui = &set;
        calls().clear();
    }

    /// Of the platform's window.
    std::vector<std::string> &calls() { return system.window->calls; }
    void KeyDown(uint32_t key) { system.SendKey(ktMessageKind::keyDown, key); }
    void KeyUp(uint32_t key) { system.SendKey(ktMessageKind::keyUp, key); }
    void Character(uint32_t character) { system.SendKey(ktMessageKind::character, character); }
    void Hold(std::initializer_list<uint32_t> keys) {
        for (const uint32_t key : keys) KeyDown(key);
    }
    void Notice(ktMessageKind kind) {
        ktNativeMessage message;
        message.kind = kind;
        system.Send(message);
    }
    /// Presses the left button at a point of the client area.
    void PressAt(int32_t x, int32_t y) {
        system.window->pointerX = system.window->x + x;
        system.window->pointerY = system.window->y + y;
        system.SetLeftButton(true);
    }
    void DragBy(int32_t dx, int32_t dy) {
        system.MovePointer(system.window->pointerX + dx, system.window->pointerY + dy);
    }
    void ReleaseButton() { system.SetLeftButton(false); }
    void ExpectRectangle(int32_t x, int32_t y, int32_t w, int32_t h) const {
        EXPECT_EQ(native.rect_x, x);
        EXPECT_EQ(native.rect_y, y);
        EXPECT_EQ(native.rect_w, w);
        EXPECT_EQ(native.rect_h, h);
    }

    ktFakeWindowSystem system;
    ktFakeClock clock;
    ktPlainWindowSet set;
    ktNativeWindow native;
    ktMonitorList monitors;
    ktRenderer renderer;
};

/// The same with an overlay and one page, which write down what reaches them.
class ktNativePageRig : public ktNativeRig {
protected:
    ktNativePageRig() : overlay(log, "overlay"), page(log, "page") {
        set.overlay = &overlay;
        set.AddWindow(page);
        set.Show(page);
        page.SetSize(1440, 900);
        log.clear();
    }

    ktEventLog log;
    ktRecordingWindow overlay;
    ktRecordingWindow page;
};
