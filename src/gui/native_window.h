#pragma once

#include "gui/relaxed.h"
#include "platform/sync.h"
#include "platform/window_system.h"

#include <cstdint>
#include <memory>

class ktMonitorList;
class ktRenderer;
class ktWindowSet;
struct ktKeyEvent;

/// The one native window: turns its messages into calls on the pages, and moves, resizes and maximises
/// itself, since it has no frame. Main thread, but for `maximized`, which a button reads when it draws.
class ktNativeWindow final : public ktMessageHandler {
public:
    explicit ktNativeWindow(ktWindowSystem &windowSystem);
    ~ktNativeWindow() override;
    ktNativeWindow(const ktNativeWindow &) = delete;
    ktNativeWindow &operator=(const ktNativeWindow &) = delete;

    /// Creates the window, hidden. False when the system refuses it.
    bool Create(int32_t x, int32_t y, uint32_t w, uint32_t h);
    /// Destroys the window, which ends the message loop. Does nothing without one.
    void Destroy();
    void OnMessage(const ktNativeMessage &message) override;

    /// Fills the work area of the monitor under the window's horizontal centre, less one pixel of height, and
    /// remembers the rectangle. Does nothing when maximised.
    void Maximize();
    /// Back to the remembered rectangle. Does nothing unless maximised.
    void Restore();
    void ToggleMaximized();
    void Minimize();
    /// Asks the window to close, without waiting. Any thread.
    void PostClose();

    std::unique_ptr<ktPlatformWindow> handle;
    int32_t home_x = 0; ///< the rectangle at creation
    int32_t home_y = 0;
    int32_t home_h = 0;
    int32_t home_w = 0;
    int32_t mouse_x = 0; ///< of the last mouse message, in client pixels
    int32_t mouse_y = 0;
    int32_t rect_x = 0; ///< the rectangle now; a drag changes it when it ends
    int32_t rect_y = 0;
    int32_t rect_w = 0;
    int32_t rect_h = 0;
    uint32_t min_w = 0;
    uint32_t min_h = 0;
    ktRelaxed<bool> maximized = false;
    int32_t saved_x = 0; ///< the rectangle to restore
    int32_t saved_y = 0;
    int32_t saved_w = 0;
    int32_t saved_h = 0;
    bool moving = false;
    int32_t move_start_x = 0; ///< screen pixels
    int32_t move_start_y = 0;
    int32_t move_dx = 0;
    int32_t move_dy = 0;
    bool resizing = false;
    int32_t resize_start_x = 0; ///< screen pixels
    int32_t resize_start_y = 0;
    int32_t resize_dx = 0;
    int32_t resize_dy = 0;
    int32_t drag_x = 0; ///< screen pixels that the pointer was at last, of either
    int32_t drag_y = 0;
    bool reserved_key = false; ///< nothing sets it
    bool ctrl_down = false;
    bool alt_down = false;
    bool shift_down = false;
    ktWindowSet *gui = nullptr;
    ktMonitorList *monitors = nullptr;
    ktRenderer *renderer = nullptr;

private:
    struct Shortcut;

    void OnMouse(const ktNativeMessage &message);
    void OnClose();
    /// Takes over where the desktop has put the window.
    void OnPlaced();
    void OnKeyDown(const ktNativeMessage &message);
    void OnCharacter(const ktNativeMessage &message);
    void OnLeftDown();
    void OnLeftUp(const ktNativeMessage &message);
    void OnMouseMove();
    ktKeyEvent EventOf(const ktNativeMessage &message, bool isChar) const;
    /// Runs the shortcut that the event names. False when it names none that applies now.
    bool RunShortcut(const ktKeyEvent &event);
    void SetKeyByte(uint32_t key, bool down);
    void ClearKeyBytes();
    void StartMove();
    void StartResize();
    /// Keeps what a drag has done so far, and lets go of the pointer. Does nothing without a drag.
    void EndDrag();
    void DragTo(int32_t screenX, int32_t screenY);
    void MoveBy(int32_t dx, int32_t dy);
    void GoHome();
    /// Gives the window a new rectangle, and its size to the renderer and to all pages.
    void SetRectangle(int32_t x, int32_t y, int32_t w, int32_t h);
    /// Gives a size to the renderer and to all pages.
    void PublishSize(int32_t w, int32_t h);

    ktWindowSystem &system;
    ktCriticalSection handleGuard; ///< held to change `handle`, and to use it on another thread
};
