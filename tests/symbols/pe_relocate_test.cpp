#include "symbols/pe/pe_relocate.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "session/mem_reader.h"
#include "support/pe_builder.h"
#include "symbols/pe/pe_file.h"

namespace {

constexpr uint64_t newBase = 0x7FF623450000;
constexpr uint64_t delta = newBase - 0x10000000;

class PeRelocate : public testing::Test {
protected:
    void Parse(const ktBytes &file) {
        MemReader reader(file.data(), file.size());
        pe = std::make_unique<ktPeFile>();
        ASSERT_TRUE(pe->Parse(reader, true));
    }
    template <class T>
    T Word(uint32_t offset) const {
        T word;
        std::memcpy(&word, pe->image.get() + offset, sizeof(word));
        return word;
    }
    /// Relocates an image whose relocation section is `bytes`.
    bool RelocateWith(const ktBytes &bytes, uint32_t claimed = 0) {
        ktPeBuilder builder;
        builder.AddSection(".text", 0x1000, ktBytes(0x100, 0x10));
        builder.AddSection(".reloc", 0x2000, bytes);
        builder.directories[ktPeDirectoryRelocations] = {0x2000, claimed ? claimed : uint32_t(bytes.size())};
        Parse(builder.Build());
        return Relocate(*pe, newBase);
    }
    static ktBytes Block(uint32_t page, uint32_t size, std::vector<uint16_t> entries = {}) {
        ktBytes bytes;
        AppendRecord(bytes, ktPeRelocationBlock{page, size});
        for (const uint16_t entry : entries) AppendRecord(bytes, entry);
        return bytes;
    }
    static ktBytes Join(ktBytes first, const ktBytes &second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    std::unique_ptr<ktPeFile> pe;
};

TEST_F(PeRelocate, AddsTheDeltaByType) {
    Parse(GoodPe().Build());
    ASSERT_TRUE(Relocate(*pe, newBase));
    EXPECT_EQ(pe->loadBias, delta);
    EXPECT_EQ(pe->imageBase, 0x10000000u);
    EXPECT_EQ(Word<uint16_t>(0x1100), uint16_t(0x1111 + (delta >> 16)));
    EXPECT_EQ(Word<uint16_t>(0x1110), uint16_t(0x2222 + delta));
    EXPECT_EQ(Word<uint32_t>(0x1120), uint32_t(0x33333333 + delta));
    EXPECT_EQ(Word<uint64_t>(0x1130), 0x4444444444444444 + delta);
    EXPECT_EQ(Word<uint16_t>(0x1140), 0x9090); // type 0 is padding
    EXPECT_EQ(Word<uint16_t>(0x1102), 0x9090);
    EXPECT_EQ(Word<uint32_t>(0x1124), 0x90909090u);
}

TEST_F(PeRelocate, MovesDownAsWell) {
    Parse(GoodPe().Build());
    ASSERT_TRUE(Relocate(*pe, 0x400000));
    EXPECT_EQ(pe->loadBias, 0x400000 - uint64_t(0x10000000));
    EXPECT_EQ(Word<uint64_t>(0x1130), 0x4444444444444444 - 0xFC00000);
}

TEST_F(PeRelocate, ZeroAsksForNothing) {
    ktPeFile empty;
    EXPECT_TRUE(Relocate(empty, 0));
    Parse(GoodPe().Build());
    EXPECT_TRUE(Relocate(*pe, 0));
    EXPECT_EQ(pe->loadBias, 0u);
}

TEST_F(PeRelocate, NeedsAnImageThatMayMove) {
    ktPeFile empty;
    empty.relocatable = true;
    EXPECT_FALSE(Relocate(empty, newBase));
    Parse(GoodPe().Build());
    pe->relocatable = false;
    EXPECT_FALSE(Relocate(*pe, newBase));
    EXPECT_FALSE(Relocate(*pe, pe->imageBase)); // even where it stands
}

TEST_F(PeRelocate, NeedsItsDirectoryEvenToStay) {
    for (const ktPeDataDirectory directory :
         {ktPeDataDirectory{0x3000, 0}, ktPeDataDirectory{0x4000, 8}, ktPeDataDirectory{0x3FFC, 8},
          ktPeDataDirectory{0xFFFFFFFF, 0xFFFFFFFF}}) {
        ktPeBuilder builder = GoodPe();
        builder.directories[ktPeDirectoryRelocations] = directory;
        Parse(builder.Build());
        EXPECT_FALSE(Relocate(*pe, newBase));
        EXPECT_FALSE(Relocate(*pe, pe->imageBase));
        EXPECT_TRUE(Relocate(*pe, 0));
    }
    ktPeBuilder builder = GoodPe();
    builder.directoryCount = 5;
    Parse(builder.Build());
    EXPECT_FALSE(Relocate(*pe, newBase));
}

TEST_F(PeRelocate, TheOwnBaseChangesNothing) {
    Parse(GoodPe().Build());
    ASSERT_TRUE(Relocate(*pe, 0x10000000));
    EXPECT_EQ(pe->loadBias, 0u);
    EXPECT_EQ(Word<uint64_t>(0x1130), 0x4444444444444444u);
}

TEST_F(PeRelocate, WalksEveryBlock) {
    ASSERT_TRUE(RelocateWith(Join(Block(0x1000, 10, {0x3010}), Block(0x1000, 10, {0x3020}))));
    EXPECT_EQ(Word<uint32_t>(0x1010), uint32_t(0x10101010 + delta));
    EXPECT_EQ(Word<uint32_t>(0x1020), uint32_t(0x10101010 + delta));
}

TEST_F(PeRelocate, TargetsOutsideTheImageAreLeftAlone) {
    EXPECT_TRUE(RelocateWith(Block(0xFFFFF000, 14, {0xA000, 0x3FFF, 0x1FFF})));
    EXPECT_TRUE(RelocateWith(Block(0x2000, 14, {0xAFF9, 0x3FFD, 0x1FFF}))); // words cut by the image's end
    EXPECT_EQ(Word<uint64_t>(0x2FF8), 0u);
    EXPECT_TRUE(RelocateWith(Block(0x2000, 10, {0xAFF8}))); // the last whole one
    EXPECT_EQ(Word<uint64_t>(0x2FF8), delta);
}

TEST_F(PeRelocate, UnknownTypesChangeNothing) {
    ASSERT_TRUE(RelocateWith(Block(0x1000, 8 + 2 * 5, {0x4010, 0x5010, 0x6010, 0x9010, 0xF010})));
    EXPECT_EQ(Word<uint64_t>(0x1010), 0x1010101010101010u);
}

TEST_F(PeRelocate, BlockSizesBelowTheirHeaderFail) {
    for (uint32_t size = 0; size < 8; ++size)
        EXPECT_FALSE(RelocateWith(Block(0x1000, size, {0x3010}))) << size;
    EXPECT_TRUE(RelocateWith(Block(0x1000, 8)));
    EXPECT_TRUE(RelocateWith(Block(0x1000, 9, {0})));
}

TEST_F(PeRelocate, ZerosBehindTheLastBlockEndTheWalk) {
    ASSERT_TRUE(RelocateWith(Join(Block(0x1000, 10, {0x3010}), ktBytes(32))));
    EXPECT_EQ(Word<uint32_t>(0x1010), uint32_t(0x10101010 + delta));
    EXPECT_EQ(pe->loadBias, delta);
}

TEST_F(PeRelocate, ARestTooSmallForABlockEndsTheWalk) {
    EXPECT_TRUE(RelocateWith(Join(Block(0x1000, 10, {0x3010}), ktBytes(7, 0xFF))));
    EXPECT_TRUE(RelocateWith(ktBytes(7, 0xFF)));
}

TEST_F(PeRelocate, ABlockBeyondTheImageFails) {
    EXPECT_FALSE(RelocateWith(Block(0x1000, 0x1001)));
    EXPECT_FALSE(RelocateWith(Block(0x1000, 0xFFFFFFFF)));
    EXPECT_TRUE(RelocateWith(Block(0x1000, 0x1000))); // up to its end; what stands there is zero
}

} // namespace
