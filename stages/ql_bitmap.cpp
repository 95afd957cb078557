#include "stages/ql_bitmap.h"

#include <algorithm>

#include "frame/fixed_point.h"

namespace {

constexpr double kInchesPerMeter = 39.37;

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

DWORD ColorsUsed(std::uint32_t bitsPerPixel) {
    return bitsPerPixel == 1 ? 2 : (bitsPerPixel == 4 ? 16 : (bitsPerPixel == 8 ? 256 : 0));
}

}  // namespace

void CQLBitmap::Build(const QLImageFormat& format) {
    m_colors = {};
    m_colorCount = ColorTableSize(format.m_pixelType);
    m_header = {};
    m_header.biSize = sizeof(BITMAPINFOHEADER);
    m_header.biWidth = format.m_width;
    m_header.biHeight = format.m_height;
    m_header.biPlanes = 1;
    m_header.biBitCount = static_cast<WORD>(format.m_bitsPerPixel);
    const std::int64_t rowBytes =
        (std::int64_t{m_header.biBitCount} * format.m_width + 31) / 32 * 4;
    // Wraps in 32 bits for images of 4 GiB and more, where the field has no value to give.
    m_header.biSizeImage = static_cast<DWORD>(rowBytes) * static_cast<DWORD>(format.m_height);
    m_header.biXPelsPerMeter = RoundToI32(format.m_xResolution * kInchesPerMeter);
    m_header.biYPelsPerMeter = m_header.biXPelsPerMeter;
    m_header.biClrUsed = ColorsUsed(format.m_bitsPerPixel);
    m_header.biClrImportant = m_header.biClrUsed;
    FillColors(format.m_palette);
}

void CQLBitmap::FillColors(const QLPaletteTable* palette) {
    const std::size_t count = m_colorCount;
    if (count == 2) {
        m_colors[1] = {255, 255, 255, 0};
    } else if (count != 0 && palette) {
        const std::size_t used = std::min<std::size_t>(
            {count, palette->m_count, static_cast<std::size_t>(QLPaletteTable::kMaxEntries)});
        for (std::size_t i = 0; i < used; ++i) {
            const std::uint16_t* rgb = palette->m_entries[i].m_colors;
            m_colors[i] = {static_cast<BYTE>(rgb[2]), static_cast<BYTE>(rgb[1]),
                           static_cast<BYTE>(rgb[0]), 0};
        }
    } else if (count != 0) {
        const std::size_t step = 256 / (count - 1);
        for (std::size_t i = 0; i < count; ++i) {
            const auto gray = static_cast<BYTE>(i * step);
            m_colors[i] = {gray, gray, gray, 0};
        }
    }
}
