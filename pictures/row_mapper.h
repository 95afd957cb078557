// Rows as files hold them, made those that readers deliver: 8 bits of gray a pixel, or 24 bits of
// blue, green and red.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/bitmap_headers.h"

// Samples of 8 bits, unless the name says 16: those stand in the machine's order. What is
// transparent lies on white paper.
enum class EPixelLayout : std::uint8_t {
    Bgr,
    Bgrx,  // the fourth byte means nothing
    Rgb,
    RgbAlpha,
    RgbWeighed,   // beside an alpha that they have been multiplied by
    GrayWeighed,  // the same; red, green and blue are equal
    Rgb16,
    GrayAlpha,
    Gray16,
    Cmyk,
    CmykInverted,  // 255 is no ink
};

class CRowMapper {
  public:
    CRowMapper() = default;
    explicit CRowMapper(EPixelLayout layout) : m_layout(layout) {}
    // Indices of 1, 2, 4 or 8 bits, the first one in a byte's highest bits, into up to 256 colours;
    // those that the palette lacks are black. Delivers gray if all of them are.
    CRowMapper(int indexBits, std::span<const RGBQUAD> palette);
    // Rows of a bitmap of 1, 8 or 24 bits; without a palette in the last case.
    static CRowMapper Bitmap(int bits, std::span<const RGBQUAD> palette) {
        return palette.empty() ? CRowMapper(EPixelLayout::Bgr) : CRowMapper(bits, palette);
    }
    // Plain gray of 1, 2, 4 or 8 bits.
    static CRowMapper Gray(int bits, bool zeroIsWhite = false);

    // Bits a pixel in the file.
    int SourceBits() const;
    // Bits a pixel as delivered: 8 or 24.
    int TargetBits() const;
    void Map(std::uint8_t* target, const std::uint8_t* row, std::int32_t width) const;

  private:
    void MapIndices(std::uint8_t* target, const std::uint8_t* row, std::int32_t width) const;

    EPixelLayout m_layout = EPixelLayout::Bgr;
    int m_indexBits = 0;  // 0: by the layout
    bool m_isGray = false;
    bool m_isRamp = false;  // of 8 bits, each pixel its own gray
    std::array<RGBQUAD, kMaxBitmapColors> m_palette = {};
};
