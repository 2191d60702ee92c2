// Processes: one is the kernel's own loop, the others run in ring 3, each under a root of its own.
#pragma once

#include <stdbool.h>
#include <stdint.h>

enum processState { processUnused, processReady, processSleeping, processEnded };

enum processPlace { kernelProcess, firstProcess, secondProcess, processCount };

struct processFlags {
    uint32_t isUser : 1;
    uint32_t hasFaulted : 1;
    uint32_t priority : 3;
    uint32_t : 11;
    uint32_t slice : 16; // ticks since it was switched to
};

struct process {
    uint32_t id;
    enum processState state;
    char name[16];
    uint64_t root;
    uint64_t stack;       // the saved stack pointer, while another one runs
    uint64_t kernelStack; // its top
    uint64_t wakeTick;
    uint64_t faultHandler; // 0: none
    uint64_t switchCount, syscallCount, faultCount;
    struct processFlags flags;
    struct process *next; // a ring
};

extern struct process processes[processCount];
extern struct process *currentProcess;

void processesInit(void);
// Lets the next one that is ready run; returns when this one's turn comes again. Interrupts are off.
void processSwitch(void);
// A tick has passed: wakes those that slept long enough, and switches.
void processTick(void);
bool isOtherReady(void);
void processSleep(uint64_t ticks);
_Noreturn void processEnd(void);
