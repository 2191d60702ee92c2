#include "app/log_lines.h"

#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint64_t growth = ktLogLines::growth;

bool Append(ktLogLines &lines, const std::string &bytes) { return lines.Append(bytes.data(), bytes.size()); }

std::vector<std::string> AllLines(const ktLines &lines) {
    std::vector<std::string> all;
    for (uint64_t i = 0; i < lines.GetLineCount(); ++i) all.emplace_back(lines.GetLine(i));
    return all;
}

std::string TakeText(ktLines &lines) {
    char *text = lines.GetText();
    const std::string taken = text ? text : "(null)";
    std::free(text);
    return taken;
}

using Strings = std::vector<std::string>;

/// How many more blocks the failing allocator gives out.
int blocksLeft = 0;

void *LimitedReallocate(void *block, size_t size) {
    if (blocksLeft == 0) return nullptr;
    --blocksLeft;
    return std::realloc(block, size);
}

} // namespace

TEST(LogLines, StartsEmptyAndUsableEvenWithoutReserve) {
    ktLogLines lines;
    EXPECT_FALSE(lines.IsReady());
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_EQ(lines.GetLine(0), nullptr);
    EXPECT_TRUE(lines.AddLine("first"));
    EXPECT_TRUE(lines.IsReady());
    EXPECT_EQ(lines.GetCapacity(), growth);
    EXPECT_EQ(AllLines(lines), (Strings{"first"}));
}

TEST(LogLines, ReserveMakesTheFirstBufferOnce) {
    ktLogLines lines;
    EXPECT_TRUE(lines.Reserve());
    EXPECT_TRUE(lines.IsReady());
    EXPECT_EQ(lines.GetCapacity(), 0x80000u);
    EXPECT_TRUE(lines.AddLine("kept"));
    EXPECT_TRUE(lines.Reserve());
    EXPECT_EQ(lines.GetCapacity(), 0x80000u);
    EXPECT_EQ(AllLines(lines), (Strings{"kept"}));
}

TEST(LogLines, ReserveFailsWithoutMemory) {
    blocksLeft = 0;
    ktLogLines lines(LimitedReallocate);
    EXPECT_FALSE(lines.Reserve());
    EXPECT_FALSE(lines.IsReady());
    EXPECT_FALSE(lines.AddLine("nowhere to go"));
    EXPECT_EQ(lines.GetLineCount(), 0u);
}

TEST(LogLines, AddLineEndsTheLine) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("one"));
    EXPECT_FALSE(lines.HasOpenLine());
    EXPECT_TRUE(lines.AddLine(""));
    EXPECT_TRUE(lines.AddLine("two"));
    EXPECT_EQ(AllLines(lines), (Strings{"one", "", "two"}));
    EXPECT_FALSE(lines.AddLine(nullptr));
    EXPECT_EQ(lines.GetLineCount(), 3u);
    EXPECT_EQ(lines.GetLine(3), nullptr);
    EXPECT_EQ(lines.GetLine(~uint64_t(0)), nullptr);
}

TEST(LogLines, AddLineSplitsAtNewlines) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("one\ntwo"));
    EXPECT_EQ(AllLines(lines), (Strings{"one", "two"}));
    EXPECT_TRUE(lines.AddLine("three\n")); // the end of the line comes twice
    EXPECT_EQ(AllLines(lines), (Strings{"one", "two", "three", ""}));
}

TEST(LogLines, TwoAppendsWithOneNewlineAtTheEndMakeOneLine) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "hello, "));
    EXPECT_TRUE(lines.HasOpenLine());
    EXPECT_EQ(AllLines(lines), (Strings{"hello, "}));
    EXPECT_TRUE(Append(lines, "world\n"));
    EXPECT_FALSE(lines.HasOpenLine());
    EXPECT_EQ(AllLines(lines), (Strings{"hello, world"}));
}

TEST(LogLines, TwoNewlinesMakeAnEmptyLineAndTextBehindTheLastStaysOpen) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "one\n\ntwo"));
    EXPECT_EQ(AllLines(lines), (Strings{"one", "", "two"}));
    EXPECT_TRUE(lines.HasOpenLine());
    EXPECT_TRUE(Append(lines, "+\nthree\n"));
    EXPECT_EQ(AllLines(lines), (Strings{"one", "", "two+", "three"}));
}

TEST(LogLines, ANewlineAloneEndsAnOpenLineOrMakesAnEmptyOne) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "open"));
    EXPECT_TRUE(Append(lines, "\n"));
    EXPECT_TRUE(Append(lines, "\n"));
    EXPECT_EQ(AllLines(lines), (Strings{"open", ""}));
}

TEST(LogLines, AnAppendOfNothingSucceedsAndChangesNothing) {
    ktLogLines lines;
    EXPECT_TRUE(lines.Append(nullptr, 0));
    EXPECT_TRUE(lines.Append("x", 0));
    EXPECT_FALSE(lines.Append(nullptr, 1));
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_FALSE(lines.HasOpenLine());
}

