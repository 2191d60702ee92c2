#include "app/circular_lines.h"

#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint64_t capacity = ktCircularLines::capacity;

/// What the store must hold, told in laps instead of slots: the lap being written, and what is left of
/// the one before.
class Model {
public:
    void Add(const std::string &text) {
        const uint64_t need = text.size() + 1;
        if (need > capacity) return;
        if (writeOffset + need > capacity) {
            old = std::move(current); // and the rest of the lap before is gone
            current.clear();
            droppedOfOld = 0;
            writeOffset = 0;
        }
        const uint64_t slot = current.size();
        // A line goes when its bytes are overwritten, and when its slot is needed.
        while (!old.empty() && (old.front().offset < writeOffset + need || droppedOfOld == slot)) {
            old.pop_front();
            ++droppedOfOld;
        }
        current.push_back({writeOffset, text});
        writeOffset += need;
    }

    uint64_t Count() const { return old.size() + current.size(); }
    const std::string &Line(uint64_t index) const {
        return index < old.size() ? old[index].text : current[index - old.size()].text;
    }

private:
    struct Entry {
        uint64_t offset;
        std::string text;
    };
    std::deque<Entry> old;
    std::deque<Entry> current;
    uint64_t droppedOfOld = 0; // lines of `old` that are gone: the slot of its first one
    uint64_t writeOffset = 0;
};

std::unique_ptr<ktCircularLines> MakeStore() {
    auto lines = std::make_unique<ktCircularLines>();
    EXPECT_TRUE(lines->Reserve());
    return lines;
}

/// A line of `length` bytes that tells its number.
std::string NumberedLine(uint64_t number, uint64_t length) {
    std::string line = std::to_string(number) + ":";
    line.resize(length, static_cast<char>('a' + number % 26));
    return line;
}

void ExpectSame(const ktCircularLines &lines, const Model &model) {
    ASSERT_EQ(lines.GetLineCount(), model.Count());
    for (uint64_t i = 0; i < model.Count(); ++i) {
        const char *line = lines.GetLine(i);
        ASSERT_NE(line, nullptr);
        ASSERT_TRUE(line == model.Line(i)) << "line " << i << " of " << model.Count();
    }
    ASSERT_EQ(lines.GetLine(model.Count()), nullptr);
}

int blocksLeft = 0;

void *LimitedReallocate(void *block, size_t size) {
    if (blocksLeft == 0) return nullptr;
    --blocksLeft;
    return std::realloc(block, size);
}

} // namespace

TEST(CircularLines, StartsEmpty) {
    const auto lines = MakeStore();
    EXPECT_EQ(lines->GetLineCount(), 0u);
    EXPECT_EQ(lines->GetLine(0), nullptr);
    EXPECT_EQ(lines->GetAddedCount(), 0u);
}

TEST(CircularLines, RefusesLinesBeforeReserve) {
    ktCircularLines lines;
    EXPECT_FALSE(lines.AddLine("x"));
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_EQ(lines.GetText(), nullptr);
    EXPECT_TRUE(lines.Reserve());
    EXPECT_TRUE(lines.AddLine("x"));
    EXPECT_TRUE(lines.Reserve()); // nothing happens to what there is
    EXPECT_STREQ(lines.GetLine(0), "x");
}

TEST(CircularLines, ReserveFailsWithoutMemory) {
    blocksLeft = 0;
    ktCircularLines lines(LimitedReallocate);
    EXPECT_FALSE(lines.Reserve());
    EXPECT_FALSE(lines.AddLine("x"));
}

TEST(CircularLines, ALineWithoutMemoryForItsOffsetLeavesTheStoreUntouched) {
    blocksLeft = 2; // the buffer and the first offsets
    ktCircularLines lines(LimitedReallocate);
    ASSERT_TRUE(lines.Reserve());
    uint64_t stored = 0;
    while (stored < 100000 && lines.AddLine(std::to_string(stored).c_str())) ++stored;
    EXPECT_GT(stored, 0u);
    EXPECT_LT(stored, 100000u);
    EXPECT_EQ(lines.GetLineCount(), stored);
    EXPECT_EQ(lines.GetAddedCount(), stored);
    EXPECT_EQ(lines.GetLine(stored - 1), std::to_string(stored - 1));
    EXPECT_EQ(lines.GetText(), nullptr); // no memory for that either
}

