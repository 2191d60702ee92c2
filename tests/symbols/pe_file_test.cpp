#include "symbols/pe/pe_file.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "session/mem_reader.h"
#include "support/counting_reader.h"
#include "support/pe_builder.h"

namespace {

class PeFile : public testing::Test {
protected:
    bool Parse(ktBytes content) {
        bytes = std::move(content);
        MemReader reader(bytes.data(), bytes.size());
        pe = std::make_unique<ktPeFile>();
        return pe->Parse(reader, true);
    }
    bool ParseTarget(ktBytes content, uint64_t base = 0x10000000) {
        ktCountingReader target(std::move(content), base);
        pe = std::make_unique<ktPeFile>();
        pe->fromTarget = true;
        return pe->Parse(target, false);
    }
    uint8_t ImageByte(uint32_t offset) const { return pe->image[offset]; }

    ktBytes bytes;
    std::unique_ptr<ktPeFile> pe;
};

TEST_F(PeFile, ReadsA64BitFile) {
    ASSERT_TRUE(Parse(GoodPe().Build()));
    EXPECT_TRUE(pe->is64);
    EXPECT_FALSE(pe->fromTarget);
    EXPECT_TRUE(pe->relocatable);
    EXPECT_EQ(pe->start, 0u);
    EXPECT_EQ(pe->imageBase, 0x10000000u);
    EXPECT_EQ(pe->imageSize, 0x4000u);
    EXPECT_EQ(pe->loadBias, 0u);
    EXPECT_EQ(pe->dataDirCount, 16u);
    EXPECT_EQ(pe->sectionCount, 3u);
    EXPECT_EQ(pe->sectionNames, (std::vector<std::string>{".text", ".rdata", ".reloc"}));
    EXPECT_EQ(pe->ntHeaders.optional.sizeOfHeapCommit, 0x123456789Au);
    EXPECT_EQ(ImageByte(0), 'M');
    EXPECT_EQ(ImageByte(0x1000), 0x90);
    EXPECT_EQ(ImageByte(0x11FF), 0x90);
    EXPECT_EQ(ImageByte(0x1200), 0);
}

TEST_F(PeFile, WidensA32BitFile) {
    ktPeBuilder builder = GoodPe(false);
    builder.sizeOfImage = 0x5000;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(pe->is64);
    EXPECT_EQ(pe->imageBase, 0x10000000u);
    EXPECT_EQ(pe->imageSize, 0x5000u);
    EXPECT_EQ(pe->dataDirCount, 16u);
    EXPECT_EQ(pe->ntHeaders.optional.magic, ktPeMagic32);
    EXPECT_EQ(pe->ntHeaders.optional.addressOfEntryPoint, 0x1010u);
    EXPECT_EQ(pe->ntHeaders.optional.sizeOfHeapCommit, 0x12345678u);
    EXPECT_EQ(pe->ntHeaders.optional.numberOfRvaAndSizes, 16u);
    EXPECT_EQ(pe->ntHeaders.optional.dataDirectory[6].virtualAddress, 0x2000u);
    EXPECT_EQ(pe->ntHeaders.file.numberOfSections, 3u);
    EXPECT_EQ(pe->pdbPath, "C:\\build\\kernel.pdb");
}

TEST_F(PeFile, ReadsTheCodeViewRecord) {
    ASSERT_TRUE(Parse(GoodPe().Build()));
    ASSERT_TRUE(pe->hasCodeView);
    EXPECT_EQ(pe->pdbPath, "C:\\build\\kernel.pdb");
    EXPECT_EQ(pe->pdbAge, 3u);
    EXPECT_EQ(pe->pdbGuid[0], 0xA0);
    EXPECT_EQ(pe->pdbGuid[15], 0xAF);
}

TEST_F(PeFile, WithoutADebugDirectoryThereIsNoCodeView) {
    ktPeBuilder builder = GoodPe();
    builder.directories[ktPeDirectoryDebug] = {0, 0};
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(pe->hasCodeView);
    builder.directories[ktPeDirectoryDebug] = {0x2000, 27};
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(pe->hasCodeView);
    builder.directories[ktPeDirectoryDebug] = {0x4000, 56};
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(pe->hasCodeView);
}

TEST_F(PeFile, DirectoriesCountOnlyAsFarAsTheHeaderGoes) {
    ktPeBuilder builder = GoodPe();
    builder.directoryCount = 6;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->dataDirCount, 6u);
    EXPECT_FALSE(pe->hasCodeView);
    EXPECT_NE(pe->Directory(5), nullptr);
    EXPECT_EQ(pe->Directory(6), nullptr);
    builder.directoryCount = 0xFFFFFFFF;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->dataDirCount, 16u);
    EXPECT_EQ(pe->Directory(16), nullptr);
}

