#include "commands/help_cmd.h"

#include "commands/cls_cmd.h"
#include "commands/cmd_processor.h"
#include "commands/quit_cmd.h"
#include "support/recording_lines.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

class HelpCmd : public testing::Test {
protected:
    void SetUp() override {
        ktCmdContext context;
        context.output = &output;
        context.processor = &processor;
        help.SetCmdContext(context);
        hidden.hidden = true;
        hidden.summary = "hidden - not listed";
        hidden.helpLines = {"not shown"};
        processor.RegisterSet(&set);
    }
    Texts Run(const char *line) {
        output.lines.clear();
        EXPECT_EQ(processor.RunLine(line), ktCmdOk) << line;
        return output.lines;
    }

    ktRecordingLines output;
    ktHelpCmd help;
    ktQuitCmd quit;
    ktClsCmd cls;
    ktScriptedCmd hidden{"hidden"};
    ktScriptedCmdSet set{&quit, &hidden, &help, &cls};
    ktCmdProcessor processor;
};

TEST_F(HelpCmd, ListsTheSummariesInTheOrderOfTheNames) {
    EXPECT_EQ(Run("help"),
              (Texts{"cls - clear screen", "help - list available commands", "q - quit application"}));
}

TEST_F(HelpCmd, PrintsTheLinesOfOneCommand) { EXPECT_EQ(Run("help q"), (Texts{"Quits", "Syntax:", "   q"})); }

TEST_F(HelpCmd, AnUnknownWordPrintsNothing) {
    for (const char *line : {"help nosuch", "help c", "help clsx", "help \xC3\xA9"})
        EXPECT_TRUE(Run(line).empty()) << line;
}

TEST_F(HelpCmd, AHiddenCommandIsNeitherListedNorExplainedYetRuns) {
    EXPECT_TRUE(Run("help hidden").empty());
    Run("hidden");
    EXPECT_EQ(hidden.runs, 1u);
}

TEST_F(HelpCmd, AnArgumentWithoutItsTextPrintsNothing) {
    ktCmdArg arg = {};
    arg.type = ktArgCommand;
    EXPECT_EQ(help.Execute(&arg, 1), ktCmdOk);
    EXPECT_TRUE(output.lines.empty());
}

TEST_F(HelpCmd, WithoutAContextPrintsNothing) { EXPECT_EQ(ktHelpCmd().Execute(nullptr, 0), ktCmdOk); }

} // namespace
