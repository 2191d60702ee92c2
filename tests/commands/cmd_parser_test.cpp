#include "commands/cmd_parser.h"

#include "app/log.h"
#include "commands/cmd_processor.h"
#include "commands/name_trie.h"
#include "support/recording_lines.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// A parsed line that releases its arguments.
struct ParsedLine : ktCmdLine {
    ParsedLine() : ktCmdLine{} {}
    ~ParsedLine() { ktCmdProcessor::ReleaseArgs(this); }
    ParsedLine(const ParsedLine &) = delete;
    ParsedLine &operator=(const ParsedLine &) = delete;
};

class CmdParser : public testing::Test {
protected:
    /// Adds a command and returns it.
    ktScriptedCmd &Add(const char *name, std::vector<uint32_t> types = {}, uint32_t minArgs = 0) {
        auto &command =
            *commands.emplace_back(std::make_unique<ktScriptedCmd>(name, std::move(types), minArgs));
        names.Insert(name, reinterpret_cast<uint64_t>(static_cast<ktCmd *>(&command)));
        return command;
    }

    bool Parse(const std::string &text, ktCmdLine &line, ktCmdParser::CopyText copyText = ktCopyText) {
        source = text;
        line.cursor = source.c_str();
        line.length = static_cast<uint32_t>(source.size());
        return ktCmdParser(names, copyText).Parse(source.c_str(), &line);
    }

    uint32_t Error(const std::string &text) {
        ParsedLine line;
        EXPECT_FALSE(Parse(text, line)) << text;
        return line.error;
    }

    /// The text of the first argument, or "<none>".
    std::string FirstText(const std::string &text) {
        ParsedLine line;
        Parse(text, line);
        return line.argCount == 0 ? "<none>" : line.args[0].text;
    }

    ktNameTrie names;
    std::vector<std::unique_ptr<ktScriptedCmd>> commands;
    std::string source;
};

TEST_F(CmdParser, RefusesNullAndEmptyLines) {
    ParsedLine line;
    EXPECT_FALSE(ktCmdParser(names).Parse(nullptr, &line));
    EXPECT_EQ(line.error, ktCmdErrEmptyLine);
    EXPECT_EQ(Error(""), ktCmdErrEmptyLine);
}

TEST_F(CmdParser, FindsACommandByItsExactNameOnly) {
    ktScriptedCmd &bc = Add("bc");
    ktScriptedCmd &bcls = Add("bcls");
    ParsedLine shortLine, longLine;
    EXPECT_TRUE(Parse("bc", shortLine));
    EXPECT_EQ(shortLine.command, &bc);
    EXPECT_EQ(shortLine.error, ktCmdErrNone);
    EXPECT_TRUE(Parse("bcls", longLine));
    EXPECT_EQ(longLine.command, &bcls);
    for (const char *text : {"b", "bcl", "bclsx", "BC", "bc\t"}) {
        ParsedLine line;
        EXPECT_FALSE(Parse(text, line)) << text;
        EXPECT_EQ(line.error, ktCmdErrUnknownCommand) << text;
        EXPECT_EQ(line.command, nullptr) << text;
    }
}

TEST_F(CmdParser, ALeadingSpaceMakesAnEmptyCommandWord) {
    Add("bc");
    EXPECT_EQ(Error(" bc"), ktCmdErrUnknownCommand);
    EXPECT_EQ(Error("   "), ktCmdErrUnknownCommand);
    EXPECT_EQ(Error("\"\" bc"), ktCmdErrUnknownCommand);
}

TEST_F(CmdParser, RefusesABytesAbove127InTheCommandWord) {
    Add("bc");
    EXPECT_EQ(Error("b\xC3\xA9"), ktCmdErrUnknownCommand);
    EXPECT_EQ(Error("\xFF"), ktCmdErrUnknownCommand);
}

TEST_F(CmdParser, TheCommandWordMayBeQuoted) {
    Add("bc", {ktArgDecimal});
    EXPECT_EQ(FirstText("\"bc\"dropped 7"), "7");
}

TEST_F(CmdParser, TheCommandWordHolds63Bytes) {
    const std::string longest(63, 'a');
    Add(longest.c_str());
    ParsedLine line;
    EXPECT_TRUE(Parse(longest, line));
    EXPECT_EQ(Error(longest + "a"), ktCmdErrTokenTooLong);
}

