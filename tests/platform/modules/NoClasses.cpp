// A module without entry points, whose notes go wrong in the middle: the first one is whole, the
// second one claims more than there is, the third one stands where nothing can be trusted.

asm(R"(
    .macro resource id, size
    .long 9, \size, 1
    .asciz "ZlkCamTr"
    .balign 4
    .short \id, 0
    .ascii "BYTES"
    .fill 11, 1, 0
    .ascii "data"
    .endm
    .section .note.zlkcamtr, "a", %note
    .balign 4
    resource 1, 24
    resource 2, 0xFFFFFFF0
    resource 3, 24
    .text
)");
