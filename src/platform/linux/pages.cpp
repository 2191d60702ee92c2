#include "platform/pages.h"

#include "platform/sync.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <sys/mman.h>

// Pages come out of slabs of 2 MiB, which the system can back with one huge page each. The book-keeping
// of a slab stands right before it, so that it is found by cutting a page's address, and so that handing
// out a page does not touch the slab: the system clears a huge page only when the user first writes there.

namespace {

constexpr size_t slabSize = 0x200000;
constexpr uint16_t slabPages = slabSize / ktPageSize;
constexpr uint16_t noPage = 0xFFFF;

struct Slab {
    Slab *previous = nullptr;
    Slab *next = nullptr;
    uint16_t used = 0;                        // pages that are handed out
    uint16_t fresh = 0;                       // first page that was never handed out: still zero
    uint16_t firstFree = noPage;              // pages that came back, last in first out
    std::array<uint16_t, slabPages> nextFree; // written before it is read

    bool IsFull() const { return used == slabPages; }
    uint8_t *Page(uint16_t number) {
        return reinterpret_cast<uint8_t *>(this) + ktPageSize + size_t(number) * ktPageSize;
    }
};
static_assert(sizeof(Slab) <= ktPageSize);

constexpr size_t mappedSize = ktPageSize + slabSize; // of a slab with its book-keeping

uintptr_t OffsetInSlab(const void *page) { return reinterpret_cast<uintptr_t>(page) & (slabSize - 1); }

Slab *SlabOfPage(void *page) {
    return reinterpret_cast<Slab *>(static_cast<uint8_t *>(page) - OffsetInSlab(page) - ktPageSize);
}

uint16_t NumberOfPage(const void *page) { return static_cast<uint16_t>(OffsetInSlab(page) / ktPageSize); }

Slab *MapSlab() {
    // Twice the size holds an aligned slab with a page before it wherever it lands; the ends go back.
    void *mapped = mmap(nullptr, 2 * slabSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    auto *start = static_cast<uint8_t *>(mapped);
    const size_t before = slabSize - ktPageSize - OffsetInSlab(start);
    const size_t behind = 2 * slabSize - before - mappedSize;
    if (before) munmap(start, before);
    if (behind) munmap(start + before + mappedSize, behind);
    madvise(start + before + ktPageSize, slabSize, MADV_HUGEPAGE); // a wish; small pages do as well
    return new (start + before) Slab;
}

class LinuxPages final : public ktPageSource {
public:
    void *Allocate() override {
        bool wasUsed = false;
        uint8_t *page = Take(wasUsed);
        if (page && wasUsed) std::memset(page, 0, ktPageSize);
        return page;
    }

    void Free(void *page) override {
        if (!page) return;
        Slab *unneeded = Return(SlabOfPage(page), NumberOfPage(page));
        if (unneeded) munmap(unneeded, mappedSize);
    }

private:
    uint8_t *Take(bool &wasUsed) {
        ktLockGuard guard(lock);
        if (!open) {
            Slab *slab = spare ? spare : MapSlab();
            if (!slab) return nullptr;
            spare = nullptr;
            Link(slab);
        }
        Slab *slab = open;
        uint16_t number = slab->firstFree;
        wasUsed = number != noPage;
        if (wasUsed) {
            slab->firstFree = slab->nextFree[number];
        } else {
            number = slab->fresh++;
        }
        ++slab->used;
        if (slab->IsFull()) Unlink(slab);
        return slab->Page(number);
    }

    /// A slab that the caller gives back to the system, or null.
    Slab *Return(Slab *slab, uint16_t number) {
        ktLockGuard guard(lock);
        if (slab->IsFull()) Link(slab);
        slab->nextFree[number] = slab->firstFree;
        slab->firstFree = number;
        if (--slab->used != 0) return nullptr;
        Unlink(slab);
        if (spare) return slab;
        spare = slab; // one stays, so that a page which comes and goes maps nothing
        return nullptr;
    }

    void Link(Slab *slab) {
        slab->previous = nullptr;
        slab->next = open;
        if (open) open->previous = slab;
        open = slab;
    }

    void Unlink(Slab *slab) {
        (slab->previous ? slab->previous->next : open) = slab->next;
        if (slab->next) slab->next->previous = slab->previous;
    }

    ktCriticalSection lock{1000};
    Slab *open = nullptr;  // slabs with free pages
    Slab *spare = nullptr; // a slab without used pages
};

} // namespace

ktPageSource &SystemPages() {
    // Never destroyed: others may need it while the process ends.
    static LinuxPages &instance = *new LinuxPages;
    return instance;
}
