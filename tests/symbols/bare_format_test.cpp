#include "symbols/bare_format.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "app/cut_text.h"

namespace {

std::string Printed(const std::string &format, size_t capacity = 256) {
    std::string buffer(capacity, '?');
    ktCutText text(buffer.data(), capacity);
    PrintBareFormat(text, format.c_str());
    EXPECT_EQ(text.Get()[text.Length()], 0);
    return text.Get();
}

TEST(BareFormat, PlainTextIsCopied) {
    EXPECT_EQ(Printed(""), "");
    EXPECT_EQ(Printed("operator new[](unsigned long)"), "operator new[](unsigned long)");
    EXPECT_EQ(Printed("\x80\xFF"), "\x80\xFF");
}

TEST(BareFormat, TwoPercentSignsPrintOne) {
    EXPECT_EQ(Printed("%%"), "%");
    EXPECT_EQ(Printed("a%%b"), "a%b");
    EXPECT_EQ(Printed("%%%%"), "%%");
    EXPECT_EQ(Printed("%%d"), "%d");
}

TEST(BareFormat, NumericConversionsPrintZero) {
    EXPECT_EQ(Printed("<%d%i%u%o%x%X>"), "<000000>");
    EXPECT_EQ(Printed("%p"), "0");
    EXPECT_EQ(Printed("%f %e %G %a"), "0.000000 0.000000e+00 0 0x0p+0");
    EXPECT_EQ(Printed("%lld %zu %hhx %jd %qd"), "0 0 0 0 0");
    EXPECT_EQ(Printed("%08llX"), "00000000");
}

// The real printf, with zeros behind the format, is what the rules are taken from.
TEST(BareFormat, NumericConversionsPrintWhatPrintfPrintsForZero) {
    int compared = 0;
    for (const char *flags :
         {"", "-", "0", "+", " ", "#", "-0", "+0", " 0", "#0", "+ ", "-+#", "-# 0", "+ #0"}) {
        for (const char *width : {"", "1", "2", "7", "20"}) {
            for (const char *precision : {"", ".", ".0", ".1", ".5", ".12"}) {
                for (const char letter : std::string("diuoxXfFeEgGaA")) {
                    const std::string format = std::string("[%") + flags + width + precision + letter + "]";
                    char expected[64];
                    if (std::string("diuoxX").find(letter) != std::string::npos) {
                        std::snprintf(expected, sizeof expected, format.c_str(), 0);
                    } else {
                        std::snprintf(expected, sizeof expected, format.c_str(), 0.0);
                    }
                    EXPECT_EQ(Printed(format), expected) << format;
                    ++compared;
                }
            }
        }
    }
    EXPECT_EQ(compared, 14 * 5 * 6 * 14);
}

TEST(BareFormat, MissingWidthAndPrecisionCountAsZero) {
    EXPECT_EQ(Printed("[%*d]"), "[0]");
    EXPECT_EQ(Printed("[%.*d]"), "[]");
    EXPECT_EQ(Printed("[%*.*f]"), "[0]");
    EXPECT_EQ(Printed("[%5.*s]"), "[     ]");
}

TEST(BareFormat, TextConversionsPrintTheEmptyText) {
    EXPECT_EQ(Printed("[%s]"), "[]");
    EXPECT_EQ(Printed("[%5s%-3s]"), "[        ]");
    EXPECT_EQ(Printed("[%.100s]"), "[]");
    EXPECT_EQ(Printed("[%c%lc%C%ls%S]"), "[]");
}

TEST(BareFormat, CountConversionPrintsNothing) {
    EXPECT_EQ(Printed("[%n]"), "[]");
    EXPECT_EQ(Printed("[%20n%hhn%lln]"), "[]");
}

TEST(BareFormat, AnythingElseIsCopiedAsItStands) {
    for (const char *name :
         {"operator%", "operator%=", "operator%(T const&)", "50%!", "%y", "% ", "%-", "%5", "%5.", "%5.3",
          "%ll", "%l", "%1$y", "%-5y%z", "%.-3d", "%'d", "%_", "100% [T = int]", "%\xC3\xA4"})
        EXPECT_EQ(Printed(name), name);
}

TEST(BareFormat, ReadingGoesOnBehindAnUnknownPercentSign) {
    EXPECT_EQ(Printed("%y%d"), "%y0");
    EXPECT_EQ(Printed("%5%d"), "%50"); // "%5" is no conversion, "%d" is
    EXPECT_EQ(Printed("%-%%"), "%-%");
    EXPECT_EQ(Printed("% %d"), "% 0");
}

TEST(BareFormat, OutputIsCutAtTheBuffer) {
    EXPECT_EQ(Printed("abcdef", 4), "abc");
    EXPECT_EQ(Printed("%9d", 4), "   ");
    EXPECT_EQ(Printed("%-9d", 4), "0  ");
    EXPECT_EQ(Printed("ab%%cd", 4), "ab%");
    EXPECT_EQ(Printed("ab%y", 4), "ab%");
    EXPECT_EQ(Printed("%d", 1), "");
}

TEST(BareFormat, HugeNumbersAreBounded) {
    const std::string huge(400, '9');
    EXPECT_EQ(Printed("%" + huge + "d", 32), std::string(31, ' '));
    EXPECT_EQ(Printed("%0" + huge + "d", 32), std::string(31, '0'));
    EXPECT_EQ(Printed("%." + huge + "f", 32), "0." + std::string(29, '0'));
    EXPECT_EQ(Printed("%" + huge + "." + huge + "x", 32), std::string(31, '0'));
    EXPECT_EQ(Printed("%-" + huge + "." + huge + "s", 32), std::string(31, ' '));
}

TEST(BareFormat, LongNamesTakeLinearTime) {
    std::string silent;
    for (int i = 0; i < 1000000; ++i) silent += "%n";
    EXPECT_EQ(Printed(silent + "end", 32), "end");
    EXPECT_EQ(Printed(std::string(1000000, '%') + "y", 32), std::string(31, '%'));
}

} // namespace
