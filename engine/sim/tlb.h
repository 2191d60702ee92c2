#pragma once

#include <cstdint>

namespace sable {

/// One translated page as one privilege sees it. A tag is the linear address of the page when that kind of
/// access is known to need no check, else Tlb::none.
struct alignas(64) TlbEntry {
    uint64_t readTag, writeTag, executeTag;
    uint8_t *host;       ///< the page's first byte; RAM only
    uint64_t *codeMarks; ///< PhysicalMemory::CodeMarks of the page
    uint64_t physical;
    bool isGlobal, isLarge;
};

/// Translations of one privilege, direct mapped. Neighbouring pages have different entries.
class Tlb {
public:
    static constexpr uint64_t none = 1; // no page starts there
    static constexpr unsigned entryCount = 256;

    Tlb() { Flush(); }
    TlbEntry &EntryOf(uint64_t linear) { return entries[linear >> 12 & (entryCount - 1)]; }

    void Flush() {
        for (TlbEntry &entry : entries) Drop(entry);
    }
    void FlushExceptGlobal() {
        for (TlbEntry &entry : entries) {
            if (!entry.isGlobal) Drop(entry);
        }
    }
    /// Forgets the page of the address. Parts of large pages all go, since any of them may be the one meant.
    void FlushPage(uint64_t linear) {
        Drop(EntryOf(linear));
        for (TlbEntry &entry : entries) {
            if (entry.isLarge) Drop(entry);
        }
    }

private:
    static void Drop(TlbEntry &entry) { entry = {none, none, none, nullptr, nullptr, 0, false, false}; }

    TlbEntry entries[entryCount];
};

} // namespace sable
