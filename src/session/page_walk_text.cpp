#include "session/page_walk_text.h"

#include <algorithm>
#include <cinttypes>
#include <span>

#include "app/cut_text.h"
#include "app/lines.h"
#include "session/page_walk_result.h"

namespace {

constexpr uint32_t presentBit = 0;
constexpr uint32_t largeBit = 7;

/// What one bit of an entry adds to the line of flags.
struct Flag {
    uint32_t bit;
    const char *clear;
    const char *set;
};

constexpr Flag writable = {1, ", RO", ", RW"};
constexpr Flag user = {2, ", SUPR", ", USER"};
constexpr Flag writeThrough = {3, ", PWT 0", ", PWT 1"};
constexpr Flag cacheDisable = {4, ", PCD 0", ", PCD 1"};
constexpr Flag accessed = {5, "", ", ACCESSED"};
constexpr Flag dirty = {6, "", ", DIRTY"};
constexpr Flag pageSize = {largeBit, "", ", PS 1"};
constexpr Flag global = {8, "", ", GLOBAL"};
constexpr Flag attributeTable = {7, ", PAT 0", ", PAT 1"};
constexpr Flag largeAttributeTable = {12, ", PAT 0", ", PAT 1"};
constexpr Flag executeDisable = {63, "", ", XD"};

constexpr Flag tableFlags32[] = {writable, user, writeThrough, cacheDisable};
constexpr Flag pointerFlags[] = {writeThrough, cacheDisable};
constexpr Flag tableFlags[] = {writable, user, writeThrough, cacheDisable, accessed, executeDisable};
// 32-bit entries have no bit 63, so these serve for them too.
constexpr Flag largeFlags[] = {writable, user,  writeThrough, cacheDisable, largeAttributeTable,
                               accessed, dirty, pageSize,     global,       executeDisable};
constexpr Flag pageFlags[] = {writable, user,  writeThrough, cacheDisable,  attributeTable,
                              accessed, dirty, global,       executeDisable};

constexpr uint64_t mask32 = 0xFFFFF000;
constexpr uint64_t mask4K = 0xFFFFFFFFFF000;
constexpr uint64_t mask2M = 0xFFFFFFFE00000;
constexpr uint64_t mask1G = 0xFFFFFC0000000;

/// How an entry that is present shows.
struct Shape {
    const char *head;
    std::span<const Flag> flags;
    uint64_t addressMask;
    uint64_t highAddress = 0; ///< the entry's bits that are bits 32 and up of the address
};

constexpr Shape table32 = {"Present", tableFlags32, mask32};
constexpr Shape page4M = {"4MB page, Present", largeFlags, 0xFFC00000, 0x3FE000};
constexpr Shape page4K32 = {"4KB page, Present", pageFlags, mask32};

constexpr Shape pointerTable = {"Present", pointerFlags, mask4K};
constexpr Shape table = {"Present", tableFlags, mask4K};
constexpr Shape page1G = {"1GB page, Present", largeFlags, mask1G};
constexpr Shape page2M = {"2MB page, Present", largeFlags, mask2M};
constexpr Shape page4K = {"4KB page, Present", pageFlags, mask4K};

struct Level {
    const char *name;
    const char *nameWhenAbsent;
    const Shape *normal;
    const Shape *large = nullptr; ///< of an entry with the large bit, where the level allows one
    bool isLast = false;
};

constexpr Level levels32[] = {{"PDE", "PDE", &table32, &page4M}, {"PTE", "PTE", &page4K32, nullptr, true}};
constexpr Level levelsPae[] = {{"PDPTE", "PDPTE", &pointerTable},
                               {"PDE", "PDE", &table, &page2M},
                               {"PTE", "PTE", &page4K, nullptr, true}};
// An absent entry of the top level goes by the name of the next one.
constexpr Level levels4[] = {{"PML4", "PDPTE", &table},
                             {"PDPTE", "PDPTE", &table, &page1G},
                             {"PDE", "PDE", &table, &page2M},
                             {"PTE", "PTE", &page4K, nullptr, true}};

struct Layout {
    const char *title;
    int digits; ///< of an entry
    std::span<const Level> levels;
};

constexpr Layout layout32 = {"32-bit paging", 8, levels32};
constexpr Layout layoutPae = {"PAE paging", 16, levelsPae};
constexpr Layout layout4 = {"4-level paging", 16, levels4};

bool HasBit(uint64_t entry, uint32_t bit) { return (entry >> bit & 1) != 0; }

uint64_t AddressIn(uint64_t entry, const Shape &shape, uint64_t maxPhysical) {
    if (shape.highAddress != 0)
        return ((entry & shape.highAddress) << 19 & maxPhysical) | (entry & shape.addressMask);
    return entry & shape.addressMask & maxPhysical;
}

/// Adds the lines of one walk; one line is built at a time.
class Writer {
public:
    Writer(ktLines &lines, uint64_t largestAddress) : output(lines), maxPhysical(largestAddress) {}

    void Put(const Layout &layout, const ktPageWalkResult &walk, uint64_t root) {
        output.AddLine(layout.title);
        if (walk.valid == 0) {
            output.AddLine("Translation is not valid");
            return;
        }
        output.AddLine("Translation is valid");
        text.Print("Page table root at #%016" PRIX64, root);
        AddLine();
        const size_t filled = std::min<size_t>(walk.levelCount, layout.levels.size());
        for (size_t i = 0; i < filled; ++i) {
            if (!PutEntry(layout, layout.levels[i], walk.entries[i])) return;
        }
    }

private:
    /// True when the walk goes on to the next level.
    bool PutEntry(const Layout &layout, const Level &level, uint64_t rawEntry) {
        const int bits = 4 * layout.digits;
        const uint64_t entry = rawEntry & ~uint64_t(0) >> (64 - bits);
        text.Print("%s: %0*" PRIX64, level.name, layout.digits, entry);
        AddLine();
        if (!HasBit(entry, presentBit)) {
            text.Print("%s not present, Bits 1-%d ignored", level.nameWhenAbsent, bits - 1);
            AddLine();
            return false;
        }
        const bool isLarge = level.large && HasBit(entry, largeBit);
        const Shape &shape = isLarge ? *level.large : *level.normal;
        text.Put(shape.head);
        for (const Flag &flag : shape.flags) text.Put(HasBit(entry, flag.bit) ? flag.set : flag.clear);
        AddLine();
        text.Print("Physical address: %016" PRIX64, AddressIn(entry, shape, maxPhysical));
        AddLine();
        return !isLarge && !level.isLast;
    }

    void AddLine() {
        output.AddLine(text.Get());
        text.Clear();
    }

    ktLines &output;
    uint64_t maxPhysical;
    char line[256];
    ktCutText text{line};
};

} // namespace

void ktPutPageWalk(ktLines &output, const ktPageWalkResult &walk, uint64_t root,
                   uint64_t physicalAddressBits) {
    Writer writer(output, (uint64_t{1} << (physicalAddressBits & 63)) - 1);
    switch (walk.mode) {
    case ktPageWalkResult::modeOff:
        output.AddLine("Paging is disabled");
        break;
    case ktPageWalkResult::mode32Bit:
        writer.Put(layout32, walk, root);
        break;
    case ktPageWalkResult::modePae:
        writer.Put(layoutPae, walk, root);
        break;
    case ktPageWalkResult::mode4Level:
        writer.Put(layout4, walk, root);
        break;
    case ktPageWalkResult::modeOther:
        break;
    default:
        output.AddLine("Unknown page walk mode");
    }
}
