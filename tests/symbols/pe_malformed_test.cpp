#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>

#include "support/counting_reader.h"
#include "support/load_fixture.h"
#include "support/pe_builder.h"
#include "symbols/pe/pe_file.h"

namespace {

constexpr uint64_t allOnes = ~uint64_t(0);
constexpr uint64_t bentValues[] = {0,         1,          2,          7,          8,          27,     28,
                                   0x7F,      0x1000,     0x3FFF,     0x4000,     0x4001,     0xFFFF, 0x10000,
                                   0xFFFFFF8, 0x7FFFFFFF, 0x80000000, 0xFFFFF000, 0xFFFFFFFF, allOnes};

class PeMalformed : public testing::Test, protected ktLoadFixture {
protected:
    PeMalformed() : builder(GoodPe()), good(builder.Build()) {}

    void LoadEveryWay(const ktBytes &bytes) {
        for (const uint64_t base : {uint64_t(0), uint64_t(0x20000000), allOnes - 0xFFF}) {
            request.requestedBase = base;
            request.pages = &pages;
            Judge(LoadPeBytes(bytes));
            ktCountingReader withoutEnd(bytes);
            Judge(LoadPeFrom(withoutEnd, true));
            request.pages = nullptr;
            Judge(LoadPeBytes(bytes));
            ktCountingReader target(bytes);
            Judge(LoadPeFrom(target, false));
        }
    }
    void Judge(bool loaded) {
        if (!loaded) {
            EXPECT_EQ(pages.PageCount(), 0u);
        }
        EXPECT_LE(pages.PageCount(), ktPeFile::minImageLimit / ktPageSize + 1);
        request.module.Reset();
        pages.Clear();
        log.lines.clear();
    }
    bool LoadBent(size_t offset, uint32_t value) {
        ktBytes bent = good;
        PutField(bent, offset, value);
        return LoadPeBytes(bent);
    }

    ktPeBuilder builder;
    ktBytes good;
};

TEST_F(PeMalformed, EveryCutFails) {
    for (const bool wide : {true, false}) {
        ktPeBuilder whole = GoodPe(wide);
        const ktBytes bytes = whole.Build();
        for (size_t size = 0; size < bytes.size(); ++size) {
            ASSERT_FALSE(LoadPeBytes(ktBytes(bytes.begin(), bytes.begin() + ptrdiff_t(size)))) << size;
            ASSERT_EQ(pages.PageCount(), 0u) << size;
        }
        ASSERT_TRUE(LoadPeBytes(bytes));
        pages.Clear();
    }
}

TEST_F(PeMalformed, EveryCutOfATargetImageIsHarmless) {
    request.pages = nullptr;
    const ktBytes image = GoodPe().BuildLoaded();
    for (size_t size = 0; size < image.size(); ++size) {
        ktCountingReader target(ktBytes(image.begin(), image.begin() + ptrdiff_t(size)));
        LoadPeFrom(target, false);
    }
}

TEST_F(PeMalformed, EveryFieldBent) {
    for (const bool wide : {true, false}) {
        ktPeBuilder bending = GoodPe(wide);
        const ktBytes whole = bending.Build();
        const size_t headersEnd = bending.SectionAt(bending.SectionCount());
        const size_t areas[][2] = {{0x3C, 0x40},
                                   {ktPeBuilder::ntOffset, headersEnd},
                                   {bending.SectionBytesAt(1), bending.SectionBytesAt(1) + 2 * 28 + 24},
                                   {bending.SectionBytesAt(2), whole.size()}};
        for (const auto &[start, end] : areas) {
            for (size_t offset = start; offset + 2 <= end; offset += 2) {
                for (const size_t width : {size_t(2), size_t(4), size_t(8)}) {
                    if (offset % width != 0 || offset + width > whole.size()) continue;
                    for (const uint64_t value : bentValues) {
                        ktBytes bent = whole;
                        PutBytes(bent, offset, value, width);
                        LoadEveryWay(bent);
                        if (HasFailure())
                            FAIL() << "offset " << offset << " width " << width << " value " << value;
                    }
                }
            }
        }
    }
}

TEST_F(PeMalformed, TheNtHeadersMayBeClaimedAnywhere) {
    for (uint32_t place = 0; place < good.size() + 300; ++place) {
        ktBytes bent = good;
        PutField(bent, 0x3C, place);
        LoadEveryWay(bent);
    }
}

TEST_F(PeMalformed, EveryOptionalHeaderSize) {
    for (const bool wide : {true, false}) {
        const ktBytes whole = GoodPe(wide).Build();
        for (uint32_t size = 0; size < 0x10000; size += size < 300 ? 1 : 97) {
            ktBytes bent = whole;
            PutField(bent, ktPeBuilder::FileHeaderAt(offsetof(ktPeFileHeader, sizeOfOptionalHeader)),
                     static_cast<uint16_t>(size));
            LoadEveryWay(bent);
        }
    }
}

TEST_F(PeMalformed, HeadersLargerThanTheImageFail) {
    const size_t headers = builder.OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfHeaders));
    EXPECT_FALSE(LoadBent(headers, 0x4001));
    EXPECT_FALSE(LoadBent(headers, 0xFFFFFFFF));
    EXPECT_FALSE(LoadBent(headers, 0x4000)); // in the image, but not in the file
}

