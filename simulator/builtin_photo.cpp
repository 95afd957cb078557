// Brings the bytes that draw_photo wrote into the module.
#include "simulator/builtin_photo.h"

asm(".section .rodata\n"
    ".balign 64\n"
    ".globl nvq_builtin_photo\n"
    ".hidden nvq_builtin_photo\n"
    "nvq_builtin_photo:\n"
    ".incbin \"" NVQ_BUILTIN_PHOTO
    "\"\n"
    ".previous\n");