TEST(LogLines, AddLineContinuesAnOpenLine) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "a"));
    EXPECT_TRUE(lines.AddLine("b"));
    EXPECT_EQ(AllLines(lines), (Strings{"ab"}));
}

TEST(LogLines, ALineThatJustFitsDoesNotGrowTheBuffer) {
    ktLogLines lines;
    const std::string filling(growth - 1, 'x');
    EXPECT_TRUE(lines.AddLine(filling.c_str()));
    // The line's end asks for room for a terminator that is already there, and finds it.
    EXPECT_EQ(lines.GetCapacity(), growth);
    EXPECT_EQ(lines.GetLine(0), filling);
    EXPECT_TRUE(lines.AddLine(""));
    EXPECT_EQ(lines.GetCapacity(), 2 * growth);
    EXPECT_EQ(lines.GetLine(0), filling);
    EXPECT_STREQ(lines.GetLine(1), "");
}

TEST(LogLines, GrowsByWholeStepsUntilTheTextFits) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("before"));
    const std::string big(3 * growth, 'y');
    EXPECT_TRUE(lines.AddLine(big.c_str()));
    EXPECT_EQ(lines.GetCapacity(), 4 * growth);
    EXPECT_EQ(AllLines(lines), (Strings{"before", big}));
}

TEST(LogLines, AFailedGrowthKeepsTheLinesBefore) {
    blocksLeft = 2; // the buffer and the offsets
    ktLogLines lines(LimitedReallocate);
    const std::string half(growth / 2, 'h');
    EXPECT_TRUE(lines.AddLine(half.c_str()));
    EXPECT_FALSE(Append(lines, "fits\n" + half + "\nnot reached\n"));
    EXPECT_EQ(AllLines(lines), (Strings{half, "fits"}));
    EXPECT_TRUE(lines.AddLine("small ones still go"));
    EXPECT_EQ(lines.GetLineCount(), 3u);
}

TEST(LogLines, AFailedGrowthOfTheOffsetsRefusesTheLine) {
    blocksLeft = 2;
    ktLogLines lines(LimitedReallocate);
    uint64_t stored = 0;
    while (stored < 100000 && lines.AddLine("x")) ++stored;
    EXPECT_GT(stored, 0u);
    EXPECT_LT(stored, 100000u);
    EXPECT_EQ(lines.GetLineCount(), stored);
    EXPECT_STREQ(lines.GetLine(stored - 1), "x");
}

TEST(LogLines, ClearRemovesTheLinesAndKeepsTheBuffer) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "one\ntwo"));
    lines.LockExclusive();
    lines.Clear();
    lines.UnlockExclusive();
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_EQ(lines.GetLine(0), nullptr);
    EXPECT_FALSE(lines.HasOpenLine());
    EXPECT_EQ(lines.GetCapacity(), growth);
    EXPECT_TRUE(Append(lines, "new")); // begins a line of its own
    EXPECT_EQ(AllLines(lines), (Strings{"new"}));
}

TEST(LogLines, GetTextOfAnEmptyStoreIsNull) {
    ktLogLines lines;
    EXPECT_EQ(lines.GetText(), nullptr);
    EXPECT_TRUE(lines.Reserve());
    EXPECT_EQ(lines.GetText(), nullptr);
    EXPECT_TRUE(lines.AddLine("x"));
    lines.Clear();
    EXPECT_EQ(lines.GetText(), nullptr);
}

TEST(LogLines, GetTextJoinsTheLinesWithNewlines) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("one"));
    EXPECT_TRUE(lines.AddLine(""));
    EXPECT_EQ(TakeText(lines), "one\n\n");
    EXPECT_TRUE(Append(lines, "open"));
    EXPECT_EQ(TakeText(lines), "one\n\nopen");
}

TEST(LogLines, GetTextTurnsEveryZeroByteIntoANewline) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, std::string("a\0b\n", 4)));
    EXPECT_STREQ(lines.GetLine(0), "a");
    EXPECT_EQ(lines.GetLineCount(), 1u);
    EXPECT_EQ(TakeText(lines), "a\nb\n");
}

TEST(LogLines, GetTextWithoutMemoryIsNull) {
    blocksLeft = 2;
    ktLogLines lines(LimitedReallocate);
    EXPECT_TRUE(lines.AddLine("x"));
    EXPECT_EQ(lines.GetText(), nullptr);
}

TEST(LogLines, GetTextEntersTheSharedLockAgain) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("x"));
    std::atomic<bool> cleared{false};
    lines.LockShared();
    std::thread clearer([&] {
        lines.LockExclusive();
        lines.Clear();
        cleared = true;
        lines.UnlockExclusive();
    });
    SleepMilliseconds(20); // the other thread waits for the lock by now
    EXPECT_EQ(TakeText(lines), "x\n");
    EXPECT_FALSE(cleared);
    lines.UnlockShared();
    clearer.join();
    EXPECT_EQ(lines.GetLineCount(), 0u);
}

