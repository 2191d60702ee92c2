// What the boot code brings into place.
    .section .payload, "a"
    .global kernelBytes, kernelBytesEnd, imageBytes, imageBytesEnd
    // Never at the start of a page, where a search for images would find this copy first.
    .balign 32
    .fill 16, 1, 0
imageBytes:
    .incbin "demo_image.bin"
imageBytesEnd:
    .balign 16
kernelBytes:
    .incbin "kernel.bin"
kernelBytesEnd:
