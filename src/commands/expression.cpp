// A shunting-yard: a tokeniser, the conversion to postfix order, and the evaluation on a stack.

#include "commands/expression.h"

#include "app/hex.h"
#include "app/log.h"

#include <algorithm>
#include <iterator>
#include <utility>

enum ktExprOpCode : uint32_t {
    ktExprAdd = 0,
    ktExprSubtract = 1,
    ktExprMultiply = 2,
    ktExprDivide = 3,
    ktExprRemainder = 4,
    ktExprPower = 5,
    ktExprShiftRight = 6,
    ktExprShiftLeft = 7,
    ktExprEqual = 8,
    ktExprNotEqual = 9,
    ktExprAnd = 10,
    ktExprOr = 11,
    ktExprXor = 12,
    ktExprBothTrue = 13,
    ktExprAnyTrue = 14,
    ktExprGreater = 15,
    ktExprGreaterEqual = 16,
    ktExprLess = 17,
    ktExprLessEqual = 18,
};

struct ktExprOp {
    ktExprOpCode code;
    std::string_view text;
    uint8_t precedence; ///< smaller binds tighter
    bool leftAssociative = true;
};

namespace {

// Searched from the last row to the first, so that two bytes win over their first one.
constexpr ktExprOp operatorTable[] = {
    {ktExprAdd, "+", 4},         {ktExprSubtract, "-", 4},      {ktExprMultiply, "*", 3},
    {ktExprDivide, "/", 3},      {ktExprRemainder, "%", 3},     {ktExprAnd, "&", 8},
    {ktExprXor, "^", 9},         {ktExprOr, "|", 10},           {ktExprGreater, ">", 6},
    {ktExprLess, "<", 6},        {ktExprBothTrue, "&&", 11},    {ktExprAnyTrue, "||", 12},
    {ktExprLessEqual, "<=", 6},  {ktExprGreaterEqual, ">=", 6}, {ktExprPower, "^^", 2, false},
    {ktExprShiftRight, ">>", 5}, {ktExprShiftLeft, "<<", 5},    {ktExprEqual, "==", 7},
    {ktExprNotEqual, "!=", 7},
};

constexpr std::string_view separators = " ,";
constexpr size_t functionLength = 3; // of "min" and "max"

/// The brackets of each kind that are opened are closed, in whatever order.
bool IsBalanced(std::string_view text) {
    const auto count = [text](char bracket) { return std::count(text.begin(), text.end(), bracket); };
    return count('(') == count(')') && count('[') == count(']') && count('{') == count('}');
}

std::string_view SkipSeparators(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(separators), text.size()));
}

const ktExprOp *OperatorAt(std::string_view rest) {
    const auto row = std::find_if(std::rbegin(operatorTable), std::rend(operatorTable),
                                  [rest](const ktExprOp &op) { return rest.starts_with(op.text); });
    return row == std::rend(operatorTable) ? nullptr : &*row;
}

/// "min" and "max" are told by their first byte alone: any two bytes may follow it.
bool IsFunctionAt(std::string_view rest) { return rest.size() >= functionLength && rest.front() == 'm'; }

bool IsNumberEndAt(std::string_view rest) {
    return OperatorAt(rest) || IsFunctionAt(rest) || std::string_view(" ,()").find(rest.front()) != rest.npos;
}

/// The token at the start of `rest`, which is not empty and starts with no separator.
ktExprToken TokenAt(std::string_view rest) {
    if (const ktExprOp *op = OperatorAt(rest)) return {ktExprOperator, {}, op->text.size(), op};
    if (IsFunctionAt(rest)) return {ktExprFunction, {}, functionLength};
    if (rest.front() == '(') return {ktExprOpen, {}, 1};
    if (rest.front() == ')') return {ktExprClose, {}, 1};
    size_t length = 1;
    while (length < rest.size() && !IsNumberEndAt(rest.substr(length))) ++length;
    return {ktExprNumber, std::string(rest.substr(0, length)), length};
}

/// Modulo 2 to the 64, by squaring, as the exponent may be any 64-bit value.
uint64_t Power(uint64_t base, uint64_t exponent) {
    uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1, base *= base)
        if (exponent & 1) result *= base;
    return result;
}