struct LimitCase {
    uint32_t type;
    size_t longest;
};

class CmdParserLimit : public CmdParser, public testing::WithParamInterface<LimitCase> {};

TEST_P(CmdParserLimit, PassesLimitMinusOneBytesAndRefusesOneMore) {
    Add("x", {GetParam().type});
    const std::string longest(GetParam().longest, '1');
    EXPECT_EQ(FirstText("x " + longest), longest);
    EXPECT_EQ(FirstText("x \"" + longest + "\""), longest);
    EXPECT_EQ(Error("x " + longest + "1"), ktCmdErrTokenTooLong);
    EXPECT_EQ(Error("x \"" + longest + "1\""), ktCmdErrTokenTooLong);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CmdParserLimit,
                         testing::Values(LimitCase{ktArgLocation, 254}, LimitCase{ktArgPath, 249},
                                         LimitCase{ktArgCommand, 63}, LimitCase{ktArgAddress, 31},
                                         LimitCase{ktArgAddressOrLocation, 254},
                                         LimitCase{ktArgTypeLocation, 254}, LimitCase{ktArgModule, 254},
                                         LimitCase{ktArgHex, 31}, LimitCase{ktArgDecimal, 31},
                                         LimitCase{ktArgEngine, 254}, LimitCase{ktArgTransport, 254},
                                         LimitCase{ktArgTransportAddress, 254},
                                         LimitCase{ktArgExpression, 254}, LimitCase{ktArgString, 254}),
                         [](const auto &limit) { return "Type" + std::to_string(limit.param.type); });

TEST_F(CmdParser, EveryKindStoresWhatItDeclares) {
    for (uint32_t type = ktArgLocation; type <= ktArgString; ++type) {
        if (type == ktArgReserved) continue;
        const std::string name = "x" + std::to_string(type);
        Add(name.c_str(), {type});
        ParsedLine line;
        ASSERT_TRUE(Parse(name + " 12z3", line)) << type;
        ASSERT_EQ(line.argCount, 1u);
        const ktCmdArg &arg = line.args[0];
        EXPECT_EQ(arg.type, type);
        EXPECT_STREQ(arg.text, "12z3");
        switch (type) {
        case ktArgAddress:
        case ktArgAddressOrLocation:
        case ktArgHex:
            EXPECT_EQ(arg.value, 0x123u);
            break;
        case ktArgDecimal:
            EXPECT_EQ(arg.value, 123u);
            break;
        default:
            EXPECT_STREQ(arg.ValueText(), "12z3");
            EXPECT_NE(arg.ValueText(), arg.text);
        }
        if (type == ktArgAddressOrLocation) {
            EXPECT_STREQ(arg.extra, "12z3");
            EXPECT_NE(arg.extra, arg.text);
        } else {
            EXPECT_EQ(arg.extra, nullptr);
        }
    }
}

TEST_F(CmdParser, HexNumbersSkipWhatIsNoDigitAndKeepTheLow64Bits) {
    Add("x", {ktArgHex});
    const auto value = [this](const char *text) {
        ParsedLine line;
        EXPECT_TRUE(Parse(text, line)) << text;
        return line.args[0].value;
    };
    EXPECT_EQ(value("x 0x1F"), 0x1fu);
    EXPECT_EQ(value("x 0X10"), 0x10u);
    EXPECT_EQ(value("x fffff800`12345678"), 0xfffff80012345678u);
    EXPECT_EQ(value("x ffffffffffffffffff"), UINT64_MAX);
    EXPECT_EQ(value("x zzz"), 0u);
}

TEST_F(CmdParser, DecimalNumbersSkipWhatIsNoDigit) {
    Add("x", {ktArgDecimal});
    const auto value = [this](const char *text) {
        ParsedLine line;
        EXPECT_TRUE(Parse(text, line)) << text;
        return line.args[0].value;
    };
    EXPECT_EQ(value("x -5"), 5u);
    EXPECT_EQ(value("x 1,000"), 1000u);
    EXPECT_EQ(value("x 0x10"), 10u);
    EXPECT_EQ(value("x 18446744073709551617"), 1u);
    EXPECT_EQ(value("x none"), 0u);
}

