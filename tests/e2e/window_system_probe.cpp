// Opens one window through the platform's window system, prints every message that it gets, one a line, and
// does what the lines of standard input say. A second thread draws, as the render thread of the program does.
#include "platform/font_file.h"
#include "platform/window_system.h"

#include <atomic>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <queue>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int moreThanAQueueHolds = 100000;

std::mutex printing;

void Say(const std::string &line) {
    const std::lock_guard guard(printing);
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

std::string Described(const ktNativeMessage &message) {
    const std::string key = " " + std::to_string(message.key);
    const std::string scan =
        " scan " + std::to_string(message.scan) + " repeat " + std::to_string(message.repeat);
    const std::string place = " " + std::to_string(message.x) + " " + std::to_string(message.y);
    switch (message.kind) {
    case ktMessageKind::destroyed:
        return "destroyed";
    case ktMessageKind::activated:
        return "activated";
    case ktMessageKind::focusLost:
        return "focusLost";
    case ktMessageKind::paint:
        return "paint";
    case ktMessageKind::placed:
        return "placed";
    case ktMessageKind::close:
        return "close";
    case ktMessageKind::keyDown:
        return "keyDown" + key + scan;
    case ktMessageKind::keyUp:
        return "keyUp" + key + scan;
    case ktMessageKind::character:
        return "character" + key + scan;
    case ktMessageKind::mouseMove:
        return "mouseMove" + place;
    case ktMessageKind::leftDown:
        return "leftDown" + place;
    case ktMessageKind::leftUp:
        return "leftUp" + place;
    case ktMessageKind::rightDown:
        return "rightDown" + place;
    case ktMessageKind::rightUp:
        return "rightUp" + place;
    case ktMessageKind::wheel:
        return std::string("wheel ") + (message.wheelDown ? "down" : "up") + place;
    }
    return "unknown";
}

/// Fills the window with one colour, frame after frame.
class Painter {
public:
    explicit Painter(ktGlSurface &drawn) : surface(drawn), thread([this] { Run(); }) { started.wait(false); }
    ~Painter() {
        stop = true;
        thread.join();
        Say("gl stopped");
    }

    /// 0xRRGGBB.
    std::atomic<uint32_t> color = 0x204060;
    std::atomic<uint64_t> frames = 0;

private:
    template <class Function>
    bool Find(const char *name, Function &function) {
        function = reinterpret_cast<Function>(surface.Resolve(name));
        return function != nullptr;
    }

    void Run() {
        const bool isReady = surface.CreateContext();
        void (*clearColor)(float, float, float, float) = nullptr;
        void (*clear)(uint32_t) = nullptr;
        void (*enable)(uint32_t) = nullptr;
        void (*lineWidth)(float) = nullptr;
        uint32_t (*error)() = nullptr;
        const unsigned char *(*text)(uint32_t) = nullptr;
        const bool isComplete = isReady && Find("glClearColor", clearColor) && Find("glClear", clear) &&
                                Find("glEnable", enable) && Find("glLineWidth", lineWidth) &&
                                Find("glGetError", error) && Find("glGetString", text);
        if (!isComplete) {
            Say("gl failed");
        } else {
            constexpr uint32_t lineSmooth = 0x0B20;
            constexpr uint32_t version = 0x1F02;
            const bool hasInterval = surface.SetSwapInterval(1);
            enable(lineSmooth);
            lineWidth(1.0f);
            std::ostringstream line;
            line << "gl interval " << hasInterval << " error " << error() << " version "
                 << reinterpret_cast<const char *>(text(version));
            Say(line.str());
        }
        started = true;
        started.notify_one();
        while (isComplete && !stop) {
            constexpr uint32_t colorBuffer = 0x4000;
            const uint32_t wanted = color;
            const auto part = [wanted](int shift) {
                return static_cast<float>(wanted >> shift & 0xFF) / 255.0f;
            };
            clearColor(part(16), part(8), part(0), 0.0f);
            clear(colorBuffer);
            surface.Swap();
            ++frames;
            std::this_thread::sleep_for(std::chrono::milliseconds(5)); // leaves the processor to others
        }
        if (isReady) surface.DestroyContext();
    }

    ktGlSurface &surface;
    std::atomic<bool> started = false;
    std::atomic<bool> stop = false;
    std::thread thread;
};

class Probe final : public ktMessageHandler {
public:
    bool Open(bool draws) {
        window = SystemWindows().CreateWindow("probe", 100, 80, 400, 300, *this);
        if (!window) return false;
        if (draws) painter = std::make_unique<Painter>(window->Surface());
        window->Show();
        return true;
    }

    void OnMessage(const ktNativeMessage &message) override {
        std::string line;
        if (message.kind == ktMessageKind::close && TakeLine(line)) {
            Run(line);
            return;
        }
        Say(Described(message));
        if (message.kind == ktMessageKind::destroyed) SystemWindows().PostQuit();
    }

    /// From the thread that reads standard input: the line is run where the next close message arrives.
    void Post(const std::string &line) {
        const std::lock_guard guard(waiting);
        lines.push(line);
        if (window) window->PostClose();
    }

private:
    bool TakeLine(std::string &line) {
        const std::lock_guard guard(waiting);
        if (lines.empty()) return false;
        line = lines.front();
        lines.pop();
        return true;
    }

    void Run(const std::string &line) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        int32_t a = 0, b = 0;
        uint32_t w = 0, h = 0;
        if (name == "move" && words >> a >> b) {
            window->Move(a, b);
        } else if (name == "resize" && words >> w >> h) {
            window->Resize(w, h);
        } else if (name == "place" && words >> a >> b >> w >> h) {
            window->Place(a, b, w, h);
        } else if (name == "minimize") {
            window->Minimize();
        } else if (name == "capture" && words >> a) {
            window->Capture(a != 0);
        } else if (name == "toscreen" && words >> a >> b) {
            window->ClientToScreen(a, b);
            Say("toscreen " + std::to_string(a) + " " + std::to_string(b));
        } else if (name == "pointer") {
            bool leftIsDown = false;
            window->Pointer(a, b, leftIsDown);
            Say("pointer " + std::to_string(a) + " " + std::to_string(b) + (leftIsDown ? " down" : " up"));
        } else if (name == "monitors") {
            SayMonitors();
        } else if (name == "copy") {
            Copy(line.size() > 5 ? line.substr(5) : "");
        } else if (name == "copybig" && words >> w) {
            Copy(std::string(w, 'x'));
        } else if (name == "paste") {
            std::string text;
            Say(SystemWindows().GetClipboardText(text) ? "paste " + text : "paste failed");
        } else if (name == "color" && words >> std::hex >> w) {
            if (painter) painter->color = w;
        } else if (name == "frames") {
            Say("frames " + std::to_string(painter ? painter->frames.load() : 0));
        } else if (name == "error") {
            SystemWindows().ShowError("Error", "A sentence.");
            Say("error confirmed");
        } else if (name == "fonts") {
            for (const std::string &file : MonospacedFontFiles()) Say("font " + file);
        } else if (name == "flood") {
            for (int i = 0; i < moreThanAQueueHolds; ++i) window->PostClose();
            painter.reset();
            Destroy(); // posts the end of the loop
        } else if (name == "second") {
            Say(SystemWindows().CreateWindow("second", 0, 0, 10, 10, *this) ? "second made"
                                                                            : "second refused");
        } else if (name == "quit") {
            painter.reset();
            window->PostClose(); // finds no window any more
            Destroy();
        } else {
            Say("unknown line: " + line);
            return;
        }
        Say("done " + name);
    }

    void Destroy() {
        std::unique_ptr<ktPlatformWindow> gone;
        {
            const std::lock_guard guard(waiting);
            gone = std::move(window);
        }
    }

    static void Copy(const std::string &text) {
        Say(SystemWindows().SetClipboardText(text.c_str()) ? "copied" : "copy failed");
    }

    static void SayMonitors() {
        std::vector<ktMonitorArea> monitors;
        if (!SystemWindows().Monitors(monitors)) Say("monitors failed");
        for (const ktMonitorArea &m : monitors) {
            char line[128];
            std::snprintf(line, sizeof line, "monitor %d %d %u %u work %u %u", m.x, m.y, m.w, m.h, m.work_w,
                          m.work_h);
            Say(line);
        }
        uint32_t w = 0;
        uint32_t h = 0;
        SystemWindows().ScreenSize(w, h);
        Say("screen " + std::to_string(w) + " " + std::to_string(h));
    }

    std::unique_ptr<ktPlatformWindow> window;
    std::unique_ptr<Painter> painter;
    std::mutex waiting;
    std::queue<std::string> lines;
};

} // namespace

int main(int count, char **) {
    if (!SystemWindows().Open()) {
        Say("problem " + SystemWindows().Problem());
        return 1;
    }
    int result = 0;
    Probe probe; // any argument: without drawing
    if (probe.Open(count == 1)) {
        Say("ready");
        std::thread reader([&probe] {
            std::string line;
            while (std::getline(std::cin, line)) probe.Post(line);
        });
        SystemWindows().RunLoop();
        Say("loop ended");
        reader.join();
    } else {
        Say("no window: " + SystemWindows().Problem());
        result = 2;
    }
    SystemWindows().Close();
    SystemWindows().Close();
    Say("closed");
    return result;
}
