// The processes' bytes, as they lie from PROCESS_TEXT on.
    .section .rodata
    .balign 16
    .global firstBytes, firstBytesEnd, secondBytes, secondBytesEnd
firstBytes:
    .incbin "first.bin"
firstBytesEnd:
    .balign 16
secondBytes:
    .incbin "second.bin"
secondBytesEnd:
