// A PE image of one section, laid out by hand: two pages that are the same in the file and in memory. Its
// debug directory names demo.pdb. The kernel calls its entry point, imageEntry(value), which returns value * 2 + 1.
#include "common/layout.h"

    .section .image, "awx"
imageStart:
    // The MS-DOS header.
    .ascii "MZ"
    .fill 58, 1, 0
    .long ntHeaders - imageStart

    .balign 64
ntHeaders:
    .ascii "PE\0\0"
    .word 0x8664                        // machine: x86-64
    .word 1                             // sections
    .long 0, 0, 0                       // time stamp, symbols
    .word sectionTable - optionalHeader
    .word 0x22                          // an executable that knows large addresses

optionalHeader:
    .word 0x20B                         // PE32+
    .byte 14, 0                         // linker version
    .long 0x1000, 0, 0                  // sizes of code and of data
    .long imageEntry - imageStart
    .long textStart - imageStart
    .quad IMAGE_ADDRESS
    .long 0x1000, 0x1000                // alignments in memory and in the file
    .word 6, 0, 0, 0, 6, 0              // versions
    .long 0
    .long imageEnd - imageStart
    .long textStart - imageStart        // size of the headers
    .long 0                             // checksum
    .word 1                             // subsystem: native
    .word 0
    .quad 0x1000, 0x1000, 0x1000, 0x1000 // stack and heap
    .long 0
    .long 16                            // directories
    .fill 6, 8, 0
    .long debugDirectory - imageStart, debugDirectoryEnd - debugDirectory
    .fill 9, 8, 0

sectionTable:
    .ascii ".text\0\0\0"
    .long 0x1000
    .long textStart - imageStart
    .long 0x1000
    .long textStart - imageStart
    .long 0, 0, 0
    .long 0x60000020                    // code, readable, executable

    .balign 4096
textStart:
imageEntry:
    lea 1(%rdi,%rdi), %rax
    ret

    .balign 16
debugDirectory:
    .long 0, 0                          // characteristics, time stamp
    .word 0, 0                          // version
    .long 2                             // CodeView
    .long codeViewEnd - codeView
    .long codeView - imageStart
    .long codeView - imageStart
debugDirectoryEnd:

    .balign 16
codeView:
    .ascii "RSDS"
    .long 0x5AB1E001
    .word 0xDE30, 0x4A11
    .byte 0x8C, 0x01, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60
    .long 1                             // age
    .asciz "demo.pdb"
codeViewEnd:

    .balign 4096
imageEnd:
