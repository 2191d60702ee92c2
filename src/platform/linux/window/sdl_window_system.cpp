#include "platform/linux/window/clipboard_hand_over.h"
#include "platform/linux/window/sdl_messages.h"
#include "platform/linux/window/sdl_window.h"
#include "platform/linux/window/window_icon.h"
#include "platform/linux/window/x11_connection.h"
#include "platform/linux/window/x11_monitors.h"
#include "platform/window_system.h"

#include <SDL.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// The render thread may take bytes off SDL's connection, so that waiting without a limit could sleep over an
/// event.
constexpr int longestWaitMilliseconds = 10;
constexpr uint32_t handOverMilliseconds = 1000;
constexpr const char *noPixelFormat = "Cannot find a suitable pixel format.";

struct HintRow {
    const char *name;
    const char *value;
};

constexpr HintRow hints[] = {
    {SDL_HINT_VIDEODRIVER, "x11"}, // a window without a frame cannot place itself under Wayland
    {SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0"},
    {SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1"}, // the click that activates the window counts
    {SDL_HINT_MOUSE_AUTO_CAPTURE, "1"},       // else a pointer that left with a button down stays at the edge
    {SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1"},
    {SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0"}, // this is no game
};

class SdlWindowSystem final : public ktWindowSystem {
public:
    bool Open() override {
        if (isOpen) return true;
        if (!connection.Open()) {
            const char *const name = std::getenv("DISPLAY");
            problem = name && *name ? std::string("the display ") + name + " cannot be opened"
                                    : "there is no display: DISPLAY is not set";
            return false;
        }
        for (const HintRow &hint : hints) SDL_SetHintWithPriority(hint.name, hint.value, SDL_HINT_OVERRIDE);
        if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0 || !ReservePostedMessages()) {
            problem = SDL_GetError();
            SDL_Quit();
            connection.Close();
            return false;
        }
        ChooseGlFormat();
        SDL_StartTextInput();
        SDL_EventState(SDL_SYSWMEVENT, SDL_ENABLE);
        problem.clear();
        isOpen = true;
        return true;
    }

    void Close() override {
        if (!isOpen) return;
        HandOver();
        isOpen = false;
        SDL_Quit();
        connection.Close();
    }

    std::unique_ptr<ktPlatformWindow> CreateWindow(const char *title, int32_t x, int32_t y, uint32_t w,
                                                   uint32_t h, ktMessageHandler &handler) override {
        if (!isOpen || target.handler) return nullptr;
        const uint32_t flags = SDL_WINDOW_OPENGL | SDL_WINDOW_BORDERLESS | SDL_WINDOW_HIDDEN;
        SDL_Window *const created =
            SDL_CreateWindow(title, x, y, static_cast<int>(w), static_cast<int>(h), flags);
        if (!created) {
            // The pixel format is chosen here; on an open display nothing else stops a window.
            const std::string reason = SDL_GetError();
            ShowBox("Error", noPixelFormat);
            problem = noPixelFormat + (' ' + reason);
            return nullptr;
        }
        SetWindowIcon(created);
        auto window = std::make_unique<ktSdlWindow>(created, target, handler);
        nativeDisplay = window->NativeDisplay();
        return window;
    }

    bool Monitors(std::vector<ktMonitorArea> &monitors) override {
        size_t primary = 0;
        return ReadMonitors(monitors, primary);
    }

    void ScreenSize(uint32_t &w, uint32_t &h) override {
        std::vector<ktMonitorArea> monitors;
        size_t primary = 0;
        w = h = 0;
        if (!ReadMonitors(monitors, primary)) return;
        w = monitors[primary].w;
        h = monitors[primary].h;
    }

    void RunLoop() override {
        SDL_Event event = {};
        while (isOpen) {
            const bool hasEvent = SDL_WaitEventTimeout(&event, longestWaitMilliseconds) != 0;
            messages.clear();
            AppendOwnMessages();
            if (!hasEvent) {
                if (TakeLostMessage(ktPostedMessage::quit)) break;
                if (TakeLostMessage(ktPostedMessage::close))
                    messages.push_back(MessageOf(ktMessageKind::close));
            } else {
                if (IsPostedQuit(event)) break;
                translator.Translate(event, messages);
            }
            Deliver();
        }
    }

    void PostQuit() override {
        if (isOpen) PostSdlMessage(ktPostedMessage::quit);
    }

    bool SetClipboardText(const char *text) override {
        if (!isOpen || !text) return false;
        // The display would refuse it, and SDL would own a clipboard that is empty.
        if (std::strlen(text) > connection.LargestProperty()) return false;
        if (SDL_SetClipboardText(text) != 0) return false;
        clipboardOwner = nativeDisplay ? ClipboardOwner(nativeDisplay) : 0;
        return true;
    }

    bool GetClipboardText(std::string &text) override {
        text.clear();
        if (!isOpen) return false;
        char *const copied = SDL_GetClipboardText();
        if (copied) text = copied;
        SDL_free(copied);
        return !text.empty();
    }

    void ShowError(const char *title, const char *text) override {
        if (!ShowBox(title, text)) std::fprintf(stderr, "%s: %s\n", title, text);
    }

    std::string Problem() const override { return problem; }

private:
    /// False where nobody could confirm it: without a display, and on one without the fonts for it.
    bool ShowBox(const char *title, const char *text) const {
        return isOpen && SDL_ShowSimpleMessageBox(SDL_MESSAGEBOX_ERROR, title, text, nullptr) == 0;
    }

    static Window ClipboardOwner(Display *display) {
        return XGetSelectionOwner(display, XInternAtom(display, "CLIPBOARD", False));
    }

    /// What SDL does not tell.
    void AppendOwnMessages() {
        if (!target.window) return;
        ktNativeMessage move;
        if (target.window->TakeCapturedMove(move)) messages.push_back(move);
        if (target.window->TakeSettled()) messages.push_back(MessageOf(ktMessageKind::placed));
    }

    void Deliver() {
        for (const ktNativeMessage &message : messages) {
            if (!target.handler) return; // an earlier one destroyed the window
            if (message.kind == ktMessageKind::placed && target.window->IsSettling()) continue;
            target.handler->OnMessage(message);
        }
    }

    /// X11 keeps no copied text: it goes with the process that owns it, unless a manager takes it over.
    void HandOver() {
        if (clipboardOwner == 0 || ClipboardOwner(connection.Get()) != clipboardOwner) return;
        clipboardOwner = 0;
        std::string text;
        if (GetClipboardText(text)) HandClipboardOver(connection, text, handOverMilliseconds);
    }

    bool ReadMonitors(std::vector<ktMonitorArea> &monitors, size_t &primary) {
        monitors.clear();
        primary = 0;
        if (!isOpen) return false;
        if (ReadX11Monitors(connection, monitors, primary)) return true;
        const int count = SDL_GetNumVideoDisplays();
        for (int at = 0; at < count; ++at) {
            SDL_Rect bounds = {};
            if (SDL_GetDisplayBounds(at, &bounds) != 0 || bounds.w <= 0 || bounds.h <= 0) continue;
            ktMonitorArea area;
            area.x = bounds.x;
            area.y = bounds.y;
            area.w = static_cast<uint32_t>(bounds.w);
            area.h = static_cast<uint32_t>(bounds.h);
            monitors.push_back(area);
        }
        ReadX11WorkAreas(connection, monitors);
        return !monitors.empty();
    }

    bool isOpen = false;
    std::string problem;
    ktX11Connection connection;
    ktMessageTarget target;
    ktSdlMessages translator{connection};
    std::vector<ktNativeMessage> messages;
    Display *nativeDisplay = nullptr; // SDL's own, known from the first window on
    Window clipboardOwner = 0;        // when the last copied text was this process's
};

} // namespace

ktWindowSystem &SystemWindows() {
    // Never destroyed: others may need it while the process ends.
    static SdlWindowSystem &instance = *new SdlWindowSystem;
    return instance;
}
