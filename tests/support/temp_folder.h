#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// A folder of one test for files, gone with everything in it at the end.
class ktTempFolder {
public:
    ktTempFolder() {
        const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 (std::string("sabledbg-") + test->test_suite_name() + "-" + test->name());
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    ~ktTempFolder() { std::filesystem::remove_all(folder); }
    ktTempFolder(const ktTempFolder &) = delete;
    ktTempFolder &operator=(const ktTempFolder &) = delete;

    std::string Path(const std::string &name) const { return (folder / name).string(); }
    /// Writes a file and gives its path.
    std::string Write(const std::string &name, const std::vector<uint8_t> &bytes) const {
        const std::string path = Path(name);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }

private:
    std::filesystem::path folder;
};
