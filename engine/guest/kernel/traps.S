// One entry for each vector: brings exceptions and interrupts into one form (struct trapFrame) and into C.
#include "common/layout.h"

    .text
    .macro ENTRY vector, hasCode
trapEntry\vector:
    .if \hasCode == 0
    push $0
    .endif
    push $\vector
    jmp trapCommon
    .endm

    .altmacro
    .macro ENTRIES from, to
    .set number, \from
    .rept \to - \from + 1
    ENTRY %number, 0
    .set number, number + 1
    .endr
    .endm

    ENTRIES 0, 7
    ENTRY 8, 1
    ENTRY 9, 0
    .irp vector, 10, 11, 12, 13, 14
    ENTRY \vector, 1
    .endr
    ENTRIES 15, 16
    ENTRY 17, 1
    ENTRIES 18, 47

    .global trapReturn
    .type trapCommon, @function
trapCommon:
    cld
    push %rax
    push %rcx
    push %rdx
    push %rbx
    push %rbp
    push %rsi
    push %rdi
    push %r8
    push %r9
    push %r10
    push %r11
    push %r12
    push %r13
    push %r14
    push %r15
    mov %rsp, %rdi
    call trapDispatch
trapReturn:
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %r11
    pop %r10
    pop %r9
    pop %r8
    pop %rdi
    pop %rsi
    pop %rbp
    pop %rbx
    pop %rdx
    pop %rcx
    pop %rax
    add $16, %rsp                       // vector and error code
    iretq
    .size trapCommon, . - trapCommon

    // The local interrupt controller's spurious vector asks for no answer.
    .global trapSpurious
    .type trapSpurious, @function
trapSpurious:
    iretq
    .size trapSpurious, . - trapSpurious

    .section .rodata
    .balign 8
    .global trapEntries
trapEntries:
    .macro ENTRYADDRESS vector
    .quad trapEntry\vector
    .endm
    .set number, 0
    .rept 48
    ENTRYADDRESS %number
    .set number, number + 1
    .endr
