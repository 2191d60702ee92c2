#pragma once

#include "platform/native_message.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// One monitor in screen pixels. The work area is what panels and docks leave; its origin is not kept.
struct ktMonitorArea {
    int32_t x = 0;
    int32_t y = 0;
    uint32_t w = 0;
    uint32_t h = 0;
    uint32_t work_w = 0;
    uint32_t work_h = 0;
};

/// Takes the messages of one window, on the main thread.
class ktMessageHandler {
public:
    virtual ~ktMessageHandler() = default;
    virtual void OnMessage(const ktNativeMessage &message) = 0;
};

/// What the render thread uses of a window; every call comes from that thread.
class ktGlSurface {
public:
    virtual ~ktGlSurface() = default;
    /// Makes a context with the features of GL 3.3 and makes it current. False with nothing left behind.
    virtual bool CreateContext() = 0;
    /// Address of a GL function; null when the driver lacks it.
    virtual void *Resolve(const char *name) = 0;
    /// Frames that a swap waits for; false when the driver has no such control.
    virtual bool SetSwapInterval(int interval) = 0;
    virtual void Swap() = 0;
    virtual void DestroyContext() = 0;
    /// Why CreateContext failed, for any thread once the render thread has ended; empty when unknown.
    virtual std::string Problem() const { return {}; }
};

/// A top-level window without frame and title, hidden at first. Everything but PostClose and the surface
/// belongs to the main thread. The destructor destroys the window; its handler gets `destroyed` then.
class ktPlatformWindow {
public:
    virtual ~ktPlatformWindow() = default;
    virtual ktGlSurface &Surface() = 0;
    virtual void Show() = 0;
    virtual void Minimize() = 0;
    virtual void Move(int32_t x, int32_t y) = 0;
    virtual void Resize(uint32_t w, uint32_t h) = 0;
    virtual void Place(int32_t x, int32_t y, uint32_t w, uint32_t h) = 0;
    /// Where the window is on the screen at this moment, and the size of its client area.
    virtual void Rectangle(int32_t &x, int32_t &y, uint32_t &w, uint32_t &h) = 0;
    /// While set, mouse messages come from everywhere on the screen.
    virtual void Capture(bool wanted) = 0;
    /// Turns client pixels, as a message has them, into screen pixels.
    virtual void ClientToScreen(int32_t &x, int32_t &y) = 0;
    /// Where the pointer is on the screen at this moment, and whether its left button is down.
    virtual void Pointer(int32_t &x, int32_t &y, bool &leftIsDown) = 0;
    /// Queues a close message. Any thread.
    virtual void PostClose() = 0;
};

/// The windows of the system that the process runs on. Everything belongs to the main thread.
class ktWindowSystem {
public:
    virtual ~ktWindowSystem() = default;
    /// Once before anything else; false when there is no display. Safe to call again.
    virtual bool Open() = 0;
    /// Hands what was copied over to the desktop, waiting for one second at most, and lets go of the display.
    /// Safe to call again.
    virtual void Close() = 0;
    /// Null on failure, which the user is told when no pixel format will do, and while another window lives.
    /// `handler` outlives the window.
    virtual std::unique_ptr<ktPlatformWindow> CreateWindow(const char *title, int32_t x, int32_t y,
                                                           uint32_t w, uint32_t h,
                                                           ktMessageHandler &handler) = 0;
    /// The monitors as they are now, in the system's order. False when they cannot be told.
    virtual bool Monitors(std::vector<ktMonitorArea> &monitors) = 0;
    /// Size of the primary screen.
    virtual void ScreenSize(uint32_t &w, uint32_t &h) = 0;
    /// Delivers messages until PostQuit was called. What came before that is still delivered.
    virtual void RunLoop() = 0;
    virtual void PostQuit() = 0;
    /// False when the clipboard cannot be had, or not with a text of this size.
    virtual bool SetClipboardText(const char *text) = 0;
    /// Bytes of the system's narrow text; false when the clipboard cannot be had or holds no text.
    virtual bool GetClipboardText(std::string &text) = 0;
    /// A box that the user has to confirm; a line on standard error where no box can be shown.
    virtual void ShowError(const char *title, const char *text) = 0;
    /// Why Open failed, for a line on standard error; empty when unknown.
    virtual std::string Problem() const = 0;
};

/// The process's own. Lives for the whole process.
ktWindowSystem &SystemWindows();
