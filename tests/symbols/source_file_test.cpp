#include "symbols/source_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/fake_files.h"

namespace {

class SourceFile : public testing::Test {
protected:
    bool Load(const std::string &text) {
        files.Add("a.c", text);
        return file.Load("a.c", files);
    }

    ktFakeFiles files;
    ktSourceFile file;
};

TEST_F(SourceFile, LinesEndAtLineFeeds) {
    ASSERT_TRUE(Load("first\nsecond\n"));
    EXPECT_EQ(file.LineCount(), 2u);
    EXPECT_STREQ(file.Line(0), "first");
    EXPECT_STREQ(file.Line(1), "second");
    EXPECT_EQ(file.Line(2), nullptr);
    EXPECT_EQ(file.Line(~uint64_t(0)), nullptr);
    EXPECT_EQ(files.reads, 1u); // at once
}

TEST_F(SourceFile, TextWithoutALineFeedIsNoLine) {
    ASSERT_TRUE(Load("only"));
    EXPECT_EQ(file.LineCount(), 0u);
    EXPECT_EQ(file.Line(0), nullptr);
    ASSERT_TRUE(Load("first\nlast"));
    EXPECT_EQ(file.LineCount(), 1u);
    EXPECT_EQ(file.Line(1), nullptr);
}

TEST_F(SourceFile, TwoLineFeedsInARowGiveAnEmptyLine) {
    ASSERT_TRUE(Load("a\n\nb\n"));
    EXPECT_EQ(file.LineCount(), 3u);
    EXPECT_STREQ(file.Line(1), "");
    EXPECT_STREQ(file.Line(2), "b");
}

TEST_F(SourceFile, CarriageReturnsStay) {
    ASSERT_TRUE(Load("a\r\n"));
    EXPECT_STREQ(file.Line(0), "a\r");
}

TEST_F(SourceFile, ZeroBytesCutTheirLine) {
    ASSERT_TRUE(Load(std::string("a\0b\nc\n", 6)));
    EXPECT_EQ(file.LineCount(), 2u);
    EXPECT_STREQ(file.Line(0), "a");
    EXPECT_STREQ(file.Line(1), "c");
}

TEST_F(SourceFile, EmptyFileLoadsWithoutLines) {
    ASSERT_TRUE(Load(""));
    EXPECT_EQ(file.LineCount(), 0u);
}

TEST_F(SourceFile, LoadingAgainReplacesTheLines) {
    ASSERT_TRUE(Load("a\nb\n"));
    ASSERT_TRUE(Load("c\n"));
    EXPECT_EQ(file.LineCount(), 1u);
    EXPECT_STREQ(file.Line(0), "c");
}

TEST_F(SourceFile, MissingFilesNullAndFailedReadsFail) {
    EXPECT_FALSE(file.Load("missing.c", files));
    EXPECT_FALSE(file.Load(nullptr, files));
    ASSERT_TRUE(Load("kept\n"));
    files.failReads = true;
    EXPECT_FALSE(Load("other\n"));
    EXPECT_STREQ(file.Line(0), "kept");
}

/// A file that claims more bytes than it gives.
class ShortFiles final : public ktFileSystem {
public:
    explicit ShortFiles(uint64_t claimedSize) : size(claimedSize) {}
    std::unique_ptr<ktFile> OpenForRead(const char *) override { return std::make_unique<File>(size); }

private:
    class File final : public ktFile {
    public:
        explicit File(uint64_t claimedSize) : size(claimedSize) {}
        bool ReadAt(uint64_t, void *, uint64_t, uint64_t &done) override {
            done = 0;
            return true;
        }
        uint64_t Size() const override { return size; }

    private:
        const uint64_t size;
    };
    const uint64_t size;
};

TEST_F(SourceFile, ShortReadAndTooLargeAFileFail) {
    ShortFiles cut(10);
    EXPECT_FALSE(file.Load("a.c", cut));
    ShortFiles huge(uint64_t(1) << 32);
    EXPECT_FALSE(file.Load("a.c", huge));
    ShortFiles all(~uint64_t(0));
    EXPECT_FALSE(file.Load("a.c", all));
}

} // namespace
