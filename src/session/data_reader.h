#pragma once

#include <cstdint>
#include <memory>

/// Random-access reader of bytes: a file, a block of memory, a target. One thread at a time.
class DataReader {
public:
    virtual ~DataReader() = default;
    virtual uint64_t GetPosition() = 0;
    virtual bool IsAtEnd() = 0;
    /// Moves to an absolute position.
    virtual bool Seek(uint64_t position) = 0;
    /// Moves forward.
    virtual bool Skip(uint64_t distance) = 0;
    /// Moves to the end plus `distance`, which is negative to land before the end.
    virtual bool SeekFromEnd(int64_t distance) = 0;
    /// True only if all bytes came.
    virtual bool ReadExact(void *buffer, uint32_t size) = 0;
    /// `done`, which may be null, receives the number of bytes that came.
    virtual bool Read(void *buffer, uint32_t size, uint32_t *done) = 0;
    /// A new reader of the same bytes at the same position, or null where a class cannot.
    virtual std::unique_ptr<DataReader> Clone() = 0;
    /// A new reader on [start, end), or null where a class cannot.
    virtual std::unique_ptr<DataReader> SubReader(uint64_t start, uint64_t end) = 0;

protected:
    /// `base` plus `distance`; false, with `out` untouched, for a sum below 0 or above 64 bits.
    static bool MovePosition(uint64_t base, int64_t distance, uint64_t &out);
};
