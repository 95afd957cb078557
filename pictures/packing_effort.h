// How hard rows are deflated, in PNG and PDF files alike.
#pragma once

#include <zlib.h>

#include <cstddef>

struct PackingEffort {
    int level;
    int strategy;
};

// Gray and colour, as differences between neighbours: runs alone are looked for, which makes grainy
// photographs smaller than the search for repeats does, and is faster on them.
inline constexpr PackingEffort kShadedEffort = {1, Z_RLE};
// Single bits and palettes, which repeat and are few bytes.
inline constexpr PackingEffort kPlainEffort = {4, Z_DEFAULT_STRATEGY};

// Packed bytes go to the file in parts of this size.
inline constexpr std::size_t kPackedPartBytes = std::size_t{1} << 16;
