// Segments, task states and the table of interrupts.
#pragma once

#include <stdint.h>

// What a core keeps beside its registers; SYSCALL's entry knows the places of the first two.
struct coreData {
    uint64_t kernelStack; // of the process that runs
    uint64_t userStack;   // for a moment, while stacks are changed
    uint32_t number;
    uint32_t apicId;
};

extern struct coreData coreData[2];

// For the core that calls it.
void descriptorsInit(unsigned core);
// Where exceptions, interrupts and system calls of the first core's process find their stack.
void setKernelStack(uint64_t top);
