// A small heap: blocks in a row, the first that fits.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

struct heapBlock {
    struct heapBlock *next;
    uint32_t size; // without this header
    bool isUsed;
};

struct heapState {
    struct heapBlock *first;
    uint32_t usedBytes;
    uint32_t usedBlocks;
};

extern struct heapState heapState;

void heapInit(void);
// 16-byte aligned; NULL when there is no room.
void *heapTake(size_t size);
void heapGive(void *memory);