TEST_F(PeFile, TheOptionalHeadersSizeLimitsTheDirectories) {
    ktPeBuilder builder = GoodPe();
    builder.optionalSize = 112 + 6 * 8;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->dataDirCount, 6u);
    ktPeBuilder narrow = GoodPe(false);
    narrow.optionalSize = 96 + 7 * 8;
    ASSERT_TRUE(Parse(narrow.Build()));
    EXPECT_EQ(pe->dataDirCount, 7u);
    EXPECT_TRUE(pe->hasCodeView);
    EXPECT_EQ(pe->sectionNames[0], ".text"); // the section table stands behind the shorter header
}

TEST_F(PeFile, RefusesWrongMagics) {
    ktBytes bent = GoodPe().Build();
    PutField<uint16_t>(bent, 0, 0x4D5A);
    EXPECT_FALSE(Parse(bent));
    bent = GoodPe().Build();
    PutField<uint16_t>(bent, ktPeBuilder::ntOffset, 0x454C);
    EXPECT_FALSE(Parse(bent));
    bent = GoodPe().Build();
    PutField<uint16_t>(bent, ktPeBuilder::OptionalAt(0), 0x107);
    EXPECT_FALSE(Parse(bent));
}

TEST_F(PeFile, OnlyTheLowHalfOfTheSignatureCounts) {
    ktBytes bent = GoodPe().Build();
    PutField<uint16_t>(bent, ktPeBuilder::ntOffset + 2, 0xABCD);
    EXPECT_TRUE(Parse(bent));
}

TEST_F(PeFile, OnlyDynamicBaseMakesItRelocatable) {
    ktPeBuilder builder = GoodPe();
    builder.dllCharacteristics = uint16_t(~ktPeDynamicBase);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(pe->relocatable);
}

TEST_F(PeFile, AnEightCharacterSectionNameIsWhole) {
    ktPeBuilder builder;
    builder.AddSection("longname", 0x1000, ktBytes(16));
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->sectionNames, std::vector<std::string>{"longname"});
}

TEST_F(PeFile, OfHundredSectionsTheFirst96AreInTheImage) {
    ktPeBuilder builder;
    for (uint32_t i = 0; i < 100; ++i)
        builder.AddSection("s" + std::to_string(i), 0x2000 + i * 0x1000, ktBytes(16, uint8_t(i + 1)));
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->sectionNames.size(), 100u);
    EXPECT_EQ(ImageByte(0x2000), 1);
    EXPECT_EQ(ImageByte(0x2000 + 95 * 0x1000), 96);
    EXPECT_EQ(ImageByte(0x2000 + 96 * 0x1000), 0);
    EXPECT_EQ(ImageByte(0x2000 + 99 * 0x1000), 0);
}

TEST_F(PeFile, ASectionWhoseFilePlaceLiesBeyondTheImageIsSkipped) {
    ktPeBuilder builder = GoodPe();
    ktBytes bent = builder.Build();
    const size_t raw = builder.SectionAt(0) + offsetof(ktPeSectionHeader, pointerToRawData);
    PutField<uint32_t>(bent, raw, 0x4000 - 0x1FF); // ends one byte too late
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(ImageByte(0x1000), 0);
    EXPECT_TRUE(pe->hasCodeView);
    PutField<uint32_t>(bent, raw, 0xFFFFFF00); // the sum has more than 32 bits
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(ImageByte(0x1000), 0);
}

TEST_F(PeFile, ASectionThatDoesNotFitTheImageIsSkipped) {
    ktPeBuilder builder = GoodPe();
    ktBytes bent = builder.Build();
    PutField<uint32_t>(bent, builder.SectionAt(0) + offsetof(ktPeSectionHeader, virtualAddress),
                       0x4000 - 0x1FF);
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(ImageByte(0x3FFF), 0);
    PutField<uint32_t>(bent, builder.SectionAt(0) + offsetof(ktPeSectionHeader, virtualAddress),
                       0x4000 - 0x200);
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(ImageByte(0x3FFF), 0x90);
}

TEST_F(PeFile, ASectionBeyondTheFileFails) {
    ktPeBuilder builder = GoodPe();
    ktBytes bent = builder.Build();
    PutField<uint32_t>(bent, builder.SectionAt(0) + offsetof(ktPeSectionHeader, pointerToRawData),
                       static_cast<uint32_t>(bent.size() - 0x1FF));
    EXPECT_FALSE(Parse(bent));
}

TEST_F(PeFile, ASectionWithoutFileBytesIsNotRead) {
    ktPeBuilder builder = GoodPe();
    builder.AddSection(".bss", 0x5000, {});
    EXPECT_TRUE(Parse(builder.Build()));
}

