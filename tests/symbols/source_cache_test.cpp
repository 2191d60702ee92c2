#include "symbols/source_cache.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "support/fake_files.h"
#include "support/fixed_rows.h"
#include "support/temp_folder.h"
#include "symbols/line_info.h"

namespace {

/// Files 1 to 4 in compDir, in directory 1, in a directory without a name, and without a name.
class SourceCache : public testing::Test {
protected:
    SourceCache() {
        ktLineTable table;
        ktLineTable::PlaceAt(table.directories, 1).Assign("/usr/include");
        ktLineTable::PlaceAt(table.files, 1).Assign("main.c");
        table.files[2].Assign("sys/stdio.h");
        table.files[3].Assign("lost.c");
        table.fileDirs.resize(table.files.size());
        table.fileDirs[2] = 1;
        table.fileDirs[3] = 99;
        AddLines(lines, std::move(table), {});
        lines.compDir.Assign("/home/u");
    }
    std::string Host(const char *path) const {
        std::string text = path;
        for (char &c : text) c = c == '/' ? ktHostPathSeparator : c;
        return text;
    }
    void AddFile(const char *path, const std::string &text) { files.Add(Host(path), text); }

    ktFakeFiles files;
    ktLineInfo lines;
};

TEST_F(SourceCache, Directory0BuildsThePathFromCompDir) {
    AddFile("/src/home/u/main.c", "text\n");
    ktSourceCache cache(lines, files);
    cache.path.root.Assign(Host("/src"));
    const ktSourceFile *file = cache.LoadFile(1);
    ASSERT_NE(file, nullptr);
    EXPECT_STREQ(file->Line(0), "text");
    EXPECT_EQ(cache.PathOf(1), Host("/src/home/u/main.c"));
}

TEST_F(SourceCache, OtherDirectoriesAreNotJoinedToCompDir) {
    AddFile("/src/usr/include/sys/stdio.h", "text\n");
    ktSourceCache cache(lines, files);
    cache.path.root.Assign(Host("/src"));
    EXPECT_NE(cache.LoadFile(2), nullptr);
}

TEST_F(SourceCache, WithoutARootTheBuildPathIsTheFile) {
    AddFile("/home/u/main.c", "text\n");
    ktSourceCache cache(lines, files);
    EXPECT_NE(cache.LoadFile(1), nullptr);
    EXPECT_EQ(cache.PathOf(1), Host("/home/u/main.c"));
}

TEST_F(SourceCache, FilesWithoutNameDirectoryOrPlaceAreNotTried) {
    ktSourceCache cache(lines, files);
    for (const uint64_t number :
         {uint64_t(0), uint64_t(3), uint64_t(4), uint64_t(15), uint64_t(16), ~uint64_t(0)})
        EXPECT_EQ(cache.LoadFile(number), nullptr) << number;
    EXPECT_EQ(files.opens, 0u);
    EXPECT_EQ(cache.Count(), 16u); // the capacity of the table
    ktLineTable table;
    ktLineTable::PlaceAt(table.files, 1).Assign("main.c");
    ktLineInfo homeless; // no compDir
    AddLines(homeless, std::move(table), {});
    ktSourceCache other(homeless, files);
    EXPECT_EQ(other.LoadFile(1), nullptr);
    EXPECT_EQ(files.opens, 0u);
}

TEST_F(SourceCache, AFileIsReadOnce) {
    AddFile("/home/u/main.c", "text\n");
    ktSourceCache cache(lines, files);
    const ktSourceFile *file = cache.LoadFile(1);
    const uint64_t opens = files.opens;
    EXPECT_EQ(cache.LoadFile(1), file);
    EXPECT_EQ(files.opens, opens);
    EXPECT_EQ(files.reads, 1u);
}

TEST_F(SourceCache, AFailedSearchIsNotRemembered) {
    ktSourceCache cache(lines, files);
    EXPECT_EQ(cache.LoadFile(1), nullptr);
    EXPECT_EQ(cache.PathOf(1), nullptr);
    AddFile("/home/u/main.c", "text\n");
    EXPECT_NE(cache.LoadFile(1), nullptr);
}

TEST_F(SourceCache, ACandidateThatOpensAndCannotBeReadEndsTheSearchWithoutAFile) {
    AddFile("/src/home/u/main.c", "text\n");
    AddFile("/src/main.c", "of another place\n"); // would be the third candidate
    files.unreadable.insert(Host("/src/home/u/main.c"));
    ktSourceCache cache(lines, files);
    cache.path.root.Assign(Host("/src"));
    EXPECT_EQ(cache.LoadFile(1), nullptr);
    EXPECT_EQ(cache.PathOf(1), nullptr);
    const uint64_t opens = files.opens;
    EXPECT_EQ(cache.LoadFile(1), nullptr);
    EXPECT_GT(files.opens, opens); // it is not remembered
    files.unreadable.clear();
    const ktSourceFile *file = cache.LoadFile(1);
    ASSERT_NE(file, nullptr);
    EXPECT_STREQ(file->Line(0), "text");
    EXPECT_EQ(cache.PathOf(1), Host("/src/home/u/main.c"));
}

TEST_F(SourceCache, ACandidateThatCannotBeOpenedIsPassedOver) {
    const ktTempFolder folder;
    const std::string root = folder.Path("src");
    std::filesystem::create_directories(folder.Path("src/home/u/main.c")); // folders of the file's name
    std::filesystem::create_directories(folder.Path("src/u/main.c"));
    const std::string text = "text\n";
    const std::string path = folder.Write("src/main.c", {text.begin(), text.end()});
    ktSourceCache cache(lines);
    cache.path.root.Assign(root.c_str());
    const ktSourceFile *file = cache.LoadFile(1);
    ASSERT_NE(file, nullptr);
    EXPECT_STREQ(file->Line(0), "text");
    EXPECT_EQ(cache.PathOf(1), Host(path.c_str()));
    std::filesystem::remove(path);
    std::filesystem::create_directory(path); // now all of them are folders
    ktSourceCache other(lines);
    other.path.root.Assign(root.c_str());
    EXPECT_EQ(other.LoadFile(1), nullptr);
}

TEST_F(SourceCache, ALoadedFileStaysUnderANewRoot) {
    AddFile("/one/main.c", "one\n");
    AddFile("/two/main.c", "two\n");
    AddFile("/two/stdio.h", "two\n");
    ktSourceCache cache(lines, files);
    cache.path.root.Assign(Host("/one"));
    ASSERT_NE(cache.LoadFile(1), nullptr);
    EXPECT_EQ(cache.LoadFile(2), nullptr);
    cache.path.root.Assign(Host("/two"));
    EXPECT_STREQ(cache.LoadFile(1)->Line(0), "one");
    ASSERT_NE(cache.LoadFile(2), nullptr); // not loaded yet: the new root counts
    EXPECT_EQ(cache.PathOf(2), Host("/two/stdio.h"));
}

} // namespace
