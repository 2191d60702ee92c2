#include "app/line_offsets.h"

#include <cstdlib>

namespace {

constexpr uint64_t firstRoom = 1024;

} // namespace

void *ktHeapReallocate(void *block, size_t size) { return std::realloc(block, size); }

ktLineOffsets::~ktLineOffsets() { std::free(slots); }

bool ktLineOffsets::MakeRoom() {
    if (size < room) return true;
    const uint64_t newRoom = room ? room * 2 : firstRoom;
    void *grown = reallocate(slots, static_cast<size_t>(newRoom * sizeof(uint64_t)));
    if (!grown) return false;
    slots = static_cast<uint64_t *>(grown);
    room = newRoom;
    return true;
}
