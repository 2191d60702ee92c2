#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

/// Bytes of a test file.
using ktBytes = std::vector<uint8_t>;

/// Overwrites the field of type T at `offset`.
template <class T>
void PutField(ktBytes &bytes, size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

/// The same for a field of `size` bytes, 8 at most.
inline void PutBytes(ktBytes &bytes, size_t offset, uint64_t value, size_t size) {
    std::memcpy(bytes.data() + offset, &value, size);
}

template <class T>
T GetField(const ktBytes &bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

template <class T>
void AppendRecord(ktBytes &bytes, const T &record) {
    const auto *raw = reinterpret_cast<const uint8_t *>(&record);
    bytes.insert(bytes.end(), raw, raw + sizeof(record));
}