TEST_F(PeFile, AFileWithoutAnImageCannotBeRead) {
    const ktBytes file = GoodPe().Build();
    MemReader reader(file.data(), file.size());
    ktPeFile plain;
    EXPECT_FALSE(plain.Parse(reader, false));
}

TEST_F(PeFile, TheImageMayStartAnywhere) {
    ktBytes file = GoodPe().Build();
    file.insert(file.begin(), 100, 0xCC);
    MemReader reader(file.data(), file.size());
    reader.Seek(100);
    ktPeFile shifted;
    ASSERT_TRUE(shifted.Parse(reader, true));
    EXPECT_EQ(shifted.start, 100u);
    EXPECT_EQ(shifted.image[0x1000], 0x90);
    EXPECT_TRUE(shifted.hasCodeView);
}

TEST_F(PeFile, TheFirstGoodCodeViewEntryWins) {
    ktPeBuilder builder = GoodPe();
    ktBytes bent = builder.Build();
    const uint32_t entries = builder.SectionBytesAt(1);
    PutField<uint32_t>(bent, entries + offsetof(ktPeDebugEntry, type), ktPeDebugCodeView);
    // The first entry, now of the right type, must have its 28 bytes in the image and the right signature.
    for (const uint32_t place : {0u, 0x3FE5u, 0x4000u, 0xFFFFFFFFu}) {
        PutField<uint32_t>(bent, entries + offsetof(ktPeDebugEntry, addressOfRawData), place);
        ASSERT_TRUE(Parse(bent));
        EXPECT_EQ(pe->pdbPath, "C:\\build\\kernel.pdb");
    }
}

TEST_F(PeFile, APathWithoutAnEndIsNoRecord) {
    ktPeBuilder builder;
    builder.AddCodeView(0xF00, std::string(0x200, 'x'));
    builder.sizeOfImage = 0xF00 + 2 * 28 + 24 + 0x200; // up to the path's last letter
    ktBytes bent = builder.Build();
    const size_t rawSize = builder.SectionAt(0) + offsetof(ktPeSectionHeader, sizeOfRawData);
    PutField<uint32_t>(bent, rawSize, GetField<uint32_t>(bent, rawSize) - 1);
    ASSERT_TRUE(Parse(bent));
    EXPECT_FALSE(pe->hasCodeView);
}

TEST_F(PeFile, InAFileThePathMayBeLong) {
    ktPeBuilder builder;
    builder.AddCodeView(0x1000, std::string(3000, 'x'));
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(pe->pdbPath.size(), 3000u);
}

TEST_F(PeFile, ReadsAnImageInTargetMemory) {
    ASSERT_TRUE(ParseTarget(GoodPe().BuildLoaded(), 0x7FF600000000));
    EXPECT_EQ(pe->start, 0x7FF600000000u);
    EXPECT_EQ(pe->loadBias, 0x7FF600000000u - 0x10000000u);
    EXPECT_EQ(pe->image, nullptr);
    ASSERT_TRUE(pe->hasCodeView);
    EXPECT_EQ(pe->pdbPath, "C:\\build\\kernel.pdb");
    EXPECT_EQ(pe->pdbAge, 3u);
    EXPECT_EQ(pe->pdbGuid[1], 0xA1);
}

TEST_F(PeFile, InTargetMemoryAPathOf260BytesFails) {
    ktPeBuilder builder;
    builder.AddCodeView(0x1000, std::string(259, 'x'));
    ASSERT_TRUE(ParseTarget(builder.BuildLoaded()));
    EXPECT_EQ(pe->pdbPath.size(), 259u);
    ktPeBuilder longer;
    longer.AddCodeView(0x1000, std::string(260, 'x'));
    EXPECT_FALSE(ParseTarget(longer.BuildLoaded()));
}

TEST_F(PeFile, InTargetMemoryThePathIsReadNoFurtherThanItsPage) {
    ktPeBuilder builder;
    builder.AddCodeView(0x1F00, "kernel.pdb");
    builder.sizeOfImage = 0x5000;
    ktBytes image = builder.BuildLoaded();
    image.resize(0x2000); // nothing is mapped behind
    ASSERT_TRUE(ParseTarget(image));
    EXPECT_EQ(pe->pdbPath, "kernel.pdb");
}

TEST_F(PeFile, InTargetMemoryAMissingDirectoryIsNoFailureButAnUnreadableOneIs) {
    ktPeBuilder builder = GoodPe();
    builder.directories[ktPeDirectoryDebug] = {0, 0};
    ASSERT_TRUE(ParseTarget(builder.BuildLoaded()));
    EXPECT_FALSE(pe->hasCodeView);
    ktBytes image = GoodPe().BuildLoaded();
    image.resize(0x2000);
    EXPECT_FALSE(ParseTarget(image));
}

} // namespace
