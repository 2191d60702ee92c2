#include "kernel/descriptors.h"

#include "common/layout.h"
#include "kernel/processor.h"

enum { vectorCount = 256, entryVectors = 48, spuriousVector = 255 };

struct __attribute__((packed)) taskState {
    uint32_t unused;
    uint64_t stacks[3];
    uint64_t noStack;
    uint64_t interruptStacks[7];
    uint64_t nothing;
    uint16_t zero;
    uint16_t portMap;
};

struct gate {
    uint16_t offsetLow;
    uint16_t selector;
    uint8_t stack;
    uint8_t type : 4;
    uint8_t zero : 1;
    uint8_t privilege : 2;
    uint8_t isPresent : 1;
    uint16_t offsetMiddle;
    uint32_t offsetHigh;
    uint32_t unused;
};

struct __attribute__((packed)) tablePointer {
    uint16_t limit;
    uint64_t base;
};

extern const uint64_t trapEntries[entryVectors];
void trapSpurious(void);
void syscallEntry(void);

struct coreData coreData[2];
struct taskState taskStates[2];
struct gate gates[vectorCount];

uint64_t segments[10] = {
    0,
    0x00AF9A000000FFFF, // kernel, 64-bit code
    0x00CF92000000FFFF, // kernel, data
    0,                  // 32-bit code of processes, were there any
    0x00CFF2000000FFFF, // processes, data
    0x00AFFA000000FFFF, // processes, 64-bit code
};

static void setTaskState(unsigned core) {
    const uint64_t base = (uint64_t)&taskStates[core], limit = sizeof taskStates[core] - 1;
    uint64_t *entry = &segments[(core == 0 ? FIRST_TASK_STATE : SECOND_TASK_STATE) / 8];
    entry[0] = limit | (base & 0xFFFFFF) << 16 | (uint64_t)0x89 << 40 | (base >> 24 & 0xFF) << 56;
    entry[1] = base >> 32;
    taskStates[core].portMap = sizeof taskStates[core];
}

static void setGate(unsigned vector, uint64_t target, unsigned privilege) {
    gates[vector] = (struct gate){.offsetLow = (uint16_t)target,
                                  .selector = KERNEL_CODE,
                                  .type = 0xE,
                                  .privilege = privilege & 3,
                                  .isPresent = 1,
                                  .offsetMiddle = (uint16_t)(target >> 16),
                                  .offsetHigh = (uint32_t)(target >> 32)};
}

static void loadTables(unsigned core) {
    const struct tablePointer segmentTable = {sizeof segments - 1, (uint64_t)segments};
    const struct tablePointer gateTable = {sizeof gates - 1, (uint64_t)gates};
    const uint16_t taskSelector = core == 0 ? FIRST_TASK_STATE : SECOND_TASK_STATE;
    __asm__ volatile("lgdt %0\n\t"
                     "push %1\n\t"
                     "lea 1f(%%rip), %%rax\n\t"
                     "push %%rax\n\t"
                     "lretq\n"
                     "1:\n\t"
                     "mov %2, %%ds\n\t"
                     "mov %2, %%es\n\t"
                     "mov %2, %%ss\n\t"
                     "mov %3, %%fs\n\t"
                     "mov %3, %%gs\n\t"
                     "lidt %4\n\t"
                     "ltr %w5"
                     :
                     : "m"(segmentTable), "i"(KERNEL_CODE), "r"(KERNEL_DATA), "r"(0), "m"(gateTable),
                       "r"(taskSelector)
                     : "rax", "memory");
}

void descriptorsInit(unsigned core) {
    if (core == 0) {
        for (unsigned n = 0; n < entryVectors; ++n) setGate(n, trapEntries[n], n == 3 ? 3 : 0);
        setGate(spuriousVector, (uint64_t)&trapSpurious, 0);
    }
    setTaskState(core);
    loadTables(core);
    coreData[core].number = core;
    if (core != 0) return; // processes run on the first core
    msrWrite(msrKernelGsBase, (uint64_t)&coreData[0]);
    msrWrite(msrStar, (uint64_t)(USER_BASE | 3) << 48 | (uint64_t)KERNEL_CODE << 32);
    msrWrite(msrSyscallTarget, (uint64_t)&syscallEntry);
    msrWrite(msrSyscallMask,
             0x40700); // no interrupts, no trap, direction and alignment as the kernel has them
}

void setKernelStack(uint64_t top) {
    taskStates[0].stacks[0] = top;
    coreData[0].kernelStack = top;
}
