#include "platform/font_file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

TEST(FontFile, ThePreferredFaceComesFirst) {
    const std::vector<std::string> files = MonospacedFontFiles();
    ASSERT_FALSE(files.empty());
    EXPECT_NE(files[0].find("mononoki-Regular"), std::string::npos) << files[0];
}

TEST(FontFile, OnlyUprightFacesOfNormalWeightAreNamed) {
    for (const std::string &file : MonospacedFontFiles()) {
        EXPECT_EQ(file.find("Bold"), std::string::npos) << file;
        EXPECT_EQ(file.find("Italic"), std::string::npos) << file;
        EXPECT_EQ(file.find("Oblique"), std::string::npos) << file;
    }
}

TEST(FontFile, EachFileIsNamedOnceAndCanBeRead) {
    std::set<std::string> seen;
    for (const std::string &file : MonospacedFontFiles()) {
        EXPECT_TRUE(seen.insert(file).second) << file;
        EXPECT_TRUE(std::ifstream(file).good()) << file;
    }
}

TEST(FontFile, TheListIsTheSameEachTime) { EXPECT_EQ(MonospacedFontFiles(), MonospacedFontFiles()); }

/// Fontconfig has a configuration of these rules, and nothing that it scanned before, while this lives.
class FontConfig {
public:
    explicit FontConfig(const std::string &rules) {
        const std::string path = folder.Path("fonts.conf");
        std::ofstream(path) << "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig>"
                            << rules << "<cachedir>" << folder.Path("cache") << "</cachedir></fontconfig>";
        setenv("FONTCONFIG_FILE", path.c_str(), 1);
    }
    ~FontConfig() { unsetenv("FONTCONFIG_FILE"); }
    FontConfig(const FontConfig &) = delete;
    FontConfig &operator=(const FontConfig &) = delete;

private:
    const ktTempFolder folder;
};

TEST(FontFile, WithoutAnyFontTheListIsEmpty) {
    {
        const FontConfig none("");
        EXPECT_TRUE(MonospacedFontFiles().empty());
    }
    EXPECT_FALSE(MonospacedFontFiles().empty());
}

TEST(FontFile, AFaceWithoutTheCharactersOfADebuggerIsPassedOver) {
    const std::string first = MonospacedFontFiles().front();
    const std::string fonts = "<dir>" + first.substr(0, first.rfind('/')) + "</dir>";
    const auto hasFirst = [&first] {
        const std::vector<std::string> files = MonospacedFontFiles();
        return std::find(files.begin(), files.end(), first) != files.end();
    };
    {
        const FontConfig same(fonts);
        EXPECT_TRUE(hasFirst());
    }
    const FontConfig greek(fonts +
                           "<match target=\"scan\"><edit name=\"charset\" mode=\"assign\"><charset>"
                           "<range><int>0x370</int><int>0x3FF</int></range></charset></edit></match>");
    EXPECT_FALSE(hasFirst());
}
