#include "commands/cmd_processor.h"

#include "platform/thread.h"
#include "support/processor_fixture.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

class CmdProcessor : public ktProcessorFixture {};

TEST_F(CmdProcessor, StartsEmpty) {
    ktCmdProcessor fresh;
    EXPECT_TRUE(fresh.Commands().empty());
    EXPECT_TRUE(fresh.History().empty());
    EXPECT_EQ(fresh.CurrentSet(), nullptr);
    EXPECT_EQ(fresh.symbolStore, nullptr);
    EXPECT_FALSE(fresh.IsBusy());
    EXPECT_FALSE(fresh.CancelRunning());
    EXPECT_EQ(fresh.RunLine("now"), ktCmdUnknown);
}

TEST_F(CmdProcessor, RefusesANullSet) {
    EXPECT_FALSE(processor.RegisterSet(nullptr));
    EXPECT_EQ(processor.CurrentSet(), &set);
    EXPECT_EQ(processor.Commands().size(), 4u);
}

TEST_F(CmdProcessor, CommandsAreSortedByUnsignedBytes) {
    ktScriptedCmd b("b"), bc("bc"), upper("B"), point("b.c"), high("\xE9");
    ktScriptedCmdSet other{&high, &bc, &b, &point, &upper};
    ASSERT_TRUE(processor.RegisterSet(&other));
    EXPECT_EQ(NamesOf(processor), (Texts{"B", "b", "b.c", "bc", "\xE9"}));
    EXPECT_EQ(processor.CurrentSet(), &other);
    EXPECT_EQ(processor.FindCommand("b.c"), &point);
    EXPECT_EQ(processor.FindCommand("\xE9"), nullptr); // no key of the trie
}

TEST_F(CmdProcessor, RegisteringTheCurrentSetChangesNothing) {
    const uint32_t asked = set.asked;
    set.commands.clear();
    EXPECT_TRUE(processor.RegisterSet(&set));
    EXPECT_EQ(set.asked, asked);
    EXPECT_EQ(processor.Commands().size(), 4u);
    EXPECT_EQ(processor.RunLine("now"), ktCmdOk);
}

TEST_F(CmdProcessor, ANewSetReplacesTheNamesAndKeepsTheHistory) {
    processor.RunLine("now");
    ktScriptedCmd other("other");
    ktScriptedCmdSet otherSet{&other};
    ASSERT_TRUE(processor.RegisterSet(&otherSet));
    EXPECT_EQ(processor.RunLine("now"), ktCmdUnknown);
    EXPECT_EQ(processor.RunLine("other"), ktCmdOk);
    EXPECT_EQ(HistoryOf(processor), (Texts{"now", "other"}));
}

TEST_F(CmdProcessor, RegisteringDoesNotWaitForTheWorker) {
    Occupy();
    ktScriptedCmdSet empty{};
    EXPECT_TRUE(processor.RegisterSet(&empty));
    EXPECT_TRUE(processor.IsBusy());
    EXPECT_TRUE(processor.Commands().empty());
}

TEST_F(CmdProcessor, FindsCommandsByTheirExactNameOnly) {
    EXPECT_EQ(processor.FindCommand("now"), &now);
    for (const char *name : {"", "no", "nowx", "NOW"})
        EXPECT_EQ(processor.FindCommand(name), nullptr) << name;
    EXPECT_EQ(processor.FindCommand(nullptr), nullptr);
}

TEST_F(CmdProcessor, ANameThatIsAPrefixOfAnotherRunsByItself) {
    ktScriptedCmd bc("bc"), bcls("bcls");
    ktScriptedCmdSet other{&bcls, &bc};
    processor.RegisterSet(&other);
    EXPECT_EQ(processor.commandNames.Find("bc").TerminalCount(), 1u);
    EXPECT_EQ(processor.RunLine("bc"), ktCmdOk);
    EXPECT_EQ(bc.runs, 1u);
    EXPECT_EQ(processor.RunLine("bcls"), ktCmdOk);
    EXPECT_EQ(bcls.runs, 1u);
    EXPECT_EQ(processor.RunLine("bcl"), ktCmdUnknown);
}

TEST_F(CmdProcessor, EmptyAndUnknownLinesGiveStatus3AndAreNotRecorded) {
    for (const char *line : {"", " ", "   ", " now", "nosuch", "no\xC3\xB6", "\"\""})
        EXPECT_EQ(processor.RunLine(line), ktCmdUnknown) << line;
    EXPECT_EQ(processor.RunLine(nullptr), ktCmdUnknown);
    EXPECT_TRUE(processor.History().empty());
    EXPECT_EQ(now.runs, 0u);
}

