#include "gui/renderer.h"

#include "gui/font.h"
#include "gui/shader_sources.h"
#include "gui/window.h"
#include "gui/window_set.h"
#include "support/fake_clock.h"
#include "support/fake_gl.h"
#include "support/silent_gl.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

class Pages final : public ktWindowSet {};

/// Writes down that it was drawn and with which size.
class DrawnWindow final : public ktWindow {
public:
    DrawnWindow(ktFakeGl &newGl, const char *newName) : gl(newGl), name(newName) {}
    bool Draw() override {
        gl.Note(name, {double(draw_list.res_x), double(draw_list.res_y)});
        if (on_draw) on_draw();
        return shows;
    }

    ktFakeGl &gl;
    const char *name;
    bool shows = true;
    std::function<void()> on_draw; ///< on the render thread
};

class Renderer : public testing::Test {
protected:
    Renderer() {
        renderer.requested_size = ktPackSize(640, 480);
        pages.overlay = &overlay;
        for (DrawnWindow *window : {&first, &second}) pages.AddWindow(*window);
        pages.Show(first);
        for (DrawnWindow *window : {&first, &second, &overlay}) {
            window->draw_list.Reserve(1000);
            renderer.draw_lists.push_back(&window->draw_list);
        }
    }
    ~Renderer() override { renderer.Stop(); }

    /// Runs until `frames` swaps are over.
    void RunFrames(uint32_t frames) {
        uint32_t swaps = 0;
        ktEvent over;
        const std::function<void()> given = surface.on_swap;
        surface.on_swap = [this, given, frames, &swaps, &over] {
            if (given) given();
            if (++swaps != frames) return;
            renderer.stop = true;
            over.Set();
        };
        renderer.gui = &pages; // the end of a run clears it
        ASSERT_TRUE(renderer.Start());
        over.Wait();
        renderer.Stop();
        surface.on_swap = given;
    }
    bool UseFont() {
        font.path = TestFontPath();
        renderer.fonts.push_back(&font);
        return font.Load();
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const ktGlCall &call : gl.Calls()) names.push_back(call.name);
        return names;
    }
    /// How often one call follows the other, anything between them.
    static void ExpectOrder(const std::vector<std::string> &names, const std::vector<std::string> &wanted) {
        auto at = names.begin();
        for (const std::string &name : wanted) {
            at = std::find(at, names.end(), name);
            ASSERT_NE(at, names.end()) << name;
            ++at;
        }
    }

    ktFakeGl gl;
    ktFakeGlSurface surface{gl};
    ktFakeClock clock;
    DrawnWindow first{gl, "first"};
    DrawnWindow second{gl, "second"};
    DrawnWindow overlay{gl, "overlay"};
    Pages pages;
    ktFont font;
    ktRenderer renderer{surface, clock};
};

TEST_F(Renderer, StartsStoppedAndUnpaused) {
    EXPECT_TRUE(renderer.stop);
    EXPECT_FALSE(renderer.paused);
    EXPECT_EQ(renderer.frame_time_us, 0u);
    EXPECT_EQ(ktRenderer::setupFailed, 1627u);
}

TEST_F(Renderer, SetsItselfUpInOrder) {
    RunFrames(1);
    ExpectOrder(Names(),
                {"CreateContext",   "Enable",          "BlendFunc",   "Enable",      "Hint",
                 "LineWidth",       "CreateShader",    "LinkProgram", "LinkProgram", "LinkProgram",
                 "SetSwapInterval", "GenVertexArrays", "Viewport",    "ClearColor",  "Clear",
                 "first",           "overlay",         "Finish",      "Swap",        "DeleteVertexArrays",
                 "DestroyContext"});
    EXPECT_EQ(gl.CallsOf("SetSwapInterval")[0].arguments, std::vector<double>{1});
    EXPECT_EQ(gl.CallsOf("GenVertexArrays").size(), 9u); // three batches of three windows
    EXPECT_EQ(gl.CallsOf("DeleteVertexArrays").size(), 9u);
    const std::vector<ktGlCall> enabled = gl.CallsOf("Enable");
    ASSERT_EQ(enabled.size(), 2u);
    EXPECT_EQ(enabled[0].arguments[0], double(ktGlBlend));
    EXPECT_EQ(enabled[1].arguments[0], double(ktGlLineSmooth));
    EXPECT_EQ(gl.CallsOf("BlendFunc")[0].arguments,
              (std::vector<double>{ktGlSrcAlpha, ktGlOneMinusSrcAlpha}));
    EXPECT_EQ(gl.CallsOf("Hint")[0].arguments, (std::vector<double>{ktGlLineSmoothHint, ktGlNicest}));
    EXPECT_EQ(gl.CallsOf("LineWidth")[0].arguments, std::vector<double>{1});
}

