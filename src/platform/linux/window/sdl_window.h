#pragma once

#include "platform/linux/window/sdl_gl_surface.h"
#include "platform/window_system.h"

#include <X11/Xlib.h>

#include <chrono>
#include <cstdint>

class ktSdlWindow;
struct SDL_Window;

/// Where messages go: the handler of the one window while there is one.
struct ktMessageTarget {
    ktMessageHandler *handler = nullptr;
    ktSdlWindow *window = nullptr;
};

/// A borderless SDL window. It is moved and resized without waiting for the window manager's consent, which
/// SDL would do on every call.
class ktSdlWindow final : public ktPlatformWindow {
public:
    /// Takes `created` over, and gives `target` its handler for as long as it lives.
    ktSdlWindow(SDL_Window *created, ktMessageTarget &messageTarget, ktMessageHandler &handler);
    ~ktSdlWindow() override;
    ktSdlWindow(const ktSdlWindow &) = delete;
    ktSdlWindow &operator=(const ktSdlWindow &) = delete;

    ktGlSurface &Surface() override { return surface; }
    void Show() override;
    void Minimize() override;
    void Move(int32_t x, int32_t y) override;
    void Resize(uint32_t w, uint32_t h) override;
    void Place(int32_t x, int32_t y, uint32_t w, uint32_t h) override;
    void Rectangle(int32_t &x, int32_t &y, uint32_t &w, uint32_t &h) override;
    void Capture(bool wanted) override;
    void ClientToScreen(int32_t &x, int32_t &y) override;
    void Pointer(int32_t &x, int32_t &y, bool &leftIsDown) override;
    void PostClose() override;

    /// While the mouse is captured: whether the pointer is elsewhere on the screen than at the last call, and
    /// then its move. SDL passes over a move that leaves the pointer at the same place of the window, as
    /// happens when the window follows the pointer.
    bool TakeCapturedMove(ktNativeMessage &message);
    /// Whether the desktop may still be about to answer a request, so that where the window is says nothing.
    bool IsSettling() const { return isSettling || isCapturing; }
    /// True once after the last of some requests, a while behind it, the mouse not being captured: whatever
    /// the desktop made of them, it has. One that refuses tells nothing that SDL would pass on.
    bool TakeSettled();

    /// SDL's connection, on which requests keep their order with SDL's own.
    Display *NativeDisplay() const { return display; }

private:
    void AllowSize(uint32_t w, uint32_t h);
    void BeginSettling();

    SDL_Window *window;
    ktMessageTarget &target;
    Display *display = nullptr;
    Window handle = 0;
    int32_t capturedX = 0; ///< the pointer at the last TakeCapturedMove
    int32_t capturedY = 0;
    bool isCapturing = false;
    bool isSettling = false;
    std::chrono::steady_clock::time_point askedAt;
    ktSdlGlSurface surface;
};
