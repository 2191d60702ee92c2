#include "kernel/traps.h"

#include <stdbool.h>
#include <stddef.h>

#include "kernel/print.h"
#include "kernel/process.h"
#include "kernel/processor.h"
#include "kernel/timer.h"

static const char *trapName(uint64_t vector) {
    static const char *const names[] = {
        [trapDivide] = "divide error",        [trapDebug] = "debug exception",
        [trapBreakpoint] = "breakpoint",      [trapInvalid] = "invalid operation",
        [trapGeneral] = "general protection", [trapPage] = "page fault"};
    const char *name = vector < sizeof names / sizeof *names ? names[vector] : NULL;
    return name != NULL ? name : "exception";
}

// A process that said where it goes on after an exception does so, once, with the vector + 1 in RAX.
static void processFault(struct trapFrame *frame) {
    struct process *process = currentProcess;
    ++process->faultCount;
    process->flags.hasFaulted = true;
    if (frame->vector == trapPage) {
        kernelPrint("%s: %s at %lx, error %lu", process->name, trapName(frame->vector), faultAddress(),
                    frame->errorCode);
    } else {
        kernelPrint("%s: %s, error %lu", process->name, trapName(frame->vector), frame->errorCode);
    }
    if (process->faultHandler == 0) processEnd();
    frame->rip = process->faultHandler;
    frame->rax = frame->vector + 1;
    process->faultHandler = 0;
}

static void kernelFault(const struct trapFrame *frame) {
    kernelPrint("%s in the kernel at %lx, error %lu", trapName(frame->vector), frame->rip, frame->errorCode);
    if (frame->vector == trapBreakpoint || frame->vector == trapDebug) return;
    kernelPanic("exception in the kernel");
}

static void interrupt(unsigned line) {
    interruptDone(line);
    if (line != 0) return;
    kernelTick();
    processTick();
}

void trapDispatch(struct trapFrame *frame) {
    if (frame->vector >= trapExceptions) {
        interrupt((unsigned)(frame->vector - timerVector));
    } else if ((frame->cs & 3) != 0) {
        processFault(frame);
    } else {
        kernelFault(frame);
    }
}
