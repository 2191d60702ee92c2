#include "app/app.h"

#include "app/circular_lines.h"
#include "app/log.h"
#include "app/log_lines.h"
#include "app/task_pool.h"
#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "commands/startup_cmd_set.h"
#include "disasm/disasm.h"
#include "platform/dynamic_library.h"
#include "platform/thread.h"
#include "session/dbg_eng.h"
#include "session/engine_library.h"
#include "session/session.h"
#include "support/engine_fixture.h"
#include "support/engine_noise.h"
#include "support/fake_gui.h"
#include "support/fake_host.h"
#include "symbols/space_list.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

constexpr uint64_t sixteenGiB = 0x400000000;

std::vector<std::string> LogTexts(ktApp &app) {
    std::vector<std::string> texts;
    for (uint64_t i = 0; const char *text = app.logLines->GetLine(i); ++i) texts.emplace_back(text);
    return texts;
}

std::vector<std::string> SplitArguments(const char *commandLine) {
    ktApp app;
    EXPECT_TRUE(app.Init(nullptr, nullptr, commandLine, 0));
    return app.args;
}

/// Runs a line and waits for its end; the status of the run.
uint64_t RunToEnd(ktApp &app, const char *line) {
    const uint32_t status = app.processor->RunLine(line);
    app.processor->Worker().WaitUntilIdle();
    return status == ktCmdQueued ? app.processor->LastQueuedStatus() : status;
}

std::unique_ptr<ktDynamicLibrary> LoadNothing() { return nullptr; }

std::unique_ptr<ktDynamicLibrary> LoadIncompleteEngine() {
    return LoadDynamicLibrary(DynamicLibraryName("test_engine_without_last").c_str());
}

/// What stands for the engine library while this lives.
class EngineLoader {
public:
    explicit EngineLoader(ktEngineLibrary::Loader loader) { ktEngineLibrary::SetLoader(loader); }
    ~EngineLoader() {
        ktEngineLibrary::Release();
        ktEngineLibrary::SetLoader(nullptr);
    }
    EngineLoader(const EngineLoader &) = delete;
    EngineLoader &operator=(const EngineLoader &) = delete;
};

class StartedApp : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
        ASSERT_TRUE(app.Start());
    }

    EngineLoader engines{LoadNothing};
    ktFakeHost host;
    ktApp app{host};
};

} // namespace

TEST(AppInit, KeepsTheHandlesOfTheEntry) {
    int instance = 0;
    int previous = 0;
    ktApp app;
    ASSERT_TRUE(app.Init(&instance, &previous, "", 10));
    EXPECT_EQ(app.instance, &instance);
    EXPECT_EQ(app.prevInstance, &previous);
    EXPECT_EQ(app.showCommand, 10u);
    EXPECT_EQ(app.lastError, 0u);
}

TEST(AppInit, OnlySpacesSeparateArguments) {
    const std::vector<std::string> expected = {"\"a", "b\"", "c\td", "'e", "f'"};
    EXPECT_EQ(SplitArguments("  \"a b\"   c\td 'e f' "), expected);
}

TEST(AppInit, AnEmptyCommandLineGivesNoArguments) {
    EXPECT_TRUE(SplitArguments("").empty());
    EXPECT_TRUE(SplitArguments("    ").empty());
}

TEST(AppInit, FailsOnANullCommandLine) {
    ktApp app;
    EXPECT_FALSE(app.Init(nullptr, nullptr, nullptr, 0));
    EXPECT_TRUE(app.args.empty());
}

TEST(AppInit, ArgumentsHaveNoEffectOnTheStart) {
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "--help \"connect static local\" q", 0));
    EXPECT_TRUE(app.Start());
    EXPECT_EQ(app.lastError, 0u);
    EXPECT_TRUE(app.processor->History().empty());
    app.Shutdown();
    EXPECT_TRUE(app.args.empty());
}

TEST_F(StartedApp, WithoutAnEngineLibraryOnlyTheStaticEngineIsThere) {
    EXPECT_EQ(LogTexts(app), std::vector<std::string>{"Static engine loaded"});
    const ktNameTrieNode word = app.processor->engineNames.Find("static");
    ASSERT_TRUE(word);
    EXPECT_EQ(word.TerminalCount(), 1u);
    EXPECT_STREQ(reinterpret_cast<const char *>(word.Value()), "static");
    EXPECT_FALSE(app.processor->engineNames.Find("sable"));
}

