#include "kernel/paging.h"

#include <stdbool.h>

#include "common/layout.h"
#include "common/memory.h"
#include "kernel/print.h"
#include "kernel/processor.h"

enum { entryCount = 512 };
static const uint64_t entryAddress = 0x000FFFFFFFFFF000;

extern const char textEnd[], rodataEnd[];

uint64_t kernelRoot;

// The boot code's tables show the first part of memory in the kernel's half; the direct map comes later.
static uint64_t physicalBase = HIGH_HALF;
static uint64_t frameNext = FRAMES_PHYSICAL, frameLimit;

void *physicalPointer(uint64_t physical) { return (void *)(physicalBase + physical); }

uint64_t frameTake(void) {
    if (frameNext >= frameLimit) kernelPanic("no memory");
    const uint64_t frame = frameNext;
    frameNext += pageSize;
    memset(physicalPointer(frame), 0, pageSize);
    return frame;
}

static unsigned indexAt(uint64_t linear, unsigned level) {
    return (unsigned)(linear >> (12 + 9 * (level - 1)) % 64) % entryCount;
}

// The table of this level on the way to `linear`; the rights are those of the entries below.
static uint64_t *tableFor(uint64_t root, uint64_t linear, unsigned wantedLevel, uint64_t flags) {
    uint64_t *table = physicalPointer(root);
    for (unsigned level = 4; level > wantedLevel; --level) {
        uint64_t *entry = &table[indexAt(linear, level)];
        if ((*entry & pagePresent) == 0)
            *entry = frameTake() | pagePresent | pageWritable | (flags & pageUser);
        table = physicalPointer(*entry & entryAddress);
    }
    return table;
}

void mapPage(uint64_t root, uint64_t linear, uint64_t physical, enum pageLevel level, uint64_t flags) {
    const uint64_t large = level == level4Kib ? 0 : pageLarge;
    tableFor(root, linear, level, flags)[indexAt(linear, level)] = physical | flags | large | pagePresent;
}

static bool hasHugePages(void) {
    uint32_t eax = 0x80000001, ebx, ecx = 0, edx;
    __asm__ volatile("cpuid" : "+a"(eax), "=b"(ebx), "+c"(ecx), "=d"(edx));
    return (edx & 1u << 26) != 0;
}

// What a page of the kernel's half may do: code is not written, data is not executed.
static uint64_t highFlags(uint64_t linear) {
    if (linear < IMAGE_ADDRESS) return pageWritable | pageNoExecute;
    if (linear == IMAGE_ADDRESS) return pageNoExecute; // the image's headers
    if (linear == IMAGE_ADDRESS + pageSize) return 0;  // its code
    if (linear < KERNEL_ADDRESS) return pageWritable | pageNoExecute;
    if (linear < (uint64_t)textEnd) return 0;
    if (linear < (uint64_t)rodataEnd) return pageNoExecute;
    return pageWritable | pageNoExecute;
}

static void mapLowAndHigh(uint64_t root) {
    for (uint64_t at = 0; at < KERNEL_LIMIT; at += pageSize) {
        const uint64_t low = at == START_PAGE ? pageWritable : pageWritable | pageNoExecute;
        mapPage(root, at, at, level4Kib, low);
        mapPage(root, HIGH_HALF + at, at, level4Kib, highFlags(HIGH_HALF + at) | pageGlobal);
    }
    mapPage(root, KERNEL_LIMIT, KERNEL_LIMIT, level2Mib, pageWritable | pageNoExecute);
}

void pagingInit(uint64_t ramBytes) {
    frameLimit = 2 * largePageSize; // shown by the boot code's tables, and enough for the kernel's own
    const uint64_t root = frameTake();
    mapLowAndHigh(root);
    for (uint64_t at = 0; at < ramBytes; at += largePageSize)
        mapPage(root, DIRECT_MAP + at, at, level2Mib, pageWritable | pageNoExecute | pageGlobal);
    if (hasHugePages()) mapPage(root, GIGABYTE_PAGE, 0, level1Gib, pageNoExecute);
    mapPage(root, APIC_ADDRESS, APIC_PHYSICAL, level4Kib,
            pageWritable | pageUncached | pageNoExecute | pageGlobal);

    msrWrite(msrEfer, msrRead(msrEfer) | eferSyscall | eferNoExecute);
    rootWrite(root);
    cr4Set(cr4Global);
    kernelRoot = root;
    physicalBase = DIRECT_MAP;
    frameLimit = ramBytes;
    kernelPrint("pages of 4 KiB, 2 MiB%s", hasHugePages() ? " and 1 GiB" : "");
}

uint64_t makeProcessRoot(void) {
    const uint64_t root = frameTake();
    uint64_t *to = physicalPointer(root);
    const uint64_t *from = physicalPointer(kernelRoot);
    for (unsigned n = entryCount / 2; n < entryCount; ++n) to[n] = from[n];
    // The low part: the same tables behind a directory of the process's own.
    uint64_t *toLow = tableFor(root, 0, level2Mib, pageUser);
    const uint64_t *fromLow = tableFor(kernelRoot, 0, level2Mib, 0);
    toLow[0] = fromLow[0];
    toLow[1] = fromLow[1];
    return root;
}
