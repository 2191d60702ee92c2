#pragma once

#include "session/data_reader.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// A source of bytes over the whole address space, which notes what is asked of it. Reads stop where a hole
/// begins and fail inside one. One thread at a time.
class ktScriptedReader final : public DataReader {
public:
    struct Call {
        uint64_t position;
        uint32_t size;

        bool operator==(const Call &) const = default;
    };

    /// The byte at an address, for content version `version`.
    static uint8_t ByteAt(uint64_t address, uint8_t version = 0) {
        return uint8_t((address >> 12) * 31 + address * 7 + version);
    }

    uint64_t GetPosition() override { return position; }
    bool IsAtEnd() override { return false; }
    bool Seek(uint64_t newPosition) override {
        if (failSeeks) return false;
        position = newPosition;
        return true;
    }
    bool Skip(uint64_t) override { return false; }
    bool SeekFromEnd(int64_t) override { return false; }
    bool ReadExact(void *buffer, uint32_t size) override {
        uint32_t done = 0;
        return Read(buffer, size, &done) && done == size;
    }
    bool Read(void *buffer, uint32_t size, uint32_t *done) override {
        reads.push_back({position, size});
        if (onRead) onRead();
        uint32_t count = 0;
        while (count < size && !IsHole(position + count)) {
            static_cast<uint8_t *>(buffer)[count] = ByteAt(position + count, version);
            ++count;
        }
        if (done != nullptr) *done = count;
        return count != 0;
    }
    std::unique_ptr<DataReader> Clone() override { return nullptr; }
    std::unique_ptr<DataReader> SubReader(uint64_t, uint64_t) override { return nullptr; }

    /// Makes [first, last] unreadable.
    void AddHole(uint64_t first, uint64_t last) { holes.emplace_back(first, last); }

    std::vector<Call> reads;
    std::function<void()> onRead; ///< called in each read, before bytes are given
    uint8_t version = 0;          ///< changes every byte
    bool failSeeks = false;

private:
    bool IsHole(uint64_t address) const {
        return std::any_of(holes.begin(), holes.end(), [address](const auto &hole) {
            return address >= hole.first && address <= hole.second;
        });
    }

    std::vector<std::pair<uint64_t, uint64_t>> holes;
    uint64_t position = 0;
};
