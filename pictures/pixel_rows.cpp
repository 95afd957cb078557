#include "pictures/pixel_rows.h"

#include <algorithm>

namespace {

// Hands over the colour of each pixel.
template <typename TTake>
void ForEach(const std::uint8_t* row, std::size_t pixels, std::span<const RGBQUAD> palette,
             TTake take) {
    if (palette.size() == 2) {
        for (std::size_t x = 0; x < pixels; ++x)
            take(palette[row[x / 8] >> (7 - x % 8) & 1]);
        return;
    }
    for (std::size_t x = 0; x < pixels; ++x)
        take(palette[row[x]]);
}

}  // namespace

void SwapRedBlue(std::uint8_t* row, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i)
        std::swap(row[3 * i], row[3 * i + 2]);
}

void InvertBits(std::uint8_t* row, std::size_t bytes) {
    std::transform(row, row + bytes, row,
                   [](std::uint8_t bits) { return static_cast<std::uint8_t>(~bits); });
}

void ToGrays(const std::uint8_t* row, std::size_t pixels, std::span<const RGBQUAD> palette,
             std::uint8_t* grays) {
    ForEach(row, pixels, palette, [&grays](const RGBQUAD& color) { *grays++ = color.rgbRed; });
}

void ToColors(const std::uint8_t* row, std::size_t pixels, std::span<const RGBQUAD> palette,
              std::uint8_t* colors) {
    ForEach(row, pixels, palette, [&colors](const RGBQUAD& color) {
        *colors++ = color.rgbBlue;
        *colors++ = color.rgbGreen;
        *colors++ = color.rgbRed;
    });
}

// From the end on, so that each difference is from what stood there before.
void ToDifferences(std::uint8_t* row, std::size_t bytes, std::size_t channels) {
    for (std::size_t i = bytes; i-- > channels;)
        row[i] = static_cast<std::uint8_t>(row[i] - row[i - channels]);
}
