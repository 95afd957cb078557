// A palette as the platform records it.
#pragma once

#include "platform/types.h"

struct PALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
};
// The first of palNumEntries entries; the others lie behind the record.
struct LOGPALETTE {
    WORD palVersion;
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[1];
};
static_assert(sizeof(LOGPALETTE) == 8);