TEST_F(Renderer, BuildsTheProgramsOfShapesTextAndImagesInThatOrder) {
    RunFrames(1);
    std::vector<std::string> sources;
    for (const ktGlCall &call : gl.CallsOf("ShaderSource")) sources.push_back(call.text);
    EXPECT_EQ(sources, (std::vector<std::string>{ktFlatVertexSource, ktFlatFragmentSource,
                                                 ktTexturedVertexSource, ktTextFragmentSource,
                                                 ktTexturedVertexSource, ktImageFragmentSource}));
    EXPECT_LT(renderer.flat_program.program, renderer.text_program.program);
    EXPECT_LT(renderer.text_program.program, renderer.image_program.program);
}

TEST_F(Renderer, ASecondStartFindsTheThreadAtWork) {
    renderer.gui = &pages;
    ASSERT_TRUE(renderer.Start());
    const uint64_t thread = renderer.thread.Id();
    EXPECT_TRUE(renderer.Start());
    EXPECT_EQ(renderer.thread.Id(), thread);
    renderer.Stop();
    EXPECT_EQ(gl.CallsOf("CreateContext").size(), 1u);
}

TEST_F(Renderer, TheFrontPageIsDrawnAfterThoseBehindIt) {
    pages.visible[0] = first.index;
    pages.visible[1] = second.index;
    pages.visible_count = 2;
    RunFrames(1);
    ExpectOrder(Names(), {"second", "first", "overlay"});
    EXPECT_EQ(gl.CallsOf("second").size(), 1u);
}

TEST_F(Renderer, TheProgramsGoWithTheContextAndAreForgottenLater) {
    RunFrames(1);
    EXPECT_TRUE(gl.CallsOf("DeleteProgram").empty());
    EXPECT_NE(renderer.image_program.program, 0u);
    renderer.Free();
    for (const ktShaderProgram *program :
         {&renderer.flat_program, &renderer.text_program, &renderer.image_program})
        EXPECT_EQ(program->program, 0u);
    EXPECT_TRUE(gl.CallsOf("DeleteProgram").empty());
}

TEST_F(Renderer, AtTheEndOfAFrameItsStartBecomesItsLength) {
    clock.Advance(500);
    surface.on_swap = [this] { clock.Advance(16); };
    RunFrames(1);
    EXPECT_EQ(renderer.frame_start, 16000000u);
}

TEST_F(Renderer, ClearsWithTheWindowsColour) {
    RunFrames(1);
    const std::vector<double> color = gl.CallsOf("ClearColor")[0].arguments;
    EXPECT_EQ(color,
              (std::vector<double>{double(0.168627456F), double(0.176470593F), double(0.192156866F), 0}));
    EXPECT_FLOAT_EQ(float(color[0]), 43.0F / 255);
    EXPECT_FLOAT_EQ(float(color[1]), 45.0F / 255);
    EXPECT_FLOAT_EQ(float(color[2]), 49.0F / 255);
}

