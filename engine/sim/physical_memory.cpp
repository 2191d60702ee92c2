#include "sim/physical_memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace sable {

namespace {

uint64_t RoundedSize(uint64_t bytes) {
    const uint64_t wanted = std::clamp(bytes, PhysicalMemory::pageSize, PhysicalMemory::maxSize);
    return (wanted + PhysicalMemory::pageSize - 1) / PhysicalMemory::pageSize * PhysicalMemory::pageSize;
}

} // namespace

void PhysicalMemory::FreeRam::operator()(uint8_t *bytes) const { std::free(bytes); }

// calloc: pages that the guest never touches cost nothing. Without memory there is no RAM at all, and the
// processor finds an empty bus.
PhysicalMemory::PhysicalMemory(uint64_t bytes)
    : size(RoundedSize(bytes)), ram(static_cast<uint8_t *>(std::calloc(size, 1))) {
    if (ram == nullptr) size = 0;
    codeMarks.resize(size / pageSize);
    codeVersions.resize(size / pageSize);
}

bool PhysicalMemory::Read(uint64_t physical, void *bytes, uint64_t count) const {
    if (physical > size || count > size - physical) return false;
    if (count == 0) return true;
    std::memcpy(bytes, ram.get() + physical, count);
    return true;
}

bool PhysicalMemory::Write(uint64_t physical, const void *bytes, uint64_t count) {
    if (physical > size || count > size - physical) return false;
    if (count == 0) return true;
    std::memcpy(ram.get() + physical, bytes, count);
    for (uint64_t page = physical / pageSize; page <= (physical + count - 1) / pageSize; ++page) {
        if (codeMarks[page] != 0) DropCode(page * pageSize);
    }
    return true;
}

void PhysicalMemory::Clear() {
    if (size == 0) return;
    // Fresh pages cost nothing until they are touched, and old ones may be many.
    if (uint8_t *const fresh = static_cast<uint8_t *>(std::calloc(size, 1))) {
        ram.reset(fresh);
    } else {
        std::memset(ram.get(), 0, size);
    }
    for (uint64_t page = 0; page < size; page += pageSize) DropCode(page);
}

void PhysicalMemory::MarkCode(uint64_t physical, uint64_t count) {
    uint64_t &marks = *CodeMarks(physical);
    for (uint64_t granule = physical >> 6; granule <= (physical + count - 1) >> 6; ++granule) {
        marks |= uint64_t(1) << (granule & 63);
    }
}

void PhysicalMemory::DropCode(uint64_t physical) {
    *CodeMarks(physical) = 0;
    ++codeVersions[physical / pageSize];
}

void PhysicalMemory::AddBreak(uint64_t physical) {
    if (breaks.insert(physical).second && Holds(physical)) DropCode(physical);
}

void PhysicalMemory::RemoveBreak(uint64_t physical) {
    if (breaks.erase(physical) != 0 && Holds(physical)) DropCode(physical);
}

bool PhysicalMemory::PageHasBreaks(uint64_t physical) const {
    const uint64_t page = physical / pageSize * pageSize;
    const auto next = breaks.lower_bound(page);
    return next != breaks.end() && *next < page + pageSize;
}

} // namespace sable
