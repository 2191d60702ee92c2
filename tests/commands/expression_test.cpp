#include "commands/expression.h"

#include "app/log.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <random>
#include <string>

namespace {

/// The value in hexadecimal, "refused" when the text does not parse, "no value" when it divides by zero.
std::string Value(const std::string &text) {
    ktExpression expression;
    uint64_t value = 0;
    if (!expression.Parse(text.c_str())) return "refused";
    if (!expression.Evaluate(&value)) return "no value";
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%llX", static_cast<unsigned long long>(value));
    return buffer;
}

struct ValueCase {
    const char *text;
    const char *value;
};

class ExpressionValue : public testing::TestWithParam<ValueCase> {};

TEST_P(ExpressionValue, IsAsExpected) {
    EXPECT_EQ(Value(GetParam().text), GetParam().value) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Numbers, ExpressionValue,
                         testing::Values(ValueCase{"ff", "FF"}, ValueCase{"0xff,", "FF"},
                                         ValueCase{"10", "10"}, ValueCase{"g1", "1"}, ValueCase{"0X10", "10"},
                                         ValueCase{"zz", "0"}, ValueCase{"[1]2", "12"}, ValueCase{"{a}", "A"},
                                         ValueCase{"1=2", "12"}, ValueCase{"1!2", "12"}, ValueCase{"1m", "1"},
                                         ValueCase{"1m2", "12"},
                                         ValueCase{"ffffffffffffffffff", "FFFFFFFFFFFFFFFF"},
                                         ValueCase{" , 7 , ", "7"}, ValueCase{"((((7))))", "7"}));

INSTANTIATE_TEST_SUITE_P(
    Operators, ExpressionValue,
    testing::Values(ValueCase{"10 + 10", "20"}, ValueCase{"3-5", "FFFFFFFFFFFFFFFE"}, ValueCase{"5*5", "19"},
                    ValueCase{"ffffffffffffffff * 2", "FFFFFFFFFFFFFFFE"}, ValueCase{"64 / 7", "E"},
                    ValueCase{"ffffffffffffffff / 2", "7FFFFFFFFFFFFFFF"}, ValueCase{"64 % 7", "2"},
                    ValueCase{"2 ^^ 8", "100"}, ValueCase{"5 ^^ 0", "1"}, ValueCase{"0 ^^ 0", "1"},
                    ValueCase{"0 ^^ 5", "0"}, ValueCase{"2 ^^ 40", "0"}, ValueCase{"3 ^^ 3", "1B"},
                    ValueCase{"1 ^^ ffffffffffffffff", "1"},
                    ValueCase{"ffffffffffffffff ^^ ffffffffffffffff", "FFFFFFFFFFFFFFFF"},
                    ValueCase{"3 ^^ ffffffffffffffff", "AAAAAAAAAAAAAAAB"}, ValueCase{"f0 >> 4", "F"},
                    ValueCase{"8000000000000000 >> 3f", "1"}, ValueCase{"1 << 41", "2"},
                    ValueCase{"4 >> 41", "2"}, ValueCase{"1 << 40", "1"}, ValueCase{"1 == 1", "1"},
                    ValueCase{"1 == 2", "0"}, ValueCase{"1 != 1", "0"}, ValueCase{"1 != 2", "1"},
                    ValueCase{"c & a", "8"}, ValueCase{"c | a", "E"}, ValueCase{"c ^ a", "6"},
                    ValueCase{"2 && 1", "1"}, ValueCase{"2 && 0", "0"}, ValueCase{"2 || 0", "1"},
                    ValueCase{"0 || 0", "0"}, ValueCase{"ffffffffffffffff > 1", "1"}, ValueCase{"1 > 1", "0"},
                    ValueCase{"1 >= 1", "1"}, ValueCase{"0 >= 1", "0"},
                    ValueCase{"1 < ffffffffffffffff", "1"}, ValueCase{"1 < 1", "0"}, ValueCase{"1 <= 1", "1"},
                    ValueCase{"2 <= 1", "0"}));

INSTANTIATE_TEST_SUITE_P(Precedence, ExpressionValue,
                         testing::Values(ValueCase{"1 + (2 * 3)", "7"}, ValueCase{"1 + 2 * 3", "7"},
                                         ValueCase{"(1 + 2) * 3", "9"}, ValueCase{"2 ^^ 3 ^^ 2", "200"},
                                         ValueCase{"2 * 3 ^^ 2", "12"}, ValueCase{"10 - 4 - 2", "A"},
                                         ValueCase{"40 / 4 / 2", "8"}, ValueCase{"1 + 1 << 2", "8"},
                                         ValueCase{"1 << 2 > 3", "1"}, ValueCase{"2 > 1 == 1", "1"},
                                         ValueCase{"3 & 1 == 1", "1"}, ValueCase{"6 ^ 3 & 1", "7"},
                                         ValueCase{"4 | 6 ^ 2", "4"}, ValueCase{"1 | 1 && 2", "1"},
                                         ValueCase{"1 || 0 && 0", "1"}, ValueCase{"5 > 3 && 1", "1"},
                                         ValueCase{"8 % 3 * 2", "4"}));

INSTANTIATE_TEST_SUITE_P(Tokens, ExpressionValue,
                         testing::Values(ValueCase{"1<<4", "10"}, ValueCase{"2^^3", "8"},
                                         ValueCase{"6^3", "5"}, ValueCase{"1&&1", "1"},
                                         ValueCase{"1||1", "1"}, ValueCase{"3>=3", "1"},
                                         ValueCase{"1,+,2", "3"}, ValueCase{"1<", "0"}));

INSTANTIATE_TEST_SUITE_P(WrongOperandCount, ExpressionValue,
                         testing::Values(ValueCase{"", "0"}, ValueCase{" ", "0"}, ValueCase{"()", "0"},
                                         ValueCase{"-5", "0"}, ValueCase{"1 2", "0"}, ValueCase{"1 +", "0"},
                                         ValueCase{"+", "0"}, ValueCase{"1 + + 2", "0"},
                                         ValueCase{"1 2 + 3 4", "0"}, ValueCase{"+ / 0", "0"}));

INSTANTIATE_TEST_SUITE_P(Functions, ExpressionValue,
                         testing::Values(ValueCase{"min(1,2)", "0"}, ValueCase{"mxy", "0"},
                                         ValueCase{"mod", "0"}, ValueCase{"min(5)", "5"},
                                         ValueCase{"max 5", "5"}, ValueCase{"mxy(5) + 1", "6"},
                                         ValueCase{"1 + min(5)", "6"},
                                         ValueCase{"1m12", "1"}, // the m and two bytes end the number
                                         ValueCase{"m()5", "5"}, ValueCase{"min max 5", "5"}));

INSTANTIATE_TEST_SUITE_P(
    Refused, ExpressionValue,
    testing::Values(ValueCase{"(1", "refused"}, ValueCase{"1)", "refused"}, ValueCase{"[1", "refused"},
                    ValueCase{"1}", "refused"}, ValueCase{"([)", "refused"}, ValueCase{")(", "refused"},
                    ValueCase{"1 )( 2", "refused"}, ValueCase{"min + 1", "refused"},
                    ValueCase{"1 + max - 2", "refused"}, ValueCase{"min max (1) + 2", "refused"},
                    ValueCase{"1 / 0", "no value"}, ValueCase{"1 % 0", "no value"},
                    ValueCase{"1 / (2 - 2)", "no value"}, ValueCase{"1 / zz", "no value"}));

TEST(Expression, BracketsOfDifferentKindsMayCross) { EXPECT_EQ(Value("([1)]"), "0"); }

TEST(Expression, AnOpeningParenthesisThatAFunctionLeavesOpenIsPassedOver) {
    // "m)1" is the function, so the last parenthesis stays open although the counts agree.
    EXPECT_EQ(Value("(m)1)(5"), "5");
}

TEST(Expression, RefusesNull) { EXPECT_FALSE(ktExpression().Parse(nullptr)); }

TEST(Expression, IsEmptyBeforeAParse) {
    uint64_t value = 1;
    EXPECT_TRUE(ktExpression().Evaluate(&value));
    EXPECT_EQ(value, 0u);
}

TEST(Expression, CanBeUsedAgain) {
    ktExpression expression;
    uint64_t value = 0;
    EXPECT_FALSE(expression.Parse("7 + )("));
    EXPECT_TRUE(expression.Evaluate(&value));
    EXPECT_EQ(value, 0u);
    EXPECT_TRUE(expression.Parse("2"));
    EXPECT_TRUE(expression.Evaluate(&value));
    EXPECT_EQ(value, 2u);
    EXPECT_TRUE(expression.Evaluate(&value));
    EXPECT_EQ(value, 2u);
}

TEST(Expression, AnUnmatchedClosingParenthesisIsLogged) {
    ktRecordingLines log;
    SetLogSink(&log);
    EXPECT_EQ(Value("(1"), "refused");
    EXPECT_EQ(Value("min + 1"), "refused");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(Value(")("), "refused");
    ClearLogSink();
    EXPECT_EQ(log.lines, std::vector<std::string>{"Weird stuff happened on parsing an expression"});
}

TEST(Expression, DividingByZeroLeavesTheResultAlone) {
    ktExpression expression;
    uint64_t value = 77;
    ASSERT_TRUE(expression.Parse("1 / 0"));
    EXPECT_FALSE(expression.Evaluate(&value));
    EXPECT_EQ(value, 77u);
}

TEST(Expression, DeepAndLongTextsEnd) {
    constexpr size_t depth = 100000;
    EXPECT_EQ(Value(std::string(depth, '(') + "7" + std::string(depth, ')')), "7");
    std::string sum = "1", power = "1";
    for (size_t i = 0; i < depth; ++i) {
        sum += "+1";
        power += "^^1";
    }
    EXPECT_EQ(Value(sum), "186A1");
    EXPECT_EQ(Value(power), "1");
}

/// A random expression, written with as few parentheses as its meaning needs.
class RandomExpression {
public:
    explicit RandomExpression(uint32_t seed) : random(seed) {}

