// The beginning of a process, its system calls, and the attempt of something that may end in an exception.
#include "common/calls.h"

    .section .text.start, "ax"
    .global processStart
    .type processStart, @function
processStart:
    xor %ebp, %ebp
    call processMain
    mov $CALL_END, %eax
    syscall
    .size processStart, . - processStart

    .text
// long systemCall(number, first, second, third)
    .global systemCall
    .type systemCall, @function
systemCall:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    syscall
    ret
    .size systemCall, . - systemCall

// long attempt(void (*function)(void)): 0 when it came back, else the exception's vector + 1.
    .global attempt
    .type attempt, @function
attempt:
    push %rbp
    push %rbx
    push %r12
    push %r13
    push %r14
    push %r15
    sub $8, %rsp
    mov %rsp, attemptStack(%rip)
    mov %rdi, %rbx
    lea attemptFailed(%rip), %rdi
    mov $CALL_ON_FAULT, %eax
    syscall
    call *%rbx
    xor %eax, %eax
    jmp attemptEnd
attemptFailed:
    mov attemptStack(%rip), %rsp
attemptEnd:
    add $8, %rsp
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %rbx
    pop %rbp
    ret
    .size attempt, . - attempt

    .bss
    .balign 8
attemptStack:
    .quad 0
