#include "session/mem_reader.h"

#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

namespace {

const char text[] = "0123456789";
constexpr uint64_t size = 10;

} // namespace

TEST(MemReader, StartsAtTheBeginning) {
    MemReader reader(text, size);
    EXPECT_EQ(reader.GetPosition(), 0u);
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_TRUE(MemReader(text, 0).IsAtEnd());
}

TEST(MemReader, ReadMovesThePosition) {
    MemReader reader(text, size);
    char buffer[4] = {};
    uint32_t done = 99;
    EXPECT_TRUE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 4u);
    EXPECT_EQ(std::memcmp(buffer, "0123", 4), 0);
    EXPECT_EQ(reader.GetPosition(), 4u);
    EXPECT_TRUE(reader.Read(buffer, 1, nullptr));
    EXPECT_EQ(buffer[0], '4');
}

TEST(MemReader, ReadIsClampedToWhatRemains) {
    MemReader reader(text, size);
    char buffer[16] = {};
    uint32_t done = 0;
    EXPECT_TRUE(reader.Seek(7));
    EXPECT_TRUE(reader.Read(buffer, 0xFFFFFFFF, &done));
    EXPECT_EQ(done, 3u);
    EXPECT_STREQ(buffer, "789");
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MemReader, ReadOfNothingFails) {
    MemReader reader(text, size);
    char buffer[4];
    uint32_t done = 99;
    EXPECT_FALSE(reader.Read(buffer, 0, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(reader.Read(nullptr, 4, nullptr));
    EXPECT_EQ(reader.GetPosition(), 0u);
    reader.Seek(size);
    EXPECT_FALSE(reader.Read(buffer, 4, nullptr));
    EXPECT_FALSE(reader.ReadExact(buffer, 0));
}

TEST(MemReader, NoBlockGivesNothing) {
    MemReader reader(nullptr, size);
    char buffer[4];
    EXPECT_FALSE(reader.Read(buffer, 4, nullptr));
    const auto sub = reader.SubReader(2, 6);
    ASSERT_NE(sub, nullptr);
    EXPECT_FALSE(sub->ReadExact(buffer, 4));
}

TEST(MemReader, ReadExactNeedsAllBytes) {
    MemReader reader(text, size);
    char buffer[8];
    EXPECT_TRUE(reader.ReadExact(buffer, 8));
    EXPECT_FALSE(reader.ReadExact(buffer, 8));
    // It read what there was all the same.
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(buffer[0], '8');
}

TEST(MemReader, SeekFailsPastTheSize) {
    MemReader reader(text, size);
    EXPECT_TRUE(reader.Seek(size));
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_TRUE(reader.Seek(3));
    EXPECT_FALSE(reader.Seek(size + 1));
    EXPECT_FALSE(reader.Seek(UINT64_MAX));
    EXPECT_EQ(reader.GetPosition(), 3u);
}

TEST(MemReader, SkipFailsPastTheSize) {
    MemReader reader(text, size);
    EXPECT_TRUE(reader.Skip(4));
    EXPECT_TRUE(reader.Skip(0));
    EXPECT_FALSE(reader.Skip(7));
    EXPECT_FALSE(reader.Skip(UINT64_MAX));
    EXPECT_EQ(reader.GetPosition(), 4u);
    EXPECT_TRUE(reader.Skip(6));
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MemReader, SeekFromEndLandsAtOrBeforeTheEnd) {
    MemReader reader(text, size);
    EXPECT_TRUE(reader.SeekFromEnd(-3));
    EXPECT_EQ(reader.GetPosition(), 7u);
    EXPECT_FALSE(reader.SeekFromEnd(1));
    EXPECT_FALSE(reader.SeekFromEnd(-11));
    EXPECT_FALSE(reader.SeekFromEnd(INT64_MIN));
    EXPECT_FALSE(reader.SeekFromEnd(INT64_MAX));
    EXPECT_EQ(reader.GetPosition(), 7u);
    EXPECT_TRUE(reader.SeekFromEnd(-10));
    EXPECT_EQ(reader.GetPosition(), 0u);
    EXPECT_TRUE(reader.SeekFromEnd(0));
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MemReader, CloneStandsAtTheSamePositionAndMovesAlone) {
    MemReader reader(text, size);
    reader.Seek(4);
    const auto clone = reader.Clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetPosition(), 4u);
    char byte = 0;
    EXPECT_TRUE(clone->ReadExact(&byte, 1));
    EXPECT_EQ(byte, '4');
    EXPECT_EQ(reader.GetPosition(), 4u);
}

TEST(MemReader, SubReaderSeesItsRangeOnly) {
    MemReader reader(text, size);
    reader.Seek(9);
    const auto sub = reader.SubReader(2, 6);
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(sub->GetPosition(), 0u);
    char buffer[8] = {};
    uint32_t done = 0;
    EXPECT_TRUE(sub->Read(buffer, 8, &done));
    EXPECT_EQ(done, 4u);
    EXPECT_STREQ(buffer, "2345");
    EXPECT_TRUE(sub->IsAtEnd());
    EXPECT_EQ(reader.GetPosition(), 9u);
}

TEST(MemReader, SubReaderOfABadRangeIsNull) {
    MemReader reader(text, size);
    EXPECT_EQ(reader.SubReader(11, 11), nullptr);
    EXPECT_EQ(reader.SubReader(5, 4), nullptr);
    EXPECT_EQ(reader.SubReader(5, 11), nullptr);
    EXPECT_EQ(reader.SubReader(UINT64_MAX, UINT64_MAX), nullptr);
    ASSERT_NE(reader.SubReader(10, 10), nullptr);
    EXPECT_TRUE(reader.SubReader(10, 10)->IsAtEnd());
    EXPECT_NE(reader.SubReader(0, 10), nullptr);
}
