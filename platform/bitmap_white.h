// White in the rows of a bitmap.
#pragma once

#include <algorithm>
#include <span>

#include "platform/bitmap_headers.h"

// What fills rows with white. 0xFF is white in colour and where nobody tells of colours; with a
// palette it is the first of the lightest, of single bits in all eight.
constexpr BYTE WhiteByte(std::int32_t bitsPerPixel, std::span<const RGBQUAD> colors) {
    const std::size_t count = std::min<std::size_t>(colors.size(), FullColorCount(bitsPerPixel));
    if ((bitsPerPixel != 1 && bitsPerPixel != 8) || count == 0)
        return 0xFF;
    const auto light = [colors](std::size_t i) {
        return 3 * colors[i].rgbRed + 6 * colors[i].rgbGreen + colors[i].rgbBlue;
    };
    std::size_t lightest = 0;
    for (std::size_t i = 1; i < count; ++i)
        lightest = light(i) > light(lightest) ? i : lightest;
    return static_cast<BYTE>(bitsPerPixel == 1 ? 0xFF * lightest : lightest);
}