TEST(CircularLines, KeepsLinesInOrder) {
    const auto lines = MakeStore();
    EXPECT_TRUE(lines->AddLine("one"));
    EXPECT_TRUE(lines->AddLine(""));
    EXPECT_TRUE(lines->AddLine("two\nthree")); // a newline is a byte like any other
    EXPECT_FALSE(lines->AddLine(nullptr));
    EXPECT_EQ(lines->GetLineCount(), 3u);
    EXPECT_STREQ(lines->GetLine(0), "one");
    EXPECT_STREQ(lines->GetLine(1), "");
    EXPECT_STREQ(lines->GetLine(2), "two\nthree");
    EXPECT_EQ(lines->GetLine(3), nullptr);
    EXPECT_EQ(lines->GetLine(~uint64_t(0)), nullptr);
}

TEST(CircularLines, ALineOfTheWholeCapacityIsRefusedOneByteLessIsStored) {
    const auto lines = MakeStore();
    EXPECT_TRUE(lines->AddLine("before"));
    EXPECT_FALSE(lines->AddLine(std::string(0x100000, 'x').c_str()));
    EXPECT_FALSE(lines->AddLine(std::string(0x100001, 'x').c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1u);
    EXPECT_EQ(lines->GetAddedCount(), 1u);
    EXPECT_STREQ(lines->GetLine(0), "before");

    const std::string longest(0xFFFFF, 'y');
    EXPECT_TRUE(lines->AddLine(longest.c_str())); // overwrites all there is
    EXPECT_EQ(lines->GetLineCount(), 1u);
    EXPECT_EQ(lines->GetLine(0), longest);
    EXPECT_EQ(lines->GetAddedCount(), 2u);
}

TEST(CircularLines, TheLongestLineFitsIntoAnEmptyStoreWithoutWrapping) {
    const auto lines = MakeStore();
    const std::string longest(capacity - 1, 'y');
    EXPECT_TRUE(lines->AddLine(longest.c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1u);
    char *text = lines->GetText();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text, longest);
    std::free(text);
    EXPECT_TRUE(lines->AddLine(longest.c_str()));
    EXPECT_TRUE(lines->AddLine(longest.c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1u);
    EXPECT_EQ(lines->GetLine(0), longest);
}

TEST(CircularLines, TheCountFallsAsLinesAreOverwrittenAndLineZeroIsTheOldestLeft) {
    const auto lines = MakeStore();
    constexpr uint64_t size = 1024; // terminator included: the buffer holds 1024 such lines exactly
    for (uint64_t i = 0; i < 1024; ++i) ASSERT_TRUE(lines->AddLine(NumberedLine(i, size - 1).c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1024u);
    EXPECT_EQ(lines->GetLine(0), NumberedLine(0, size - 1));

    // One line ten times as long takes ten lines away.
    ASSERT_TRUE(lines->AddLine(NumberedLine(1024, 10 * size - 1).c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1024u - 10 + 1);
    EXPECT_EQ(lines->GetLine(0), NumberedLine(10, size - 1));
    EXPECT_EQ(lines->GetLine(1014), NumberedLine(1024, 10 * size - 1));
    EXPECT_EQ(lines->GetLine(1015), nullptr);

    // Two lines in the place of one: the first takes it away, the second finds nothing to overwrite.
    ASSERT_TRUE(lines->AddLine(NumberedLine(1025, size / 2 - 1).c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1015u);
    EXPECT_EQ(lines->GetLine(0), NumberedLine(11, size - 1));
    ASSERT_TRUE(lines->AddLine(NumberedLine(1026, size / 2 - 1).c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1016u);
    EXPECT_EQ(lines->GetLine(0), NumberedLine(11, size - 1));
}

TEST(CircularLines, AReusedSlotLosesItsLineEvenWhenItsTextIsFarAway) {
    const auto lines = MakeStore();
    // Two long lines, then short ones in their place: the second short line needs the second slot.
    ASSERT_TRUE(lines->AddLine(NumberedLine(0, capacity / 2 - 1).c_str()));
    ASSERT_TRUE(lines->AddLine(NumberedLine(1, capacity / 2 - 1).c_str()));
    ASSERT_TRUE(lines->AddLine("2"));
    EXPECT_EQ(lines->GetLineCount(), 2u);
    EXPECT_EQ(lines->GetLine(0), NumberedLine(1, capacity / 2 - 1));
    ASSERT_TRUE(lines->AddLine("3"));
    EXPECT_EQ(lines->GetLineCount(), 2u);
    EXPECT_STREQ(lines->GetLine(0), "2");
    EXPECT_STREQ(lines->GetLine(1), "3");
    ASSERT_TRUE(lines->AddLine("4")); // the ring itself grows
    EXPECT_EQ(lines->GetLineCount(), 3u);
    EXPECT_STREQ(lines->GetLine(0), "2");
    EXPECT_STREQ(lines->GetLine(2), "4");
}

TEST(CircularLines, ASecondLapThatOverwroteEverythingEndsWithTheRightCount) {
    const auto lines = MakeStore();
    Model model;
    uint64_t number = 0;
    const auto add = [&](uint64_t length) {
        const std::string line = NumberedLine(number++, length);
        ASSERT_TRUE(lines->AddLine(line.c_str()));
        model.Add(line);
        ExpectSame(*lines, model);
    };
    for (int i = 0; i < 10; ++i) add(capacity / 10 - 1);
    add(capacity - 200); // drops the ten, and leaves more slots than lines
    add(50);
    add(500); // starts the third lap
    EXPECT_EQ(lines->GetLineCount(), 2u);
}

TEST(CircularLines, LongRandomRunsMatchTheModel) {
    struct Mix {
        const char *name;
        uint64_t longest;
        uint32_t oftenEmpty; // percent
        int steps;
    };
    const Mix mixes[] = {
        {"ordinary", 511, 5, 12000},      {"empty", 3, 80, 30000}, {"pages", 20000, 10, 2000},
        {"huge", capacity + 10, 20, 300}, {"same", 0, 0, 8000},    {"wild", 0, 30, 2500},
    };
    for (const Mix &mix : mixes) {
        SCOPED_TRACE(mix.name);
        std::mt19937 random(static_cast<uint32_t>(mix.longest + 7));
        const auto lines = MakeStore();
        Model model;
        uint64_t accepted = 0;
        std::deque<std::string> history; // what was added last, newest at the back
        for (int step = 0; step < mix.steps; ++step) {
            uint64_t length = 0;
            if (random() % 100 >= mix.oftenEmpty) {
                if (mix.longest != 0) {
                    length = random() % (mix.longest + 1);
                } else if (std::strcmp(mix.name, "same") == 0) {
                    length = 1023;
                } else {
                    length = uint64_t(1) << (random() % 21); // up to the capacity itself
                    length -= random() % 2;
                }
            }
            std::string line = length ? NumberedLine(accepted, length) : std::string();
            ASSERT_EQ(lines->AddLine(line.c_str()), line.size() < capacity);
            if (line.size() >= capacity) continue;
            ++accepted;
            model.Add(line);
            history.push_back(line);
            const uint64_t count = lines->GetLineCount();
            ASSERT_EQ(count, model.Count()) << step;
            ASSERT_LE(count, history.size());
            while (history.size() > count) history.pop_front(); // what is gone never comes back
            // The ends at each step, everything now and then.
            ASSERT_TRUE(lines->GetLine(0) == history.front()) << step;
            ASSERT_TRUE(lines->GetLine(count - 1) == line) << step;
            if (step % 499 == 0 || step + 1 == mix.steps) {
                ExpectSame(*lines, model);
                for (uint64_t i = 0; i < count; ++i) ASSERT_TRUE(lines->GetLine(i) == history[i]) << step;
                if (testing::Test::HasFatalFailure()) return;
            }
        }
        EXPECT_EQ(lines->GetAddedCount(), accepted);
    }
}

TEST(CircularLines, ManyEmptyLinesFillTheBufferAndGoOn) {
    const auto lines = MakeStore();
    for (uint64_t i = 0; i < capacity; ++i) ASSERT_TRUE(lines->AddLine(""));
    EXPECT_EQ(lines->GetLineCount(), capacity);
    for (int i = 0; i < 1000; ++i) ASSERT_TRUE(lines->AddLine(""));
    EXPECT_EQ(lines->GetLineCount(), capacity);
    EXPECT_STREQ(lines->GetLine(capacity - 1), "");
    ASSERT_TRUE(lines->AddLine(std::string(capacity - 1, 'x').c_str()));
    EXPECT_EQ(lines->GetLineCount(), 1u);
}

TEST(CircularLines, ClearStartsAnew) {
    const auto lines = MakeStore();
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(lines->AddLine(std::string(capacity / 3, 'x').c_str()));
    lines->LockExclusive();
    lines->Clear();
    lines->UnlockExclusive();
    EXPECT_EQ(lines->GetLineCount(), 0u);
    EXPECT_EQ(lines->GetLine(0), nullptr);
    EXPECT_EQ(lines->GetText(), nullptr);
    EXPECT_EQ(lines->GetAddedCount(), 5u); // counts what came, not what is there
    EXPECT_TRUE(lines->AddLine("a"));
    EXPECT_TRUE(lines->AddLine("b"));
    EXPECT_EQ(lines->GetLineCount(), 2u);
    char *text = lines->GetText();
    EXPECT_STREQ(text, "a\nb"); // joined as before the first wrap
    std::free(text);
}

TEST(CircularLines, GetTextOfAnEmptyStoreIsNull) { EXPECT_EQ(MakeStore()->GetText(), nullptr); }

TEST(CircularLines, GetTextBeforeTheWrapJoinsTheLinesWithoutAFinalNewline) {
    const auto lines = MakeStore();
    ASSERT_TRUE(lines->AddLine("one"));
    char *text = lines->GetText();
    EXPECT_STREQ(text, "one");
    std::free(text);
    ASSERT_TRUE(lines->AddLine(""));
    ASSERT_TRUE(lines->AddLine("two"));
    text = lines->GetText();
    EXPECT_STREQ(text, "one\n\ntwo");
    std::free(text);
}

TEST(CircularLines, GetTextAfterTheWrapLeavesZeroBytesBetweenTheLines) {
    const auto lines = MakeStore();
    const std::string third(capacity / 3, 't');
    ASSERT_TRUE(lines->AddLine("gone"));
    ASSERT_TRUE(lines->AddLine(third.c_str()));
    ASSERT_TRUE(lines->AddLine("oldest"));
    ASSERT_TRUE(lines->AddLine(third.c_str()));
    ASSERT_TRUE(lines->AddLine(third.c_str())); // starts at the beginning and takes the first two away
    ASSERT_EQ(lines->GetLineCount(), 3u);
    ASSERT_STREQ(lines->GetLine(0), "oldest");
    char *text = lines->GetText();
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "oldest"); // all that a reader of text sees
    EXPECT_EQ(text + 7, third);
    EXPECT_EQ(text + 7 + third.size() + 1, third);
    std::free(text);
}

TEST(CircularLines, GetTextAfterTheWrapFitsEvenWhenTheBufferIsFull) {
    const auto lines = MakeStore();
    for (int i = 0; i < 1025; ++i) ASSERT_TRUE(lines->AddLine(NumberedLine(uint64_t(i), 1023).c_str()));
    ASSERT_EQ(lines->GetLineCount(), 1024u); // 1024 bytes each: the whole buffer
    char *text = lines->GetText();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text + 1023 * 1024, NumberedLine(1024, 1023));
    std::free(text);
}

TEST(CircularLines, GetTextEntersTheSharedLockAgain) {
    const auto lines = MakeStore();
    ASSERT_TRUE(lines->AddLine("x"));
    lines->LockShared();
    std::thread clearer([&] {
        lines->LockExclusive();
        lines->Clear();
        lines->UnlockExclusive();
    });
    SleepMilliseconds(20); // the other thread waits for the lock by now
    char *text = lines->GetText();
    EXPECT_STREQ(text, "x");
    std::free(text);
    lines->UnlockShared();
    clearer.join();
    EXPECT_EQ(lines->GetLineCount(), 0u);
}

TEST(CircularLines, AppendingWaitsForNoLock) {
    const auto lines = MakeStore();
    lines->LockShared();
    std::thread([&] { EXPECT_TRUE(lines->AddLine("while somebody reads")); }).join();
    lines->UnlockShared();
    lines->LockExclusive();
    std::thread([&] { EXPECT_TRUE(lines->AddLine("while somebody writes")); }).join();
    lines->UnlockExclusive();
    EXPECT_EQ(lines->GetLineCount(), 2u);
}

TEST(CircularLines, ALineStaysReadableWhileTheLockIsHeld) {
    const auto lines = MakeStore();
    ASSERT_TRUE(lines->AddLine("oldest"));
    lines->LockShared();
    const char *line = lines->GetLine(0);
    const std::string longest(capacity - 1, 'y');
    ASSERT_TRUE(lines->AddLine(longest.c_str()));
    EXPECT_STREQ(line, "oldest");
    EXPECT_EQ(lines->GetLine(0), longest);
    lines->UnlockShared();
}

TEST(CircularLines, AReaderSeesWholeLinesWhileTheyAreOverwritten) {
    const auto lines = MakeStore();
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (uint64_t i = 0; i < 20000; ++i) {
            EXPECT_TRUE(lines->AddLine(NumberedLine(i, 20 + i % 300).c_str()));
        }
        done = true;
    });
    uint64_t walked = 0;
    for (bool last = false; !last;) { // once more after the writer has ended
        last = done;
        lines->LockShared();
        uint64_t before = 0;
        for (uint64_t i = 0; i < 60; ++i) {
            const char *line = lines->GetLine(i);
            if (!line) break;
            char *end = nullptr;
            const uint64_t number = std::strtoull(line, &end, 10);
            ASSERT_EQ(*end, ':');
            ASSERT_TRUE(line == NumberedLine(number, 20 + number % 300));
            ASSERT_TRUE(i == 0 || number > before); // lines may be skipped, never repeated
            before = number;
            ++walked;
        }
        lines->UnlockShared();
    }
    writer.join();
    EXPECT_GT(walked, 0u);
    EXPECT_EQ(lines->GetAddedCount(), 20000u);
}

TEST(CircularLines, AddedLinesAreFoundByTheirNumberUntilTheyAreOverwritten) {
    ktCircularLines lines;
    ASSERT_TRUE(lines.Reserve());
    EXPECT_EQ(lines.GetAddedLine(0), nullptr);
    const std::string filler(ktCircularLines::capacity / 4 - 1, 'x');
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(lines.AddLine((std::to_string(i) + filler).substr(0, filler.size()).c_str()));
    const uint64_t gone = lines.GetAddedCount() - lines.GetLineCount();
    EXPECT_GT(gone, 0u);
    for (uint64_t number = 0; number < 8; ++number) {
        const char *line = lines.GetAddedLine(number);
        ASSERT_EQ(line != nullptr, number >= gone && number < 6) << number;
        if (line) {
            EXPECT_EQ(line[0], static_cast<char>('0' + number));
        }
    }
    lines.Clear();
    EXPECT_EQ(lines.GetAddedLine(5), nullptr);
}
