#include "platform/linux/window/sdl_window.h"

#include "platform/linux/window/sdl_messages.h"
#include "platform/linux/window/x11_connection.h"

#include <SDL_mouse.h>
#include <SDL_syswm.h>
#include <SDL_video.h>
#include <X11/Xutil.h>

#include <algorithm>

namespace {

constexpr std::chrono::milliseconds settlingTime(200); // of a desktop that is slow to answer
constexpr uint32_t largestSide = 16384; // what graphics drivers draw; the display itself takes twice as much

uint32_t SideOf(uint32_t wanted) { return std::clamp(wanted, uint32_t(1), largestSide); }

} // namespace

ktSdlWindow::ktSdlWindow(SDL_Window *created, ktMessageTarget &messageTarget, ktMessageHandler &handler)
    : window(created), target(messageTarget), surface(created) {
    SDL_SysWMinfo native = {};
    SDL_VERSION(&native.version);
    if (SDL_GetWindowWMInfo(window, &native) && native.subsystem == SDL_SYSWM_X11) {
        display = native.info.x11.display;
        handle = native.info.x11.window;
    }
    target.handler = &handler;
    target.window = this;
}

ktSdlWindow::~ktSdlWindow() {
    SDL_DestroyWindow(window);
    ktMessageHandler *const handler = target.handler;
    target = {};
    ktNativeMessage message;
    message.kind = ktMessageKind::destroyed;
    handler->OnMessage(message);
}

void ktSdlWindow::Show() {
    SDL_ShowWindow(window);
    SDL_RaiseWindow(window);
}

void ktSdlWindow::Minimize() { SDL_MinimizeWindow(window); }

void ktSdlWindow::Move(int32_t x, int32_t y) {
    XMoveWindow(display, handle, x, y);
    BeginSettling();
}

void ktSdlWindow::Resize(uint32_t w, uint32_t h) {
    AllowSize(w, h);
    XResizeWindow(display, handle, SideOf(w), SideOf(h));
    BeginSettling();
}

void ktSdlWindow::Place(int32_t x, int32_t y, uint32_t w, uint32_t h) {
    AllowSize(w, h);
    XMoveResizeWindow(display, handle, x, y, SideOf(w), SideOf(h));
    BeginSettling();
}

void ktSdlWindow::BeginSettling() {
    XFlush(display);
    isSettling = true;
    askedAt = std::chrono::steady_clock::now();
}

bool ktSdlWindow::TakeSettled() {
    if (!isSettling || isCapturing || std::chrono::steady_clock::now() - askedAt < settlingTime) return false;
    isSettling = false;
    return true;
}

void ktSdlWindow::Rectangle(int32_t &x, int32_t &y, uint32_t &w, uint32_t &h) {
    x = y = 0;
    w = h = 0;
    Window root = 0;
    int parentX = 0;
    int parentY = 0;
    unsigned border = 0;
    unsigned depth = 0;
    XGetGeometry(display, handle, &root, &parentX, &parentY, &w, &h, &border, &depth);
    ClientToScreen(x, y);
}

void ktSdlWindow::Capture(bool wanted) {
    SDL_CaptureMouse(wanted ? SDL_TRUE : SDL_FALSE);
    bool leftIsDown = false;
    if (wanted) Pointer(capturedX, capturedY, leftIsDown);
    if (isCapturing && !wanted) BeginSettling(); // the desktop may have placed the window meanwhile
    isCapturing = wanted;
}

bool ktSdlWindow::TakeCapturedMove(ktNativeMessage &message) {
    if (!isCapturing) return false;
    int32_t x = 0;
    int32_t y = 0;
    bool leftIsDown = false;
    Pointer(x, y, leftIsDown);
    if (x == capturedX && y == capturedY) return false;
    capturedX = x;
    capturedY = y;
    int32_t originX = 0;
    int32_t originY = 0;
    ClientToScreen(originX, originY);
    message = MouseMessageOf(ktMessageKind::mouseMove, x - originX, y - originY);
    return true;
}

void ktSdlWindow::ClientToScreen(int32_t &x, int32_t &y) {
    const Window root = DefaultRootWindow(display);
    Window child = 0;
    int screenX = x;
    int screenY = y;
    if (!XTranslateCoordinates(display, handle, root, x, y, &screenX, &screenY, &child)) return;
    x = screenX;
    y = screenY;
}

void ktSdlWindow::Pointer(int32_t &x, int32_t &y, bool &leftIsDown) {
    // Asked of the display itself: SDL answers with what its last event said.
    ReadX11Pointer(display, x, y, leftIsDown);
}

void ktSdlWindow::PostClose() { PostSdlMessage(ktPostedMessage::close); }

/// A window that the user must not resize by the desktop's means tells its size as the only one allowed, and
/// some window managers hold the program to it as well.
void ktSdlWindow::AllowSize(uint32_t w, uint32_t h) {
    XSizeHints hints = {};
    long supplied = 0;
    XGetWMNormalHints(display, handle, &hints, &supplied);
    hints.flags |= PMinSize | PMaxSize;
    hints.min_width = hints.max_width = static_cast<int>(SideOf(w));
    hints.min_height = hints.max_height = static_cast<int>(SideOf(h));
    XSetWMNormalHints(display, handle, &hints);
}
