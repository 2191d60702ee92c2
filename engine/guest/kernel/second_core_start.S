// Where the second core starts: copied to START_PAGE, entered in real mode, left in long mode.
#include "common/layout.h"

#define AT(label) (START_PAGE + label - secondCoreStart)

    .section .rodata
    .balign 16
    .global secondCoreStart, secondCoreStartEnd, secondCoreRoot
    .code16
secondCoreStart:
    cli
    cld
    xor %ax, %ax
    mov %ax, %ds
    lgdtl AT(startTable)
    mov $0x20, %eax                     // PAE
    mov %eax, %cr4
    mov AT(secondCoreRoot), %eax
    mov %eax, %cr3
    mov $0xC0000080, %ecx
    rdmsr
    or $0x900, %eax                     // long mode, no-execute
    wrmsr
    mov %cr0, %eax
    and $0x9FFFFFFF, %eax               // caches on
    or $0x80010001, %eax                // straight from real mode into long mode
    mov %eax, %cr0
    ljmpl $0x08, $AT(startLong)

    .code64
startLong:
    mov $0x10, %eax
    mov %eax, %ds
    mov %eax, %es
    mov %eax, %ss
    movabs $secondCoreStackTop, %rsp
    xor %ebp, %ebp
    movabs $secondCoreMain, %rax
    call *%rax

    .balign 8
startDescriptors:
    .quad 0
    .quad 0x00AF9A000000FFFF
    .quad 0x00CF92000000FFFF
startTable:
    .word 23
    .long AT(startDescriptors)
    .balign 4
secondCoreRoot:
    .long 0
secondCoreStartEnd:

    .section .bss
    .balign 4096
    .fill 0x2000, 1, 0
    .global secondCoreStackTop
secondCoreStackTop:
