// The kernel's first instructions: started by the boot code in long mode, on its tables.
#include "common/layout.h"

    .section .text.start, "ax"
    .global kernelStart
    .type kernelStart, @function
kernelStart:
    mov %rdi, %rbx                      // what the boot code tells
    lea kernelStackTop(%rip), %rsp
    lea zeroStart(%rip), %rdi
    lea zeroEnd(%rip), %rcx
    sub %rdi, %rcx
    xor %eax, %eax
    cld
    rep stosb
    mov %rbx, %rdi
    xor %ebp, %ebp
    call kernelMain
    .size kernelStart, . - kernelStart

    // Outside what is cleared above.
    .section .stack, "aw", @nobits
    .balign 4096
    .fill 0x4000, 1, 0
    .global kernelStackTop
kernelStackTop:
