// The guests' images, as part of the library.
    .macro IMAGE name, file
    .balign 16
    .global \name, \name\()End
    .hidden \name, \name\()End
\name:
    .incbin "\file"
\name\()End:
    .byte 0
    .endm

    .section .rodata
    IMAGE sableGuestDemo, "demo.img"
    IMAGE sableGuestDemo32, "demo32.img"
    IMAGE sableGuestDemoPae, "demopae.img"
