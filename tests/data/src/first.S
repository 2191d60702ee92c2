# Fixed bytes at a fixed address, so that listings of it can be compared to the letter.
        .file   "first.S"
        .intel_syntax noprefix
        .text
        .globl  _start
        .type   _start, @function
_start:
        call    alpha
        call    gamma
        mov     eax, 60
        xor     edi, edi
        syscall
        .size   _start, . - _start

        .type   alpha, @function
alpha:
        push    rbp
        mov     rbp, rsp
        movabs  rax, 0x1122334455667788
        test    rax, rax
        jz      1f
        call    beta
1:      pop     rbp
        ret
        .size   alpha, . - alpha

        .type   beta, @function
beta:
        lea     rax, [rip + alpha]
        .byte   0x06                    # not an instruction in 64-bit mode
        nop
        ret
        .size   beta, . - beta
