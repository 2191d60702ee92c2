#include "commands/cls_cmd.h"

#include "support/recording_lines.h"

#include <gtest/gtest.h>

namespace {

TEST(ClsCmd, ClearsTheOutputUnderItsExclusiveLock) {
    ktRecordingLines output;
    output.AddLine("old");
    ktCmdContext context;
    context.output = &output;
    ktClsCmd command;
    command.SetCmdContext(context);
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdCleared);
    EXPECT_TRUE(output.lines.empty());
    EXPECT_TRUE(output.clearedUnderLock);
    EXPECT_FALSE(output.exclusiveHeld);
}

TEST(ClsCmd, WithoutAnOutputNothingHappens) { EXPECT_EQ(ktClsCmd().Execute(nullptr, 0), ktCmdCleared); }

} // namespace
