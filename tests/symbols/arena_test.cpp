#include "symbols/arena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "support/allocation_count.h"

namespace {

TEST(Arena, PiecesAreAlignedAndApart) {
    ktArena arena;
    struct Piece {
        char *begin;
        size_t size;
    };
    std::vector<Piece> pieces;
    uint32_t number = 12345;
    for (int i = 0; i < 5000; ++i) {
        number = number * 1664525 + 1013904223;
        const size_t size = 1 + (number >> 16) % 200;
        const size_t alignment = size_t(1) << (number >> 8) % 4;
        auto *piece = static_cast<char *>(arena.Allocate(size, alignment));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(piece) % alignment, 0u);
        std::memset(piece, i & 0x7F, size);
        pieces.push_back({piece, size});
    }
    for (size_t i = 0; i < pieces.size(); ++i)
        EXPECT_EQ(std::string(pieces[i].begin, pieces[i].size), std::string(pieces[i].size, char(i & 0x7F)));
}

TEST(Arena, MakesObjectsWithTheirArguments) {
    struct Pair {
        Pair(uint64_t a, uint32_t b) : first(a), second(b) {}
        uint64_t first;
        uint32_t second;
    };
    ktArena arena;
    const Pair *pair = arena.Make<Pair>(7u, 8u);
    EXPECT_EQ(pair->first, 7u);
    EXPECT_EQ(pair->second, 8u);
}

TEST(Arena, TextsAreTerminatedCopies) {
    ktArena arena;
    std::string source = "some text";
    const char *copy = arena.CopyText(std::string_view(source).substr(5));
    const char *empty = arena.CopyText("");
    source.assign(source.size(), 'x');
    EXPECT_STREQ(copy, "text");
    EXPECT_STREQ(empty, "");
}

TEST(Arena, AnUnusedOneHoldsNoMemoryAndASmallOneLittle) {
    ktArena arena;
    EXPECT_EQ(arena.MemoryBytes(), 0u);
    arena.Allocate(8, 8);
    EXPECT_LE(arena.MemoryBytes(), 4096u);
}

TEST(Arena, MemoryStaysNearWhatIsUsed) {
    ktArena arena;
    size_t used = 0;
    for (int i = 0; i < 100'000; ++i) {
        arena.Allocate(72, 8);
        used += 72;
        ASSERT_LE(arena.MemoryBytes(), 2 * used + 4096);
    }
}

TEST(Arena, ALargePieceLeavesTheRestOfTheBlockInUse) {
    ktArena arena;
    auto *before = static_cast<char *>(arena.Allocate(16, 8));
    std::memset(arena.Allocate(1 << 20, 8), 1, 1 << 20);
    EXPECT_EQ(arena.Allocate(16, 8), before + 16);
}

TEST(Arena, VeryManyTextsTakeFewBlocks) {
    constexpr int count = 1'000'000;
    ktArena arena;
    size_t used = 0;
    const uint64_t before = AllocationCount();
    for (int i = 0; i < count; ++i) {
        const std::string_view text =
            std::string_view("0123456789abcdef").substr(0, static_cast<size_t>(i % 17));
        arena.CopyText(text);
        used += text.size() + 1;
    }
    // Blocks of 256 KiB but for the first few, and the list of them.
    EXPECT_LE(AllocationCount() - before, used / (256 * 1024) + 32);
    EXPECT_LE(arena.MemoryBytes(), used + used / 4 + 256 * 1024);
}

TEST(Arena, TextsOfAllLengthsTakeNoMoreBlocksThanTextsAndLittleMoreMemory) {
    ktArena arena;
    uint64_t texts = 0;
    size_t used = 0;
    const std::string longest(300'000, 'x');
    const uint64_t before = AllocationCount();
    // Around a quarter of each block size, where a text gets a block of its own or leaves a block's rest.
    for (size_t quarter = 1024; quarter <= 64 * 1024; quarter *= 2) {
        for (size_t i = 0; i < 200; ++i) {
            for (const size_t size : {quarter - 2, quarter - 1, quarter, size_t(1), size_t(100)}) {
                arena.CopyText(std::string_view(longest).substr(0, size));
                used += size + 1;
                ++texts;
                ASSERT_LE(arena.MemoryBytes(), 3 * used + 4096); // rests of blocks, and a new one
            }
        }
    }
    arena.CopyText(longest);
    EXPECT_LE(AllocationCount() - before, texts + 32);
}

TEST(Arena, WithoutMemoryItThrowsGoesOnAfterwardsAndLeaksNothing) {
    const int64_t before = LiveAllocationCount();
    for (uint64_t number = 0; number < 12; ++number) { // of blocks, and of growths of the list of them
        ktArena arena;
        const ktAllocationThrow failure(number);
        int refused = 0;
        for (int i = 0; i < 20; ++i) {
            try {
                arena.Allocate(100'000, 8); // a block of its own
            } catch (const std::bad_alloc &) {
                ++refused;
            }
        }
        EXPECT_EQ(refused, 1) << number;
    }
    EXPECT_EQ(LiveAllocationCount(), before);
}

TEST(Arena, APieceOfNoBytesIsAPlaceToo) {
    ktArena arena;
    EXPECT_TRUE(arena.Allocate(0, 1) || arena.MemoryBytes() == 0);
    EXPECT_TRUE(arena.Allocate(1, 1));
}

} // namespace
