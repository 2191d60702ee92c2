#include "kernel/heap.h"

enum { heapBytes = 0x4000, heapStep = 16 };

__attribute__((aligned(16))) static uint8_t heapArea[heapBytes];
struct heapState heapState;

void heapInit(void) {
    heapState.first = (struct heapBlock *)heapArea;
    *heapState.first = (struct heapBlock){NULL, heapBytes - sizeof(struct heapBlock), false};
}

static void splitBlock(struct heapBlock *block, uint32_t size) {
    if (block->size < size + sizeof(struct heapBlock) + heapStep) return;
    struct heapBlock *rest = (struct heapBlock *)((uint8_t *)(block + 1) + size);
    *rest = (struct heapBlock){block->next, block->size - size - (uint32_t)sizeof(struct heapBlock), false};
    block->next = rest;
    block->size = size;
}

void *heapTake(size_t size) {
    if (size > heapBytes) return NULL;
    const uint32_t wanted = ((uint32_t)size + heapStep - 1) & ~(uint32_t)(heapStep - 1);
    for (struct heapBlock *block = heapState.first; block != NULL; block = block->next) {
        if (block->isUsed || block->size < wanted) continue;
        splitBlock(block, wanted);
        block->isUsed = true;
        heapState.usedBytes += block->size;
        ++heapState.usedBlocks;
        return block + 1;
    }
    return NULL;
}

static void joinFree(void) {
    for (struct heapBlock *block = heapState.first; block != NULL; block = block->next) {
        while (!block->isUsed && block->next != NULL && !block->next->isUsed) {
            block->size += block->next->size + (uint32_t)sizeof(struct heapBlock);
            block->next = block->next->next;
        }
    }
}

void heapGive(void *memory) {
    if (memory == NULL) return;
    struct heapBlock *block = (struct heapBlock *)memory - 1;
    block->isUsed = false;
    heapState.usedBytes -= block->size;
    --heapState.usedBlocks;
    joinFree();
}
