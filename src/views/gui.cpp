#include "views/gui.h"

#include "gui/clipboard.h"
#include "gui/key_event.h"
#include "platform/clock.h"
#include "platform/host.h"

namespace {

constexpr uint32_t tvTextVertices = 1000; ///< that page draws no text

/// The default extent, cut to what is left of the monitor behind `position`, which then moves half way back.
void FitToMonitor(uint32_t monitorExtent, int32_t &position, uint32_t &extent) {
    if (static_cast<uint32_t>(position) + extent <= monitorExtent) return;
    const auto left = static_cast<uint32_t>(position);
    extent = monitorExtent > left ? monitorExtent - left : monitorExtent;
    position /= 2;
}

} // namespace

ktGui::ktGui(ktWindowSystem &windowSystem, const std::vector<std::string> &fontFiles)
    : system(windowSystem), font_files(fontFiles) {}

ktGui::~ktGui() { Stop(); }

bool ktGui::Start() {
    if (!system.Open()) {
        return FailBecause("no window can be opened", system.Problem());
    }
    SetClipboardSystem(&system);
    monitors = std::make_unique<ktMonitorList>(system);
    return CreateWindows(FittingRectangle());
}

ktGui::Rectangle ktGui::FittingRectangle() {
    Rectangle rectangle = {defaultX, defaultY, defaultW, defaultH};
    const ktMonitorInfo *primary = monitors->Enumerate() ? monitors->Primary() : nullptr;
    if (!primary) return rectangle;
    FitToMonitor(primary->w, rectangle.x, rectangle.w);
    FitToMonitor(primary->h, rectangle.y, rectangle.h);
    return rectangle;
}

bool ktGui::CreateWindows(const Rectangle &rectangle) {
    native = std::make_unique<ktNativeWindow>(system);
    if (!native->Create(rectangle.x, rectangle.y, rectangle.w, rectangle.h)) {
        return FailBecause("the window cannot be created", system.Problem());
    }
    renderer = std::make_unique<ktRenderer>(native->handle->Surface(), SystemClock());
    if (!LoadFont())
        return FailBecause(
            "no monospaced font can be loaded (fonts-mononoki or fonts-dejavu-core is missing)", {});
    renderer->fonts.push_back(font.get());
    if (!CreateOverlay(rectangle.w, rectangle.h))
        return FailBecause("memory is exhausted", {}, LastSystemError());
    renderer->gui = this;
    native->gui = this;
    native->renderer = renderer.get();
    native->monitors = monitors.get();
    if (!CreatePages()) return FailBecause("memory is exhausted", {}, LastSystemError());
    RegisterKeys();
    Show(*command_window);
    renderer->requested_size = ktPackSize(rectangle.w, rectangle.h);
    if (!renderer->Start())
        return FailBecause("the graphics driver gives no OpenGL 3.3", renderer->Problem(), LastSystemError());
    native->handle->Show();
    return true;
}

bool ktGui::LoadFont() {
    for (const std::string &file : font_files) {
        font = std::make_unique<ktFont>();
        font->name = file.substr(file.find_last_of("/\\") + 1);
        font->path = file;
        if (font->Load()) return true;
    }
    font.reset();
    return false;
}

bool ktGui::PrepareWindow(ktWindow &window, uint32_t textVertices, uint32_t w, uint32_t h) {
    if (!window.draw_list.Reserve(textVertices)) return false;
    renderer->draw_lists.push_back(&window.draw_list);
    window.x = 0;
    window.y = 0;
    window.SetFont(font.get());
    window.SetSize(w, h);
    return true;
}

bool ktGui::CreateOverlay(uint32_t w, uint32_t h) {
    overlay_window = std::make_unique<ktOverlayWindow>();
    overlay_window->SetNative(native.get());
    overlay_window->SetRenderer(renderer.get());
    overlay = overlay_window.get();
    return PrepareWindow(*overlay_window, ktTextVertices, w, h);
}

template <class Window>
bool ktGui::CreatePage(std::unique_ptr<Window> &page, uint32_t textVertices) {
    page = std::make_unique<Window>();
    return PrepareWindow(*page, textVertices, overlay->w, overlay->h) && AddWindow(*page);
}

bool ktGui::CreatePages() {
    return CreatePage(log_window, ktTextVertices) && CreatePage(remote_log_window, ktTextVertices) &&
           CreatePage(command_window, ktTextVertices) && CreatePage(debug_window, ktTextVertices) &&
           CreatePage(mem_view_window, ktTextVertices) && CreatePage(tv_window, tvTextVertices);
}

void ktGui::RegisterKeys() {
    ktWindow *const pages[] = {command_window.get(), debug_window.get(),      mem_view_window.get(),
                               log_window.get(),     remote_log_window.get(), tv_window.get()};
    uint64_t key = '1';
    for (ktWindow *page : pages) show_keys[ktCodeAlt | key++] = page;
    for (const uint64_t hotKey : {ktKeyF11, ktKeyF4, ktKeyF5}) hot_keys[hotKey] = debug_window.get();
}

bool ktGui::FailBecause(const char *sentence, const std::string &reason, uint32_t error) {
    problem = sentence;
    if (!reason.empty()) problem += ": " + reason;
    Stop();
    SetLastSystemError(error);
    return false;
}

bool ktGui::Link(const ktGuiWiring &wiring) {
    bool all = true;
    const auto linkLog = [&all](ktLogWindow *window, ktLines *lines, const char *title) {
        all = all && window;
        if (window) window->SetLines(lines, title);
    };
    all = command_window && debug_window;
    if (command_window) command_window->SetProcessor(wiring.processor);
    if (debug_window) debug_window->SetProcessor(wiring.processor);
    if (command_window) command_window->SetLines(wiring.outputLines);
    linkLog(log_window.get(), wiring.logLines, "Log window");
    linkLog(remote_log_window.get(), wiring.remoteLines, "Remote log window");
    if (debug_window) debug_window->SetSession(wiring.session, nullptr);
    all = all && mem_view_window;
    if (mem_view_window) mem_view_window->SetSession(wiring.session);
    return all;
}

void ktGui::RunMessageLoop() { system.RunLoop(); }

void ktGui::SetSession(ktSession *session, ktDisasm *disasm) {
    if (debug_window) debug_window->SetSession(session, disasm);
    if (mem_view_window) mem_view_window->SetConnected(session != nullptr);
}

void ktGui::PostClose() {
    if (native) native->PostClose();
}

void ktGui::Stop() {
    if (renderer) {
        renderer->Stop();
        renderer->Free();
    }
    ClearWindows();
    show_keys.clear();
    hot_keys.clear();
    overlay = nullptr;
    tv_window.reset();
    mem_view_window.reset();
    debug_window.reset();
    log_window.reset();
    remote_log_window.reset();
    command_window.reset();
    overlay_window.reset();
    if (native) native->Destroy();
    renderer.reset();
    native.reset();
    monitors.reset();
    font.reset();
    SetClipboardSystem(nullptr);
    system.Close();
}
