#include "commands/eval_cmd.h"

#include "commands/cmd_line.h"
#include "commands/cmd_processor.h"
#include "support/recording_lines.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

class EvalCmd : public testing::Test {
protected:
    void SetUp() override {
        ktCmdContext context;
        context.output = &output;
        eval.SetCmdContext(context);
        processor.RegisterSet(&set);
    }

    ktRecordingLines output;
    ktEvalCmd eval;
    ktScriptedCmdSet set{&eval};
    ktCmdProcessor processor;
};

TEST_F(EvalCmd, PrintsTheValueInUpperCaseHexadecimal) {
    EXPECT_EQ(processor.RunLine("eval \"1 + (2 * 3)\""), ktCmdOk);
    EXPECT_EQ(processor.RunLine("eval ff"), ktCmdOk);
    EXPECT_EQ(processor.RunLine("eval \"0 - 1\""), ktCmdOk);
    EXPECT_EQ(output.lines, (Texts{"7", "FF", "FFFFFFFFFFFFFFFF"}));
}

TEST_F(EvalCmd, WithoutQuotesTakesTheFirstWordOnly) {
    EXPECT_EQ(processor.RunLine("eval 10 + 10"), ktCmdOk);
    EXPECT_EQ(output.lines, Texts{"10"});
}

TEST_F(EvalCmd, AnOperatorShortOfOperandsPrintsZero) {
    EXPECT_EQ(processor.RunLine("eval \"-5\""), ktCmdOk);
    EXPECT_EQ(output.lines, Texts{"0"});
}

TEST_F(EvalCmd, WhatDoesNotParseGivesStatus17AndPrintsNothing) {
    for (const char *line :
         {"eval \"(1\"", "eval \"1 )( 2\"", "eval \"min + 1\"", "eval \"1 / 0\"", "eval \"1 % 0\""})
        EXPECT_EQ(processor.RunLine(line), ktCmdBadExpression) << line;
    EXPECT_TRUE(output.lines.empty());
}

TEST_F(EvalCmd, NeedsItsArgument) {
    EXPECT_EQ(processor.RunLine("eval"), ktCmdBadArguments);
    EXPECT_EQ(processor.RunLine("eval \"\""), ktCmdBadArguments);
    EXPECT_TRUE(output.lines.empty());
}

TEST_F(EvalCmd, AnArgumentWithoutItsTextGivesStatus17) {
    ktCmdArg arg = {};
    arg.type = ktArgExpression;
    EXPECT_EQ(eval.Execute(&arg, 1), ktCmdBadExpression);
    EXPECT_EQ(eval.Execute(nullptr, 0), ktCmdBadExpression);
}

TEST_F(EvalCmd, WithoutAnOutputStillEvaluates) {
    eval.SetCmdContext(ktCmdContext{});
    EXPECT_EQ(processor.RunLine("eval 1"), ktCmdOk);
}

} // namespace
