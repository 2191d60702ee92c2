#include "gui/native_window.h"

#include <algorithm>
#include <utility>

#include "gui/key_event.h"
#include "gui/monitor_list.h"
#include "gui/renderer.h"
#include "gui/window_set.h"

namespace {

constexpr int32_t titleBand = 40;    // pixels from the top of the client area that move the window
constexpr int32_t resizeCorner = 25; // pixels from the right and the bottom that resize it
constexpr int32_t keyStep = 2;       // pixels that an arrow key moves it
constexpr uint32_t smallestSide = 100;

constexpr uint32_t anyMods = ~uint32_t(0);
constexpr uint32_t heldMods = ktModCtrl | ktModAlt | ktModShift;
constexpr uint32_t ctrlAlt = ktModCtrl | ktModAlt;
constexpr uint32_t ctrlAltShift = ktModCtrl | ktModAlt | ktModShift;

enum class When { always, notMaximized, maximized };

} // namespace

struct ktNativeWindow::Shortcut {
    uint32_t key;
    uint32_t comparedMods;
    uint32_t mods;
    When when;
    void (*run)(ktNativeWindow &window);
};

ktNativeWindow::ktNativeWindow(ktWindowSystem &windowSystem) : system(windowSystem) {}

ktNativeWindow::~ktNativeWindow() { Destroy(); }

bool ktNativeWindow::Create(int32_t x, int32_t y, uint32_t w, uint32_t h) {
    std::unique_ptr<ktPlatformWindow> created = system.CreateWindow("SableDbg", x, y, w, h, *this);
    if (!created) return false;
    {
        ktLockGuard guard(handleGuard);
        handle = std::move(created);
    }
    rect_x = home_x = x;
    rect_y = home_y = y;
    rect_w = home_w = static_cast<int32_t>(w);
    rect_h = home_h = static_cast<int32_t>(h);
    min_w = min_h = smallestSide;
    return true;
}

void ktNativeWindow::Destroy() {
    std::unique_ptr<ktPlatformWindow> gone;
    ktLockGuard guard(handleGuard);
    gone = std::move(handle);
}

void ktNativeWindow::OnMessage(const ktNativeMessage &message) {
    if (message.kind == ktMessageKind::destroyed) {
        system.PostQuit();
        return;
    }
    if (!handle) return; // being created, or on its way out
    switch (message.kind) {
    case ktMessageKind::activated:
    case ktMessageKind::focusLost:
        ClearKeyBytes(); // a key held while the window changes does not stick
        break;
    case ktMessageKind::placed:
        OnPlaced();
        break;
    case ktMessageKind::close:
        OnClose();
        break;
    case ktMessageKind::keyDown:
        OnKeyDown(message);
        break;
    case ktMessageKind::keyUp:
        SetKeyByte(message.key, false);
        break;
    case ktMessageKind::character:
        OnCharacter(message);
        break;
    case ktMessageKind::mouseMove:
    case ktMessageKind::leftDown:
    case ktMessageKind::leftUp:
    case ktMessageKind::rightDown:
    case ktMessageKind::rightUp:
    case ktMessageKind::wheel:
        OnMouse(message);
        break;
    case ktMessageKind::paint: // the render thread draws all the time
    case ktMessageKind::destroyed:
        break;
    }
}

void ktNativeWindow::OnClose() {
    if (renderer) renderer->Stop();
    Destroy();
}

// --- keys

ktKeyEvent ktNativeWindow::EventOf(const ktNativeMessage &message, bool isChar) const {
    ktKeyEvent event;
    event.key = message.key;
    event.is_char = isChar;
    event.scan = message.scan;
    event.repeat = message.repeat;
    event.code = message.key;
    if (ctrl_down) event.mods |= ktModCtrl, event.code |= ktCodeCtrl;
    if (alt_down) event.mods |= ktModAlt, event.code |= ktCodeAlt;
    if (shift_down) event.mods |= ktModShift, event.code |= ktCodeShift;
    if (reserved_key) event.mods |= ktModReserved;
    if (isChar) event.code |= ktCodeChar;
    return event;
}

void ktNativeWindow::OnKeyDown(const ktNativeMessage &message) {
    const ktKeyEvent event = EventOf(message, false);
    SetKeyByte(message.key, true);
    if (!RunShortcut(event) && gui) gui->OnKey(event);
}

void ktNativeWindow::OnCharacter(const ktNativeMessage &message) {
    const ktKeyEvent event = EventOf(message, true);
    // The control characters of Ctrl+P, Q and R have the numbers of Shift, Ctrl and Alt. They count as those
    // keys until the key is released or the focus lost.
    SetKeyByte(message.key, true);
    if (gui) gui->OnKey(event);
}

