// What the end of the chain tells of its image: header and colour table of a device-independent
// bitmap.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "frame/image_format.h"
#include "frame/palette_table.h"
#include "platform/types.h"

class CQLBitmap {
  public:
    // Describes an image of this format.
    void Build(const QLImageFormat& format);

    BITMAPINFOHEADER& Header() { return m_header; }
    const BITMAPINFOHEADER& Header() const { return m_header; }
    std::span<const RGBQUAD> ColorTable() const { return {m_colors.data(), m_colorCount}; }

  private:
    void FillColors(const QLPaletteTable* palette);

    BITMAPINFOHEADER m_header = {};
    std::array<RGBQUAD, 256> m_colors = {};
    std::size_t m_colorCount = 0;
};
