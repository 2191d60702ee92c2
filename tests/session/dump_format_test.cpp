#include "session/dump_format.h"

#include "app/cut_text.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

/// `count` bytes that count up from `first`.
Bytes Counting(size_t count, uint8_t first = 0) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

ktDumpFormat Format(uint32_t width, uint8_t flags, uint32_t rowBytes = 16) {
    ktDumpFormat format;
    format.elementWidth = width;
    format.flags = flags;
    format.rowBytes = rowBytes;
    return format;
}

Lines Dump(ktDumpFormat format, const Bytes &bytes, uint64_t address = 0, int64_t offset = 0) {
    ktRecordingLines lines;
    format.sink = &lines;
    format.Dump(address, bytes, offset);
    return lines.lines;
}

Bytes Points(std::initializer_list<uint32_t> points) {
    Bytes bytes;
    for (const uint32_t point : points)
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(point >> (8 * i)));
    return bytes;
}

/// A line of characters alone, without the blank that begins it.
std::string Chars(uint32_t width, const Bytes &bytes) {
    const Lines lines = Dump(Format(width, ktDumpChars, static_cast<uint32_t>(bytes.size())), bytes);
    return lines.size() == 1 && lines[0].starts_with(' ') ? lines[0].substr(1) : "no such line";
}

std::string Blanks(size_t count) { return std::string(count, ' '); }

} // namespace

TEST(DumpFormat, DefaultsAreThoseOfTheCommands) {
    const ktDumpFormat format;
    EXPECT_EQ(format.rowBytes, 16u);
    EXPECT_EQ(format.elementWidth, 1u);
    EXPECT_EQ(format.maxColumns, 256u);
    EXPECT_EQ(format.flags, 0u);
    EXPECT_EQ(format.sink, nullptr);
}

TEST(DumpFormat, WholeRowsOfBytes) {
    EXPECT_EQ(Dump(Format(1, 29), Counting(32, 0x38), 0x401000),
              (Lines{"0000000000401000: 38 39 3A 3B 3C 3D 3E 3F 40 41 42 43 44 45 46 47  "
                     "89:;<=>?@ABCDEFG +0x0",
                     "0000000000401010: 48 49 4A 4B 4C 4D 4E 4F 50 51 52 53 54 55 56 57  "
                     "HIJKLMNOPQRSTUVW +0x10"}));
}

TEST(DumpFormat, AShortRowIsPaddedInFrontOfCharactersAndOffset) {
    EXPECT_EQ(Dump(Format(1, 29), Bytes{0x41, 0x42, 0x43}, 0x1000),
              Lines{"0000000000001000: 41 42 43 " + Blanks(1 + 3 * 13) + "ABC" + Blanks(1 + 13) + "+0x0"});
}

TEST(DumpFormat, OneBlankForEachMissingByteAlsoWithoutCharacters) {
    EXPECT_EQ(Dump(Format(4, 25), Counting(4), 0x1000),
              Lines{"0000000000001000: 03020100 " + Blanks(1 + 12) + "+0x0"});
}

TEST(DumpFormat, TheLastRowTakesWhatRemains) {
    const Lines lines = Dump(Format(1, ktDumpHex | ktDumpOffset), Counting(35));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2], "20 21 22 " + Blanks(1 + 13) + "+0x20");
}

TEST(DumpFormat, ElementsOfEachWidthInHex) {
    const Bytes bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
    EXPECT_EQ(Dump(Format(1, ktDumpHex), bytes), Lines{"01 23 45 67 89 AB CD EF "});
    EXPECT_EQ(Dump(Format(2, ktDumpHex), bytes), Lines{"2301 6745 AB89 EFCD "});
    EXPECT_EQ(Dump(Format(4, ktDumpHex), bytes), Lines{"67452301 EFCDAB89 "});
    EXPECT_EQ(Dump(Format(8, ktDumpHex), bytes), Lines{"EFCDAB8967452301 "});
}

TEST(DumpFormat, ElementsOfEachWidthInDecimal) {
    const Bytes ones(8, 0xFF);
    EXPECT_EQ(Dump(Format(1, ktDumpDecimal, 3), Bytes{0, 7, 0xFF}), Lines{"00 07 255 "});
    EXPECT_EQ(Dump(Format(2, ktDumpDecimal), Bytes{1, 0, 0xFF, 0xFF}), Lines{"0001 65535 "});
    EXPECT_EQ(Dump(Format(4, ktDumpDecimal), ones), Lines{"-0000001 -0000001 "});
    EXPECT_EQ(Dump(Format(4, ktDumpDecimal), Bytes{42, 0, 0, 0}), Lines{"00000042 "});
    EXPECT_EQ(Dump(Format(4, ktDumpDecimal), Bytes{0, 0, 0, 0x80}), Lines{"-2147483648 "});
    EXPECT_EQ(Dump(Format(8, ktDumpDecimal), ones), Lines{"-000000000000001 "});
    EXPECT_EQ(Dump(Format(8, ktDumpDecimal), Bytes{42, 0, 0, 0, 0, 0, 0, 0}), Lines{"0000000000000042 "});
    EXPECT_EQ(Dump(Format(8, ktDumpDecimal), Bytes{0, 0, 0, 0, 0, 0, 0, 0x80}),
              Lines{"-9223372036854775808 "});
}

