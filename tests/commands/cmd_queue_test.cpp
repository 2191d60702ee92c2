#include "commands/cmd_processor.h"

#include "platform/thread.h"
#include "support/processor_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace {

class CmdQueue : public ktProcessorFixture {};

/// A queued command that runs something of the test's once, between the parsing of its line, for which the
/// worker was idle, and the queueing.
class LateCmd final : public ktScriptedCmd {
public:
    explicit LateCmd(std::function<void()> newMeanwhile)
        : ktScriptedCmd("late", {ktArgString, ktArgHex, ktArgAddressOrLocation}),
          meanwhile(std::move(newMeanwhile)) {}
    bool IsSynchronous() const override {
        if (const std::function<void()> once = std::exchange(meanwhile, nullptr)) once();
        return false;
    }

private:
    mutable std::function<void()> meanwhile;
};

/// The arguments as a run sees them, with "-" for a text that is not there.
std::string Seen(const ktCmdArg *args, uint32_t argCount) {
    const auto textOf = [](const char *text) { return std::string(text ? text : "-"); };
    std::string seen = std::to_string(argCount);
    seen += " " + textOf(args[0].text) + " " + textOf(args[0].ValueText());
    seen += " " + std::to_string(args[1].value);
    seen += " " + textOf(args[2].text) + " " + std::to_string(args[2].value) + " " + textOf(args[2].extra);
    return seen;
}

TEST_F(CmdQueue, AQueuedCommandRunsOnTheWorker) {
    std::atomic<uint64_t> thread = 0;
    queued.body = [&](ktCmdArg *args, uint32_t argCount) {
        thread = CurrentThreadId();
        EXPECT_EQ(argCount, 2u);
        EXPECT_STREQ(args[0].ValueText(), "text");
        EXPECT_EQ(args[1].value, 0x10u);
        return 10u;
    };
    EXPECT_EQ(processor.RunLine("queued text 10"), ktCmdQueued);
    processor.Worker().WaitUntilIdle();
    EXPECT_NE(thread, 0u);
    EXPECT_NE(thread, CurrentThreadId());
    EXPECT_EQ(processor.LastQueuedStatus(), 10u);
    EXPECT_EQ(HistoryOf(processor), Texts{"queued text 10"});
}

TEST_F(CmdQueue, AStartedWorkerIsNotBusyWithItsStart) {
    for (int round = 0; round < 100; ++round) {
        ktCmdProcessor fresh;
        ASSERT_TRUE(fresh.StartWorker());
        ASSERT_FALSE(fresh.IsBusy()) << round;
        ASSERT_FALSE(fresh.StartWorker()) << "there is one thread";
    }
}

TEST_F(CmdQueue, IsBusyUntilTheQueuedCommandEnds) {
    EXPECT_FALSE(processor.IsBusy());
    Occupy();
    EXPECT_TRUE(processor.IsBusy());
    Finish();
    EXPECT_FALSE(processor.IsBusy());
}

TEST_F(CmdQueue, ABusyWorkerTakesTheTextsButNotTheNumbersOfALine) {
    Occupy();
    now.body = [](ktCmdArg *args, uint32_t argCount) {
        EXPECT_EQ(argCount, 3u);
        for (uint32_t i = 0; i < argCount; ++i) EXPECT_EQ(args[i].text, nullptr);
        EXPECT_EQ(args[0].value, 0u);
        EXPECT_EQ(args[1].value, 0x10u);
        EXPECT_EQ(args[2].value, 0x20u);
        EXPECT_EQ(args[2].extra, nullptr);
        return 0u;
    };
    EXPECT_EQ(processor.RunLine("now text 10 20"), ktCmdOk);
    EXPECT_EQ(now.runs, 1u);
    EXPECT_EQ(HistoryOf(processor), (Texts{"wait", "now text 10 20"}));
}

TEST_F(CmdQueue, ARunningCommandKeepsItsArgumentsWhenAnotherLineIsQueued) {
    std::string textAtEnd;
    waiting.body = [&](ktCmdArg *args, uint32_t) {
        begun.Set();
        release.Wait();
        textAtEnd = args[0].ValueText();
        return 0u;
    };
    ASSERT_EQ(processor.RunLine("wait mnemonic"), ktCmdQueued);
    begun.Wait();
    EXPECT_EQ(processor.RunLine("queued"), ktCmdQueued);
    Finish();
    EXPECT_EQ(textAtEnd, "mnemonic");
    EXPECT_EQ(queued.runs, 1u);
}

