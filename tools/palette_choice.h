// The palette of an indexed picture, as a person names it.
#pragma once

#include <optional>
#include <string>

#include "frame/palette_table.h"
#include "service/scan_settings.h"

struct CPaletteChoice {
    QLPaletteKind m_kind = QL_PALETTE_SYSTEM;
    QLPaletteTable m_colors;  // of QL_PALETTE_USER
};

// As a scan's settings have it.
ScanPalette ToScanPalette(const CPaletteChoice& choice);

// system, cube, gray or adaptive; anything else is a file. Nothing, with one line in `error`, when
// the file is no palette: a GIMP palette, of 1 to 256 colours, which may be alike.
//
//     GIMP Palette
//     Name: Earth
//     # red green blue, 0 to 255, and a name
//     120  72  36  soil
std::optional<CPaletteChoice> ParsePalette(const std::string& text, std::string* error);
