        .file   "second.S"
        .intel_syntax noprefix
        .text
        .globl  gamma
        .type   gamma, @function
gamma:
        call    beta
        call    beta_too
        ret
        .size   gamma, . - gamma

        .type   beta, @function
beta:
        xor     eax, eax
        ret
        .size   beta, . - beta

        .type   beta_too, @function
beta_too:
        mov     qword ptr [rip + counter], 1
        ret
        .size   beta_too, . - beta_too

        .data
        .type   counter, @object
counter:
        .quad   0
