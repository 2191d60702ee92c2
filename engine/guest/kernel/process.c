#include "kernel/process.h"

#include "common/layout.h"
#include "common/memory.h"
#include "kernel/descriptors.h"
#include "kernel/paging.h"
#include "kernel/print.h"
#include "kernel/processor.h"
#include "kernel/timer.h"
#include "kernel/traps.h"

enum { kernelStackSize = 0x2000, savedRegisters = 6 };

extern const uint8_t firstBytes[], firstBytesEnd[], secondBytes[], secondBytesEnd[];
extern const char kernelStackTop[];

void switchStacks(uint64_t *savedStack, uint64_t newStack);
void trapReturn(void);

// The kernel's own is there from the start, alone in the ring.
struct process processes[processCount] = {[kernelProcess] = {
                                              .name = "kernel",
                                              .state = processReady,
                                              .next = &processes[kernelProcess],
                                          }};
struct process *currentProcess = &processes[kernelProcess];

__attribute__((aligned(16))) static uint8_t kernelStacks[processCount][kernelStackSize];

static void mapProcessPages(uint64_t root, uint64_t from, uint64_t to, uint64_t flags, const uint8_t *bytes,
                            uint64_t size) {
    for (uint64_t at = from; at < to; at += pageSize) {
        const uint64_t frame = frameTake(), offset = at - PROCESS_TEXT;
        if (offset < size) {
            const uint64_t left = size - offset;
            memcpy(physicalPointer(frame), bytes + offset, left < pageSize ? left : pageSize);
        }
        mapPage(root, at, frame, level4Kib, flags | pageUser);
    }
}

// The stack looks as if the process had been interrupted just before its first instruction.
static void prepareStack(struct process *process) {
    struct trapFrame *frame = (struct trapFrame *)process->kernelStack - 1;
    *frame = (struct trapFrame){.rip = PROCESS_TEXT,
                                .cs = USER_CODE | 3,
                                .rflags = flagInterrupt | 2,
                                .rsp = PROCESS_STACK_TOP,
                                .ss = USER_DATA | 3};
    uint64_t *stack = (uint64_t *)frame;
    *--stack = (uint64_t)&trapReturn;
    for (unsigned n = 0; n < savedRegisters; ++n) *--stack = 0;
    process->stack = (uint64_t)stack;
}

static void makeProcess(enum processPlace place, const char *name, const uint8_t *bytes, const uint8_t *end) {
    struct process *process = &processes[place];
    const uint64_t size = (uint64_t)(end - bytes);
    process->id = place;
    for (unsigned n = 0; name[n] != 0 && n + 1 < sizeof process->name; ++n) process->name[n] = name[n];
    process->root = makeProcessRoot();
    mapProcessPages(process->root, PROCESS_TEXT, PROCESS_DATA, 0, bytes, size);
    mapProcessPages(process->root, PROCESS_DATA, PROCESS_DATA_END, pageWritable | pageNoExecute, bytes, size);
    mapProcessPages(process->root, PROCESS_STACK, PROCESS_STACK_TOP, pageWritable | pageNoExecute, bytes, 0);
    process->kernelStack = (uint64_t)kernelStacks[place] + kernelStackSize;
    process->flags.isUser = true;
    process->flags.priority = 4;
    prepareStack(process);
    process->next = &processes[kernelProcess];
    processes[place - 1].next = process;
    process->state = processReady;
    kernelPrint("process %lu is %s", (unsigned long)place, name);
}

void processesInit(void) {
    const uint64_t flags = interruptsOff(); // they start together
    processes[kernelProcess].root = kernelRoot;
    processes[kernelProcess].kernelStack = (uint64_t)kernelStackTop;
    makeProcess(firstProcess, "first", firstBytes, firstBytesEnd);
    makeProcess(secondProcess, "second", secondBytes, secondBytesEnd);
    interruptsRestore(flags);
}

static struct process *nextReady(void) {
    struct process *next = currentProcess->next;
    while (next != currentProcess && next->state != processReady) next = next->next;
    return next;
}

bool isOtherReady(void) { return nextReady() != currentProcess; }

void processSwitch(void) {
    struct process *from = currentProcess, *to = nextReady();
    if (to == from) return;
    ++to->switchCount;
    to->flags.slice = 0;
    currentProcess = to;
    setKernelStack(to->kernelStack);
    rootWrite(to->root);
    switchStacks(&from->stack, to->stack);
}

void processTick(void) {
    for (unsigned n = 0; n < processCount; ++n) {
        struct process *process = &processes[n];
        if (process->state == processSleeping && process->wakeTick <= tickCount)
            process->state = processReady;
    }
    ++currentProcess->flags.slice;
    processSwitch();
}

void processSleep(uint64_t ticks) {
    const uint64_t flags = interruptsOff();
    currentProcess->wakeTick = tickCount + ticks;
    currentProcess->state = processSleeping;
    processSwitch();
    interruptsRestore(flags);
}

void processEnd(void) {
    interruptsOff();
    kernelPrint("%s has ended", currentProcess->name);
    currentProcess->state = processEnded;
    processSwitch();
    kernelPanic("a process that has ended runs");
}