    struct Node {
        std::string text;
        uint64_t value;
        int precedence; // of its outermost operator; 0 for a number
    };

    Node Make(int depth) {
        if (depth == 0 || random() % 4 == 0) {
            const uint64_t value = random() % 5 == 0 ? ~uint64_t{random()} : random() % 70;
            char text[32];
            std::snprintf(text, sizeof(text), random() % 2 ? "%llx" : "0x%llX",
                          static_cast<unsigned long long>(value));
            return {text, value, 0};
        }
        Node left = Make(depth - 1);
        Node right = Make(depth - 1);
        size_t chosen = random() % std::size(operators);
        if (chosen == power && right.value > 1000) ++chosen; // too long to multiply out
        const bool rightFirst = chosen == power;
        const Operator &op = operators[chosen];
        Enclose(left, left.precedence > op.precedence || (rightFirst && left.precedence == op.precedence));
        Enclose(right,
                right.precedence > op.precedence || (!rightFirst && right.precedence == op.precedence));
        const char *space = random() % 2 ? " " : "";
        return {left.text + space + op.text + space + right.text, op.compute(left.value, right.value),
                op.precedence};
    }

private:
    struct Operator {
        const char *text;
        int precedence;
        uint64_t (*compute)(uint64_t a, uint64_t b);
    };

