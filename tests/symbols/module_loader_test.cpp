#include "symbols/module_loader.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "session/file_reader.h"
#include "support/elf_builder.h"
#include "support/load_fixture.h"
#include "support/pe_builder.h"
#include "support/temp_folder.h"
#include "symbols/elf/elf_file.h"

namespace {

constexpr const char *thisProgram = "/proc/self/exe";

class ModuleLoader : public testing::Test, protected ktLoadFixture {
protected:
    bool Load(const std::string &name, const ktBytes &bytes) {
        path = folder.Write(name, bytes);
        return LoadFromFile(request, path.c_str());
    }
    std::string NameOf(const std::string &file) {
        pages.Clear();
        return Load(file, GoodElf().Build()) ? Module().name.Get() : "(not loaded)";
    }

    ktTempFolder folder;
    std::string path;
};

TEST_F(ModuleLoader, LoadsAnElfFile) {
    ASSERT_TRUE(Load("boot.elf", GoodElf().Build()));
    EXPECT_STREQ(Module().name.Get(), "boot");
    EXPECT_EQ(Module().base, 0x400000u);
    EXPECT_EQ(Module().CompUnits().size(), 2u);
    EXPECT_EQ(Module().RefCount(), 1u);
    EXPECT_EQ(pages.PageCount(), 3u);
}

TEST_F(ModuleLoader, LoadsAPeFileAndNamesItAfterTheFileAllTheSame) {
    ASSERT_TRUE(Load("driver.sys", GoodPe().Build()));
    EXPECT_STREQ(Module().name.Get(), "driver");
    EXPECT_EQ(Module().base, 0x10000000u);
    EXPECT_EQ(Module().RefCount(), 1u);
}

TEST_F(ModuleLoader, AFileThatIsNeitherFails) {
    EXPECT_FALSE(Load("text.txt", ktBytes(1000, 'x')));
    EXPECT_FALSE(request.module);
    EXPECT_FALSE(Load("empty", {}));
    EXPECT_FALSE(request.module);
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ModuleLoader, ABigEndianElfFallsThroughToPe) {
    ktBytes swapped = GoodElf().Build();
    std::swap(swapped[offsetof(ktElfHeader, machine)], swapped[offsetof(ktElfHeader, machine) + 1]);
    EXPECT_FALSE(Load("big.elf", swapped));
    // What refuses it is the last reader of the row, so a file that only the other one knows loads.
    EXPECT_TRUE(Load("pe.elf", GoodPe().Build()));
}

TEST_F(ModuleLoader, MissingFilesAndFoldersFail) {
    EXPECT_FALSE(LoadFromFile(request, folder.Path("none").c_str()));
    EXPECT_FALSE(LoadFromFile(request, folder.Path("").c_str()));
    EXPECT_FALSE(LoadFromFile(request, ""));
    EXPECT_FALSE(LoadFromFile(request, nullptr));
    EXPECT_FALSE(request.module);
}

TEST_F(ModuleLoader, AModuleFromBeforeIsReleased) {
    const ktRef<ktModule> before(factory.CreateModule());
    ASSERT_TRUE(before->AddRef());
    request.module.Reset(before.Get());
    EXPECT_FALSE(Load("text.txt", ktBytes(1000, 'x')));
    EXPECT_EQ(before->RefCount(), 1u);
}

TEST_F(ModuleLoader, EveryExtensionIsCutFromTheName) {
    EXPECT_EQ(NameOf("boot.efi.elf"), "boot");
    EXPECT_EQ(NameOf("boot"), "boot");
    EXPECT_EQ(NameOf("boot."), "boot");
    EXPECT_EQ(NameOf("a.b.c.d"), "a");
}

TEST_F(ModuleLoader, ADotInFrontIsNoExtension) {
    EXPECT_EQ(NameOf(".profile"), ".profile");
    EXPECT_EQ(NameOf(".profile.elf"), ".profile");
    EXPECT_EQ(NameOf("...elf"), ".");
}

TEST_F(ModuleLoader, ABackslashCutsThePath) { EXPECT_EQ(NameOf("C:\\x\\boot.efi.elf"), "boot"); }

TEST_F(ModuleLoader, APeFileWithoutPagesFails) {
    request.pages = nullptr;
    EXPECT_FALSE(Load("driver.sys", GoodPe().Build()));
    EXPECT_TRUE(Load("boot.elf", GoodElf().Build()));
}

TEST_F(ModuleLoader, FailuresLeaveNoPages) {
    ktElfBuilder builder = GoodElf();
    ktBytes bent = builder.Build();
    PutField<uint64_t>(bent, builder.SegmentAt(1) + offsetof(ktElfSegment, memsz), 1);
    PutField<uint64_t>(bent, builder.SegmentAt(1) + offsetof(ktElfSegment, filesz), 0x1001);
    EXPECT_FALSE(Load("bent.elf", bent));
    EXPECT_EQ(pages.PageCount(), 0u);
    EXPECT_FALSE(request.module);
}

/// This very test is a real program. What the compiler and the linker made of it must be readable.
TEST_F(ModuleLoader, ReadsARealProgram) {
    FileReader reader(thisProgram);
    ASSERT_TRUE(reader.IsOpen());
    ktElfFile elf;
    elf.loadSections = elf.loadSegments = true;
    ASSERT_TRUE(elf.Parse(reader));
    EXPECT_TRUE(elf.is64);
    EXPECT_NE(elf.FindSection(".text"), 0u);
    EXPECT_GT(elf.symbolCount, 100u);
    ASSERT_TRUE(LoadFromFile(request, thisProgram));
    EXPECT_EQ(Module().entry, elf.header.entry);
    EXPECT_EQ(Module().size, elf.imageSize);
    EXPECT_FALSE(Module().CompUnits().empty());
    // The code that the file has at its entry point stands in the pages.
    const ktBytes code = PageBytes(Module().entry, 16);
    ASSERT_EQ(code.size(), 16u);
    bool compared = false;
    for (const ktElfFile::Segment &segment : elf.segments) {
        const uint64_t offset = Module().entry - segment.header.vaddr;
        if (segment.header.type != ktElfSegmentLoad || offset >= segment.byteCount) continue;
        ktBytes file(16);
        ASSERT_TRUE(elf.ReadSegment(segment, static_cast<uint32_t>(offset), file.data(), 16));
        EXPECT_EQ(code, file);
        compared = true;
    }
    EXPECT_TRUE(compared);
}

} // namespace
