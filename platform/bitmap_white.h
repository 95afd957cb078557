// White in the rows of a bitmap.
#pragma once

#include <span>

#include "platform/types.h"

// What fills rows with white. 0xFF is white in colour, in gray, and in bits whose second colour is
// white; with a palette of colours it is the first of the lightest.
constexpr BYTE WhiteByte(std::int32_t bitsPerPixel, std::span<const RGBQUAD> colors) {
    if (bitsPerPixel != 8)
        return 0xFF;
    const auto light = [colors](std::size_t i) {
        return 3 * colors[i].rgbRed + 6 * colors[i].rgbGreen + colors[i].rgbBlue;
    };
    std::size_t lightest = 0;
    for (std::size_t i = 1; i < colors.size(); ++i)
        lightest = light(i) > light(lightest) ? i : lightest;
    return colors.empty() ? BYTE{0xFF} : static_cast<BYTE>(lightest);
}
