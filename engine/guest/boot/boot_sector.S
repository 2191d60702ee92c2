// The first sector: started in real mode at 0000:7C00. Loads the sectors behind itself, unless a loader's
// note says that they are there, and goes on in 32-bit code.
#include "common/layout.h"

    .code16
    .section .boot, "ax"
    .global bootSector
bootSector:
    ljmp $0, $bootStart
bootStart:
    cli
    cld
    xor %ax, %ax
    mov %ax, %ds
    mov %ax, %es
    mov %ax, %ss
    mov $BOOT_ADDRESS, %sp
    cmpl $LOADER_MAGIC, LOADER_NOTE
    je bootLoaded
    mov %dl, bootDrive
    call loadSectors

bootLoaded:
    // Address line 20, where it is not on already.
    in $0x92, %al
    test $2, %al
    jnz 1f
    or $2, %al
    and $0xFE, %al
    out %al, $0x92
1:
    cli
    lgdtl bootTable
    mov %cr0, %eax
    and $0x9FFFFFFF, %eax               // caches on
    or $1, %al
    mov %eax, %cr0
    ljmpl $0x08, $protectedStart

// One sector at a time, by cylinder, head and sector: works for floppies and for disks.
loadSectors:
    mov $0x08, %ah
    xor %di, %di
    int $0x13
    jc loadFailed
    xor %ax, %ax
    mov %ax, %es
    and $0x3F, %cx
    mov %cx, sectorsPerTrack
    movzbw %dh, %ax
    inc %ax
    mov %ax, headCount
    mov $1, %si                         // sector
    mov $((BOOT_ADDRESS + 512) / 16), %di // segment that it goes to
nextSector:
    cmp $imageSectors, %si
    jae loadDone
    mov $3, %bp
readSector:
    mov %di, %es
    mov %si, %ax
    xor %dx, %dx
    divw sectorsPerTrack
    mov %dl, %cl
    inc %cl
    xor %dx, %dx
    divw headCount
    mov %al, %ch
    shl $6, %ah
    or %ah, %cl
    mov %dl, %dh
    mov bootDrive, %dl
    xor %bx, %bx
    mov $0x0201, %ax
    int $0x13
    jnc sectorRead
    dec %bp
    jz loadFailed
    xor %ah, %ah
    mov bootDrive, %dl
    int $0x13
    jmp readSector
sectorRead:
    inc %si
    add $32, %di
    jmp nextSector
loadDone:
    ret

loadFailed:
    mov $failText, %si
1:
    lodsb
    test %al, %al
    jz 2f
    out %al, $0xE9
    jmp 1b
2:
    cli
    hlt
    jmp 2b

failText:
    .asciz "boot: disk error\n"
bootDrive:
    .byte 0
sectorsPerTrack:
    .word 0
headCount:
    .word 0

    .balign 8
descriptors:
    .quad 0
    .quad 0x00CF9A000000FFFF            // 08: 32-bit code
    .quad 0x00CF92000000FFFF            // 10: data
    .quad 0x00AF9A000000FFFF            // 18: 64-bit code
descriptorsEnd:
bootTable:
    .word descriptorsEnd - descriptors - 1
    .long descriptors

    .org 510
    .word 0xAA55
