// Changing stacks, and the way in and out of the kernel by SYSCALL.
#include "common/layout.h"

    .text
// void switchStacks(uint64_t *savedStack, uint64_t newStack)
    .global switchStacks
    .type switchStacks, @function
switchStacks:
    push %rbp
    push %rbx
    push %r12
    push %r13
    push %r14
    push %r15
    mov %rsp, (%rdi)
    mov %rsi, %rsp
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %rbx
    pop %rbp
    ret
    .size switchStacks, . - switchStacks

// Number in RAX, arguments in RDI, RSI and RDX. GS holds struct coreData only for the change of stacks, so
// that no other way into the kernel has to ask whose GS it is.
    .global syscallEntry
    .type syscallEntry, @function
syscallEntry:
    swapgs
    mov %rsp, %gs:8
    mov %gs:0, %rsp
    pushq %gs:8
    swapgs
    push %rcx                           // where the process goes on
    push %r11                           // its flags
    push $0                             // keeps the stack aligned
    sti
    mov %rdx, %rcx
    mov %rsi, %rdx
    mov %rdi, %rsi
    mov %rax, %rdi
    call syscallDispatch
    cli
    add $8, %rsp
    pop %r11
    pop %rcx
    xor %edx, %edx                      // nothing of the kernel's goes out
    xor %esi, %esi
    xor %edi, %edi
    xor %r8d, %r8d
    xor %r9d, %r9d
    xor %r10d, %r10d
    pop %rsp
    sysretq
    .size syscallEntry, . - syscallEntry
