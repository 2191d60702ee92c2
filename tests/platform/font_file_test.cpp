#include "platform/font_file.h"

#include <gtest/gtest.h>

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

TEST(FontFile, WithoutAnyFontTheListIsEmpty) {
    const std::string config = testing::TempDir() + "no_fonts.conf";
    std::ofstream(config) << "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig/>";
    setenv("FONTCONFIG_FILE", config.c_str(), 1);
    const std::vector<std::string> files = MonospacedFontFiles();
    unsetenv("FONTCONFIG_FILE");
    EXPECT_TRUE(files.empty());
    EXPECT_FALSE(MonospacedFontFiles().empty());
}
