// The windows on a live target: the real engine library, or one that plays a script.

#include "commands/cmd.h"
#include "session/engine_library.h"
#include "support/engine_fixture.h"
#include "support/gui_app.h"
#include "support/test_engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <future>
#include <string>

namespace {

std::string RowOf(uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof(text), "%016" PRIX64, value);
    return text;
}

/// On the simulated PC, with the debug window on show and its command line in focus.
class GuiLive : public GuiApp {
protected:
    void SetUp() override {
        ASSERT_TRUE(Start());
        ASSERT_TRUE(app.engineLibrary) << "there is no engine library beside this program";
        PressWithAlt('2');
        PressWithAlt(ktKeyGrave);
        Enter("connect sable local");
        ASSERT_TRUE(app.session->connected);
    }
    ktContext Registers() {
        ktSnapshot *snapshot = app.session->publishedSnapshot;
        const ktLockGuard guard(snapshot->lock);
        return snapshot->context;
    }
    std::string ShownIp() { return Gui().debug_window->registers.values[ktRegIp].Copy().data(); }
    std::string CoreText() { return Gui().debug_window->core_label.text.Copy().data(); }
    /// Waits for something that the render thread is to show, for half a minute at most.
    template <typename IsTrue>
    bool Shows(IsTrue &&isTrue) {
        for (int left = 30000; left > 0; --left) {
            if (isTrue()) return true;
            SleepMilliseconds(1);
        }
        return false;
    }
};

TEST_F(GuiLive, AStepIsOnShowTwoFramesAfterItsUpdate) {
    const uint64_t before = Registers().values[ktRegIp];
    for (int step = 0; step < 40; ++step) {
        Press(ktKeyF11);
        app.processor->Worker().WaitUntilIdle();
        WaitForFrames(2); // one may have been begun before the update
        const uint64_t now = Registers().values[ktRegIp];
        EXPECT_EQ(ShownIp(), RowOf(now)) << step;
    }
    EXPECT_NE(Registers().values[ktRegIp], before);
    EXPECT_EQ(CoreText(), "Stopped on core 0");
}

TEST_F(GuiLive, ARunningTargetIsShownAsRunningAndABreakAsStopped) {
    Press(ktKeyF5);
    EXPECT_TRUE(Shows([this] { return CoreText().starts_with("Running on"); })) << CoreText();
    Press(ktKeyF4);
    EXPECT_TRUE(Shows([this] { return CoreText() == "Stopped on core 0"; })) << CoreText();
    EXPECT_TRUE(Shows([this] { return ShownIp() == RowOf(Registers().values[ktRegIp]); }));
}

TEST_F(GuiLive, HotKeysWithAModifierDoNothing) {
    const uint64_t before = Registers().values[ktRegIp];
    for (const uint32_t modifier : {ktKeyShift, ktKeyCtrl, ktKeyAlt}) {
        Press(modifier);
        Press(ktKeyF11);
        Release(modifier);
    }
    app.processor->Worker().WaitUntilIdle();
    EXPECT_EQ(Registers().values[ktRegIp], before);
}

TEST_F(GuiLive, ADisconnectClearsTheViewsWhileFramesAreDrawn) {
    for (int round = 0; round < 10; ++round) {
        Press(ktKeyF11);
        Enter("disconnect");
        EXPECT_TRUE(Shows([this] { return CoreText() == "No cores present"; })) << CoreText();
        Enter("connect sable local");
        EXPECT_TRUE(Shows([this] { return CoreText() == "Stopped on core 0"; })) << CoreText();
    }
}

TEST_F(GuiLive, FramesKeepTheirRateForFiveSecondsOfABusyWorker) {
    const auto framesIn = [this](uint32_t milliseconds) {
        const uint64_t before = desktop.surface.swaps;
        SleepMilliseconds(milliseconds);
        return desktop.surface.swaps - before;
    };
    const uint64_t idle = framesIn(1000);
    Type("t 1000000000");
    Press(ktKeyEnter);
    for (int second = 0; second < 5; ++second) {
        EXPECT_GT(framesIn(1000), idle / 4)
            << second; // the machine is shared with the worker and other tests
    }
    Press(ktKeyEscape);
    EXPECT_TRUE(Shows([this] { return !app.processor->IsBusy(); }));
}

TEST_F(GuiLive, FramesGoOnWhileATraceHoldsTheWorker) {
    Type("t 1000000000");
    Press(ktKeyEnter);
    for (int i = 0; i < 5; ++i) {
        const std::string seen = ShownIp();
        WaitForFrames(50);
        EXPECT_TRUE(app.processor->IsBusy());
        EXPECT_TRUE(Shows([&] { return ShownIp() != seen; }));
    }
    Press(ktKeyEscape); // a trace ends at its next step
    EXPECT_TRUE(Shows([this] { return !app.processor->IsBusy(); }));
}

/// On an engine library that answers when the test lets it.
class GuiHang : public GuiApp {
protected:
    void SetUp() override {
        library.StopTarget();
        ASSERT_TRUE(Start());
        PressWithAlt('2');
        PressWithAlt(ktKeyGrave);
        Enter("connect sable local");
        ASSERT_TRUE(app.session->connected);
    }
    void TearDown() override { app.Shutdown(); } // before the library goes

    ktTestEngineLibrary library;
};

TEST_F(GuiHang, FramesGoOnWhileTheEngineHoldsTheWorker) {
    library->Hold("SbStep");
    Press(ktKeyF11);
    library->WaitUntilHeld("SbStep");
    WaitForFrames(100);
    EXPECT_TRUE(app.processor->IsBusy());
    library->Free("SbStep");
    app.processor->Worker().WaitUntilIdle();
}

TEST_F(GuiHang, FramesGoOnWhileTheEngineHoldsTheEntryThread) {
    library->Hold("SbBreakIn");
    const std::future<void> pressed = std::async(std::launch::async, [this] { Press(ktKeyF4); });
    library->WaitUntilHeld("SbBreakIn");
    WaitForFrames(100);
    EXPECT_EQ(pressed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    library->Free("SbBreakIn");
    pressed.wait();
}

TEST_F(GuiHang, FramesGoOnWhileAnUpdateIsHeldInTheMidstOfItsSnapshot) {
    library->Hold("SbGetContext");
    Press(ktKeyF11);
    library->WaitUntilHeld("SbGetContext");
    WaitForFrames(100);
    library->Free("SbGetContext");
    app.processor->Worker().WaitUntilIdle();
}

} // namespace