void ktNativeWindow::SetKeyByte(uint32_t key, bool down) {
    if (key == ktKeyCtrl) ctrl_down = down;
    if (key == ktKeyAlt) alt_down = down;
    if (key == ktKeyShift) shift_down = down;
}

void ktNativeWindow::ClearKeyBytes() { reserved_key = ctrl_down = alt_down = shift_down = false; }

bool ktNativeWindow::RunShortcut(const ktKeyEvent &event) {
    static constexpr Shortcut shortcuts[] = {
        {ktKeyF5, heldMods, ctrlAlt, When::notMaximized, [](ktNativeWindow &window) { window.GoHome(); }},
        {ktKeyUp, heldMods, ctrlAlt, When::notMaximized, [](ktNativeWindow &window) { window.Maximize(); }},
        {ktKeyDown, heldMods, ctrlAlt, When::maximized, [](ktNativeWindow &window) { window.Restore(); }},
        {ktKeyUp, heldMods, ctrlAltShift, When::notMaximized,
         [](ktNativeWindow &window) { window.MoveBy(0, -keyStep); }},
        {ktKeyDown, heldMods, ctrlAltShift, When::notMaximized,
         [](ktNativeWindow &window) { window.MoveBy(0, keyStep); }},
        {ktKeyLeft, heldMods, ctrlAltShift, When::notMaximized,
         [](ktNativeWindow &window) { window.MoveBy(-keyStep, 0); }},
        {ktKeyRight, heldMods, ctrlAltShift, When::notMaximized,
         [](ktNativeWindow &window) { window.MoveBy(keyStep, 0); }},
        {ktKeyF4, anyMods, ktModAlt, When::always, [](ktNativeWindow &window) { window.PostClose(); }},
    };
    const When state = maximized ? When::maximized : When::notMaximized;
    for (const Shortcut &shortcut : shortcuts) {
        if (shortcut.key != event.key || (event.mods & shortcut.comparedMods) != shortcut.mods) continue;
        if (shortcut.when != When::always && shortcut.when != state) continue;
        shortcut.run(*this);
        return true;
    }
    return false;
}

// --- mouse

void ktNativeWindow::OnMouse(const ktNativeMessage &message) {
    mouse_x = message.x;
    mouse_y = message.y;
    if (message.kind == ktMessageKind::mouseMove) return OnMouseMove();
    if (message.kind == ktMessageKind::leftDown) return OnLeftDown();
    if (message.kind == ktMessageKind::leftUp) return OnLeftUp(message);
    if (!gui) return;
    if (message.kind == ktMessageKind::rightDown) gui->OnRightDown(mouse_x, mouse_y);
    if (message.kind == ktMessageKind::rightUp) gui->OnRightUp(mouse_x, mouse_y);
    if (message.kind == ktMessageKind::wheel) gui->OnWheel(message.wheelDown);
}

void ktNativeWindow::OnLeftDown() {
    EndDrag(); // a release that never came must not leave two drags at once
    if (gui && gui->OnLeftDown(mouse_x, mouse_y)) return;
    if (maximized) return;
    if (mouse_y < titleBand)
        StartMove();
    else if (mouse_x >= rect_w - resizeCorner && mouse_y >= rect_h - resizeCorner)
        StartResize();
}

void ktNativeWindow::StartMove() {
    move_start_x = mouse_x;
    move_start_y = mouse_y;
    handle->ClientToScreen(move_start_x, move_start_y);
    drag_x = move_start_x;
    drag_y = move_start_y;
    moving = true;
    move_dx = move_dy = 0;
    handle->Capture(true);
}

void ktNativeWindow::StartResize() {
    resize_start_x = mouse_x;
    resize_start_y = mouse_y;
    handle->ClientToScreen(resize_start_x, resize_start_y);
    drag_x = resize_start_x;
    drag_y = resize_start_y;
    resizing = true;
    resize_dx = resize_dy = 0;
    handle->Capture(true);
    if (renderer) renderer->live_resize = true;
}

void ktNativeWindow::OnMouseMove() {
    if (moving || resizing) {
        // The message's own position is of no use: the window may have moved under it since. Once the button
        // is up the pointer may be anywhere, and the release, which is on its way, ends the drag.
        int32_t screenX = 0;
        int32_t screenY = 0;
        bool leftIsDown = false;
        handle->Pointer(screenX, screenY, leftIsDown);
        if (leftIsDown) DragTo(screenX, screenY);
    }
    if (gui) gui->OnMouseMove(mouse_x, mouse_y);
}

