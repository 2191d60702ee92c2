// The kernel's start, and its main loop.
#include <stdbool.h>
#include <stdint.h>

#include "boot/boot_info.h"
#include "common/layout.h"
#include "kernel/descriptors.h"
#include "kernel/heap.h"
#include "kernel/list.h"
#include "kernel/paging.h"
#include "kernel/print.h"
#include "kernel/process.h"
#include "kernel/processor.h"
#include "kernel/samples.h"
#include "kernel/second_core.h"
#include "kernel/timer.h"

// The image's entry point, behind its headers.
enum { imageEntryOffset = 0x1000 };

uint64_t roundCount;

_Noreturn void kernelMain(const struct bootInfo *boot);
void kernelRound(uint64_t round);
void kernelIdle(void);
_Noreturn void kernelLoop(void);

static bool isPowerOfTwo(uint64_t value) { return (value & (value - 1)) == 0; }

static uint64_t callImage(uint64_t value) {
    uint64_t (*const entry)(uint64_t) = (uint64_t (*)(uint64_t))(IMAGE_ADDRESS + imageEntryOffset);
    return entry(value);
}

// Keeps up to eight nodes: the newest comes in, the oldest goes.
static void listChange(uint64_t round) {
    enum { kept = 8, keys = 32 };
    listInsert(&demoList, (uint32_t)(round % keys), (int64_t)round * 10);
    if (demoList.count > kept) listRemove(&demoList, (uint32_t)((round - kept) % keys));
}

void kernelRound(uint64_t round) {
    listChange(round);
    const int64_t sum = listWalk(&demoList);
    const uint64_t small = fibonacci(round % 10), deep = ackermann(2, round % 4), image = callImage(round);
    samplesChange(round);
    if (!isPowerOfTwo(round)) return;
    kernelPrint("round %lu, list %lu, fibonacci %lu, ackermann %lu, image %lu", round, (uint64_t)sum, small,
                deep, image);
}

// Waits for the next tick, or lets the others run.
void kernelIdle(void) {
    interruptsOff();
    if (isOtherReady()) {
        processSwitch();
        __asm__ volatile("sti");
    } else {
        __asm__ volatile("sti\n\thlt");
    }
}

void kernelLoop(void) {
    for (;;) {
        const uint64_t start = tickCount;
        kernelRound(++roundCount);
        while (tickCount == start) kernelIdle();
    }
}

void kernelMain(const struct bootInfo *boot) {
    const uint64_t ramBytes = boot->ramBytes;
    kernelPrint("long mode, %lu MiB", ramBytes >> 20);
    pagingInit(ramBytes);
    descriptorsInit(0);
    timerInit();
    __asm__ volatile("sti");
    secondCoreInit();
    heapInit();
    processesInit();
    kernelLoop();
}