TEST(DumpFormat, HexStandsInFrontOfDecimal) {
    EXPECT_EQ(Dump(Format(1, 31), Bytes{0x41, 0x0A}, 0x10),
              Lines{"0000000000000010: 41 0A 65 10 " + Blanks(1 + 42) + "A." + Blanks(1 + 14) + "+0x0"});
}

TEST(DumpFormat, EachFlagAloneShowsItsPart) {
    const Bytes bytes = Counting(16, 0x41);
    EXPECT_EQ(Dump(Format(1, 0), bytes), Lines{""});
    EXPECT_EQ(Dump(Format(1, 1), bytes), Lines{"41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 "});
    EXPECT_EQ(Dump(Format(1, 2), bytes), Lines{"65 66 67 68 69 70 71 72 73 74 75 76 77 78 79 80 "});
    EXPECT_EQ(Dump(Format(1, 4), bytes), Lines{" ABCDEFGHIJKLMNOP"});
    EXPECT_EQ(Dump(Format(1, 8), bytes, 0xFEDC), Lines{"000000000000FEDC: "});
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, 0x1F), Lines{" +0x1F"});
}

TEST(DumpFormat, TheFlagsOfTheMemoryView) {
    EXPECT_EQ(Dump(Format(1, 21), Counting(16, 0x30), 0x1000, -32),
              Lines{"30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F  0123456789:;<=>? -0x20"});
}

TEST(DumpFormat, EveryByteAsACharacter) {
    for (uint32_t byte = 0; byte < 256; ++byte) {
        const bool shown = byte >= 0x20 && byte <= 0x7D;
        EXPECT_EQ(Chars(1, {static_cast<uint8_t>(byte)}), std::string(1, shown ? char(byte) : '.')) << byte;
    }
}

TEST(DumpFormat, TwoByteCharactersPassTheSameTest) {
    EXPECT_EQ(Chars(2, {'A', 0, 0x1F, 0, 0x20, 0, 0x7D, 0, 0x7E, 0, 'A', 1, 0x41, 0x30}), "A. }...");
}

TEST(DumpFormat, FourByteCharactersAreUtf8WithABlankBehindEach) {
    EXPECT_EQ(Chars(4, Points({'A', 0x7E, 0x7F})), "A ~ \x7F ");
    EXPECT_EQ(Chars(4, Points({0x80, 0x7FF, 0x800, 0xFFFF})), "\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF ");
    EXPECT_EQ(Chars(4, Points({0x20AC, 0x1F600, 0x10FFFF})),
              "\xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF ");
}

TEST(DumpFormat, FourBytesThatAreNoCharacterShowAPoint) {
    EXPECT_EQ(Chars(4, Points({0xD7FF, 0xD800, 0xDFFF, 0xE000})), "\xED\x9F\xBF . . \xEE\x80\x80 ");
    EXPECT_EQ(Chars(4, Points({0x110000, 0xFFFFFFFF, 0x80000041})), ". . . ");
}

TEST(DumpFormat, AFourByteZeroWritesOnlyItsBlank) { EXPECT_EQ(Chars(4, Points({'a', 0, 'b'})), "a  b "); }

TEST(DumpFormat, EightByteElementsHaveNoCharacters) {
    EXPECT_EQ(Dump(Format(8, ktDumpChars | ktDumpOffset), Bytes(16, 'A')), Lines{"  +0x0"});
}

TEST(DumpFormat, ACountThatIsNoMultipleShowsAWidthsPartOfIt) {
    // 10 bytes of 4-byte elements: 2 bytes' worth, which is one element, cut to the row's 2 bytes of room.
    EXPECT_EQ(Dump(Format(4, 25), Counting(10), 0x1000),
              Lines{"0000000000001000: 03020100 " + Blanks(1 + 14) + "+0x0"});
    EXPECT_EQ(Dump(Format(2, ktDumpHex), Counting(5)), Lines{"0100 "});
    EXPECT_EQ(Dump(Format(8, ktDumpHex), Counting(100)), Lines{"0706050403020100 0F0E0D0C0B0A0908 "});
    EXPECT_EQ(Dump(Format(4, ktDumpHex), Counting(70)).size(), 2u); // 17 bytes' worth
}

