#include "symbols/pe/pe_loader.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "platform/file.h"
#include "support/counting_reader.h"
#include "support/load_fixture.h"
#include "support/pe_builder.h"

namespace {

class PeLoader : public testing::Test, protected ktLoadFixture {
protected:
    std::string Name() { return Module().name.Get(); }
};

TEST_F(PeLoader, FillsTheModule) {
    ASSERT_TRUE(LoadPeBytes(GoodPe().Build()));
    EXPECT_EQ(Module().base, 0x10000000u);
    EXPECT_EQ(Module().offset, 0u);
    EXPECT_EQ(Module().size, 0x4000u);
    EXPECT_EQ(Module().entry, 0x10001010u);
    EXPECT_EQ(Module().pointerSize, 8u);
    EXPECT_TRUE(Module().CompUnits().empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(PeLoader, FillsTheModuleOfA32BitFile) {
    ASSERT_TRUE(LoadPeBytes(GoodPe(false).Build()));
    EXPECT_EQ(Module().base, 0x10000000u);
    EXPECT_EQ(Module().size, 0x4000u);
    EXPECT_EQ(Module().entry, 0x10001010u);
    EXPECT_EQ(Module().pointerSize, 4u);
}

TEST_F(PeLoader, CopiesTheImageToThePages) {
    ASSERT_TRUE(LoadPeBytes(GoodPe().Build()));
    EXPECT_EQ(pages.PageCount(), 4u);
    EXPECT_EQ(PageBytes(0x10000000, 2), (ktBytes{'M', 'Z'}));
    EXPECT_EQ(PageBytes(0x100011FE, 3), (ktBytes{0x90, 0x90, 0}));
}

TEST_F(PeLoader, MovesTheImage) {
    request.requestedBase = 0x20000000;
    ASSERT_TRUE(LoadPeBytes(GoodPe().Build()));
    EXPECT_EQ(Module().base, 0x20000000u);
    EXPECT_EQ(Module().entry, 0x20001010u);
    EXPECT_TRUE(PageBytes(0x10000000, 1).empty());
    const ktBytes word = PageBytes(0x20001130, 8);
    ASSERT_EQ(word.size(), 8u);
    EXPECT_EQ(GetField<uint64_t>(word, 0), 0x4444444444444444u + 0x10000000);
}

TEST_F(PeLoader, AnImageThatMayNotMoveFails) {
    ktPeBuilder builder = GoodPe();
    builder.dllCharacteristics = 0;
    request.requestedBase = 0x20000000;
    EXPECT_FALSE(LoadPeBytes(builder.Build()));
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(PeLoader, TheNameComesFromTheCodeViewPathWithItsExtension) {
    ASSERT_TRUE(LoadPeBytes(GoodPe().Build()));
    EXPECT_EQ(Name(), "kernel.pdb");
}

TEST_F(PeLoader, ASlashCutsTheCodeViewPathAsTheHostPathsDo) {
    ktPeBuilder builder;
    builder.AddCodeView(0x1000, "D:\\a/b.c/driver.x64.pdb");
    ASSERT_TRUE(LoadPeBytes(builder.Build()));
    EXPECT_EQ(Name(), IsHostPathSeparator('/') ? "driver.x64.pdb" : "a/b.c/driver.x64.pdb");
}

TEST_F(PeLoader, WithoutACodeViewRecordTheNameStays) {
    ktPeBuilder builder;
    builder.AddSection(".text", 0x1000, ktBytes(16));
    ASSERT_TRUE(LoadPeBytes(builder.Build()));
    EXPECT_EQ(Name().substr(0, 4), "mod_");
}

TEST_F(PeLoader, AFileWithoutPagesFails) {
    request.pages = nullptr;
    EXPECT_FALSE(LoadPeBytes(GoodPe().Build()));
}

TEST_F(PeLoader, TargetMemoryNeedsNoPagesAndIsNotMoved) {
    request.pages = nullptr;
    request.requestedBase = 0x7FF600000000;
    ktPeBuilder builder = GoodPe();
    builder.dllCharacteristics = 0;
    ktCountingReader target(builder.BuildLoaded(), 0x7FF600000000);
    ASSERT_TRUE(LoadPeFrom(target, false));
    EXPECT_EQ(Module().base, 0x7FF600000000u);
    EXPECT_EQ(Module().entry, 0x7FF600001010u);
    EXPECT_EQ(Module().size, 0x4000u);
    EXPECT_EQ(Name(), "kernel.pdb");
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(PeLoader, ALocatorChangesNothingAsLongAsItsFilesCannotBeRead) {
    class Locator final : public ktSymbolLocator {
    public:
        bool LocatePdb(const uint8_t (&)[16], uint32_t, const char *, std::string &) override {
            return false;
        }
    } locator;
    request.symbolLocator = &locator;
    ASSERT_TRUE(LoadPeBytes(GoodPe().Build()));
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(PeLoader, AnEmptyImageCannotBeCopied) {
    ktPeBuilder builder;
    builder.AddSection(".text", 0x1000, ktBytes(16));
    ktBytes bent = builder.Build();
    PutField<uint32_t>(bent, builder.OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfImage)), 0);
    PutField<uint32_t>(bent, builder.OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfHeaders)), 0);
    pages.ReservePages(0x10000000, 0x3000);
    EXPECT_FALSE(LoadPeBytes(bent));
    EXPECT_EQ(pages.PageCount(), 3u);
}

TEST_F(PeLoader, AnImagePastTheAddressSpaceFails) {
    ktPeBuilder builder = GoodPe();
    builder.imageBase = ~uint64_t(0) - 0x3FFF;
    ASSERT_TRUE(LoadPeBytes(builder.Build()));
    EXPECT_EQ(pages.PageCount(), 4u);
    pages.Clear();
    builder.imageBase = ~uint64_t(0) - 0x3FFE;
    EXPECT_FALSE(LoadPeBytes(builder.Build()));
    EXPECT_EQ(pages.PageCount(), 0u);
}

} // namespace
