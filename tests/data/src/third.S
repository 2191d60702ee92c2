# The last source file of a program: what follows its file symbol is never attached to the module.
        .file   "third.S"
        .text
        .type   unseen, @function
unseen: ret
        .size   unseen, . - unseen