TEST_F(CmdQueue, ALineQueuedOverAWaitingOneTakesItsPlace) {
    std::atomic<uint32_t> numbers[2] = {0, 0};
    queued.body = [&](ktCmdArg *args, uint32_t) {
        numbers[queued.runs - 1] = static_cast<uint32_t>(args[1].value);
        return 0u;
    };
    Occupy();
    EXPECT_EQ(processor.RunLine("queued first 1"), ktCmdQueued);
    EXPECT_EQ(processor.RunLine("queued second 2"), ktCmdQueued);
    Finish();
    EXPECT_EQ(queued.runs, 2u);
    EXPECT_EQ(numbers[0], 2u);
    EXPECT_EQ(numbers[1], 2u);
}

TEST_F(CmdQueue, NeitherTheReplacedLineNorTheOneInItsPlaceHasTexts) {
    Texts seen;
    queued.body = [&](ktCmdArg *args, uint32_t argCount) {
        seen.push_back(Seen(args, argCount));
        return 0u;
    };
    Occupy();
    EXPECT_EQ(processor.RunLine("queued first 1 3"), ktCmdQueued);
    EXPECT_EQ(processor.RunLine("queued second 2 4"), ktCmdQueued);
    Finish();
    EXPECT_EQ(seen, (Texts{"3 - - 2 - 4 -", "3 - - 2 - 4 -"}));
    EXPECT_EQ(HistoryOf(processor), (Texts{"wait", "queued first 1 3", "queued second 2 4"}));
}

TEST_F(CmdQueue, TheCommandOfAReplacedLineDoesNotRun) {
    ktScriptedCmd other("other");
    other.synchronous = false;
    ktScriptedCmdSet withOther{&queued, &waiting, &other};
    ASSERT_TRUE(processor.RegisterSet(&withOther));
    Occupy();
    EXPECT_EQ(processor.RunLine("queued first 1"), ktCmdQueued);
    EXPECT_EQ(processor.RunLine("other"), ktCmdQueued);
    Finish();
    EXPECT_EQ(queued.runs, 0u);
    EXPECT_EQ(other.runs, 2u);
    processor.RegisterSet(&set); // `withOther` goes
}

TEST_F(CmdQueue, TheTextOfAWaitingLineGoesWithItWhenAnotherTakesItsPlace) {
    Texts seen;
    LateCmd late([this] { Occupy(); }); // the line waits, and has its texts
    late.body = [&](ktCmdArg *args, uint32_t argCount) {
        seen.push_back(Seen(args, argCount));
        return 0u;
    };
    ktScriptedCmdSet withLate{&waiting, &late};
    ASSERT_TRUE(processor.RegisterSet(&withLate));
    EXPECT_EQ(processor.RunLine("late first 1 3"), ktCmdQueued);
    EXPECT_EQ(processor.RunLine("late second 2 4"), ktCmdQueued);
    Finish();
    EXPECT_EQ(seen, (Texts{"3 - - 2 - 4 -", "3 - - 2 - 4 -"}));
    processor.RegisterSet(&set); // `withLate` goes
}

TEST_F(CmdQueue, TheTextOfTheLineThatTookAWaitingOnesPlaceIsWhatRuns) {
    Texts seen;
    const auto note = [&](ktCmdArg *args, uint32_t argCount) {
        seen.push_back(Seen(args, argCount));
        return 0u;
    };
    LateCmd late([this] {
        Occupy();
        EXPECT_EQ(processor.RunLine("queued first 1 3"), ktCmdQueued);
    });
    late.body = queued.body = note;
    ktScriptedCmdSet withLate{&queued, &waiting, &late};
    ASSERT_TRUE(processor.RegisterSet(&withLate));
    EXPECT_EQ(processor.RunLine("late second 2 4"), ktCmdQueued);
    Finish();
    EXPECT_EQ(queued.runs, 0u);
    // The second run is that of the same line, whose texts the first one has used up.
    EXPECT_EQ(seen, (Texts{"3 second second 2 4 4 4", "3 - - 2 - 4 -"}));
    processor.RegisterSet(&set); // `withLate` goes
}

TEST_F(CmdQueue, AFullQueueGivesStatus19AndTheLineIsRecorded) {
    Occupy();
    ktTask idle;
    idle.entry = [](ktTask *) -> uint64_t { return 0; };
    for (uint32_t i = 0; i < ktMaxQueuedTasks; ++i) ASSERT_TRUE(processor.Worker().Submit(&idle, nullptr));
    EXPECT_EQ(processor.RunLine("queued text"), ktCmdQueueFull);
    EXPECT_EQ(HistoryOf(processor), (Texts{"wait", "queued text"}));
    Finish();
    EXPECT_EQ(queued.runs, 0u);
}

TEST_F(CmdQueue, WithoutAWorkerQueueingGivesStatus19) {
    ktCmdProcessor stopped;
    stopped.RegisterSet(&set);
    EXPECT_EQ(stopped.RunLine("queued text"), ktCmdQueueFull);
    EXPECT_EQ(queued.runs, 0u);
}

