#include "core/page_walk.h"

#include <span>

#include "core/target.h"

namespace sable {

namespace {

constexpr uint64_t present = 1;
constexpr uint64_t pageSize = 1 << 7;
constexpr uint64_t attributeTable = 1 << 12; // of a large page
constexpr uint64_t last32 = 0xFFFFFFFF;
constexpr uint64_t entryAddress = 0x000FFFFFFFFFF000;

/// What the page-size bit of an entry means.
enum class LargeBit {
    ignored,
    large,
    largeWithFeature, // with PagingFacts::hasLargePages, else ignored
    gigabyte,         // with PagingFacts::hasGigabytePages, else reserved
    reserved
};

struct Level {
    uint8_t shift; // of the address to the index of this level's table
    uint8_t indexBits;
    LargeBit largeBit;
};

struct Layout {
    uint64_t rootMask;
    uint32_t entrySize;
    std::span<const Level> levels;
};

constexpr Level levels32[] = {{22, 10, LargeBit::largeWithFeature}, {12, 10, LargeBit::ignored}};
constexpr Level levelsPae[] = {
    {30, 2, LargeBit::ignored}, {21, 9, LargeBit::large}, {12, 9, LargeBit::ignored}};
constexpr Level levels4[] = {{39, 9, LargeBit::reserved},
                             {30, 9, LargeBit::gigabyte},
                             {21, 9, LargeBit::large},
                             {12, 9, LargeBit::ignored}};

constexpr Layout layout32 = {0xFFFFF000, 4, levels32};
constexpr Layout layoutPae = {0xFFFFFFE0, 8, levelsPae};
constexpr Layout layout4 = {entryAddress, 8, levels4};

uint64_t Ones(unsigned bits) { return (uint64_t(1) << bits) - 1; }

bool IsLarge(LargeBit meaning, const PagingFacts &facts, bool &isRefused) {
    switch (meaning) {
    case LargeBit::large:
        return true;
    case LargeBit::largeWithFeature:
        return facts.hasLargePages;
    case LargeBit::gigabyte:
    case LargeBit::reserved:
        isRefused = meaning == LargeBit::reserved || !facts.hasGigabytePages;
        return !isRefused;
    case LargeBit::ignored:
        break;
    }
    return false;
}

/// Where the page or table of an entry is. False when bits are set that have to be clear.
bool AddressOf(uint64_t entry, const Layout &layout, uint8_t shift, bool isLarge, const PagingFacts &facts,
               uint64_t &address) {
    const uint64_t reach = Ones(facts.physicalBits);
    if (layout.entrySize == 4) {
        address = entry & 0xFFFFF000;
        if (isLarge) {
            // A page of 4 MiB may lie above 4 GiB: its bits 13 to 20 are the address's bits 32 to 39.
            if ((entry >> 21 & 1) != 0) return false;
            address = (entry & 0xFFC00000) | (entry >> 13 & 0xFF) << 32;
        }
        return (address & ~reach) == 0;
    }
    address = entry & entryAddress;
    if (isLarge) address &= ~attributeTable;
    return (address & ~reach) == 0 && (!isLarge || (address & Ones(shift)) == 0);
}

const Layout *LayoutOf(uint16_t mode) {
    switch (mode) {
    case ktSbPaging32:
        return &layout32;
    case ktSbPagingPae:
        return &layoutPae;
    case ktSbPaging4Level:
        return &layout4;
    default:
        return nullptr;
    }
}

/// False for an address that the mode does not have; the walk then says from where to where that is so.
bool IsAddress(uint16_t mode, uint64_t linear, PageWalk &walk) {
    constexpr uint64_t lowEnd = 0x00007FFFFFFFFFFF;
    constexpr uint64_t highStart = 0xFFFF800000000000;
    if (mode == ktSbPaging4Level) {
        walk.first = lowEnd + 1;
        walk.last = highStart - 1;
        return linear < walk.first || linear > walk.last;
    }
    walk.first = last32 + 1;
    walk.last = UINT64_MAX;
    return linear <= last32;
}

} // namespace

PageWalk WalkPages(Target &target, const PagingFacts &facts, uint64_t root, uint64_t linear) {
    PageWalk walk;
    walk.raw.mode = facts.mode;
    if (!IsAddress(facts.mode, linear, walk)) return walk;
    walk.first = 0;
    if (facts.mode == ktSbPagingNone) {
        walk.raw.isValid = 1;
        walk.physical = linear;
        walk.last = last32;
        return walk;
    }
    const Layout *layout = LayoutOf(facts.mode);
    if (layout == nullptr) {
        walk.last = UINT64_MAX;
        return walk;
    }

    uint64_t table = (root != 0 ? root : facts.root) & layout->rootMask;
    for (const Level &level : layout->levels) {
        walk.first = linear & ~Ones(level.shift);
        walk.last = linear | Ones(level.shift);
        const uint64_t index = linear >> level.shift & Ones(level.indexBits);
        uint64_t entry = 0;
        uint32_t done = 0;
        const uint64_t place = table + index * layout->entrySize;
        if (target.ReadPhysical(place, &entry, layout->entrySize, done) < 0) return walk;
        walk.raw.entries[walk.raw.entryCount++] = entry;
        if ((entry & present) == 0) return walk;

        bool isRefused = false;
        const bool isLarge = (entry & pageSize) != 0 && IsLarge(level.largeBit, facts, isRefused);
        if (isRefused || !AddressOf(entry, *layout, level.shift, isLarge, facts, table)) return walk;
        if (isLarge || &level == &layout->levels.back()) {
            walk.raw.isValid = 1;
            walk.physical = table | (linear & Ones(level.shift));
            return walk;
        }
    }
    return walk;
}

} // namespace sable
