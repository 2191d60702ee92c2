#pragma once

#include "app/app_gui.h"
#include "gui/font.h"
#include "gui/monitor_list.h"
#include "gui/native_window.h"
#include "gui/renderer.h"
#include "gui/window_set.h"
#include "platform/font_file.h"
#include "views/command_window.h"
#include "views/debug_window.h"
#include "views/log_window.h"
#include "views/mem_view_window.h"
#include "views/overlay_window.h"
#include "views/tv_window.h"

#include <memory>
#include <string>
#include <vector>

/// All windows of the debugger: the native window with its renderer, the font, the overlay and the pages.
/// Entry thread, but for SetSession and PostClose.
class ktGui final : public ktAppGui, public ktWindowSet {
public:
    /// The rectangle of the first window, before it is fitted to the primary monitor.
    static constexpr int32_t defaultX = 100;
    static constexpr int32_t defaultY = 100;
    static constexpr uint32_t defaultW = 1440;
    static constexpr uint32_t defaultH = 990;

    explicit ktGui(ktWindowSystem &windowSystem = SystemWindows(),
                   const std::vector<std::string> &fontFiles = MonospacedFontFiles());
    ~ktGui() override;

    bool Start() override;
    bool Link(const ktGuiWiring &wiring) override;
    void RunMessageLoop() override;
    void Stop() override;
    std::string Problem() const override { return problem; }
    /// On the thread that connects or disconnects, which holds the session's view lock when it takes one
    /// away.
    void SetSession(ktSession *session, ktDisasm *disasm) override;
    /// Any thread.
    void PostClose() override;

    std::unique_ptr<ktOverlayWindow> overlay_window;
    std::unique_ptr<ktLogWindow> log_window;
    std::unique_ptr<ktLogWindow> remote_log_window;
    std::unique_ptr<ktCommandWindow> command_window;
    std::unique_ptr<ktDebugWindow> debug_window;
    std::unique_ptr<ktMemViewWindow> mem_view_window;
    std::unique_ptr<ktTvWindow> tv_window;
    std::unique_ptr<ktNativeWindow> native;
    std::unique_ptr<ktRenderer> renderer;
    std::unique_ptr<ktMonitorList> monitors;
    std::unique_ptr<ktFont> font;

private:
    struct Rectangle {
        int32_t x;
        int32_t y;
        uint32_t w;
        uint32_t h;
    };

    Rectangle FittingRectangle();
    bool LoadFont();
    bool CreateWindows(const Rectangle &rectangle);
    bool CreateOverlay(uint32_t w, uint32_t h);
    template <class Window>
    bool CreatePage(std::unique_ptr<Window> &page, uint32_t textVertices);
    bool CreatePages();
    bool PrepareWindow(ktWindow &window, uint32_t textVertices, uint32_t w, uint32_t h);
    void RegisterKeys();
    /// Undoes the start; false. `reason` and `error`, which becomes LastSystemError, are the system's word on
    /// it, if there is one.
    bool FailBecause(const char *sentence, const std::string &reason, uint32_t error = 0);

    ktWindowSystem &system;
    std::vector<std::string> font_files;
    std::string problem;
};