TEST_F(CmdQueue, CancelWithoutAQueuedCommandIsFalse) {
    processor.RunLine("now");
    EXPECT_FALSE(processor.CancelRunning());
    EXPECT_EQ(now.cancels, 0u);
}

TEST_F(CmdQueue, CancelAsksTheRunningCommand) {
    Occupy();
    EXPECT_FALSE(processor.CancelRunning());
    EXPECT_EQ(waiting.cancels, 1u);
    EXPECT_TRUE(processor.IsBusy());
}

TEST_F(CmdQueue, AFinishedCommandIsStillAskedToCancel) {
    processor.RunLine("queued");
    processor.Worker().WaitUntilIdle();
    EXPECT_FALSE(processor.CancelRunning());
    EXPECT_EQ(queued.cancels, 1u);
}

TEST_F(CmdQueue, ACancelThatIsGrantedWaitsForIdleness) {
    Occupy();
    waiting.onCancel = [this] {
        release.Set();
        return true;
    };
    EXPECT_TRUE(processor.CancelRunning());
    EXPECT_FALSE(processor.IsBusy());
}

TEST_F(CmdQueue, CancelDoesNotReachAFinishedCommandWhoseSetIsGone) {
    auto goner = std::make_unique<ktScriptedCmd>("goner");
    goner->synchronous = false;
    ktScriptedCmdSet gonerSet{goner.get()};
    processor.RegisterSet(&gonerSet);
    processor.RunLine("goner");
    processor.Worker().WaitUntilIdle();
    goner.reset();
    processor.RegisterSet(&set);
    EXPECT_FALSE(processor.CancelRunning());
}

TEST_F(CmdQueue, CancelReachesARunningCommandThatHasChangedTheSet) {
    ktScriptedCmdSet empty{};
    waiting.body = [&](ktCmdArg *, uint32_t) {
        processor.RegisterSet(&empty);
        begun.Set();
        release.Wait();
        return 0u;
    };
    Occupy();
    EXPECT_FALSE(processor.CancelRunning());
    EXPECT_EQ(waiting.cancels, 1u);
}

TEST_F(CmdQueue, DestructionWaitsForTheRunningCommandAndFreesCandidates) {
    auto doomed = std::make_unique<ktCmdProcessor>();
    ASSERT_TRUE(doomed->StartWorker());
    doomed->RegisterSet(&set);
    for (ktNameTrie *trie :
         {&doomed->pathCandidates, &doomed->addressCandidates, &doomed->locationCandidates})
        trie->Insert("key", reinterpret_cast<uint64_t>(ktCopyText("key")));
    static const char keyword[] = "static";
    doomed->engineNames.Insert(keyword, reinterpret_cast<uint64_t>(keyword));
    doomed->transportCandidates.Insert(keyword, reinterpret_cast<uint64_t>(keyword));
    EXPECT_EQ(doomed->RunLine("wait text"), ktCmdQueued);
    begun.Wait();
    release.Set();
    doomed.reset();
    EXPECT_EQ(waiting.runs, 1u);
}

TEST_F(CmdQueue, LinesFromSeveralThreadsKeepEveryRecordWhole) {
    constexpr int rounds = 500;
    std::atomic<bool> stop = false;
    struct Loop {
        ktCmdProcessor *processor;
        const char *line;
        std::atomic<bool> *stop;
    };
    // The engine's thread types "queued", as it does "update", while the entry thread runs lines, reads the
    // history and cancels.
    Loop events{&processor, "queued text 10", &stop};
    ktThread eventThread;
    ASSERT_TRUE(eventThread.Start(
        [](void *argument) {
            const Loop &loop = *static_cast<Loop *>(argument);
            for (int i = 0; i < rounds; ++i) {
                EXPECT_EQ(loop.processor->RunLine(loop.line), ktCmdQueued);
                EXPECT_EQ(loop.processor->RunLine("now"), ktCmdOk);
            }
            *loop.stop = true;
        },
        &events));
    ktScriptedCmdSet same{&now, &queued, &waiting, &strict};
    while (!stop) {
        EXPECT_EQ(processor.RunLine("now 1"), ktCmdOk);
        processor.RunLine("strict");
        processor.IsBusy();
        processor.CancelRunning();
        processor.History();
        processor.FindCommand("now");
        processor.RegisterSet(processor.CurrentSet() == &set ? &same : &set);
        if (processor.History().size() > 100000) break;
    }
    eventThread.Join();
    processor.Worker().WaitUntilIdle();
    EXPECT_EQ(queued.runs, uint32_t{rounds});
    for (const char *line : processor.History()) {
        const Texts known = {"queued text 10", "now", "now 1", "strict"};
        EXPECT_NE(std::find(known.begin(), known.end(), line), known.end()) << line;
    }
    processor.RegisterSet(&set); // `same` goes
}

} // namespace