void ktNativeWindow::DragTo(int32_t screenX, int32_t screenY) {
    drag_x = screenX;
    drag_y = screenY;
    if (moving) {
        move_dx = screenX - move_start_x;
        move_dy = screenY - move_start_y;
        handle->Move(rect_x + move_dx, rect_y + move_dy);
    }
    if (resizing) {
        resize_dx = std::max(screenX - resize_start_x, static_cast<int32_t>(min_w) - rect_w);
        resize_dy = std::max(screenY - resize_start_y, static_cast<int32_t>(min_h) - rect_h);
        const int32_t w = rect_w + resize_dx;
        const int32_t h = rect_h + resize_dy;
        handle->Resize(static_cast<uint32_t>(w), static_cast<uint32_t>(h));
        PublishSize(w, h);
    }
}

void ktNativeWindow::EndDrag() {
    if (moving) {
        moving = false;
        handle->Capture(false);
        rect_x += move_dx;
        rect_y += move_dy;
    }
    if (resizing) {
        resizing = false;
        handle->Capture(false);
        rect_w += resize_dx;
        rect_h += resize_dy;
        if (renderer) renderer->live_resize = false;
    }
}

void ktNativeWindow::OnLeftUp(const ktNativeMessage &message) {
    // The moves of the last stretch of a quick drag come when the button is up already.
    const bool isElsewhere = message.screenX != drag_x || message.screenY != drag_y;
    if ((moving || resizing) && isElsewhere) DragTo(message.screenX, message.screenY);
    EndDrag();
    if (gui) gui->OnLeftUp(mouse_x, mouse_y);
}

// --- the rectangle

void ktNativeWindow::MoveBy(int32_t dx, int32_t dy) {
    EndDrag();
    rect_x += dx;
    rect_y += dy;
    handle->Move(rect_x, rect_y);
}

void ktNativeWindow::GoHome() {
    EndDrag(); // it would add its way to the new rectangle
    saved_x = saved_y = saved_w = saved_h = 0;
    SetRectangle(home_x, home_y, home_w, home_h);
}

void ktNativeWindow::Maximize() {
    if (!handle || maximized) return;
    EndDrag();
    uint32_t w = 0;
    uint32_t h = 0;
    int32_t x = 0;
    int32_t y = 0;
    const bool known = monitors && monitors->Enumerate();
    if (const ktMonitorInfo *monitor = known ? monitors->AtColumn(rect_x + rect_w / 2) : nullptr) {
        x = static_cast<int32_t>(monitor->x);
        y = static_cast<int32_t>(monitor->y);
        w = monitor->work_w;
        h = monitor->work_h;
    } else {
        system.ScreenSize(w, h);
    }
    saved_x = rect_x;
    saved_y = rect_y;
    saved_w = rect_w;
    saved_h = rect_h;
    // One pixel short of full, so that the desktop does not take it for a full-screen window.
    SetRectangle(x, y, static_cast<int32_t>(w), std::max(static_cast<int32_t>(h) - 1, 1));
    maximized = true;
}

void ktNativeWindow::Restore() {
    if (!handle || !maximized) return;
    SetRectangle(saved_x, saved_y, saved_w, saved_h);
    maximized = false;
}

void ktNativeWindow::ToggleMaximized() {
    if (maximized)
        Restore();
    else
        Maximize();
}

void ktNativeWindow::Minimize() {
    if (handle) handle->Minimize();
}

void ktNativeWindow::PostClose() {
    ktLockGuard guard(handleGuard);
    if (handle) handle->PostClose();
}

void ktNativeWindow::SetRectangle(int32_t x, int32_t y, int32_t w, int32_t h) {
    rect_x = x;
    rect_y = y;
    rect_w = w;
    rect_h = h;
    handle->Place(x, y, static_cast<uint32_t>(w), static_cast<uint32_t>(h));
    PublishSize(w, h);
}

/// A desktop may move and resize the window by means of its own, and refuse what the window asks for.
void ktNativeWindow::OnPlaced() {
    if (moving || resizing) return; // on its way
    int32_t x = 0;
    int32_t y = 0;
    uint32_t w = 0;
    uint32_t h = 0;
    handle->Rectangle(x, y, w, h);
    if (w == 0 || h == 0) return; // it is gone already
    const bool isResized = rect_w != static_cast<int32_t>(w) || rect_h != static_cast<int32_t>(h);
    rect_x = x;
    rect_y = y;
    rect_w = static_cast<int32_t>(w);
    rect_h = static_cast<int32_t>(h);
    if (isResized) PublishSize(rect_w, rect_h);
}

void ktNativeWindow::PublishSize(int32_t w, int32_t h) {
    const uint32_t newW = static_cast<uint32_t>(w);
    const uint32_t newH = static_cast<uint32_t>(h);
    if (renderer) renderer->requested_size = ktPackSize(newW, newH);
    if (gui) gui->SetSize(newW, newH);
}
