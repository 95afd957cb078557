#include "stages/ql_bitmap.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "platform/bitmap_headers.h"

namespace {

// Entries by pixel type. Colour and 16-bit rows carry their values themselves; the packed types
// that have no entry here never reach the tail as rows of a bitmap.
std::size_t ColorTableSize(std::uint32_t pixelType) {
    switch (pixelType) {
        case QL_PIXEL_GRAY8_ROWS:
        case QL_PIXEL_INDEX8:
        case QL_PIXEL_INDEX8_ROWS:
            return 256;
        case QL_PIXEL_4BIT:
        case QL_PIXEL_4BIT_ROWS:
            return 16;
        case QL_PIXEL_BILEVEL_ROWS:
        case QL_PIXEL_HALFTONE:
        case QL_PIXEL_HALFTONE_ROWS:
            return 2;
        default:
            return 0;
    }
}

}  // namespace

void CQLBitmap::Build(const QLImageFormat& format) {
    m_colors = {};
    m_colorCount = ColorTableSize(format.m_pixelType);
    m_header = MakeInfoHeader(format.m_width, format.m_height,
                              static_cast<std::int32_t>(format.m_bitsPerPixel));
    // 39.37 inches are a metre. Both directions take the resolution across, unless a quarter turn
    // has exchanged the two: a page that was turned keeps its size.
    const std::int32_t along =
        format.m_resolutionsTurned ? format.m_yResolution : format.m_xResolution;
    m_header.biXPelsPerMeter = RoundToI32(format.m_xResolution * kInchesPerMeter);
    m_header.biYPelsPerMeter = RoundToI32(along * kInchesPerMeter);
    // All of them: no viewer shall save colours.
    m_header.biClrImportant = m_header.biClrUsed;
    FillColors(format.m_palette);
}

void CQLBitmap::FillColors(const QLPaletteTable* palette) {
    const std::size_t count = m_colorCount;
    // Black first, white second, whatever the picture's polarity: bits are inverted, not their
    // colours.
    if (count == 2) {
        m_colors[1] = {255, 255, 255, 0};
    } else if (count != 0 && palette) {
        // A palette may have fewer entries than the table; what lies behind them is black.
        const std::size_t used = std::min<std::size_t>(
            {count, palette->m_count, static_cast<std::size_t>(QLPaletteTable::kMaxEntries)});
        for (std::size_t i = 0; i < used; ++i) {
            const std::uint16_t* rgb = palette->m_entries[i].m_colors;
            // 8-bit values in words of 16; a table of colours is blue first.
            m_colors[i] = {static_cast<BYTE>(rgb[2]), static_cast<BYTE>(rgb[1]),
                           static_cast<BYTE>(rgb[0]), 0};
        }
    } else if (count != 0) {
        FillGrayRamp({m_colors.data(), count});
    }
}
