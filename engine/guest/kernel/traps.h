// Exceptions and interrupts.
#pragma once

#include <stdint.h>

// What lies on the stack when C is entered: the reverse of the order of pushes.
struct trapFrame {
    uint64_t r15, r14, r13, r12, r11, r10, r9, r8, rdi, rsi, rbp, rbx, rdx, rcx, rax;
    uint64_t vector, errorCode;
    uint64_t rip, cs, rflags, rsp, ss;
};

enum trapVector {
    trapDivide = 0,
    trapDebug = 1,
    trapBreakpoint = 3,
    trapInvalid = 6,
    trapGeneral = 13,
    trapPage = 14,
    trapExceptions = 32
};

void trapDispatch(struct trapFrame *frame);
