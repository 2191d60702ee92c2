#include "symbols/bare_format.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "app/cut_text.h"

namespace {

/// Wider than any text that is kept, so that larger numbers need no more than this.
constexpr uint64_t maxNumber = 1u << 20;

enum class Shape {
    integer,
    fixed,    ///< decimals always
    shortest, ///< decimals only when all digits are asked for
    text,
    nothing,
};

/// How the conversions `letters` print 0.
struct Conversion {
    const char *letters;
    Shape shape;
    bool hasSign = false;
    uint64_t decimals = 0; ///< unless a precision is given
    std::string_view prefix = {};
    std::string_view tail = {};
};

constexpr Conversion conversions[] = {
    {"di", Shape::integer, true},
    {"uoxXp", Shape::integer},
    {"fF", Shape::fixed, true, 6},
    {"e", Shape::fixed, true, 6, "", "e+00"},
    {"E", Shape::fixed, true, 6, "", "E+00"},
    {"gG", Shape::shortest, true, 6},
    {"a", Shape::fixed, true, 0, "0x", "p+0"},
    {"A", Shape::fixed, true, 0, "0X", "P+0"},
    {"cCsS", Shape::text},
    {"n", Shape::nothing},
};

const Conversion *FindConversion(char letter) {
    for (const Conversion &conversion : conversions) {
        if (letter && std::strchr(conversion.letters, letter)) return &conversion;
    }
    return nullptr;
}

/// What stands between a percent sign and the letter of its conversion.
struct Details {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zeros = false;
    bool hasPrecision = false;
    uint64_t width = 0;
    uint64_t precision = 0;
};

uint64_t ReadNumber(const char *&at) {
    if (*at == '*') {
        ++at;
        return 0;
    }
    uint64_t number = 0;
    for (; *at >= '0' && *at <= '9'; ++at)
        number = std::min(number * 10 + static_cast<uint64_t>(*at - '0'), maxNumber);
    return number;
}

/// Moves `at` to the letter of the conversion.
Details ReadDetails(const char *&at) {
    Details details;
    for (; *at && std::strchr("-+ #0", *at); ++at) {
        if (*at == '-') details.left = true;
        if (*at == '+') details.plus = true;
        if (*at == ' ') details.blank = true;
        if (*at == '#') details.alternate = true;
        if (*at == '0') details.zeros = true;
    }
    details.width = ReadNumber(at);
    if (*at == '.') {
        details.hasPrecision = true;
        details.precision = ReadNumber(++at);
    }
    while (*at && std::strchr("hlLqjzt", *at)) ++at;
    return details;
}

uint64_t Decimals(const Conversion &conversion, const Details &details) {
    const uint64_t wanted = details.hasPrecision ? details.precision : conversion.decimals;
    if (conversion.shape == Shape::fixed) return wanted;
    // There the precision counts the digit in front of the point as well.
    return conversion.shape == Shape::shortest && details.alternate ? std::max<uint64_t>(wanted, 1) - 1 : 0;
}

/// The digits in front of the point.
uint64_t WholeDigits(const Conversion &conversion, const Details &details, char letter) {
    if (conversion.shape != Shape::integer || !details.hasPrecision) return 1;
    const bool octalMark = letter == 'o' && details.alternate; // a leading 0, which then is the only digit
    return octalMark ? std::max<uint64_t>(details.precision, 1) : details.precision;
}

void PrintZero(ktCutText &text, const Conversion &conversion, const Details &details, char letter) {
    std::string_view sign;
    if (conversion.hasSign) sign = details.plus ? "+" : details.blank ? " " : "";
    const uint64_t whole = WholeDigits(conversion, details, letter);
    const uint64_t decimals = Decimals(conversion, details);
    const bool point = conversion.shape != Shape::integer && (decimals > 0 || details.alternate);

    const uint64_t length =
        sign.size() + conversion.prefix.size() + whole + (point ? 1 : 0) + decimals + conversion.tail.size();
    const uint64_t padding = details.width > length ? details.width - length : 0;
    const bool fixedDigits = conversion.shape == Shape::integer && details.hasPrecision;
    const bool zeros = details.zeros && !details.left && !fixedDigits;
    if (!details.left && !zeros) text.Fill(' ', padding);
    text.Put(sign);
    text.Put(conversion.prefix);
    text.Fill('0', whole + (zeros ? padding : 0));
    if (point) text.Put(".");
    text.Fill('0', decimals);
    text.Put(conversion.tail);
    if (details.left) text.Fill(' ', padding);
}

/// `at` stands behind a percent sign. Moves it behind the conversion; false when there is none.
bool PrintConversion(ktCutText &text, const char *&at) {
    const char *letter = at;
    const Details details = ReadDetails(letter);
    const Conversion *conversion = FindConversion(*letter);
    if (!conversion) return false;
    at = letter + 1;
    if (conversion->shape == Shape::text) {
        text.Fill(' ', details.width);
    } else if (conversion->shape != Shape::nothing) {
        PrintZero(text, *conversion, details, *letter);
    }
    return true;
}

} // namespace

void PrintBareFormat(ktCutText &text, const char *format) {
    for (const char *at = format; *at && !text.IsFull();) {
        size_t plain = 0;
        while (at[plain] && at[plain] != '%') ++plain;
        text.Put({at, plain});
        at += plain;
        if (!*at) return;
        ++at;
        if (*at == '%') {
            text.Put("%");
            ++at;
        } else if (!PrintConversion(text, at)) {
            text.Put("%");
        }
    }
}
