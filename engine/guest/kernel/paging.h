// Pages and tables of long mode.
#pragma once

#include <stdint.h>

enum {
    pagePresent = 0x001,
    pageWritable = 0x002,
    pageUser = 0x004,
    pageUncached = 0x018,
    pageLarge = 0x080,
    pageGlobal = 0x100
};
#define pageNoExecute 0x8000000000000000

enum { pageSize = 0x1000, largePageSize = 0x200000, hugePageSize = 0x40000000 };

// How many levels of tables lie above the page: what its size is.
enum pageLevel { level4Kib = 1, level2Mib = 2, level1Gib = 3 };

extern uint64_t kernelRoot;

// A cleared page; never given back. Stops the kernel when there is none.
uint64_t frameTake(void);
// Where the kernel sees physical memory.
void *physicalPointer(uint64_t physical);
void mapPage(uint64_t root, uint64_t linear, uint64_t physical, enum pageLevel level, uint64_t flags);
// The kernel's own tables, in place of the boot code's.
void pagingInit(uint64_t ramBytes);
// A root with the kernel's mappings and room for a process.
uint64_t makeProcessRoot(void);