TEST(LogLines, AppendingWaitsForNoLock) {
    ktLogLines lines;
    lines.LockShared();
    std::thread([&] { EXPECT_TRUE(lines.AddLine("while somebody reads")); }).join();
    lines.UnlockShared();
    lines.LockExclusive();
    std::thread([&] { EXPECT_TRUE(Append(lines, "while somebody writes\n")); }).join();
    lines.UnlockExclusive();
    EXPECT_EQ(lines.GetLineCount(), 2u);
}

TEST(LogLines, ALineOutlivesGrowthWhileTheLockIsHeld) {
    ktLogLines lines;
    EXPECT_TRUE(lines.AddLine("first"));
    lines.LockShared();
    const char *first = lines.GetLine(0);
    const std::string big(growth, 'z');
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(lines.AddLine(big.c_str()));
    EXPECT_STREQ(first, "first");
    EXPECT_STREQ(lines.GetLine(0), "first");
    lines.UnlockShared();
    EXPECT_STREQ(lines.GetLine(0), "first");
    EXPECT_EQ(lines.GetLine(5), big);
}

TEST(LogLines, AnOpenLineStaysAsItWasReadWhileTheLockIsHeld) {
    ktLogLines lines;
    EXPECT_TRUE(Append(lines, "op"));
    lines.LockShared();
    const char *before = lines.GetLine(0);
    EXPECT_TRUE(Append(lines, "en\n"));
    EXPECT_STREQ(before, "op");
    EXPECT_STREQ(lines.GetLine(0), "open");
    lines.UnlockShared();
}

TEST(LogLines, AReaderWalksWhileAWriterAppendsAndTheBufferGrows) {
    ktLogLines lines;
    constexpr uint64_t total = 30000;
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (uint64_t i = 0; i < total; ++i) {
            const std::string number = std::to_string(i);
            if (i % 3 == 0) {
                EXPECT_TRUE(Append(lines, number + ":"));
                EXPECT_TRUE(Append(lines, std::string(40, 'x') + "\n"));
            } else {
                EXPECT_TRUE(lines.AddLine((number + ":" + std::string(40, 'x')).c_str()));
            }
        }
        done = true;
    });
    std::thread clearer([&] {
        while (!done) {
            SleepMilliseconds(15);
            lines.LockExclusive();
            lines.UnlockExclusive();
        }
    });
    uint64_t walked = 0;
    for (bool last = false; !last;) { // once more after the writer has ended
        last = done;
        lines.LockShared();
        const uint64_t count = lines.GetLineCount();
        const uint64_t first = count > 50 ? count - 50 : 0;
        for (uint64_t i = first; i < count; ++i) {
            const char *line = lines.GetLine(i);
            ASSERT_NE(line, nullptr);
            char *end = nullptr;
            ASSERT_EQ(std::strtoull(line, &end, 10), i);
            ASSERT_EQ(*end, ':');
            const size_t length = std::strlen(end + 1);
            ASSERT_TRUE(length == 40 || (length == 0 && i + 1 == count)) << i << " " << length;
            ++walked;
        }
        if (walked % 7 == 0) std::free(lines.GetText());
        lines.UnlockShared();
    }
    writer.join();
    clearer.join();
    EXPECT_GT(walked, 0u);
    EXPECT_EQ(lines.GetLineCount(), total);
    EXPECT_GT(lines.GetCapacity(), growth);
}

TEST(LogLines, ClearingWhileOthersAppendLosesNoOrder) {
    ktLogLines lines;
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    std::atomic<int> running{2};
    for (int writer = 0; writer < 2; ++writer) {
        writers.emplace_back([&, writer] {
            const std::string text(20, static_cast<char>('a' + writer));
            for (int i = 0; i < 5000; ++i) EXPECT_TRUE(lines.AddLine(text.c_str()));
            if (--running == 0) done = true;
        });
    }
    uint64_t seen = 0;
    for (bool last = false; !last;) {
        last = done;
        lines.LockExclusive();
        const uint64_t count = lines.GetLineCount();
        for (uint64_t i = 0; i < count; ++i) {
            const char *line = lines.GetLine(i);
            ASSERT_EQ(std::strlen(line), 20u) << "lines of two writers got mixed: " << line;
            ASSERT_EQ(std::strspn(line, line[0] == 'a' ? "a" : "b"), 20u);
        }
        seen += count;
        lines.Clear();
        lines.UnlockExclusive();
        YieldThread();
    }
    for (std::thread &writer : writers) writer.join();
    EXPECT_GT(seen, 0u);
    EXPECT_LE(seen, 10000u);
}
