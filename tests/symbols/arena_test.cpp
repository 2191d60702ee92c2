#include "symbols/arena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

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

TEST(Arena, APieceOfNoBytesIsAPlaceToo) {
    ktArena arena;
    EXPECT_TRUE(arena.Allocate(0, 1) || arena.MemoryBytes() == 0);
    EXPECT_TRUE(arena.Allocate(1, 1));
}

} // namespace