TEST(AppEngines, WithAnEngineLibraryBothEnginesAreThere) {
    const ktTestEngineLibrary library;
    library.StopTarget();
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_EQ(LogTexts(app), (std::vector<std::string>{"Sable engine loaded", "Static engine loaded"}));
    for (const char *name : {"sable", "static"}) {
        const ktNameTrieNode word = app.processor->engineNames.Find(name);
        ASSERT_TRUE(word) << name;
        EXPECT_EQ(word.TerminalCount(), 1u) << name;
        EXPECT_STREQ(reinterpret_cast<const char *>(word.Value()), name);
    }
    EXPECT_EQ(app.engineLibrary, ktEngineLibrary::Get());
    EXPECT_EQ(RunToEnd(app, "connect sable local"), ktCmdOk);
    EXPECT_EQ(app.session->engine->GetEngineType(), uint32_t{ktEngineSable});
    app.Shutdown();
    EXPECT_EQ(app.engineLibrary, nullptr);
    ktEngineLibrary::SetLoader(LoadNothing);
    EXPECT_EQ(ktEngineLibrary::Get(), nullptr) << "the library went with the application";
}

TEST(AppEngines, ALibraryThatOnlyAConnectionBoundStaysWhenTheApplicationGoes) {
    const ktTestEngineLibrary library;
    library.StopTarget();
    ktEngineLibrary::SetLoader(LoadNothing);
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_EQ(app.engineLibrary, nullptr);
    ktEngineLibrary::SetLoader([] { return LoadDynamicLibrary(DynamicLibraryName("test_engine").c_str()); });
    EXPECT_EQ(RunToEnd(app, "connect sable local"), ktCmdOk);
    EXPECT_EQ(app.engineLibrary, nullptr) << "the application took what was there at its start";
    const ktEngineLibrary *bound = ktEngineLibrary::Get();
    ASSERT_NE(bound, nullptr);
    app.Shutdown();
    EXPECT_EQ(library->LiveHandles(), 0u);
    ktEngineLibrary::SetLoader(LoadNothing);
    EXPECT_EQ(ktEngineLibrary::Get(), bound) << "what it does not hold it does not free";
}

TEST(AppEngines, AnEngineLibraryThatLacksAFunctionIsNone) {
    const EngineLoader engines(LoadIncompleteEngine);
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_EQ(app.engineLibrary, nullptr);
    EXPECT_EQ(LogTexts(app), std::vector<std::string>{"Static engine loaded"});
    EXPECT_FALSE(app.processor->engineNames.Find("sable"));
}

TEST_F(StartedApp, TheStartupSetIsRegistered) {
    std::vector<std::string> names;
    for (ktCmd *command : app.processor->Commands()) names.emplace_back(command->GetName());
    const std::vector<std::string> expected = {"cls", "connect", "help", "q"};
    EXPECT_EQ(names, expected);
    EXPECT_EQ(app.processor->CurrentSet(), app.startupSet.get());
}

TEST_F(StartedApp, TheSessionIsWired) {
    EXPECT_EQ(app.session->outputLines, app.outputLines.get());
    EXPECT_EQ(app.session->logLines, app.remoteLines.get());
    EXPECT_EQ(app.session->taskPool, app.taskPool.get());
    EXPECT_EQ(app.session->cmdProcessor, app.processor.get());
}

TEST_F(StartedApp, LogLinesGoToTheLogStore) {
    ktLog("value %d", 7);
    EXPECT_EQ(LogTexts(app).back(), "value 7");
}

TEST_F(StartedApp, QuitBeforeAnyWindowExistsGivesStatus5) {
    EXPECT_EQ(app.processor->RunLine("q"), ktCmdBadArguments);
}

TEST_F(StartedApp, TheContextHasSessionOutputAndProcessorButNoPool) {
    ktCmdContext context;
    for (ktCmd *command : app.processor->Commands()) command->GetCmdContext(&context);
    EXPECT_EQ(context.session, app.session.get());
    EXPECT_EQ(context.output, app.outputLines.get());
    EXPECT_EQ(context.processor, app.processor.get());
    EXPECT_EQ(context.pool, nullptr);
    EXPECT_EQ(context.gui, nullptr);
}

TEST_F(StartedApp, ConnectSwapsTheSetsAndDisconnectSwapsThemBack) {
    EXPECT_EQ(RunToEnd(app, "connect static local"), ktCmdOk);
    EXPECT_NE(app.session->spaces, nullptr);
    EXPECT_NE(app.session->disasm, nullptr);
    EXPECT_EQ(app.processor->FindCommand("connect"), nullptr);
    EXPECT_NE(app.processor->FindCommand("lmf"), nullptr);
    EXPECT_EQ(RunToEnd(app, "disconnect"), ktCmdOk);
    EXPECT_EQ(app.processor->CurrentSet(), app.startupSet.get());
    EXPECT_NE(app.processor->FindCommand("connect"), nullptr);
}

