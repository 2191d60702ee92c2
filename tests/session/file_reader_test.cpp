#include "session/file_reader.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "support/fake_files.h"

namespace {

class FileReaderTest : public testing::Test {
protected:
    FileReaderTest() { files.Add("file", "0123456789"); }

    ktFakeFiles files;
    char buffer[16] = {};
    uint32_t done = 99;
};

} // namespace

TEST_F(FileReaderTest, OpensAtTheBeginning) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.IsOpen());
    EXPECT_EQ(reader.GetSize(), 10u);
    EXPECT_EQ(reader.GetPosition(), 0u);
    EXPECT_FALSE(reader.IsAtEnd());
}

TEST_F(FileReaderTest, FileThatCannotBeOpenedLeavesItClosed) {
    for (const char *path : {"missing", static_cast<const char *>(nullptr)}) {
        FileReader reader(path, files);
        EXPECT_FALSE(reader.IsOpen());
        EXPECT_EQ(reader.GetPosition(), UINT64_MAX);
        EXPECT_EQ(reader.GetSize(), 0u);
        EXPECT_FALSE(reader.IsAtEnd());
        EXPECT_FALSE(reader.Seek(0));
        EXPECT_FALSE(reader.Skip(0));
        EXPECT_FALSE(reader.SeekFromEnd(0));
        EXPECT_FALSE(reader.Read(buffer, 1, &done));
        EXPECT_EQ(done, 0u);
        EXPECT_FALSE(reader.ReadExact(buffer, 0));
        EXPECT_EQ(reader.Clone(), nullptr);
        EXPECT_EQ(reader.SubReader(0, 0), nullptr);
        EXPECT_EQ(reader.GetPosition(), UINT64_MAX);
    }
}

TEST_F(FileReaderTest, EmptyFileIsAtItsEnd) {
    files.Add("empty", "");
    FileReader reader("empty", files);
    EXPECT_TRUE(reader.IsOpen());
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST_F(FileReaderTest, ReadMovesByWhatCame) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 4u);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(reader.GetPosition(), 4u);
    EXPECT_TRUE(reader.Read(buffer, 16, &done));
    EXPECT_EQ(done, 6u);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(files.reads, 2u);
}

TEST_F(FileReaderTest, ReadAtTheEndSucceedsWithNothing) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.Seek(10));
    EXPECT_TRUE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_TRUE(reader.Read(buffer, 4, nullptr));
    EXPECT_FALSE(reader.ReadExact(buffer, 4));
    EXPECT_TRUE(reader.ReadExact(buffer, 0));
}

TEST_F(FileReaderTest, ReadExactFailsOnAShortRead) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.ReadExact(buffer, 8));
    EXPECT_FALSE(reader.ReadExact(buffer, 8));
    EXPECT_EQ(reader.GetPosition(), 10u);
}

TEST_F(FileReaderTest, ReadErrorFails) {
    FileReader reader("file", files);
    files.failReads = true;
    EXPECT_FALSE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(reader.ReadExact(buffer, 4));
    EXPECT_EQ(reader.GetPosition(), 0u);
}

TEST_F(FileReaderTest, NullBufferFails) {
    FileReader reader("file", files);
    EXPECT_FALSE(reader.Read(nullptr, 4, &done));
    EXPECT_EQ(reader.GetPosition(), 0u);
}

TEST_F(FileReaderTest, PositionMayLieBehindTheEnd) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.Seek(100));
    EXPECT_EQ(reader.GetPosition(), 100u);
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_TRUE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(reader.GetPosition(), 100u);
    EXPECT_TRUE(reader.Skip(5));
    EXPECT_EQ(reader.GetPosition(), 105u);
    EXPECT_TRUE(reader.SeekFromEnd(7));
    EXPECT_EQ(reader.GetPosition(), 17u);
}

TEST_F(FileReaderTest, PositionOutsideAFilePointerFails) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.Seek(3));
    EXPECT_FALSE(reader.Seek(uint64_t(INT64_MAX) + 1));
    EXPECT_FALSE(reader.Skip(INT64_MAX));
    EXPECT_FALSE(reader.Skip(UINT64_MAX));
    EXPECT_FALSE(reader.SeekFromEnd(-11));
    EXPECT_FALSE(reader.SeekFromEnd(INT64_MIN));
    EXPECT_FALSE(reader.SeekFromEnd(INT64_MAX));
    EXPECT_EQ(reader.GetPosition(), 3u);
    EXPECT_TRUE(reader.Seek(INT64_MAX));
    EXPECT_TRUE(reader.Read(buffer, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_TRUE(reader.Skip(0));
    EXPECT_FALSE(reader.Skip(1));
}

TEST_F(FileReaderTest, SeekSkipAndSeekFromEndMove) {
    FileReader reader("file", files);
    EXPECT_TRUE(reader.SeekFromEnd(-4));
    EXPECT_TRUE(reader.Skip(1));
    EXPECT_EQ(reader.GetPosition(), 7u);
    EXPECT_TRUE(reader.ReadExact(buffer, 3));
    EXPECT_STREQ(buffer, "789");
    EXPECT_TRUE(reader.SeekFromEnd(0));
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_TRUE(reader.SeekFromEnd(-10));
    EXPECT_EQ(reader.GetPosition(), 0u);
}

TEST_F(FileReaderTest, CloneIsNull) {
    FileReader reader("file", files);
    EXPECT_EQ(reader.Clone(), nullptr);
}

TEST_F(FileReaderTest, SubReaderOpensTheFileAnewAtTheSamePosition) {
    FileReader reader("file", files);
    reader.Seek(6);
    const auto sub = reader.SubReader(900, 2);
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(files.opens, 2u);
    EXPECT_EQ(sub->GetPosition(), 6u);
    EXPECT_TRUE(sub->ReadExact(buffer, 4));
    EXPECT_STREQ(buffer, "6789");
    EXPECT_TRUE(sub->Seek(0));
    EXPECT_EQ(reader.GetPosition(), 6u);
}

TEST_F(FileReaderTest, SubReaderOfAFileThatIsGoneIsNull) {
    FileReader reader("file", files);
    files.contents.clear();
    EXPECT_EQ(reader.SubReader(0, 10), nullptr);
    EXPECT_TRUE(reader.ReadExact(buffer, 4));
}

TEST_F(FileReaderTest, KeepsItsOwnCopyOfThePath) {
    std::string path = "file";
    FileReader reader(path.c_str(), files);
    path = "gone";
    EXPECT_NE(reader.SubReader(0, 0), nullptr);
}

TEST(FileReader, ReadsFilesOfTheSystem) {
    const std::filesystem::path path =
        std::filesystem::path(testing::TempDir()) / "sable_file_reader_test.bin";
    std::ofstream(path, std::ios::binary) << "hello";
    {
        FileReader reader(path.string().c_str());
        ASSERT_TRUE(reader.IsOpen());
        EXPECT_EQ(reader.GetSize(), 5u);
        char buffer[8] = {};
        EXPECT_TRUE(reader.SeekFromEnd(-3));
        EXPECT_TRUE(reader.ReadExact(buffer, 3));
        EXPECT_STREQ(buffer, "llo");
    }
    std::filesystem::remove(path);
    EXPECT_FALSE(FileReader(path.string().c_str()).IsOpen());
    EXPECT_FALSE(FileReader(testing::TempDir().c_str()).IsOpen());
}
