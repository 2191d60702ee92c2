#pragma once

#include "app/app.h"
#include "app/lines.h"
#include "app/log_lines.h"
#include "commands/cmd_processor.h"
#include "platform/thread.h"
#include "session/session.h"
#include "support/fake_window_system.h"
#include "support/test_font.h"
#include "views/gui.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// The whole application with its windows on a desktop that is not there.
class GuiApp : public testing::Test {
protected:
    GuiApp() { systemOfTest = &desktop; }
    ~GuiApp() override { app.Shutdown(); }

    static std::unique_ptr<ktAppGui> CreateGui() {
        return std::make_unique<ktGui>(*systemOfTest, std::vector<std::string>{TestFontPath()});
    }
    bool Start() { return app.Init(nullptr, nullptr, "", 0) && app.Start(); }
    ktGui &Gui() { return *static_cast<ktGui *>(app.gui.get()); }

    void Press(uint32_t key) { desktop.SendKey(ktMessageKind::keyDown, key); }
    void Release(uint32_t key) { desktop.SendKey(ktMessageKind::keyUp, key); }
    void PressWithAlt(uint32_t key) {
        Press(ktKeyAlt);
        Press(key);
        Release(ktKeyAlt);
    }
    void Type(const char *text) {
        for (; *text; ++text) desktop.SendKey(ktMessageKind::character, static_cast<uint8_t>(*text));
    }
    /// Types a line when the worker is idle (a busy one takes none), and waits for its end.
    void Enter(const char *line) {
        app.processor->Worker().WaitUntilIdle();
        Type(line);
        Press(ktKeyEnter);
        desktop.SendKey(ktMessageKind::character, 13);
        app.processor->Worker().WaitUntilIdle();
    }
    std::vector<std::string> Output() {
        std::vector<std::string> texts;
        ktLines &lines = *app.outputLines;
        lines.LockShared();
        for (uint64_t i = 0; const char *text = lines.GetLine(i); ++i) texts.emplace_back(text);
        lines.UnlockShared();
        return texts;
    }
    /// Waits until `frames` more were swapped.
    void WaitForFrames(uint64_t frames) {
        const uint64_t until = desktop.surface.swaps + frames;
        while (desktop.surface.swaps < until) SleepMilliseconds(1);
    }

    static inline ktFakeWindowSystem *systemOfTest = nullptr;
    ktFakeWindowSystem desktop;
    ktApp app{SystemHost(), CreateGui};
};
