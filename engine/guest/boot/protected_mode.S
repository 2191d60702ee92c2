// 32-bit code behind the boot sector: the way into C, and from there into long mode.
#include "common/layout.h"

    .code32
    .text
    .global protectedStart
protectedStart:
    mov $0x10, %ax
    mov %ax, %ds
    mov %ax, %es
    mov %ax, %fs
    mov %ax, %gs
    mov %ax, %ss
    mov $BOOT_ADDRESS, %esp
    mov $workStart, %edi
    mov $workEnd, %ecx
    sub %edi, %ecx
    xor %eax, %eax
    rep stosb
    xor %ebp, %ebp
    call bootMain
1:
    cli
    hlt
    jmp 1b

// void enterLongMode(uint32_t root, const struct bootInfo *info): does not return.
    .global enterLongMode
enterLongMode:
    mov 4(%esp), %eax
    mov 8(%esp), %ebx
    mov %eax, %cr3
    mov %cr4, %eax
    or $0x20, %eax                      // PAE
    mov %eax, %cr4
    mov $0xC0000080, %ecx
    rdmsr
    or $0x100, %eax                     // long mode, once paging is on
    wrmsr
    mov %cr0, %eax
    or $0x80010000, %eax                // paging, and read-only pages hold for the kernel as well
    mov %eax, %cr0
    ljmp $0x18, $longStart

    .code64
longStart:
    mov %ebx, %edi
    movabs $KERNEL_ADDRESS, %rax
    jmp *%rax
