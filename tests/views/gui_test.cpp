#include "views/gui.h"

#include "app/circular_lines.h"
#include "app/log_lines.h"
#include "gui/clipboard.h"
#include "gui/draw_batch.h"
#include "support/allocation_count.h"
#include "support/gui_app.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <list>
#include <string>
#include <vector>

namespace {

TEST_F(GuiApp, OpensAHiddenWindowThenShowsItWhenTheRenderThreadStands) {
    ASSERT_TRUE(Start());
    ASSERT_NE(desktop.window, nullptr);
    EXPECT_EQ(desktop.window->title, "SableDbg");
    EXPECT_EQ(desktop.window->calls, std::vector<std::string>{"Show"});
    EXPECT_TRUE(desktop.errors.empty());
    WaitForFrames(2);
}

/// Where the first window is placed.
class GuiRectangle : public GuiApp {
protected:
    using Numbers = std::vector<int32_t>;
    Numbers Placed() {
        EXPECT_TRUE(Start());
        const ktNativeWindow &native = *Gui().native;
        return {native.rect_x, native.rect_y, native.rect_w, native.rect_h};
    }
};

TEST_F(GuiRectangle, TheDefaultOneIsUsedWhereItFits) {
    desktop.monitors = {{0, 0, 2560, 1440, 2560, 1440}};
    EXPECT_EQ(Placed(), (Numbers{100, 100, 1440, 990}));
}

TEST_F(GuiRectangle, EachSideIsCutByItself) {
    EXPECT_EQ(Placed(), (Numbers{100, 50, 1440, 980})); // 100 + 990 pixels are more than 1080
}

TEST_F(GuiRectangle, AScreenSmallerThanTheDefaultOneCutsItAndHalvesThePosition) {
    desktop.monitors = {{0, 0, 1280, 800, 1280, 800}};
    EXPECT_EQ(Placed(), (Numbers{50, 50, 1180, 700}));
}

TEST_F(GuiRectangle, AScreenThatEndsWithTheDefaultOneLeavesItAlone) {
    desktop.monitors = {{0, 0, 1540, 1090, 1540, 1090}};
    EXPECT_EQ(Placed(), (Numbers{100, 100, 1440, 990}));
}

TEST_F(GuiRectangle, AScreenOnePixelSmallerCutsIt) {
    desktop.monitors = {{0, 0, 1539, 1089, 1539, 1089}};
    EXPECT_EQ(Placed(), (Numbers{50, 50, 1439, 989}));
}

TEST_F(GuiRectangle, AScreenThatEndsBeforeTheDefaultPlaceIsFilled) {
    desktop.monitors = {{0, 0, 90, 80, 90, 80}};
    EXPECT_EQ(Placed(), (Numbers{50, 50, 90, 80}));
}

TEST_F(GuiRectangle, WithoutAPrimaryMonitorTheDefaultOneStands) {
    desktop.monitors = {{10, 10, 640, 480, 640, 480}};
    EXPECT_EQ(Placed(), (Numbers{100, 100, 1440, 990}));
}

TEST_F(GuiRectangle, WithoutAnEnumerationTheDefaultOneStands) {
    desktop.tellsMonitors = false;
    EXPECT_EQ(Placed(), (Numbers{100, 100, 1440, 990}));
}

TEST_F(GuiApp, PagesAreMadeInOrderAndTheCommandWindowIsOnShow) {
    ASSERT_TRUE(Start());
    ktGui &gui = Gui();
    const std::vector<ktWindow *> order = {gui.log_window.get(),      gui.remote_log_window.get(),
                                           gui.command_window.get(),  gui.debug_window.get(),
                                           gui.mem_view_window.get(), gui.tv_window.get()};
    EXPECT_EQ(gui.windows, order);
    for (uint32_t i = 0; i < order.size(); ++i) EXPECT_EQ(order[i]->index, i);
    ASSERT_EQ(gui.VisibleCount(), 1u);
    EXPECT_EQ(gui.Visible(0), gui.command_window.get());
    EXPECT_EQ(gui.overlay, gui.overlay_window.get());
    EXPECT_EQ(gui.renderer->draw_lists.size(), 7u);
    EXPECT_EQ(gui.tv_window->draw_list.text.vertex_max, 1000u);
    EXPECT_EQ(gui.debug_window->draw_list.text.vertex_max, 200000u);
    EXPECT_EQ(gui.debug_window->draw_list.triangles.vertex_max, 1000u);
    for (ktWindow *window : order) {
        EXPECT_EQ(window->w, gui.overlay->w);
        EXPECT_EQ(window->font, gui.font.get());
    }
}

TEST_F(GuiApp, WindowsGetWhatTheyShowAndDrive) {
    ASSERT_TRUE(Start());
    ktGui &gui = Gui();
    EXPECT_EQ(gui.command_window->input.processor, app.processor.get());
    EXPECT_EQ(gui.debug_window->processor, app.processor.get());
    EXPECT_EQ(gui.debug_window->input.processor, app.processor.get());
    EXPECT_EQ(gui.command_window->view.lines, app.outputLines.get());
    EXPECT_EQ(gui.log_window->view.lines, app.logLines.get());
    EXPECT_EQ(gui.remote_log_window->view.lines, app.remoteLines.get());
    EXPECT_EQ(std::string(gui.log_window->title.text.Copy().data()), "Log window");
    EXPECT_EQ(std::string(gui.remote_log_window->title.text.Copy().data()), "Remote log window");
    EXPECT_EQ(std::string(gui.command_window->title.text.Copy().data()), "Command window");
    EXPECT_EQ(gui.debug_window->session, app.session.get());
    EXPECT_EQ(gui.mem_view_window->view.session, app.session.get());
    EXPECT_EQ(app.session->memViewRequests,
              (std::list<ktMemViewRequest *>{&gui.mem_view_window->view.request}));
    for (const ktLinesPage *page : std::initializer_list<const ktLinesPage *>{
             gui.command_window.get(), gui.log_window.get(), gui.remote_log_window.get()}) {
        EXPECT_EQ(page->clear.target, page->view.lines.Get());
        EXPECT_EQ(page->copy.target, page->view.lines.Get());
    }
    EXPECT_EQ(gui.overlay_window->fps_label.renderer, gui.renderer.get());
}

TEST_F(GuiApp, EachPageKeepsItsOwnFocusAndTabLeavesIt) {
    ASSERT_TRUE(Start());
    ktGui &gui = Gui();
    PressWithAlt(ktKeyGrave);
    PressWithAlt('2');
    EXPECT_EQ(gui.debug_window->focus, nullptr);
    PressWithAlt(ktKeyGrave);
    PressWithAlt('1');
    Enter("help");
    EXPECT_EQ(Output().size(), 4u);
    Press(ktKeyTab);
    EXPECT_EQ(gui.command_window->focus, &gui.command_window->input);
    EXPECT_EQ(gui.debug_window->focus, &gui.debug_window->input);
}

TEST_F(GuiApp, AComponentInTheCornerTakesThePressThatWouldResize) {
    ASSERT_TRUE(Start());
    ktCommandInput &input = Gui().command_window->input;
    const int32_t right = Gui().native->rect_w - 10;
    const int32_t bottom = Gui().native->rect_h;
    ASSERT_GT(static_cast<int32_t>(input.y + input.h), bottom - 25);
    desktop.SendMouse(ktMessageKind::leftDown, static_cast<int16_t>(right),
                      static_cast<int16_t>(input.y + input.h - 1));
    EXPECT_FALSE(Gui().native->resizing);
    EXPECT_EQ(Gui().command_window->focus, &input);
    desktop.SendMouse(ktMessageKind::leftDown, static_cast<int16_t>(right),
                      static_cast<int16_t>(bottom - 10));
    EXPECT_TRUE(Gui().native->resizing);
}

TEST_F(GuiApp, OnThePageAtStartTypingDoesNothingUntilTheInputHasTheFocus) {
    ASSERT_TRUE(Start());
    Enter("help");
    EXPECT_TRUE(Output().empty());
    PressWithAlt(ktKeyGrave);
    Enter("help");
    EXPECT_EQ(Output().size(), 4u);
}

TEST_F(GuiApp, AltWithADigitShowsAPage) {
    ASSERT_TRUE(Start());
    ktGui &gui = Gui();
    ktWindow *const pages[] = {gui.command_window.get(),    gui.debug_window.get(),
                               gui.mem_view_window.get(),   gui.log_window.get(),
                               gui.remote_log_window.get(), gui.tv_window.get()};
    for (uint32_t digit = 6; digit >= 1; --digit) {
        PressWithAlt('0' + digit);
        EXPECT_EQ(gui.Visible(0), pages[digit - 1]) << digit;
        EXPECT_EQ(gui.VisibleCount(), 1u);
        WaitForFrames(1);
    }
}

TEST_F(GuiApp, HotKeysReachTheDebugWindowFromEveryPage) {
    ASSERT_TRUE(Start());
    PressWithAlt(ktKeyGrave);
    Enter("connect static local");
    PressWithAlt('4');
    Press(ktKeyF5);
    ASSERT_FALSE(app.processor->History().empty());
    EXPECT_STREQ(app.processor->History().back(), "g");
    EXPECT_EQ(Gui().hot_keys.size(), 3u);
    for (const uint64_t key : {122, 115, 116}) {
        ASSERT_TRUE(Gui().hot_keys.contains(key)) << key;
        EXPECT_EQ(Gui().hot_keys[key], Gui().debug_window.get());
    }
}

TEST_F(GuiApp, QuitClosesTheWindowAndEndsTheLoop) {
    ASSERT_TRUE(Start());
    PressWithAlt(ktKeyGrave);
    Type("q");
    Press(ktKeyEnter);
    app.gui->RunMessageLoop();
    EXPECT_EQ(desktop.window, nullptr);
    EXPECT_EQ(desktop.quits, 1u);
    EXPECT_FALSE(Gui().renderer->thread.IsStarted());
    app.Shutdown();
    app.Shutdown();
}

TEST_F(GuiApp, AltF4ClosesTheWindow) {
    ASSERT_TRUE(Start());
    Press(ktKeyAlt);
    Press(ktKeyF4);
    app.gui->RunMessageLoop();
    EXPECT_EQ(desktop.window, nullptr);
}

TEST_F(GuiApp, SessionsReachTheDebugWindowWhileFramesGoOn) {
    ASSERT_TRUE(Start());
    PressWithAlt('2');
    PressWithAlt(ktKeyGrave);
    for (int round = 0; round < 20; ++round) {
        Enter("connect static local");
        EXPECT_TRUE(app.session->connected);
        EXPECT_EQ(Gui().debug_window->code.disasm, app.session->disasm.get());
        Enter("disconnect");
        EXPECT_FALSE(app.session->connected);
        EXPECT_EQ(Gui().debug_window->code.disasm, nullptr);
    }
    WaitForFrames(3);
}

TEST_F(GuiApp, ASizeReachesTheRendererAndEveryPage) {
    ASSERT_TRUE(Start());
    Press(ktKeyCtrl);
    Press(ktKeyAlt);
    Press(ktKeyUp);
    EXPECT_TRUE(Gui().native->maximized);
    EXPECT_EQ(Gui().renderer->requested_size, ktPackSize(1920, 1039)); // one pixel short of the work area
    for (ktWindow *window : Gui().windows) {
        EXPECT_EQ(window->w, 1920u);
        EXPECT_EQ(window->h, 1039u);
    }
    EXPECT_EQ(Gui().overlay->h, 1039u);
}

TEST_F(GuiApp, FramesGoOnWhileACommandHoldsTheWorker) {
    ASSERT_TRUE(Start());
    PressWithAlt(ktKeyGrave);
    Type("connect static nosuch"); // tries again and again until it is cancelled
    Press(ktKeyEnter);
    EXPECT_TRUE(app.processor->IsBusy());
    WaitForFrames(10);
    EXPECT_TRUE(app.processor->IsBusy());
    Press(ktKeyEscape);
    app.processor->Worker().WaitUntilIdle();
    EXPECT_FALSE(app.processor->IsBusy());
}

TEST_F(GuiApp, WithoutADisplayTheStartFailsWithASentence) {
    desktop.hasDisplay = false;
    desktop.problem = "no display";
    EXPECT_FALSE(Start());
    EXPECT_NE(app.gui->Problem().find("no display"), std::string::npos);
    EXPECT_EQ(desktop.window, nullptr);
}

TEST_F(GuiApp, WithoutAWindowTheStartFails) {
    desktop.createsWindows = false;
    EXPECT_FALSE(Start());
    EXPECT_FALSE(app.gui->Problem().empty());
    app.Shutdown();
}

TEST_F(GuiApp, WithoutAContextTheStartFailsAndTheWindowGoes) {
    desktop.surface.hasContext = false;
    desktop.surface.systemError = 12;
    desktop.surface.problem = "no visual";
    EXPECT_FALSE(Start());
    EXPECT_EQ(app.gui->Problem(), "the graphics driver gives no OpenGL 3.3: no visual");
    EXPECT_EQ(app.lastError, 12u);
    EXPECT_EQ(desktop.shows, 0u);
    EXPECT_TRUE(desktop.errors.empty());
    EXPECT_EQ(desktop.window, nullptr);
}

TEST(GuiFont, AMissingFaceFailsTheStart) {
    ktFakeWindowSystem desktop;
    ktGui gui(desktop, {"/nosuch/face.ttf"});
    EXPECT_FALSE(gui.Start());
    EXPECT_NE(gui.Problem().find("font"), std::string::npos);
    EXPECT_EQ(desktop.window, nullptr);
}

TEST(GuiFont, TheNextFaceServesWhereTheFirstOneIsMissing) {
    ktFakeWindowSystem desktop;
    ktGui gui(desktop, {"/nosuch/face.ttf", TestFontPath()});
    ASSERT_TRUE(gui.Start());
    EXPECT_EQ(gui.font->path, TestFontPath());
    EXPECT_EQ(gui.font->pixel_width, 16u);
    gui.Stop();
}

TEST(GuiLifetime, FiftyStartsAndStopsLeaveNothingBehind) {
    for (int round = 0; round < 50; ++round) {
        ktFakeWindowSystem desktop;
        ktGui gui(desktop, {TestFontPath()});
        ASSERT_TRUE(gui.Start());
        gui.Stop();
        gui.Stop();
        EXPECT_EQ(desktop.window, nullptr);
        EXPECT_TRUE(gui.windows.empty());
        EXPECT_FALSE(CopyToClipboard("text")); // there is no desktop any more
    }
}

TEST(GuiLink, AMissingWindowIsAFailure) {
    ktFakeWindowSystem desktop;
    ktGui gui(desktop, {TestFontPath()});
    EXPECT_FALSE(gui.Link({}));
    ASSERT_TRUE(gui.Start());
    EXPECT_TRUE(gui.Link({}));
    gui.Stop();
}

/// A window of its own, started and stopped.
class GuiParts : public testing::Test {
protected:
    ktFakeWindowSystem desktop;
    ktGui gui{desktop, {TestFontPath()}};
};

TEST_F(GuiParts, LinkReportsEachMissingPageAndWiresTheOthers) {
    ktCmdProcessor processor;
    ktLogLines lines;
    ktGuiWiring wiring;
    wiring.processor = &processor;
    wiring.outputLines = wiring.logLines = wiring.remoteLines = &lines;
    for (int missing = 0; missing < 5; ++missing) {
        ASSERT_TRUE(gui.Start());
        gui.renderer->Stop();
        if (missing == 0) gui.command_window.reset();
        if (missing == 1) gui.log_window.reset();
        if (missing == 2) gui.remote_log_window.reset();
        if (missing == 3) gui.debug_window.reset();
        if (missing == 4) gui.mem_view_window.reset();
        EXPECT_FALSE(gui.Link(wiring)) << missing;
        const ktLinesPage *const pages[] = {gui.command_window.get(), gui.log_window.get(),
                                            gui.remote_log_window.get()};
        for (int at = 0; at < 3; ++at) {
            const ktLines *const shown = pages[at] ? pages[at]->view.lines.Get() : nullptr;
            EXPECT_EQ(shown, at == missing ? nullptr : &lines) << missing;
        }
        const ktCmdProcessor *const driven = gui.debug_window ? gui.debug_window->processor.Get() : nullptr;
        EXPECT_EQ(driven, missing == 3 ? nullptr : &processor);
        gui.Stop();
    }
}

TEST_F(GuiParts, TheThreadEndsFirstThenThePagesThenTheWindow) {
    ASSERT_TRUE(gui.Start());
    bool looked = false;
    desktop.on_destroy = [this, &looked] {
        looked = true;
        EXPECT_FALSE(gui.renderer->thread.IsStarted());
        EXPECT_TRUE(gui.renderer->draw_lists.empty());
        EXPECT_TRUE(gui.windows.empty());
        EXPECT_EQ(gui.overlay, nullptr);
        for (const void *page : std::initializer_list<const void *>{
                 gui.tv_window.get(), gui.mem_view_window.get(), gui.debug_window.get(), gui.log_window.get(),
                 gui.remote_log_window.get(), gui.command_window.get(), gui.overlay_window.get()})
            EXPECT_EQ(page, nullptr);
        EXPECT_NE(gui.font, nullptr);
    };
    gui.Stop();
    EXPECT_TRUE(looked);
    EXPECT_EQ(gui.font, nullptr);
}

TEST_F(GuiParts, WithoutMemoryForAPageTheStartFails) {
    for (const uint64_t textVertices : {uint64_t(ktTextVertices), uint64_t(1000)}) {
        const ktAllocationFailure full(textVertices * sizeof(ktTexturedVertex));
        EXPECT_FALSE(gui.Start());
        EXPECT_EQ(gui.Problem(), "memory is exhausted");
        EXPECT_GT(full.Count(), 0u);
        EXPECT_EQ(desktop.window, nullptr);
        EXPECT_EQ(desktop.shows, 0u);
    }
    EXPECT_TRUE(gui.Start());
    gui.Stop();
}

} // namespace
