#include "core/memory_search.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "abi/records.h"
#include "core/address_space.h"

namespace sable {

namespace {

constexpr uint64_t pageBytes = 4096;
constexpr size_t comparedBetweenPolls = 65536;

bool GoesDown(const SearchRange &range) { return range.end < range.start; }

/// The next place behind `reached` where the pattern may begin, in the direction of the search. False when
/// the range has none.
bool NextCandidate(const SearchRange &range, uint64_t reached, uint64_t &candidate) {
    const bool down = GoesDown(range);
    if (down ? reached <= range.end : reached >= range.end) return false;
    const uint64_t distance = down ? range.start - reached + 1 : reached + 1 - range.start;
    const uint64_t length = down ? range.start - range.end : range.end - range.start;
    const uint64_t steps = distance / range.step + (distance % range.step != 0 ? 1 : 0);
    if (steps > length / range.step) return false;
    candidate = down ? range.start - steps * range.step : range.start + steps * range.step;
    return true;
}

/// Compares the candidates among the first `zone` bytes of `window`, of which the first one upwards, or the
/// last one downwards, is a candidate. The index of the first match, or `zone`; also when nobody waits any
/// more.
size_t FindInWindow(std::span<const uint8_t> window, size_t zone, std::span<const uint8_t> pattern,
                    const SearchRange &range, WorkMonitor &monitor) {
    size_t compared = 0;
    for (size_t passed = 0; passed < zone; passed += range.step) {
        const size_t index = GoesDown(range) ? zone - 1 - passed : passed;
        if (index + pattern.size() > window.size() || window[index] != pattern[0]) continue;
        if (std::memcmp(&window[index], pattern.data(), pattern.size()) == 0) return index;
        compared += pattern.size();
        if (compared < comparedBetweenPolls) continue;
        compared = 0;
        if (!monitor.GoOn()) break;
    }
    return zone;
}

} // namespace

int32_t SearchMemory(AddressSpace &space, const SearchRange &range, std::span<const uint8_t> pattern,
                     WorkMonitor &monitor, uint64_t &hit) {
    if (pattern.empty() || pattern.size() > maxPatternSize || range.step == 0) return SABLE_BAD_ARGUMENT;
    const bool down = GoesDown(range);
    std::vector<uint8_t> window(pageBytes + pattern.size() - 1);
    uint64_t position = range.start;
    while (monitor.GoOn()) {
        const AddressSpace::Piece piece = space.Locate(position);
        uint64_t low = down ? std::max(piece.first, range.end) : position;
        uint64_t high = down ? position : std::min(piece.last, range.end);
        if (piece.isMapped) {
            if (down) {
                low = std::max(low, position & ~(pageBytes - 1));
            } else {
                high = std::min(high, position | (pageBytes - 1));
            }
            const size_t zone = size_t(high - low) + 1;
            const uint32_t wanted = uint32_t(zone + pattern.size() - 1);
            uint32_t done = 0;
            const int32_t status = space.Read(low, window.data(), wanted, done);
            if (status == SABLE_NOT_SUPPORTED) return status;
            if (status >= 0) {
                const std::span<const uint8_t> bytes(window.data(), done);
                const size_t found = FindInWindow(bytes, zone, pattern, range, monitor);
                if (found < zone) {
                    hit = low + found;
                    return SABLE_OK;
                }
                if (!down && done < zone) high = low + done - 1;
            }
        }
        if (!NextCandidate(range, down ? low : high, position)) break;
    }
    return SABLE_FAILED;
}

} // namespace sable
