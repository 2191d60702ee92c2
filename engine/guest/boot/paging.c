#include "boot/paging.h"

enum { entryPresent = 1, entryWritable = 2, entryLarge = 0x80 };
enum { entriesNarrow = 1024, entriesWide = 512 };
enum { cr4LargePages = 0x10, cr4Wide = 0x20 };

static const uint32_t cr0Paging = 0x80010000;
static const uint32_t smallSize = 0x1000, narrowLargeSize = 0x400000, wideLargeSize = 0x200000;
static const uint32_t normal = entryPresent | entryWritable;

__attribute__((aligned(4096))) static uint32_t narrowDirectory[entriesNarrow];
__attribute__((aligned(4096))) static uint32_t narrowTable[entriesNarrow];

__attribute__((aligned(32))) static uint64_t widePointers[4];
__attribute__((aligned(4096))) static uint64_t wideDirectory[entriesWide];
__attribute__((aligned(4096))) static uint64_t wideTopDirectory[entriesWide];
__attribute__((aligned(4096))) static uint64_t wideTable[entriesWide];

__attribute__((aligned(4096))) static uint64_t longRoot[entriesWide];
__attribute__((aligned(4096))) static uint64_t longLow[entriesWide];
__attribute__((aligned(4096))) static uint64_t longHigh[entriesWide];
__attribute__((aligned(4096))) static uint64_t longDirectory[entriesWide];

static uint32_t at(const void *table) { return (uint32_t)table; }

static void usePaging(uint32_t root, uint32_t cr4) {
    uint32_t cr0;
    __asm__ volatile("mov %0, %%cr3" : : "r"(root));
    __asm__ volatile("mov %0, %%cr4" : : "r"(cr4));
    __asm__ volatile("mov %%cr0, %0" : "=r"(cr0));
    __asm__ volatile("mov %0, %%cr0" : : "r"(cr0 | cr0Paging) : "memory");
}

void stopPaging(void) {
    uint32_t cr0;
    __asm__ volatile("mov %%cr0, %0" : "=r"(cr0));
    __asm__ volatile("mov %0, %%cr0" : : "r"(cr0 & ~cr0Paging) : "memory");
    __asm__ volatile("mov %0, %%cr4" : : "r"(0));
}

void startPaging32(void) {
    for (uint32_t n = 0; n < entriesNarrow; ++n) narrowTable[n] = n * smallSize | normal;
    narrowDirectory[0] = at(narrowTable) | normal;
    for (uint32_t n = 1; n < 16; ++n) narrowDirectory[n] = n * narrowLargeSize | normal | entryLarge;
    narrowDirectory[SHOWN_LINEAR / narrowLargeSize] = SHOWN_PHYSICAL | normal | entryLarge;
    usePaging(at(narrowDirectory), cr4LargePages);
}

void startPagingPAE(void) {
    for (uint32_t n = 0; n < entriesWide; ++n) wideTable[n] = n * smallSize | normal;
    wideDirectory[0] = at(wideTable) | normal;
    for (uint32_t n = 1; n < 32; ++n) wideDirectory[n] = n * wideLargeSize | normal | entryLarge;
    wideTopDirectory[0] = SHOWN_PHYSICAL | normal | entryLarge;
    widePointers[0] = at(wideDirectory) | entryPresent;
    widePointers[3] = at(wideTopDirectory) | entryPresent;
    usePaging(at(widePointers), cr4Wide);
}

uint32_t makeLongTables(void) {
    for (uint32_t n = 0; n < 32; ++n) longDirectory[n] = n * wideLargeSize | normal | entryLarge;
    longLow[0] = at(longDirectory) | normal;
    longHigh[510] = at(longDirectory) | normal;
    longRoot[0] = at(longLow) | normal;
    longRoot[511] = at(longHigh) | normal;
    return at(longRoot);
}