TEST_F(CmdProcessor, BadArgumentsGiveStatus5AndAreRecordedEachTime) {
    EXPECT_EQ(processor.RunLine("strict"), ktCmdBadArguments);
    EXPECT_EQ(processor.RunLine("strict"), ktCmdBadArguments);
    const std::string longWord(64, 'x');
    EXPECT_EQ(processor.RunLine(longWord.c_str()), ktCmdBadArguments);
    EXPECT_EQ(HistoryOf(processor), (Texts{"strict", "strict", longWord}));
    EXPECT_EQ(strict.runs, 0u);
}

TEST_F(CmdProcessor, AnImmediateRepetitionRunsWithoutBeingRecorded) {
    EXPECT_EQ(processor.RunLine("now 1"), ktCmdOk);
    EXPECT_EQ(processor.RunLine("now 1"), ktCmdOk);
    EXPECT_EQ(now.runs, 2u);
    EXPECT_EQ(processor.RunLine("now 2"), ktCmdOk);
    EXPECT_EQ(processor.RunLine("now 1"), ktCmdOk);
    EXPECT_EQ(HistoryOf(processor), (Texts{"now 1", "now 2", "now 1"}));
}

TEST_F(CmdProcessor, TheHistoryIsNeverTrimmed) {
    Texts lines;
    for (int i = 0; i < 10000; ++i) {
        const bool mistyped = i % 3 == 0;
        lines.push_back(mistyped ? "strict" : "now " + std::to_string(i));
        ASSERT_EQ(processor.RunLine(lines.back().c_str()), mistyped ? ktCmdBadArguments : ktCmdOk);
    }
    EXPECT_EQ(now.runs, 6666u);
    EXPECT_EQ(strict.runs, 0u);
    EXPECT_EQ(HistoryOf(processor), lines);
}

TEST_F(CmdProcessor, ALineThatFollowsItsOwnFailureIsNotRecordedAgain) {
    ktScriptedCmd changing("strict");
    ktScriptedCmdSet other{&changing};
    EXPECT_EQ(processor.RunLine("strict"), ktCmdBadArguments);
    processor.RegisterSet(&other);
    EXPECT_EQ(processor.RunLine("strict"), ktCmdOk);
    EXPECT_EQ(HistoryOf(processor), Texts{"strict"});
}

TEST_F(CmdProcessor, ARecalledHistoryLineCanBeRunAsItIs) {
    processor.RunLine("now 1");
    EXPECT_EQ(processor.RunLine(processor.History().front()), ktCmdOk);
    EXPECT_EQ(processor.History().size(), 1u);
}

TEST_F(CmdProcessor, ALineIsRecordedAfterItsRun) {
    size_t during = 99;
    now.body = [&](ktCmdArg *, uint32_t) {
        during = processor.History().size();
        return 0u;
    };
    processor.RunLine("now");
    EXPECT_EQ(during, 0u);
    EXPECT_EQ(processor.History().size(), 1u);
}

TEST_F(CmdProcessor, ASynchronousCommandRunsOnTheCallersThreadAndGivesItsStatus) {
    uint64_t thread = 0;
    now.body = [&](ktCmdArg *args, uint32_t argCount) {
        thread = CurrentThreadId();
        EXPECT_EQ(argCount, 3u);
        EXPECT_STREQ(args[0].ValueText(), "a b");
        EXPECT_EQ(args[1].value, 0x10u);
        EXPECT_EQ(args[2].value, 0x20u);
        EXPECT_STREQ(args[2].extra, "20");
        return 18u;
    };
    EXPECT_EQ(processor.RunLine("now \"a b\" 10 20"), 18u);
    EXPECT_EQ(thread, CurrentThreadId());
}

/// A set that deletes itself in the run of its one command.
struct SelfDeletingSet : ktCmdSet {
    ktScriptedCmd command{"disconnect", {ktArgString}};
    ktCmd *GetCommand(uint64_t index) override { return index == 0 ? &command : nullptr; }
};

TEST_F(CmdProcessor, ACommandMayDeleteItsOwnSet) {
    auto *doomed = new SelfDeletingSet;
    ktCmdProcessor *target = &processor;
    ktCmdSet *next = &set;
    doomed->command.body = [=](ktCmdArg *, uint32_t) {
        const auto keep = std::move(doomed->command.body); // this closure
        delete doomed;
        target->RegisterSet(next);
        return 0u;
    };
    processor.RegisterSet(doomed);
    EXPECT_EQ(processor.RunLine("disconnect text"), ktCmdOk);
    EXPECT_EQ(HistoryOf(processor), Texts{"disconnect text"});
    EXPECT_EQ(processor.RunLine("now"), ktCmdOk);
}

TEST_F(CmdProcessor, ACommandMayRunALineItself) {
    now.body = [this](ktCmdArg *, uint32_t) { return processor.RunLine("queued"); };
    EXPECT_EQ(processor.RunLine("now"), ktCmdQueued);
    processor.Worker().WaitUntilIdle();
    EXPECT_EQ(queued.runs, 1u);
    EXPECT_EQ(HistoryOf(processor), (Texts{"queued", "now"}));
}

} // namespace