TEST_F(PeMalformed, AnImageMuchLargerThanItsFileIsRefused) {
    const size_t size = builder.OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfImage));
    EXPECT_TRUE(LoadBent(size, ktPeFile::minImageLimit));
    pages.Clear();
    EXPECT_FALSE(LoadBent(size, ktPeFile::minImageLimit + 1));
    EXPECT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(pages.PageCount(), 0u);
    ktBytes bent = good; // in target memory its size is only a number
    PutField<uint32_t>(bent, size, 0xFFFFF000);
    request.pages = nullptr;
    ktCountingReader target(bent);
    target.endless = true;
    EXPECT_TRUE(LoadPeFrom(target, false));
    EXPECT_EQ(Module().size, 0xFFFFF000u);
}

TEST_F(PeMalformed, SectionsThatAllClaimTheWholeFileFail) {
    ktPeBuilder many;
    for (uint32_t i = 0; i < 96; ++i) many.AddSection("x", 0, {});
    many.AddSection("y", 0x10000, ktBytes(0x10000));
    ktBytes bytes = many.Build();
    for (size_t i = 0; i < 96; ++i) {
        PutField<uint32_t>(bytes, many.SectionAt(i) + offsetof(ktPeSectionHeader, sizeOfRawData),
                           static_cast<uint32_t>(bytes.size()));
        PutField<uint32_t>(bytes, many.SectionAt(i) + offsetof(ktPeSectionHeader, pointerToRawData), 0);
    }
    EXPECT_FALSE(LoadPeBytes(bytes));
    EXPECT_EQ(log.lines.size(), 1u);
}

TEST_F(PeMalformed, AHugeDebugDirectoryInTargetMemoryEnds) {
    ktBytes bent = good;
    PutField<uint32_t>(bent, builder.OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfImage)), 0xFFFFFFFF);
    PutField<uint32_t>(bent, builder.DirectoryAt(ktPeDirectoryDebug), 0x100000);
    PutField<uint32_t>(bent, builder.DirectoryAt(ktPeDirectoryDebug) + 4, 0xFFFFFFFF);
    request.pages = nullptr;
    ktCountingReader target(bent);
    target.endless = true;
    EXPECT_TRUE(LoadPeFrom(target, false));
    EXPECT_LT(target.bytesRead, 0x10000u);
}

TEST_F(PeMalformed, RelocationBlocksWithoutASizeDoNotHang) {
    for (uint32_t size = 0; size < 8; ++size) {
        request.requestedBase = 0x20000000;
        EXPECT_FALSE(LoadBent(builder.SectionBytesAt(2) + offsetof(ktPeRelocationBlock, size), size));
        EXPECT_EQ(pages.PageCount(), 0u);
    }
}

} // namespace
