#pragma once

#include "session/data_reader.h"

/// Reader of a block of memory that somebody else owns and keeps alive.
class MemReader final : public DataReader {
public:
    MemReader(const void *block, uint64_t blockSize)
        : base(static_cast<const uint8_t *>(block)), size(blockSize) {}

    uint64_t GetPosition() override { return position; }
    bool IsAtEnd() override { return position == size; }
    bool Seek(uint64_t newPosition) override;
    bool Skip(uint64_t distance) override;
    bool SeekFromEnd(int64_t distance) override;
    bool ReadExact(void *buffer, uint32_t wanted) override;
    /// Clamped to what remains; zero bytes or a null buffer is false.
    bool Read(void *buffer, uint32_t wanted, uint32_t *done) override;
    std::unique_ptr<DataReader> Clone() override;
    /// Null if start > size, start > end or end > size; the new reader stands at position 0.
    std::unique_ptr<DataReader> SubReader(uint64_t start, uint64_t end) override;

private:
    const uint8_t *base;
    uint64_t size;
    uint64_t position = 0;
};
