#include "session/mem_reader.h"

#include <algorithm>
#include <cstring>
#include <new>

bool MemReader::Seek(uint64_t newPosition) {
    if (newPosition > size) return false;
    position = newPosition;
    return true;
}

bool MemReader::Skip(uint64_t distance) {
    if (distance > size - position) return false;
    position += distance;
    return true;
}

bool MemReader::SeekFromEnd(int64_t distance) {
    uint64_t newPosition = 0;
    return MovePosition(size, distance, newPosition) && Seek(newPosition);
}

bool MemReader::ReadExact(void *buffer, uint32_t wanted) {
    uint32_t done = 0;
    return Read(buffer, wanted, &done) && done == wanted;
}

bool MemReader::Read(void *buffer, uint32_t wanted, uint32_t *done) {
    if (done != nullptr) *done = 0;
    const uint32_t count = uint32_t(std::min<uint64_t>(wanted, size - position));
    if (count == 0 || buffer == nullptr || base == nullptr) return false;
    std::memcpy(buffer, base + position, count);
    position += count;
    if (done != nullptr) *done = count;
    return true;
}

std::unique_ptr<DataReader> MemReader::Clone() {
    std::unique_ptr<MemReader> clone(new (std::nothrow) MemReader(base, size));
    if (clone != nullptr) clone->position = position;
    return clone;
}

std::unique_ptr<DataReader> MemReader::SubReader(uint64_t start, uint64_t end) {
    if (start > end || end > size) return nullptr;
    const uint8_t *newBase = base != nullptr ? base + start : nullptr;
    return std::unique_ptr<DataReader>(new (std::nothrow) MemReader(newBase, end - start));
}