TEST(DumpFormat, ACountBelowTheWidthShowsNothing) {
    EXPECT_TRUE(Dump(Format(4, 25), Counting(3)).empty());
    EXPECT_TRUE(Dump(Format(2, 25), Counting(1)).empty());
    EXPECT_TRUE(Dump(Format(8, 25), Counting(7)).empty());
    EXPECT_TRUE(Dump(Format(1, 29), Bytes{}).empty());
}

TEST(DumpFormat, TheOffsetRunsFromWhereItStarts) {
    const Bytes bytes = Counting(48);
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, 0x1000), (Lines{" +0x1000", " +0x1010", " +0x1020"}));
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, -16), (Lines{" -0x10", " +0x0", " +0x10"}));
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, -0xABCDEF), (Lines{" -0xABCDEF", " -0xABCDDF", " -0xABCDCF"}));
}

TEST(DumpFormat, TheOffsetShowsItsLow32Bits) {
    const Bytes bytes = Counting(16);
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, 0xFFFFFFFF), Lines{" +0xFFFFFFFF"});
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, 0x123456789), Lines{" +0x23456789"});
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, -0x123456789), Lines{" -0x23456789"});
    EXPECT_EQ(Dump(Format(1, 16), bytes, 0, INT64_MIN), Lines{" -0x0"});
    EXPECT_EQ(Dump(Format(1, 16), Counting(32), 0, INT64_MAX), (Lines{" +0xFFFFFFFF", " -0xFFFFFFF1"}));
}

TEST(DumpFormat, TheAddressWrapsAtTheTop) {
    EXPECT_EQ(Dump(Format(1, 8), Counting(48), 0xFFFFFFFFFFFFFFF0),
              (Lines{"FFFFFFFFFFFFFFF0: ", "0000000000000000: ", "0000000000000010: "}));
}

TEST(DumpFormat, ComputedRowsFollowTheColumns) {
    const auto rowBytes = [](uint32_t width, uint32_t columns) {
        ktDumpFormat format = Format(width, 1, ktDumpFitRow);
        format.maxColumns = columns;
        return format.RowBytes();
    };
    EXPECT_EQ(rowBytes(1, 256), (256u - 20) / 3);
    EXPECT_EQ(rowBytes(2, 256), (256u - 20) / 5);
    EXPECT_EQ(rowBytes(4, 256), (256u - 20) / 9);
    EXPECT_EQ(rowBytes(8, 256), (256u - 20) / 17);
    EXPECT_EQ(rowBytes(1, 80), 20u);
    EXPECT_EQ(rowBytes(1, 23), 1u);
    EXPECT_EQ(rowBytes(1, 22), 0u); // wide enough for two digits, not for the blank behind them
    EXPECT_EQ(rowBytes(1, 21), 0u);
    EXPECT_EQ(rowBytes(8, 36), 0u);
    EXPECT_EQ(rowBytes(8, 37), 1u);
    EXPECT_EQ(rowBytes(8, 35), 0u);
    EXPECT_EQ(rowBytes(4, 0), 0u);
    EXPECT_EQ(rowBytes(1, 0xFFFFFFFF), (0xFFFFFFFFu - 20) / 3);
}

TEST(DumpFormat, ComputedRowsCutTheDump) {
    ktDumpFormat format = Format(1, 1, ktDumpFitRow);
    format.maxColumns = 32;
    EXPECT_EQ(Dump(format, Counting(10)), (Lines{"00 01 02 03 ", "04 05 06 07 ", "08 09 "}));
    format.maxColumns = 22;
    EXPECT_TRUE(Dump(format, Counting(10)).empty());
    format.maxColumns = 0;
    EXPECT_TRUE(Dump(format, Counting(10)).empty());
}

TEST(DumpFormat, ARowThatCutsAnElementShowsItWholeInBothRows) {
    // Rows of 5 bytes: the second element of the first row reaches into the next one.
    EXPECT_EQ(Dump(Format(4, 1, 5), Counting(8)), (Lines{"03020100 07060504 ", "00070605 "}));
}

TEST(DumpFormat, OnlyFourElementWidthsShow) {
    for (const uint32_t width : {0u, 3u, 5u, 6u, 7u, 9u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Format(width, 29).RowBytes(), 0u);
        EXPECT_TRUE(Dump(Format(width, 29), Counting(64)).empty()) << width;
    }
}

TEST(DumpFormat, RowsOfNoBytesShowNothing) { EXPECT_TRUE(Dump(Format(1, 29, 0), Counting(64)).empty()); }

TEST(DumpFormat, ANullSinkDropsTheRows) {
    const Bytes bytes = Counting(64);
    Format(1, 29).Dump(0, bytes, 0);
    EXPECT_EQ(Dump(Format(1, 29), bytes).size(), 4u);
}