TEST_F(CmdParser, AQuotedTokenKeepsItsSpaces) {
    Add("x", {ktArgString, ktArgString});
    ParsedLine line;
    ASSERT_TRUE(Parse("x \"one two\" three", line));
    ASSERT_EQ(line.argCount, 2u);
    EXPECT_STREQ(line.args[0].text, "one two");
    EXPECT_STREQ(line.args[1].text, "three");
}

TEST_F(CmdParser, TextBehindAClosingQuoteIsDropped) {
    Add("x", {ktArgString, ktArgString});
    ParsedLine line;
    ASSERT_TRUE(Parse("x \"one\"lost\"too two", line));
    EXPECT_STREQ(line.args[0].text, "one");
    EXPECT_STREQ(line.args[1].text, "two");
}

TEST_F(CmdParser, DroppedTextDoesNotCountForTheLimit) {
    Add("x", {ktArgHex});
    EXPECT_EQ(FirstText("x \"1\"" + std::string(1000, '2')), "1");
}

TEST_F(CmdParser, AQuoteInsideAWordIsAByte) {
    Add("x", {ktArgString, ktArgString});
    ParsedLine line;
    ASSERT_TRUE(Parse("x a\"b c\"", line));
    EXPECT_STREQ(line.args[0].text, "a\"b");
    EXPECT_STREQ(line.args[1].text, "c\"");
}

TEST_F(CmdParser, AnUnterminatedQuoteEndsWithTheLine) {
    Add("x", {ktArgString});
    EXPECT_EQ(FirstText("x \"one two "), "one two ");
}

TEST_F(CmdParser, ABackslashIsNoEscape) {
    Add("x", {ktArgString});
    EXPECT_EQ(FirstText("x \"a\\\"b\""), "a\\");
}

TEST_F(CmdParser, OnlyTheSpaceSeparates) {
    Add("x", {ktArgString});
    EXPECT_EQ(FirstText("x a\tb\nc d"), "a\tb\nc");
}

TEST_F(CmdParser, ASecondSpaceUsesUpAPosition) {
    Add("db", {ktArgAddressOrLocation, ktArgHex}, 1);
    ParsedLine line;
    ASSERT_TRUE(Parse("db  10", line));
    ASSERT_EQ(line.argCount, 1u);
    EXPECT_EQ(line.args[0].type, ktArgHex);
    EXPECT_EQ(line.args[0].value, 0x10u);
    EXPECT_STREQ(line.args[0].text, "10");
}

TEST_F(CmdParser, AnEmptyQuotedTokenUsesUpAPosition) {
    Add("db", {ktArgAddressOrLocation, ktArgHex}, 1);
    ParsedLine line;
    ASSERT_TRUE(Parse("db \"\" 10", line));
    ASSERT_EQ(line.argCount, 1u);
    EXPECT_EQ(line.args[0].type, ktArgHex);
    EXPECT_EQ(Error("db   10"), ktCmdErrTooFewArgs); // both positions are empty
}

TEST_F(CmdParser, AnExpressionWithoutQuotesIsItsFirstWord) {
    Add("eval", {ktArgExpression}, 1);
    EXPECT_EQ(FirstText("eval \"1 + (2 * 3)\""), "1 + (2 * 3)");
    EXPECT_EQ(FirstText("eval 1 + 2"), "1");
}

TEST_F(CmdParser, TooFewArgumentsFail) {
    Add("bc", {ktArgDecimal}, 1);
    EXPECT_EQ(Error("bc"), ktCmdErrTooFewArgs);
    EXPECT_EQ(Error("bc "), ktCmdErrTooFewArgs);
    EXPECT_EQ(Error("bc  1"), ktCmdErrTooFewArgs);
}

TEST_F(CmdParser, WordsBehindTheLastPositionAreIgnored) {
    Add("bc", {ktArgDecimal}, 1);
    ParsedLine line;
    ASSERT_TRUE(Parse("bc 1 2 " + std::string(1000, 'x'), line));
    EXPECT_EQ(line.argCount, 1u);
    EXPECT_STREQ(line.cursor, ("2 " + std::string(1000, 'x')).c_str());
    EXPECT_EQ(line.position, 5u);
}