TEST_F(StartedApp, HelpListsTheStartupCommandsInOrder) {
    EXPECT_EQ(RunToEnd(app, "help"), ktCmdOk);
    ASSERT_EQ(app.outputLines->GetLineCount(), 4u);
    EXPECT_STREQ(app.outputLines->GetLine(0), "cls - clear screen");
    EXPECT_STREQ(app.outputLines->GetLine(1), "connect - start a new debugging session");
    EXPECT_STREQ(app.outputLines->GetLine(2), "help - list available commands");
    EXPECT_STREQ(app.outputLines->GetLine(3), "q - quit application");
}

TEST_F(StartedApp, ASecondShutdownDoesNothing) {
    EXPECT_EQ(RunToEnd(app, "connect static local"), ktCmdOk);
    app.Shutdown();
    EXPECT_EQ(app.session, nullptr);
    EXPECT_EQ(app.processor, nullptr);
    EXPECT_EQ(app.taskPool, nullptr);
    EXPECT_EQ(app.logLines, nullptr);
    app.Shutdown();
    EXPECT_EQ(app.lastError, 0u);
}

TEST_F(StartedApp, ShutdownEndsALoopOfConnectionAttempts) {
    EXPECT_EQ(app.processor->RunLine("connect nosuch local"), ktCmdQueued);
    EXPECT_TRUE(app.processor->IsBusy());
    SleepMilliseconds(20);
    app.Shutdown();
    EXPECT_EQ(app.processor, nullptr);
}

TEST(AppShutdown, EndsACommandThatHasNotEvenBegun) {
    for (int i = 0; i < 50; ++i) {
        ktFakeHost host;
        ktApp app(host);
        ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
        ASSERT_TRUE(app.Start());
        EXPECT_EQ(app.processor->RunLine("connect nosuch local"), ktCmdQueued);
        app.Shutdown();
        EXPECT_EQ(app.processor, nullptr);
    }
}

TEST(AppShutdown, EndsUnderEventsThatNeverStop) {
    const ktTestEngineLibrary library;
    library.StopTarget();
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    ASSERT_EQ(RunToEnd(app, "connect sable local"), ktCmdOk);
    EXPECT_TRUE(EndsUnderNoise(*library, [&] { app.Shutdown(); }));
    EXPECT_EQ(app.session, nullptr);
    EXPECT_EQ(library->LiveHandles(), 0u);
}

TEST(AppStart, WithoutWorkersFailsWithALogAndCanBeShutDown) {
    ktFakeHost host;
    host.processors = 0;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    EXPECT_FALSE(app.Start());
    EXPECT_NE(ktLog("the sink is there all the same"), 0);
    EXPECT_EQ(LogTexts(app), std::vector<std::string>{"the sink is there all the same"});
    EXPECT_EQ(app.session, nullptr);
    EXPECT_EQ(app.processor, nullptr);
    app.Shutdown();
    app.Shutdown();
    EXPECT_EQ(app.logLines, nullptr);
}

TEST(AppShutdown, CopesWithAnAppThatNeverStarted) {
    ktApp app;
    app.Shutdown();
    app.Shutdown();
    EXPECT_EQ(app.lastError, 0u);
}

TEST(AppShutdown, LogIsSilentAfterwards) {
    ktFakeHost host;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    app.Shutdown();
    EXPECT_EQ(ktLog("nobody hears this"), 0);
}

TEST(AppHost, Exactly16GiBIsNoLargeHost) {
    ktFakeHost host;
    host.memory = sixteenGiB;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_FALSE(app.session->largeHost);
    EXPECT_FALSE(app.session->symbolFactory.indexNames);
}

TEST(AppHost, OneByteMoreIsALargeHostThatIndexesNames) {
    ktFakeHost host;
    host.memory = sixteenGiB + 1;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_TRUE(app.session->largeHost);
    EXPECT_TRUE(app.session->symbolFactory.indexNames);
}

TEST(AppHost, UnknownMemoryCountsAsNone) {
    ktFakeHost host;
    host.memory = sixteenGiB * 2;
    host.memoryKnown = false;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_FALSE(app.session->largeHost);
}

class AppWorkers : public ::testing::TestWithParam<std::pair<uint32_t, uint32_t>> {};

TEST_P(AppWorkers, OneProcessorStaysFreeWhenThereAreSeveral) {
    ktFakeHost host;
    host.processors = GetParam().first;
    ktApp app(host);
    ASSERT_TRUE(app.Init(nullptr, nullptr, "", 0));
    ASSERT_TRUE(app.Start());
    EXPECT_EQ(app.taskPool->ThreadCount(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(ProcessorsAndWorkers, AppWorkers,
                         ::testing::Values(std::pair{1u, 1u}, std::pair{2u, 1u}, std::pair{8u, 7u}));
