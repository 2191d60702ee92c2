#pragma once

#include "session/data_reader.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

/// Reader of bytes at an address that counts what is asked of it. By default it has no end to seek from, as
/// target memory has none.
class ktCountingReader final : public DataReader {
public:
    explicit ktCountingReader(std::vector<uint8_t> content, uint64_t base = 0)
        : bytes(std::move(content)), start(base), position(base) {}

    uint64_t bytesRead = 0;
    uint64_t largestRead = 0;
    bool endless = false; ///< reads outside of the bytes give zeros instead of a failure
    bool sized = false;   ///< the end of the bytes can be sought, as that of a file

    uint64_t GetPosition() override { return position; }
    bool IsAtEnd() override { return false; }
    bool Seek(uint64_t newPosition) override {
        position = newPosition;
        return true;
    }
    bool Skip(uint64_t) override { return false; }
    bool SeekFromEnd(int64_t distance) override {
        if (sized) position = start + bytes.size() + static_cast<uint64_t>(distance);
        return sized;
    }
    bool ReadExact(void *buffer, uint32_t size) override {
        if (largestRead < size) largestRead = size;
        auto *to = static_cast<uint8_t *>(buffer);
        for (uint32_t i = 0; i < size; ++i, ++position) {
            const bool inside = position >= start && position - start < bytes.size();
            if (!inside && !endless) return false;
            to[i] = inside ? bytes[position - start] : 0;
        }
        bytesRead += size;
        return true;
    }
    bool Read(void *buffer, uint32_t size, uint32_t *done) override {
        const bool good = ReadExact(buffer, size);
        if (done) *done = good ? size : 0;
        return good;
    }
    std::unique_ptr<DataReader> Clone() override { return nullptr; }
    std::unique_ptr<DataReader> SubReader(uint64_t, uint64_t) override { return nullptr; }

private:
    std::vector<uint8_t> bytes;
    uint64_t start;
    uint64_t position;
};
