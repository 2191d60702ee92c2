#include "symbols/source_path.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/fake_files.h"

namespace {

ktSourcePath Backslashes() {
    ktSourcePath path;
    path.separator = '\\';
    path.altSeparator = '/';
    path.joiner = "\\";
    return path;
}

ktSourcePath Slashes() {
    ktSourcePath path;
    path.separator = '/';
    path.altSeparator = '\\';
    path.joiner = "/";
    return path;
}

struct Case {
    const char *text, *backslashes, *slashes;
};

class NormalizePathOf : public testing::Test {
protected:
    void Check(const std::vector<Case> &cases) {
        for (const Case &one : cases) {
            EXPECT_EQ(NormalizePath(Backslashes(), one.text), one.backslashes) << one.text;
            EXPECT_EQ(NormalizePath(Slashes(), one.text), one.slashes) << one.text;
        }
    }
};

TEST_F(NormalizePathOf, ResultBeginsWithTheJoiner) {
    Check({{"/home/u/a.c", "\\home\\u\\a.c", "/home/u/a.c"},
           {"a.c", "\\a.c", "/a.c"},
           {"C:\\x\\a.c", "\\C:\\x\\a.c", "/C:/x/a.c"}});
}

TEST_F(NormalizePathOf, BothSeparatorsCutAndEmptyComponentsVanish) {
    Check({{"//home\\\\u/\\a.c\\", "\\home\\u\\a.c", "/home/u/a.c"}, {"", "", ""}, {"/\\//", "", ""}});
}

TEST_F(NormalizePathOf, OneDotIsDropped) {
    Check({{"./a/././b/.", "\\a\\b", "/a/b"}, {".", "", ""}, {".a/b./...", "\\.a\\b.\\...", "/.a/b./..."}});
}

TEST_F(NormalizePathOf, TwoDotsTakeAComponentAwayAndStay) {
    Check({{"/home/u/../a.c", "\\home\\..\\a.c", "/home/../a.c"},
           {"/a/b/c/../../d", "\\a\\b\\..\\d", "/a/b/../d"},
           {"/a/b/./../c", "\\a\\..\\c", "/a/../c"}});
}

TEST_F(NormalizePathOf, TwoDotsAtTheStartHaveNothingToRemove) {
    Check({{"../a.c", "\\..\\a.c", "/../a.c"}, {"/..", "\\..", "/.."}});
}

TEST_F(NormalizePathOf, FirstCharacterIsNeverWiped) {
    Check({{"/home/../a.c", "\\\\..\\a.c", "//../a.c"}, {"../../a", "\\\\..\\a", "//../a"}});
}

TEST(SourcePath, HasTheSeparatorsOfTheHost) {
    const ktSourcePath path;
    EXPECT_EQ(path.separator, ktHostPathSeparator);
    EXPECT_NE(path.separator, path.altSeparator);
    EXPECT_EQ(path.joiner, std::string(1, ktHostPathSeparator));
    EXPECT_TRUE(IsHostPathSeparator(path.separator));
    EXPECT_TRUE(IsHostPathSeparator(path.altSeparator));
}

/// Files that are not there, and the paths that were tried.
class TriedFiles final : public ktFileSystem {
public:
    std::unique_ptr<ktFile> OpenForRead(const char *path) override {
        tried.emplace_back(path);
        return files.OpenForRead(path);
    }
    std::vector<std::string> tried;
    ktFakeFiles files;
};

TEST(FindSourceFile, DropsLeadingDirectoriesOneByOne) {
    TriedFiles files;
    std::string found;
    ktSourcePath path = Backslashes();
    path.root.Assign("D:\\src");
    EXPECT_FALSE(FindSourceFile(path, files, "\\home\\u\\proj\\lib\\a.c", found));
    EXPECT_EQ(files.tried,
              (std::vector<std::string>{"D:\\src\\home\\u\\proj\\lib\\a.c", "D:\\src\\u\\proj\\lib\\a.c",
                                        "D:\\src\\proj\\lib\\a.c", "D:\\src\\lib\\a.c", "D:\\src\\a.c"}));
    files.tried.clear();
    path = Slashes();
    path.root.Assign("/src");
    EXPECT_FALSE(FindSourceFile(path, files, "/u/lib/a.c", found));
    EXPECT_EQ(files.tried, (std::vector<std::string>{"/src/u/lib/a.c", "/src/lib/a.c", "/src/a.c"}));
}

TEST(FindSourceFile, PathsTooLongToBeOpenedAreNotTried) {
    ktFakeFiles files;
    ktSourcePath path;
    path.root.Assign("/src");
    std::string built;
    for (int i = 0; i < 500000; ++i) built.append(path.joiner).append("a");
    built.append(path.joiner).append("x.c");
    std::string found;
    EXPECT_FALSE(FindSourceFile(path, files, built, found));
    EXPECT_LE(files.opens, ktLongestHostPath);
    files.Add("/src/a/a/x.c", "text");
    EXPECT_TRUE(FindSourceFile(path, files, built, found));
    EXPECT_EQ(found, "/src/a/a/x.c");
    path.root.Assign(std::string(ktLongestHostPath + 1, 'r').c_str());
    EXPECT_FALSE(FindSourceFile(path, files, built, found));
}

TEST(FindSourceFile, FirstThatOpensIsTaken) {
    TriedFiles files;
    files.files.Add("/src/lib/a.c", "");
    files.files.Add("/src/a.c", "");
    std::string found;
    ktSourcePath path = Slashes();
    path.root.Assign("/src");
    EXPECT_TRUE(FindSourceFile(path, files, "/u/lib/a.c", found));
    EXPECT_EQ(found, "/src/lib/a.c");
    EXPECT_EQ(files.tried.size(), 2u);
}

TEST(FindSourceFile, RootWithASeparatorAtItsEndDoublesIt) {
    TriedFiles files;
    std::string found;
    ktSourcePath path = Slashes();
    path.root.Assign("/src/");
    EXPECT_FALSE(FindSourceFile(path, files, "/a.c", found));
    EXPECT_EQ(files.tried, (std::vector<std::string>{"/src//a.c"}));
}

TEST(FindSourceFile, SuffixMovesOnByOneCharacterBeforeItLooksForASeparator) {
    TriedFiles files;
    std::string found;
    ktSourcePath path = Slashes();
    path.root.Assign("/src");
    EXPECT_FALSE(FindSourceFile(path, files, "//../a.c", found)); // what a wiped first component leaves
    EXPECT_EQ(files.tried, (std::vector<std::string>{"/src//../a.c", "/src/../a.c", "/src/a.c"}));
}

TEST(FindSourceFile, EmptyPathIsNotFoundUnderARoot) {
    TriedFiles files;
    std::string found;
    ktSourcePath path = Slashes();
    path.root.Assign("/src");
    EXPECT_FALSE(FindSourceFile(path, files, "", found));
    EXPECT_TRUE(files.tried.empty());
}

TEST(FindSourceFile, EmptyRootTriesThePathItself) {
    TriedFiles files;
    files.files.Add("/lib/a.c", "");
    std::string found;
    ktSourcePath path = Slashes();
    path.root.Assign("");
    EXPECT_TRUE(FindSourceFile(path, files, "/u/lib/a.c", found));
    EXPECT_EQ(found, "/lib/a.c");
}

TEST(FindSourceFile, WithoutARootThePathStandsAsItIs) {
    TriedFiles files;
    std::string found;
    EXPECT_TRUE(FindSourceFile(Slashes(), files, "/u/a.c", found));
    EXPECT_EQ(found, "/u/a.c");
    EXPECT_TRUE(files.tried.empty());
}

} // namespace
