// What the palette of an image says of its pixels: writers have forms of their own for each kind.
#pragma once

#include <cstdint>
#include <span>

#include "platform/types.h"

enum class EPaletteKind : std::uint8_t {
    None,        // pixels are colours themselves
    WhiteIsSet,  // single bits: 0 black, 1 white
    BlackIsSet,  // single bits the other way round, as most bilevel forms have them
    Grays,       // 8 bits: a pixel is its gray, 0 black
    Colors,      // anything else, also of single bits
};

EPaletteKind KindOf(std::span<const RGBQUAD> palette);
