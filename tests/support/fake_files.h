#pragma once

#include "platform/file.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// Files in memory, by path. One thread.
class ktFakeFiles final : public ktFileSystem {
public:
    std::unique_ptr<ktFile> OpenForRead(const char *path) override {
        ++opens;
        if (!path) return nullptr;
        const auto found = contents.find(path);
        if (found == contents.end()) return nullptr;
        return std::make_unique<File>(*this, found->second, unreadable.count(path) != 0);
    }

    void Add(const std::string &path, const std::string &text) {
        contents[path].assign(text.begin(), text.end());
    }

    std::map<std::string, std::vector<uint8_t>> contents;
    uint64_t opens = 0;               ///< calls of OpenForRead
    uint64_t reads = 0;               ///< calls of ReadAt
    bool failReads = false;           ///< makes every ReadAt fail
    std::set<std::string> unreadable; ///< paths whose files open, and fail every ReadAt

private:
    class File final : public ktFile {
    public:
        File(ktFakeFiles &from, std::vector<uint8_t> copied, bool readsFail)
            : files(from), bytes(std::move(copied)), isUnreadable(readsFail) {}

        bool ReadAt(uint64_t offset, void *buffer, uint64_t size, uint64_t &done) override {
            ++files.reads;
            done = 0;
            if (files.failReads || isUnreadable) return false;
            if (offset >= bytes.size()) return true;
            done = std::min<uint64_t>(size, bytes.size() - offset);
            if (done) std::memcpy(buffer, bytes.data() + offset, done);
            return true;
        }

        uint64_t Size() const override { return bytes.size(); }

    private:
        ktFakeFiles &files;
        std::vector<uint8_t> bytes;
        const bool isUnreadable;
    };
};
