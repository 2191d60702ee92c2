#include "app/app_gui.h"

#include "app/app.h"
#include "app/circular_lines.h"
#include "app/log_lines.h"
#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "session/session.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// What windows were asked, in order, and what they answer.
struct GuiScript {
    bool starts = true;
    bool links = true;
    uint32_t closes = 0;
    ktGuiWiring wiring;
    std::vector<std::string> calls;
    ktApp *app = nullptr;
};

GuiScript *script = nullptr;

class ScriptedGui final : public ktAppGui {
public:
    ~ScriptedGui() override { script->calls.emplace_back("gone"); }
    bool Start() override {
        script->calls.emplace_back("start");
        return script->starts;
    }
    bool Link(const ktGuiWiring &wiring) override {
        script->calls.emplace_back("link");
        script->wiring = wiring;
        return script->links;
    }
    void RunMessageLoop() override {}
    void Stop() override {
        // Views stop receiving data before they go, and the session outlives them.
        const bool sessionStands = script->app->session != nullptr;
        script->calls.emplace_back(sessionStands && !script->app->session->connected ? "stop"
                                                                                     : "stop too late");
    }
    std::string Problem() const override { return ""; }
    void SetSession(ktSession *session, ktDisasm *) override {
        script->calls.emplace_back(session ? "session" : "no session");
    }
    void PostClose() override { ++script->closes; }
};

class AppWithWindows : public testing::Test {
protected:
    AppWithWindows() : app(SystemHost(), [] { return std::unique_ptr<ktAppGui>(new ScriptedGui); }) {
        script = &facts;
        facts.app = &app;
    }
    bool Start() { return app.Init(nullptr, nullptr, "", 0) && app.Start(); }
    uint64_t RunToEnd(const char *line) {
        const uint32_t status = app.processor->RunLine(line);
        app.processor->Worker().WaitUntilIdle();
        return status == ktCmdQueued ? app.processor->LastQueuedStatus() : status;
    }

    GuiScript facts;
    ktApp app;
};

using Calls = std::vector<std::string>;

TEST_F(AppWithWindows, GetWhatTheyShowAndDrive) {
    ASSERT_TRUE(Start());
    EXPECT_EQ(facts.calls, (Calls{"start", "link"}));
    EXPECT_EQ(facts.wiring.processor, app.processor.get());
    EXPECT_EQ(facts.wiring.outputLines, app.outputLines.get());
    EXPECT_EQ(facts.wiring.logLines, app.logLines.get());
    EXPECT_EQ(facts.wiring.remoteLines, app.remoteLines.get());
    EXPECT_EQ(facts.wiring.session, app.session.get());
    EXPECT_EQ(app.session->gui, app.gui.get());
    EXPECT_EQ(app.session->cmdProcessor, app.processor.get());
}

TEST_F(AppWithWindows, QuitPostsTheCloseAndWaitsForNothing) {
    ASSERT_TRUE(Start());
    EXPECT_EQ(RunToEnd("q"), ktCmdOk);
    EXPECT_EQ(facts.closes, 1u);
}

TEST_F(AppWithWindows, QuitFindsTheWindowInASessionAsWell) {
    ASSERT_TRUE(Start());
    ASSERT_EQ(RunToEnd("connect static local"), ktCmdOk);
    EXPECT_EQ(RunToEnd("q"), ktCmdOk);
    EXPECT_EQ(facts.closes, 1u);
}

TEST_F(AppWithWindows, HearOfASessionAndOfItsEnd) {
    ASSERT_TRUE(Start());
    ASSERT_EQ(RunToEnd("connect static local"), ktCmdOk);
    RunToEnd("disconnect");
    EXPECT_EQ(facts.calls, (Calls{"start", "link", "session", "no session"}));
}

TEST_F(AppWithWindows, AreDisconnectedThenStoppedThenFreed) {
    ASSERT_TRUE(Start());
    ASSERT_EQ(RunToEnd("connect static local"), ktCmdOk);
    facts.calls.clear();
    app.Shutdown();
    EXPECT_EQ(facts.calls, (Calls{"no session", "stop", "gone"}));
    app.Shutdown();
    EXPECT_EQ(facts.calls.size(), 3u);
}

TEST_F(AppWithWindows, ThatDoNotStartFailTheStart) {
    facts.starts = false;
    EXPECT_FALSE(Start());
    EXPECT_EQ(facts.calls, (Calls{"start"}));
    EXPECT_EQ(app.session->cmdProcessor, app.processor.get()); // also on the failure exit
    EXPECT_EQ(app.session->gui, nullptr);
    app.Shutdown();
    EXPECT_EQ(facts.calls.back(), "gone");
}

TEST_F(AppWithWindows, OfWhichOneIsMissingFailTheStartAndQuitKnowsThemAllTheSame) {
    facts.links = false;
    EXPECT_FALSE(Start());
    EXPECT_EQ(RunToEnd("q"), ktCmdOk);
    EXPECT_EQ(facts.closes, 1u);
}

TEST(AppWithoutWindows, StartsAllTheSame) {
    ktApp app;
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    EXPECT_TRUE(app.Start());
    EXPECT_EQ(app.gui, nullptr);
    EXPECT_EQ(app.session->gui, nullptr);
    app.Shutdown();
}

} // namespace
