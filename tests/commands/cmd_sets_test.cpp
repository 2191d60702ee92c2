#include "commands/session_cmd_set.h"
#include "commands/startup_cmd_set.h"

#include "commands/cmd_help.h"
#include "support/command_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

using Names = std::vector<std::string>;

Names NamesOf(ktCmdSet &set) {
    Names names;
    for (uint64_t i = 0; const ktCmd *command = set.GetCommand(i); ++i)
        names.emplace_back(command->GetName());
    return names;
}

} // namespace

TEST(StartupCmdSet, HoldsItsFourCommandsInOrder) {
    ktStartupCmdSet set;
    EXPECT_EQ(NamesOf(set), (Names{"q", "help", "connect", "cls"}));
    EXPECT_EQ(set.GetCommand(4), nullptr);
    EXPECT_EQ(set.GetCommand(~uint64_t{0}), nullptr);
}

TEST(SessionCmdSet, HoldsItsCommands) {
    ktSessionCmdSet set;
    Names names = NamesOf(set);
    std::sort(names.begin(), names.end());
    const Names expected = {"bc",  "bcls", "bl",         "bp",    "break",      "cls",    "cm",      "cpuid",
                            "db",  "dd",   "disconnect", "dq",    "dt",         "dw",     "eb",      "ecu",
                            "ed",  "efn",  "em",         "eq",    "eval",       "ew",     "g",       "help",
                            "inb", "ind",  "inw",        "lmf",   "mod.detect", "outb",   "outd",    "outw",
                            "pte", "q",    "r",          "rdmsr", "restart",    "sl",     "srcpath", "sw",
                            "t",   "tua",  "tui",        "u",     "um",         "update", "xa",      "xl"};
    EXPECT_EQ(names, expected);
    EXPECT_EQ(set.GetCommand(names.size()), nullptr);
    EXPECT_EQ(set.GetCommand(~uint64_t{0}), nullptr);
}

TEST(SessionCmdSet, HasItsOwnInstances) {
    ktStartupCmdSet startup;
    ktSessionCmdSet session;
    ktSessionCmdSet other;
    std::set<const ktCmd *> all;
    for (ktCmdSet *set : {static_cast<ktCmdSet *>(&startup), static_cast<ktCmdSet *>(&session),
                          static_cast<ktCmdSet *>(&other)}) {
        for (uint64_t i = 0; const ktCmd *command = set->GetCommand(i); ++i) all.insert(command);
    }
    EXPECT_EQ(all.size(), 4 + 2 * NamesOf(session).size());
}

TEST(CmdSets, EveryCommandHasItsTexts) {
    ktStartupCmdSet startup;
    ktSessionCmdSet session;
    for (ktCmdSet *set : {static_cast<ktCmdSet *>(&startup), static_cast<ktCmdSet *>(&session)}) {
        for (uint64_t i = 0; const ktCmd *command = set->GetCommand(i); ++i) {
            const std::string name = command->GetName();
            EXPECT_EQ(std::string(command->GetSummary()).rfind(name + " - ", 0), 0u) << name;
            ASSERT_NE(command->GetHelpLine(1), nullptr) << name;
            EXPECT_STREQ(command->GetHelpLine(1), "Syntax:") << name;
        }
    }
}

TEST(CmdSets, HelpWithoutASessionListsFourLines) {
    ktCommandRig rig;
    EXPECT_EQ(rig.Run("help"), 0u);
    const Names expected = {"cls - clear screen", "connect - start a new debugging session",
                            "help - list available commands", "q - quit application"};
    EXPECT_EQ(rig.output.lines, expected);
}

TEST(CmdSets, HelpInASessionListsEverySessionCommandAndNoConnect) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect static local"), 0u);
    EXPECT_EQ(rig.Run("help"), 0u);
    ktSessionCmdSet set;
    ASSERT_EQ(rig.output.lines.size(), NamesOf(set).size());
    EXPECT_EQ(rig.output.lines.front(), "bc - breakpoint clear");
    EXPECT_TRUE(std::is_sorted(rig.output.lines.begin(), rig.output.lines.end()));
    EXPECT_EQ(rig.Run("connect static local"), 3u);
}

TEST(CmdSets, WithoutASessionItsCommandsAreUnknown) {
    ktCommandRig rig;
    for (const char *line : {"g", "t", "update", "disconnect", "u 1000"})
        EXPECT_EQ(rig.Run(line), 3u) << line;
    EXPECT_TRUE(rig.processor.History().empty());
}
