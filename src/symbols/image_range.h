#pragma once

#include <cstdint>

class DataReader;
class ktModule;
class ktPageCache;

/// Size in bytes of what `reader` reads. False when it has none that can be known, such as target memory.
/// The position stays.
bool KnownReaderSize(DataReader &reader, uint64_t &size);

/// True when [offset, offset + size) lies inside the first `limit` bytes.
constexpr bool IsInside(uint64_t offset, uint64_t size, uint64_t limit) {
    return offset <= limit && size <= limit - offset;
}

/// True when an image of `size` bytes at `base` ends at or below the top of the address space.
constexpr bool ImageFits(uint64_t base, uint64_t size) {
    return size == 0 || base <= ~uint64_t(0) - (size - 1);
}

/// `value` times `factor`, all ones when that is more than 64 bits hold.
constexpr uint64_t SaturatingMultiply(uint64_t value, uint64_t factor) {
    return factor != 0 && value > ~uint64_t(0) / factor ? ~uint64_t(0) : value * factor;
}

/// Removes every page that an image of `size` bytes at `base` touches; an empty image touches none. The
/// caller holds the lock of `pages` exclusively.
void RemoveImagePages(ktPageCache &pages, uint64_t base, uint64_t size);
/// The same for the image of a module, taking the lock.
void RemoveModulePages(ktPageCache &pages, const ktModule &module);
