#pragma once

#include "gui/font.h"
#include "platform/font_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

/// File of the face that the metrics of tests are those of, empty without it.
inline const std::string &TestFontPath() {
    static const std::string found = [] {
        for (const std::string &path : MonospacedFontFiles())
            if (path.find("mononoki") != std::string::npos && std::filesystem::exists(path)) return path;
        return std::string();
    }();
    return found;
}

/// That face at 16 pixels, loaded once for all tests of a program: characters advance by 9 pixels.
inline const ktFont &TestFont() {
    static ktFont font;
    static const bool loaded = [] {
        font.name = "mononoki";
        font.path = TestFontPath();
        return font.Load();
    }();
    EXPECT_TRUE(loaded) << "the face mononoki is not installed";
    return font;
}
