#pragma once

#include "platform/window_system.h"
#include "support/silent_gl.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class ktFakeWindowSystem;

/// A window that is a rectangle and a list of the calls it got: "Show", "Minimize", "Move X Y", "Resize W H",
/// "Place X Y W H", "Capture 0" or 1.
class ktFakePlatformWindow final : public ktPlatformWindow {
public:
    ktFakePlatformWindow(ktFakeWindowSystem &newSystem, ktMessageHandler &newHandler)
        : system(newSystem), handler(newHandler) {}
    ~ktFakePlatformWindow() override;

    ktGlSurface &Surface() override;
    void Show() override;
    void Minimize() override { calls.push_back("Minimize"); }
    void Move(int32_t newX, int32_t newY) override {
        x = newX;
        y = newY;
        calls.push_back("Move " + std::to_string(x) + ' ' + std::to_string(y));
    }
    void Resize(uint32_t newW, uint32_t newH) override {
        w = newW;
        h = newH;
        calls.push_back("Resize " + std::to_string(w) + ' ' + std::to_string(h));
    }
    void Place(int32_t newX, int32_t newY, uint32_t newW, uint32_t newH) override {
        x = newX;
        y = newY;
        w = newW;
        h = newH;
        calls.push_back("Place " + std::to_string(x) + ' ' + std::to_string(y) + ' ' + std::to_string(w) +
                        ' ' + std::to_string(h));
    }
    void Rectangle(int32_t &atX, int32_t &atY, uint32_t &wide, uint32_t &high) override {
        atX = x;
        atY = y;
        wide = w;
        high = h;
    }
    void Capture(bool wanted) override {
        captured = wanted;
        calls.push_back(wanted ? "Capture 1" : "Capture 0");
    }
    void ClientToScreen(int32_t &px, int32_t &py) override {
        px += x;
        py += y;
    }
    void Pointer(int32_t &px, int32_t &py, bool &isDown) override {
        px = pointerX;
        py = pointerY;
        isDown = leftIsDown;
    }
    void PostClose() override;

    std::string title;
    int32_t x = 0;
    int32_t y = 0;
    uint32_t w = 0;
    uint32_t h = 0;
    bool captured = false;
    int32_t pointerX = 0; ///< where the pointer is on the screen
    int32_t pointerY = 0;
    bool leftIsDown = false;
    std::vector<std::string> calls;

    ktFakeWindowSystem &system;
    ktMessageHandler &handler;
};

/// A desktop of scripted monitors for one window at a time. Messages wait in a queue until RunLoop delivers
/// them; Send delivers one at once. Main thread, but for Post and the window's PostClose.
class ktFakeWindowSystem final : public ktWindowSystem {
public:
    bool Open() override {
        ++opens;
        return hasDisplay;
    }
    void Close() override { ++closes; }
    std::unique_ptr<ktPlatformWindow> CreateWindow(const char *title, int32_t x, int32_t y, uint32_t w,
                                                   uint32_t h, ktMessageHandler &handler) override {
        if (!createsWindows) return nullptr;
        auto created = std::make_unique<ktFakePlatformWindow>(*this, handler);
        created->title = title;
        created->x = x;
        created->y = y;
        created->w = w;
        created->h = h;
        window = created.get();
        return created;
    }
    bool Monitors(std::vector<ktMonitorArea> &areas) override {
        if (!tellsMonitors) return false;
        areas = monitors;
        return true;
    }
    void ScreenSize(uint32_t &w, uint32_t &h) override {
        w = screenW;
        h = screenH;
    }
    void RunLoop() override {
        std::unique_lock lock(mutex);
        while (true) {
            arrived.wait(lock, [this] { return !queue.empty() || quitPosted; });
            if (queue.empty()) break;
            const ktNativeMessage message = queue.front();
            queue.pop_front();
            lock.unlock();
            Send(message);
            lock.lock();
        }
        quitPosted = false;
    }
    void PostQuit() override {
        const std::lock_guard lock(mutex);
        ++quits;
        quitPosted = true;
        arrived.notify_all();
    }
    bool SetClipboardText(const char *text) override {
        if (!hasClipboard) return false;
        clipboard = text;
        return true;
    }
    bool GetClipboardText(std::string &text) override {
        if (!hasClipboard) return false;
        text = clipboard;
        return true;
    }
    void ShowError(const char *title, const char *text) override { errors.emplace_back(title, text); }
    std::string Problem() const override { return problem; }

    /// Queues a message. Any thread.
    void Post(const ktNativeMessage &message) {
        const std::lock_guard lock(mutex);
        queue.push_back(message);
        arrived.notify_all();
    }
    /// Delivers a message now, when there is a window.
    void Send(const ktNativeMessage &message) {
        if (window) window->handler.OnMessage(message);
    }
    void SendKey(ktMessageKind kind, uint32_t key) {
        ktNativeMessage message;
        message.kind = kind;
        message.key = key;
        message.repeat = 1;
        Send(message);
    }
    void SendMouse(ktMessageKind kind, int16_t x, int16_t y) {
        ktNativeMessage message;
        message.kind = kind;
        message.x = x;
        message.y = y;
        Send(message);
    }
    /// Moves the pointer to a place on the screen, with the message that goes with it.
    void MovePointer(int32_t screenX, int32_t screenY) {
        if (!window) return;
        window->pointerX = screenX;
        window->pointerY = screenY;
        SendMouse(ktMessageKind::mouseMove, static_cast<int16_t>(screenX - window->x),
                  static_cast<int16_t>(screenY - window->y));
    }
    /// Presses or releases the left button where the pointer is.
    void SetLeftButton(bool down) {
        if (!window) return;
        window->leftIsDown = down;
        ktNativeMessage message;
        message.kind = down ? ktMessageKind::leftDown : ktMessageKind::leftUp;
        message.screenX = window->pointerX;
        message.screenY = window->pointerY;
        message.x = static_cast<int16_t>(window->pointerX - window->x);
        message.y = static_cast<int16_t>(window->pointerY - window->y);
        Send(message);
    }

    std::vector<ktMonitorArea> monitors = {{0, 0, 1920, 1080, 1920, 1040}};
    bool tellsMonitors = true;
    bool hasDisplay = true;
    bool createsWindows = true;
    uint32_t screenW = 1920;
    uint32_t screenH = 1080;
    bool hasClipboard = true;
    std::string clipboard;
    std::string problem;
    std::vector<std::pair<std::string, std::string>> errors; ///< title and text of each box
    uint32_t opens = 0;
    uint32_t closes = 0;
    uint32_t quits = 0;
    uint32_t shows = 0;
    std::atomic<uint32_t> closeRequests = 0; ///< closes that the window posted
    ktFakePlatformWindow *window = nullptr;  ///< the living one
    std::function<void()> on_destroy;        ///< called when a window goes
    ktSilentGlSurface surface;               ///< of every window

private:
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<ktNativeMessage> queue;
    bool quitPosted = false;
};

inline ktFakePlatformWindow::~ktFakePlatformWindow() {
    if (system.on_destroy) system.on_destroy();
    system.window = nullptr;
    ktNativeMessage message;
    message.kind = ktMessageKind::destroyed;
    handler.OnMessage(message);
}

inline void ktFakePlatformWindow::Show() {
    ++system.shows;
    calls.push_back("Show");
}

inline ktGlSurface &ktFakePlatformWindow::Surface() { return system.surface; }

inline void ktFakePlatformWindow::PostClose() {
    ktNativeMessage message;
    message.kind = ktMessageKind::close;
    ++system.closeRequests;
    system.Post(message);
}
