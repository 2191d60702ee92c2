#include "commands/cmd_line.h"

#include "commands/cmd_processor.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(ArgKind, ValuesThatAreNoKindHaveNoParser) {
    for (uint32_t type : {0u, 1u, 3u, 17u, 0xffffffffu}) EXPECT_EQ(ktFindArgKind(type).tokenLimit, 0u);
}

/// A line of one argument of each kind, with texts of its own.
ktCmdLine EveryKind() {
    ktCmdLine line = {};
    for (uint32_t type = ktArgLocation; type <= ktArgString; ++type) {
        const bool number = type == ktArgAddress || type == ktArgAddressOrLocation || type == ktArgHex ||
                            type == ktArgDecimal;
        ktCmdArg &arg = line.args[line.argCount++];
        arg.type = type;
        arg.text = ktCopyText("text");
        arg.value = number ? 7 : reinterpret_cast<uint64_t>(ktCopyText("text"));
        arg.extra = type == ktArgAddressOrLocation ? ktCopyText("text") : nullptr;
    }
    return line;
}

TEST(ReleaseArgs, FreesTextsAndKeepsNumbersAndTheCount) {
    ktCmdLine line = EveryKind();
    for (int round = 0; round < 2; ++round) {
        ktCmdProcessor::ReleaseArgs(&line);
        ASSERT_EQ(line.argCount, 15u);
        for (uint32_t i = 0; i < line.argCount; ++i) {
            const ktCmdArg &arg = line.args[i];
            EXPECT_EQ(arg.text, nullptr) << arg.type;
            EXPECT_EQ(arg.extra, nullptr) << arg.type;
            const bool number = arg.type == ktArgAddress || arg.type == ktArgAddressOrLocation ||
                                arg.type == ktArgHex || arg.type == ktArgDecimal;
            EXPECT_EQ(arg.value, number ? 7u : 0u) << arg.type;
        }
    }
}

TEST(ReleaseArgs, LooksAt32EntriesAtMost) {
    ktCmdLine line = {};
    line.argCount = 1000;
    line.args[31].type = ktArgString;
    line.args[31].text = ktCopyText("text");
    ktCmdProcessor::ReleaseArgs(&line);
    EXPECT_EQ(line.args[31].text, nullptr);
    EXPECT_EQ(line.argCount, 1000u);
}

std::string Formatted(const ktCmdLine &line) {
    char *text = ktCmdProcessor::FormatLine(line);
    const std::string copy = text ? text : "<null>";
    std::free(text);
    return copy;
}

TEST(FormatLine, QuotesPathsAndTypeLocationsOnly) {
    ktScriptedCmd command("x");
    for (uint32_t type = ktArgLocation; type <= ktArgString; ++type) {
        char text[] = "a b";
        ktCmdLine line = {};
        line.command = &command;
        line.argCount = 1;
        line.args[0].type = type;
        line.args[0].text = text;
        const bool quoted = type == ktArgPath || type == ktArgTypeLocation;
        EXPECT_EQ(Formatted(line), quoted ? "x \"a b\"" : "x a b") << type;
    }
}

TEST(FormatLine, StopsAtTheFirstMissingText) {
    ktScriptedCmd command("x");
    char one[] = "1", three[] = "3";
    ktCmdLine line = {};
    line.command = &command;
    EXPECT_EQ(Formatted(line), "x");
    line.argCount = 3;
    for (ktCmdArg &arg : line.args) arg.type = ktArgString;
    line.args[0].text = one;
    line.args[2].text = three;
    EXPECT_EQ(Formatted(line), "x 1");
}

TEST(FormatLine, WithoutACommandThereIsNoLine) { EXPECT_EQ(Formatted(ktCmdLine{}), "<null>"); }

} // namespace