TEST_F(Renderer, WithNoWindowOnShowTheOverlayIsStillDrawnAndSwapped) {
    pages.ClearWindows();
    RunFrames(1);
    EXPECT_TRUE(gl.CallsOf("first").empty());
    EXPECT_EQ(gl.CallsOf("overlay").size(), 1u);
    EXPECT_EQ(gl.CallsOf("Swap").size(), 1u);
}

TEST_F(Renderer, AWindowThatDrawsNothingIsNotFlushed) {
    first.shows = false;
    overlay.shows = false;
    RunFrames(1);
    EXPECT_TRUE(gl.CallsOf("UseProgram").empty());
}

TEST_F(Renderer, ASizeThatChangesDuringAFrameWaitsForTheNextOne) {
    first.on_draw = [this] { renderer.requested_size = ktPackSize(800, 600); };
    RunFrames(2);
    const std::vector<ktGlCall> ports = gl.CallsOf("Viewport");
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0].arguments, (std::vector<double>{0, 0, 640, 480}));
    EXPECT_EQ(ports[1].arguments, (std::vector<double>{0, 0, 800, 600}));
    const std::vector<ktGlCall> overlays = gl.CallsOf("overlay");
    EXPECT_EQ(overlays[0].arguments, (std::vector<double>{640, 480})); // drawn after the change
    EXPECT_EQ(overlays[1].arguments, (std::vector<double>{800, 600}));
}

TEST_F(Renderer, OfTwoSizesInAFrameTheLastOneWins) {
    bool changed = false;
    first.on_draw = [this, &changed] {
        if (changed) return;
        changed = true;
        renderer.requested_size = ktPackSize(300, 200);
        renderer.requested_size = ktPackSize(500, 400);
    };
    RunFrames(3);
    const std::vector<ktGlCall> ports = gl.CallsOf("Viewport");
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[1].arguments, (std::vector<double>{0, 0, 500, 400}));
}

TEST_F(Renderer, TheViewportIsSetOnlyWhenTheSizeChanges) {
    RunFrames(5);
    EXPECT_EQ(gl.CallsOf("Viewport").size(), 1u);
}

TEST_F(Renderer, WithASwapIntervalNobodySleeps) {
    RunFrames(4);
    EXPECT_EQ(clock.slept, 0u);
}

TEST_F(Renderer, WithoutASwapIntervalItPacesItselfByTheFrameBefore) {
    surface.has_swap_interval = false;
    std::vector<uint64_t> times;
    first.on_draw = [this, &times] {
        times.push_back(renderer.frame_time_us);
        clock.Advance(3);
    };
    RunFrames(4);
    // The first frame has none before it: it sleeps for the whole period, the next one for what is missing
    // from it.
    EXPECT_EQ(times, (std::vector<uint64_t>{0, 19000, 3000, 16000}));
    EXPECT_EQ(clock.slept, 16u + 0u + 13u + 0u);
    EXPECT_EQ(renderer.frame_time_us, 3000u);
}

TEST_F(Renderer, AFrameThatTakesThePeriodOrMoreIsFollowedByNoSleep) {
    surface.has_swap_interval = false;
    renderer.frame_time_us = ktRenderer::framePeriodUs;
    RunFrames(1);
    EXPECT_EQ(clock.slept, 0u);
    gl.Forget();
    renderer.frame_time_us = ktRenderer::framePeriodUs - 1000;
    RunFrames(1);
    EXPECT_EQ(clock.slept, 1u);
}

TEST_F(Renderer, WhileTheCornerIsDraggedNobodyWaits) {
    surface.has_swap_interval = false;
    renderer.live_resize = true;
    RunFrames(2);
    EXPECT_EQ(clock.slept, 0u);
    EXPECT_TRUE(gl.CallsOf("Finish").empty());
    EXPECT_EQ(gl.CallsOf("Swap").size(), 2u);
}

TEST_F(Renderer, TheFrameTimeSpansTheSwap) {
    surface.on_swap = [this] { clock.Advance(16); };
    RunFrames(1);
    EXPECT_EQ(renderer.frame_time_us, 16000u);
}