TEST(DumpFormat, ARowIsCutAt255Characters) {
    const Lines lines = Dump(Format(1, 29, 100), Counting(100, 0x41), 0x1000);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].size(), 255u);
    EXPECT_TRUE(lines[0].starts_with("0000000000001000: 41 42 "));
    // Padding that would never end is cut as well.
    EXPECT_EQ(Dump(Format(1, 29, 0xFFFFFFFE), Counting(4))[0].size(), 255u);
}

TEST(DumpFormat, ACutRowHoldsNoPartOfACharacter) {
    const std::string face = "\xF0\x9F\x98\x80";
    Bytes bytes;
    for (int i = 0; i < 60; ++i)
        for (const uint8_t byte : Points({0x1F600})) bytes.push_back(byte);
    const ktDumpFormat format = Format(4, ktDumpChars | ktDumpOffset, static_cast<uint32_t>(bytes.size()));
    for (size_t pad = 0; pad < 6; ++pad) {
        std::string expected = std::string(pad, '-') + ' ';
        while (expected.size() + face.size() <= 255) expected += face + ' ';
        expected.resize(255, ' '); // and nothing smaller comes in place of the one that is cut
        char line[ktDumpFormat::rowTextSize];
        ktCutText text(line);
        text.Fill('-', pad);
        format.PutRow(text, {0, 0, format.rowBytes, bytes});
        EXPECT_EQ(line, expected) << pad;
    }
}

TEST(DumpFormat, ARowAppendsToWhatStandsInTheLine) {
    char line[256];
    ktCutText text(line);
    text.Put("0010:0000000000001000: ");
    const Bytes bytes = Counting(16, 0x30);
    Format(1, 21).PutRow(text, {0x1000, 0x40, 16, bytes});
    EXPECT_STREQ(line, "0010:0000000000001000: 30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F  "
                       "0123456789:;<=>? +0x40");
}

TEST(DumpFormat, ARowMayCoverNothing) {
    char line[256];
    ktCutText text(line);
    Format(1, 29, 4).PutRow(text, {0x1000, 0, 0, {}});
    EXPECT_EQ(std::string(line), "0000000000001000: " + Blanks(1 + 12) + Blanks(1 + 4) + "+0x0");
}

TEST(DumpFormat, RandomDumpsMatchPlainPrintf) {
    std::mt19937_64 random(20);
    for (int round = 0; round < 2000; ++round) {
        const uint32_t width = 1u << random() % 4;
        const auto flags = static_cast<uint8_t>(random() % 32 & ~(width >= 4 ? uint32_t(ktDumpChars) : 0));
        const uint32_t rowBytes = width * (1 + static_cast<uint32_t>(random() % 3));
        Bytes bytes(random() % 100);
        for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
        const uint64_t address = random();
        const auto offset = static_cast<int64_t>(random() % 0x2000) - 0x1000;

        Lines expected;
        const size_t shown = bytes.size() % width == 0 ? bytes.size() : bytes.size() / width;
        for (size_t row = 0; row < shown; row += rowBytes) {
            char text[1024];
            int length = 0;
            const auto put = [&](const char *format, auto... values) {
                length += std::snprintf(text + length, sizeof(text) - size_t(length), format, values...);
            };
            text[0] = 0;
            const size_t count = std::min<size_t>(shown - row, rowBytes);
            const auto element = [&](size_t at) {
                uint64_t value = 0;
                for (uint32_t i = width; i-- > 0;)
                    value = value << 8 | (row + at + i < bytes.size() ? bytes[row + at + i] : 0);
                return value;
            };
            if (flags & 8) put("%016" PRIX64 ": ", address + row);
            for (size_t at = 0; flags & 1 && at < count; at += width)
                put("%0*" PRIX64 " ", static_cast<int>(2 * width), element(at));
            for (size_t at = 0; flags & 2 && at < count; at += width) {
                const uint64_t value = element(at);
                if (width == 8)
                    put("%016" PRId64 " ", static_cast<int64_t>(value));
                else
                    put("%0*d ", static_cast<int>(2 * width), static_cast<int>(value));
            }
            if (flags & 4) {
                put("%*s", static_cast<int>(1 + 3 * (rowBytes - count)), "");
                for (size_t at = 0; at < count; at += width) {
                    const uint64_t value = element(at);
                    put("%c", value >= 0x20 && value <= 0x7D ? static_cast<int>(value) : '.');
                }
            }
            if (flags & 16) {
                put("%*s", static_cast<int>(1 + rowBytes - count), "");
                const int64_t at = offset + static_cast<int64_t>(row);
                put("%c0x%X", at < 0 ? '-' : '+', static_cast<unsigned>(at < 0 ? -at : at));
            }
            expected.emplace_back(text);
        }
        ASSERT_EQ(Dump(Format(width, flags, rowBytes), bytes, address, offset), expected)
            << "width " << width << " flags " << int(flags) << " count " << bytes.size();
    }
}
