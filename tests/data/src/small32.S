        .file   "small32.S"
        .intel_syntax noprefix
        .text
        .globl  _start
        .type   _start, @function
_start:
        call    local32
        hlt
        .size   _start, . - _start

        .type   local32, @function
local32:
        mov     eax, 1
        ret
        .size   local32, . - local32