TEST_F(Renderer, WithoutWindowsAFrameEndsAfterTheClear) {
    renderer.gui = nullptr;
    std::atomic<bool> drew = false;
    surface.on_swap = [&drew] { drew = true; };
    ASSERT_TRUE(renderer.Start());
    while (gl.CallsOf("Clear").size() < 3) YieldThread();
    renderer.Stop();
    EXPECT_FALSE(drew);
    EXPECT_TRUE(gl.CallsOf("Finish").empty());
    EXPECT_EQ(renderer.frame_time_us, 0u);
}

/// Tells which sleeps it was asked for; time stands still.
class SleepLog final : public ktClock {
public:
    uint64_t Milliseconds() override { return 0; }
    uint64_t Nanoseconds() override { return 0; }
    void Sleep(uint32_t milliseconds) override {
        if (sleeps.size() == mostSleeps) return;
        sleeps.push_back(milliseconds);
        if (sleeps.size() == mostSleeps) full.Set();
    }

    static constexpr size_t mostSleeps = 3;
    std::vector<uint32_t> sleeps;
    ktEvent full;
};

TEST_F(Renderer, PausedItOnlySleepsForAFrameTime) {
    SleepLog log;
    ktRenderer idle(surface, log);
    idle.gui = &pages;
    idle.paused = true;
    idle.frame_time_us = 7900;
    ASSERT_TRUE(idle.Start());
    log.full.Wait();
    idle.Stop();
    EXPECT_TRUE(gl.CallsOf("Clear").empty());
    EXPECT_EQ(log.sleeps, (std::vector<uint32_t>{7, 7, 7}));
}

TEST_F(Renderer, TheGuiIsForgottenWhenTheThreadEnds) {
    RunFrames(1);
    EXPECT_EQ(renderer.gui, nullptr);
}

TEST_F(Renderer, StopIsIdempotentAndHarmlessWithoutAStart) {
    renderer.Stop();
    RunFrames(1);
    renderer.Stop();
    renderer.Stop();
    EXPECT_TRUE(renderer.stop);
    renderer.Free();
    EXPECT_TRUE(renderer.draw_lists.empty());
    EXPECT_TRUE(renderer.fonts.empty());
}

TEST_F(Renderer, AWindowThatDrawsIsFlushedBeforeTheNextOneDraws) {
    RunFrames(1);
    ExpectOrder(Names(), {"first", "UseProgram", "overlay", "UseProgram", "Finish"});
}

TEST_F(Renderer, AFontIsUploadedAtTheStartAndDeletedAtTheEnd) {
    ASSERT_TRUE(UseFont());
    RunFrames(1);
    ExpectOrder(Names(), {"GenVertexArrays", "TexImage2D", "Clear", "DeleteTextures", "DestroyContext"});
    EXPECT_EQ(font.bitmap, nullptr);
    EXPECT_EQ(font.texture.name, 0u);
}

/// Runs a start that fails and looks at what is left.
class RendererFailure : public Renderer {
protected:
    void ExpectFailure() {
        EXPECT_FALSE(renderer.Start());
        EXPECT_EQ(renderer.start_error, ktRenderer::setupFailed);
        EXPECT_TRUE(renderer.stop);
        EXPECT_FALSE(renderer.thread.IsStarted());
        EXPECT_TRUE(gl.CallsOf("Clear").empty());
    }
    size_t Count(const char *name) const { return gl.CallsOf(name).size(); }
    void ExpectNothingLeft() {
        EXPECT_EQ(Count("CreateProgram"), Count("DeleteProgram"));
        EXPECT_EQ(Count("GenVertexArrays"), Count("DeleteVertexArrays"));
        EXPECT_EQ(Count("DestroyContext"), 1u);
    }
};

TEST_F(RendererFailure, WithoutAContext) {
    surface.has_context = false;
    ExpectFailure();
    EXPECT_EQ(Count("DestroyContext"), 0u);
}

TEST_F(RendererFailure, OfADriverThatLacksAFunction) {
    surface.lacking = "glDrawElements";
    ExpectFailure();
    ExpectNothingLeft();
}

TEST_F(RendererFailure, OfAShaderLeavesTheDriversWordsInTheLog) {
    gl.bad_shaders.insert(ktGlFragmentShader);
    ExpectFailure();
    ExpectNothingLeft();
    EXPECT_STREQ(renderer.flat_program.info_log.data(), "it is wrong");
    EXPECT_EQ(renderer.Problem(), "it is wrong");
}

TEST_F(RendererFailure, OfALink) {
    gl.links = false;
    ExpectFailure();
    ExpectNothingLeft();
}

TEST_F(RendererFailure, OfADriverThatGivesNoObjects) {
    // Programs are counted from their creation, which gives names all the same.
    ASSERT_TRUE(UseFont());
    gl.good_objects = 0;
    ExpectFailure();
    EXPECT_EQ(Count("CreateProgram"), Count("DeleteProgram"));
    EXPECT_EQ(Count("DestroyContext"), 1u);
    EXPECT_NE(font.bitmap, nullptr); // for another start
}

TEST_F(RendererFailure, WhereverTheObjectsEndThoseMadeAreDeleted) {
    ASSERT_TRUE(UseFont());
    RunFrames(1);
    const std::vector<std::string> kinds = {"VertexArrays", "Buffers", "Textures"};
    const auto made = [&](const char *prefix) {
        double objects = 0;
        for (const std::string &kind : kinds)
            for (const ktGlCall &call : gl.CallsOf(prefix + kind)) objects += call.arguments[0];
        return static_cast<int>(objects);
    };
    const int all = made("Gen");
    EXPECT_EQ(all, 3 * 3 * 3 + 1); // an array and two buffers for three batches of three windows; the atlas
    ASSERT_TRUE(font.Load());
    for (int given = 0; given < all; ++given) {
        gl.Forget();
        gl.good_objects = given;
        ExpectFailure();
        std::multiset<double> names;
        for (const std::string &kind : kinds)
            for (const ktGlCall &call : gl.CallsOf("Delete" + kind))
                for (size_t i = 1; i < call.arguments.size(); ++i)
                    if (call.arguments[i] != 0) names.insert(call.arguments[i]);
        EXPECT_EQ(static_cast<int>(names.size()), given);
        EXPECT_EQ(Count("DestroyContext"), 1u);
    }
}

TEST_F(RendererFailure, TellsWhatTheSystemSaidOnItsThread) {
    ktSilentGlSurface refusing;
    refusing.hasContext = false;
    refusing.systemError = 12;
    refusing.problem = "no visual";
    ktRenderer other(refusing, clock);
    SetLastSystemError(99);
    EXPECT_FALSE(other.Start());
    EXPECT_EQ(LastSystemError(), 12u);
    EXPECT_EQ(other.Problem(), "no visual");
    refusing.systemError = 0;
    EXPECT_FALSE(other.Start());
    EXPECT_EQ(LastSystemError(), 0u); // nothing of this thread's past
}

TEST_F(RendererFailure, LetsGoOfThePages) {
    renderer.gui = &pages;
    surface.has_context = false;
    ExpectFailure();
    EXPECT_EQ(renderer.gui, nullptr);
}

TEST_F(RendererFailure, OfTheLastProgramDeletesTheOthers) {
    gl.good_links = 2;
    ExpectFailure();
    EXPECT_EQ(Count("CreateProgram"), 3u);
    ExpectNothingLeft();
}

TEST_F(RendererFailure, CanBeFollowedByAnotherStart) {
    surface.has_context = false;
    ExpectFailure();
    surface.has_context = true;
    RunFrames(1);
    EXPECT_EQ(renderer.start_error, 0u);
}

TEST_F(Renderer, AMissingSwapIntervalIsNoFailure) {
    surface.has_swap_interval = false;
    RunFrames(1);
    EXPECT_FALSE(renderer.has_swap_interval);
}

} // namespace