/// The right operand is not 0 for a division and a remainder.
uint64_t Compute(ktExprOpCode code, uint64_t a, uint64_t b) {
    switch (code) {
    case ktExprAdd:
        return a + b;
    case ktExprSubtract:
        return a - b;
    case ktExprMultiply:
        return a * b;
    case ktExprDivide:
        return a / b;
    case ktExprRemainder:
        return a % b;
    case ktExprPower:
        return Power(a, b);
    case ktExprShiftRight:
        return a >> (b & 63);
    case ktExprShiftLeft:
        return a << (b & 63);
    case ktExprEqual:
        return a == b;
    case ktExprNotEqual:
        return a != b;
    case ktExprAnd:
        return a & b;
    case ktExprOr:
        return a | b;
    case ktExprXor:
        return a ^ b;
    case ktExprBothTrue:
        return a && b;
    case ktExprAnyTrue:
        return a || b;
    case ktExprGreater:
        return a > b;
    case ktExprGreaterEqual:
        return a >= b;
    case ktExprLess:
        return a < b;
    case ktExprLessEqual:
        return a <= b;
    }
    return 0;
}

} // namespace

bool ktExpression::Parse(const char *text) {
    output.clear();
    operators.clear();
    if (text && IsBalanced(text) && ConvertToPostfix(text)) return true;
    output.clear();
    return false;
}

bool ktExpression::ConvertToPostfix(std::string_view text) {
    for (std::string_view rest = SkipSeparators(text); !rest.empty();) {
        ktExprToken token = TokenAt(rest);
        rest = SkipSeparators(rest.substr(token.length));
        if (!Add(std::move(token))) return false;
    }
    while (!operators.empty()) PopToOutput();
    return true;
}

bool ktExpression::Add(ktExprToken &&token) {
    switch (token.type) {
    case ktExprNumber:
        output.push_back(std::move(token));
        return true;
    case ktExprOperator:
        return AddOperator(std::move(token));
    case ktExprFunction:
    case ktExprOpen:
        operators.push_back(std::move(token));
        return true;
    case ktExprClose:
        return CloseParenthesis();
    }
    return false;
}

bool ktExpression::AddOperator(ktExprToken &&token) {
    while (!operators.empty() && operators.back().type != ktExprOpen) {
        if (operators.back().type == ktExprFunction)
            return false; // as in "min + 1": a function without its (
        const ktExprOp &top = *operators.back().op;
        const bool topBindsFirst = top.precedence < token.op->precedence ||
                                   (top.precedence == token.op->precedence && token.op->leftAssociative);
        if (!topBindsFirst) break;
        PopToOutput();
    }
    operators.push_back(std::move(token));
    return true;
}

bool ktExpression::CloseParenthesis() {
    while (!operators.empty() && operators.back().type != ktExprOpen) PopToOutput();
    if (operators.empty()) {
        // Balanced all the same, as in ")(".
        ktLog("Weird stuff happened on parsing an expression");
        return false;
    }
    operators.pop_back();
    if (!operators.empty() && operators.back().type == ktExprFunction) PopToOutput();
    return true;
}

void ktExpression::PopToOutput() {
    output.push_back(std::move(operators.back()));
    operators.pop_back();
}

bool ktExpression::Evaluate(uint64_t *result) const {
    std::vector<uint64_t> values;
    for (const ktExprToken &token : output) {
        if (token.type == ktExprNumber) {
            values.push_back(ktParseHex(token.text.c_str()));
        } else if (token.type == ktExprOperator) {
            if (values.size() < 2) {
                values.clear();
                break;
            }
            const uint64_t b = values.back();
            values.pop_back();
            const ktExprOpCode code = token.op->code;
            if (b == 0 && (code == ktExprDivide || code == ktExprRemainder)) return false;
            values.back() = Compute(code, values.back(), b);
        }
        // Functions exist in the grammar only. So does an opening parenthesis whose closing one went into a
        // function's three bytes.
    }
    *result = values.size() == 1 ? values.back() : 0;
    return true;
}
