// What processes ask of the kernel.
#include "common/calls.h"

#include <stddef.h>
#include <stdint.h>

#include "common/layout.h"
#include "kernel/print.h"
#include "kernel/process.h"
#include "kernel/processor.h"
#include "kernel/timer.h"

typedef long (*callHandler)(uint64_t first, uint64_t second, uint64_t third);

long syscallDispatch(uint64_t number, uint64_t first, uint64_t second, uint64_t third);

enum { writeLimit = 256 };

static int isWithin(uint64_t start, uint64_t size, uint64_t from, uint64_t to) {
    return start >= from && start <= to && size <= to - start;
}

// Only what is mapped for every process: the kernel reads without asking the tables.
static int isReadable(uint64_t start, uint64_t size) {
    return isWithin(start, size, PROCESS_TEXT, PROCESS_DATA_END) ||
           isWithin(start, size, PROCESS_STACK, PROCESS_STACK_TOP);
}

static long sysWrite(uint64_t text, uint64_t length, uint64_t unused) {
    (void)unused;
    if (length > writeLimit || !isReadable(text, length)) return CALL_FAILED;
    kernelWrite((const char *)text, length);
    return (long)length;
}

static long sysYield(uint64_t first, uint64_t second, uint64_t third) {
    (void)first, (void)second, (void)third;
    const uint64_t flags = interruptsOff();
    processSwitch();
    interruptsRestore(flags);
    return 0;
}

static long sysSleep(uint64_t ticks, uint64_t second, uint64_t third) {
    (void)second, (void)third;
    processSleep(ticks);
    return 0;
}

static long sysTicks(uint64_t first, uint64_t second, uint64_t third) {
    (void)first, (void)second, (void)third;
    return (long)tickCount;
}

static long sysId(uint64_t first, uint64_t second, uint64_t third) {
    (void)first, (void)second, (void)third;
    return (long)currentProcess->id;
}

static long sysOnFault(uint64_t handler, uint64_t second, uint64_t third) {
    (void)second, (void)third;
    if (handler != 0 && !isWithin(handler, 1, PROCESS_TEXT, PROCESS_DATA)) return CALL_FAILED;
    currentProcess->faultHandler = handler;
    return 0;
}

static long sysEnd(uint64_t first, uint64_t second, uint64_t third) {
    (void)first, (void)second, (void)third;
    processEnd();
}

const callHandler callHandlers[] = {
    [CALL_WRITE] = &sysWrite, [CALL_YIELD] = &sysYield, [CALL_SLEEP] = &sysSleep,
    [CALL_TICKS] = &sysTicks, [CALL_ID] = &sysId,       [CALL_ON_FAULT] = &sysOnFault,
    [CALL_END] = &sysEnd,
};

long syscallDispatch(uint64_t number, uint64_t first, uint64_t second, uint64_t third) {
    ++currentProcess->syscallCount;
    if (number >= sizeof callHandlers / sizeof *callHandlers || callHandlers[number] == NULL)
        return CALL_FAILED;
    return callHandlers[number](first, second, third);
}
