#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ktExprOp;

enum ktExprTokenType : uint32_t {
    ktExprNumber = 1,
    ktExprOperator = 2,
    ktExprFunction = 3,
    ktExprOpen = 4,
    ktExprClose = 5,
};

struct ktExprToken {
    ktExprTokenType type;
    std::string text;             ///< numbers only
    size_t length;                ///< bytes of the input, at least 1
    const ktExprOp *op = nullptr; ///< operators only
};

/// An integer expression over unsigned 64-bit values: numbers are hexadecimal, operators are C's with
/// `^^` for the power. There are no unary operators. Time and memory grow with the text's length alone.
class ktExpression {
public:
    /// Brings `text` into postfix order. False for null, unbalanced brackets of any of the three kinds,
    /// a closing parenthesis without its opening one, and an operator behind a bare `min` or `max`.
    bool Parse(const char *text);
    /// Computes what Parse has read: 0 before any, and after a refusal. An operator short of operands, and
    /// values left over, give 0. False, with `result` untouched, for a division or remainder by zero.
    bool Evaluate(uint64_t *result) const;

private:
    bool ConvertToPostfix(std::string_view text);
    bool Add(ktExprToken &&token);
    bool AddOperator(ktExprToken &&token);
    bool CloseParenthesis();
    void PopToOutput();

    std::vector<ktExprToken> output;    // in postfix order
    std::vector<ktExprToken> operators; // operators, functions and opening parentheses that wait
};