    static uint64_t PowerByMultiplying(uint64_t a, uint64_t b) {
        uint64_t result = 1;
        for (uint64_t i = 0; i < b; ++i) result *= a;
        return result;
    }

    void Enclose(Node &node, bool needed) {
        if (needed || random() % 8 == 0) node.text = "(" + node.text + ")";
    }

    static constexpr size_t power = 0;
    static constexpr Operator operators[] = {
        {"^^", 2, PowerByMultiplying},
        {"*", 3, [](uint64_t a, uint64_t b) { return a * b; }},
        {"+", 4, [](uint64_t a, uint64_t b) { return a + b; }},
        {"-", 4, [](uint64_t a, uint64_t b) { return a - b; }},
        {">>", 5, [](uint64_t a, uint64_t b) { return a >> b % 64; }},
        {"<<", 5, [](uint64_t a, uint64_t b) { return a << b % 64; }},
        {"<", 6, [](uint64_t a, uint64_t b) -> uint64_t { return a < b; }},
        {">=", 6, [](uint64_t a, uint64_t b) -> uint64_t { return a >= b; }},
        {"==", 7, [](uint64_t a, uint64_t b) -> uint64_t { return a == b; }},
        {"&", 8, [](uint64_t a, uint64_t b) { return a & b; }},
        {"^", 9, [](uint64_t a, uint64_t b) { return a ^ b; }},
        {"|", 10, [](uint64_t a, uint64_t b) { return a | b; }},
        {"&&", 11, [](uint64_t a, uint64_t b) -> uint64_t { return a && b; }},
        {"||", 12, [](uint64_t a, uint64_t b) -> uint64_t { return a || b; }},
    };
    std::mt19937 random;
};

TEST(Expression, RandomExpressionsHaveTheValueOfTheirTree) {
    for (uint32_t seed = 0; seed < 3000; ++seed) {
        const RandomExpression::Node node = RandomExpression(seed).Make(5);
        char expected[32];
        std::snprintf(expected, sizeof(expected), "%llX", static_cast<unsigned long long>(node.value));
        ASSERT_EQ(Value(node.text), expected) << "seed " << seed << ": " << node.text;
    }
}

} // namespace
