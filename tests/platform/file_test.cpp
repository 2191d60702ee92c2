#include "platform/file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A folder that goes away with the test.
class File : public testing::Test {
protected:
    File() {
        const auto *test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 (std::string("sable_file_") + test->name() + "_" + std::to_string(getpid()));
        std::filesystem::create_directories(folder);
    }
    ~File() override { std::filesystem::remove_all(folder); }

    std::string Path(const char *name) const { return (folder / name).string(); }

    std::string Write(const char *name, const std::string &text) const {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }

    std::filesystem::path folder;
};

} // namespace

TEST_F(File, ReadsAtAnyOffset) {
    const auto file = SystemFiles().OpenForRead(Write("digits", "0123456789").c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 10u);
    char text[16] = {};
    uint64_t done = 99;
    EXPECT_TRUE(file->ReadAt(3, text, 4, done));
    EXPECT_EQ(done, 4u);
    EXPECT_STREQ(text, "3456");
    EXPECT_TRUE(file->ReadAt(8, text, sizeof text, done)); // over the end: what there is
    EXPECT_EQ(done, 2u);
    EXPECT_EQ(std::string(text, 2), "89");
    EXPECT_TRUE(file->ReadAt(0, text, 0, done));
    EXPECT_EQ(done, 0u);
}

TEST_F(File, ReadingAtOrPastTheEndGivesNothing) {
    const auto file = SystemFiles().OpenForRead(Write("short", "abc").c_str());
    ASSERT_NE(file, nullptr);
    char byte = 0;
    for (const uint64_t offset : {uint64_t(3), uint64_t(4), uint64_t(1) << 40, uint64_t(INT64_MAX) - 1,
                                  uint64_t(INT64_MAX), uint64_t(1) << 63, ~uint64_t(0)}) {
        uint64_t done = 99;
        EXPECT_TRUE(file->ReadAt(offset, &byte, 1, done)) << offset;
        EXPECT_EQ(done, 0u) << offset;
    }
}

TEST_F(File, AHugeWishEndsAtTheEndOfTheFile) {
    const auto file = SystemFiles().OpenForRead(Write("short", "abc").c_str());
    ASSERT_NE(file, nullptr);
    std::string bytes(1 << 16, 'x');
    uint64_t done = 0;
    EXPECT_TRUE(file->ReadAt(1, bytes.data(), bytes.size(), done));
    EXPECT_EQ(done, 2u);
    EXPECT_EQ(bytes.substr(0, 3), "bcx");
}

TEST_F(File, SizesAndOffsetsPassFourGigabytes) {
    const std::string path = Write("sparse", "");
    const uint64_t size = (uint64_t(5) << 30) + 3;
    ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(size)), 0);
    const auto file = SystemFiles().OpenForRead(path.c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), size);
    char bytes[8];
    uint64_t done = 0;
    EXPECT_TRUE(file->ReadAt(size - 3, bytes, sizeof bytes, done));
    EXPECT_EQ(done, 3u);
}

TEST_F(File, AnEmptyFileOpens) {
    const auto file = SystemFiles().OpenForRead(Write("empty", "").c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 0u);
    char byte = 0;
    uint64_t done = 99;
    EXPECT_TRUE(file->ReadAt(0, &byte, 1, done));
    EXPECT_EQ(done, 0u);
}

TEST_F(File, OnlyExistingRegularFilesOpen) {
    EXPECT_EQ(SystemFiles().OpenForRead(nullptr), nullptr);
    EXPECT_EQ(SystemFiles().OpenForRead(""), nullptr);
    EXPECT_EQ(SystemFiles().OpenForRead(Path("missing").c_str()), nullptr);
    EXPECT_EQ(SystemFiles().OpenForRead(folder.c_str()), nullptr);
    EXPECT_EQ(SystemFiles().OpenForRead("/dev/null"), nullptr);
    EXPECT_EQ(SystemFiles().OpenForRead(std::string(100000, 'a').c_str()), nullptr);
}

TEST_F(File, AFifoIsRefusedWithoutWaitingForItsWriter) {
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(SystemFiles().OpenForRead(Path("fifo").c_str()), nullptr);
}

TEST_F(File, OthersMayReadItAtTheSameTime) {
    const std::string path = Write("shared", "abc");
    const auto first = SystemFiles().OpenForRead(path.c_str());
    const auto second = SystemFiles().OpenForRead(path.c_str());
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    char a = 0;
    char c = 0;
    uint64_t done = 0;
    EXPECT_TRUE(first->ReadAt(0, &a, 1, done));
    EXPECT_TRUE(second->ReadAt(2, &c, 1, done));
    EXPECT_EQ(a, 'a');
    EXPECT_EQ(c, 'c');
}

TEST(HostPath, TheLastComponentStandsBehindTheLastSeparator) {
    EXPECT_EQ(HostPathLastComponent("/usr/lib/libm.so"), "libm.so");
    EXPECT_EQ(HostPathLastComponent("kernel.elf"), "kernel.elf");
    EXPECT_EQ(HostPathLastComponent("/usr/lib/"), "");
    EXPECT_EQ(HostPathLastComponent("/"), "");
    EXPECT_EQ(HostPathLastComponent(""), "");
}

TEST(HostPath, ABackslashCutsAsWell) {
    EXPECT_EQ(HostPathLastComponent("C:\\symbols\\kernel.exe"), "kernel.exe");
    EXPECT_EQ(HostPathLastComponent("/home/me\\kernel.exe"), "kernel.exe");
    EXPECT_EQ(HostPathLastComponent("C:\\symbols/kernel.exe"), "kernel.exe");
    EXPECT_TRUE(IsHostPathSeparator('/'));
    EXPECT_TRUE(IsHostPathSeparator('\\'));
    EXPECT_FALSE(IsHostPathSeparator(':'));
    EXPECT_EQ(ktHostPathSeparator, '/');
}