TEST_F(CmdParser, ACommandWithoutPositionsTakesAnyTail) {
    Add("cls");
    ParsedLine line;
    EXPECT_TRUE(Parse("cls " + std::string(1000, '"'), line));
    EXPECT_EQ(line.argCount, 0u);
}

TEST_F(CmdParser, PositionCountsEveryByteReadQuotesIncluded) {
    Add("x", {ktArgString, ktArgString});
    ParsedLine line;
    ASSERT_TRUE(Parse("\"x\" \"a b\" c", line));
    EXPECT_EQ(line.position, source.size());
    EXPECT_EQ(line.cursor, source.c_str() + source.size());
}

TEST_F(CmdParser, TakesAll32Positions) {
    Add("x", std::vector<uint32_t>(ktMaxArgs, ktArgHex), 32);
    std::string text = "x";
    for (uint32_t i = 0; i < ktMaxArgs; ++i) text += " " + std::to_string(i % 10);
    ParsedLine line;
    ASSERT_TRUE(Parse(text, line));
    ASSERT_EQ(line.argCount, 32u);
    EXPECT_EQ(line.args[31].value, 1u);
}

TEST_F(CmdParser, A33rdPositionIsTooMany) {
    Add("x", std::vector<uint32_t>(ktMaxArgs + 1, ktArgHex));
    EXPECT_EQ(Error("x 1"), ktCmdErrTooManyArgs);
}

TEST_F(CmdParser, ADeclaredKindWithoutAParserIsLogged) {
    for (uint32_t type : {1u, uint32_t{ktArgReserved}, 17u, 0xffffffffu}) {
        const std::string name = "x" + std::to_string(type);
        Add(name.c_str(), {ktArgHex, type});
        ktRecordingLines log;
        SetLogSink(&log);
        EXPECT_EQ(Error(name + " 1"), ktCmdErrBadArgType) << type;
        ClearLogSink();
        const std::string message = "Unknown argument type " + std::to_string(static_cast<int>(type));
        EXPECT_EQ(log.lines, std::vector<std::string>{message});
    }
}

TEST_F(CmdParser, NothingElseIsLogged) {
    Add("x", {ktArgHex}, 1);
    ktRecordingLines log;
    SetLogSink(&log);
    Error("nosuch");
    Error("x");
    Error("x " + std::string(40, '1'));
    ClearLogSink();
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(CmdParser, AFailureKeepsTheArgumentsReadBefore) {
    Add("x", {ktArgString, ktArgHex});
    ParsedLine line;
    EXPECT_FALSE(Parse("x one " + std::string(32, '1'), line));
    ASSERT_EQ(line.argCount, 1u);
    EXPECT_STREQ(line.args[0].text, "one");
}

TEST_F(CmdParser, WithoutMemoryTextsAreNullAndTheParseGoesOn) {
    Add("x", {ktArgString, ktArgHex, ktArgDecimal, ktArgAddressOrLocation});
    ParsedLine line;
    ASSERT_TRUE(Parse("x one ff 12 1000", line, [](const char *) -> char * { return nullptr; }));
    ASSERT_EQ(line.argCount, 4u);
    for (uint32_t i = 0; i < line.argCount; ++i) {
        EXPECT_EQ(line.args[i].text, nullptr);
        EXPECT_EQ(line.args[i].extra, nullptr);
    }
    EXPECT_EQ(line.args[0].value, 0u);
    EXPECT_EQ(line.args[1].value, 0xffu);
    EXPECT_EQ(line.args[2].value, 12u);
    EXPECT_EQ(line.args[3].value, 0x1000u);
}

TEST_F(CmdParser, EveryCutOfALineHasADefinedResult) {
    Add("x", {ktArgString, ktArgHex}, 1);
    const std::string whole = "x \"one two\"three 10";
    for (size_t size = 0; size <= whole.size(); ++size) {
        ParsedLine line;
        const bool parsed = Parse(whole.substr(0, size), line);
        EXPECT_EQ(parsed, line.error == ktCmdErrNone) << size;
        EXPECT_LE(line.position, size);
    }
}

} // namespace
