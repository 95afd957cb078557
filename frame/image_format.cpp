#include "frame/image_format.h"

#include <cstddef>
#include <iterator>
#include <limits>

namespace {

// How the bytes of a line follow from its pixels.
enum class Stride : std::uint8_t {
    None,       // left as it is
    Packed,     // bytes per pixel x width
    Padded,     // the same, rounded up to a multiple of 4
    Nibbles,    // two pixels a byte
    NibbleRow,  // the same, rounded up to a multiple of 4
    Bits,       // eight pixels a byte
    BitRow,     // the same, rounded up to a multiple of 4
};

// Which column of the layout table a pixel type goes by.
enum class Group : std::uint8_t { Colour, Gray, Four, Index, BilevelA, BilevelB, None };

struct Geometry {
    Group group;
    std::uint8_t samples;
    std::uint8_t bitsPerSample;
    std::uint8_t bitsPerPixel;
    std::uint8_t bytesPerPixel;
    std::uint8_t bytesPerSample;
    Stride stride;
};

// By pixel type: significant bits, and storage behind them. Types of the same geometry differ in
// what their values mean: colour order, encoding, byte order. Rows of padded gray (13) belong to no
// group: no layout makes anything else of them.
constexpr Geometry kGeometry[] = {
    /*  0 */ {Group::Colour, 3, 8, 24, 3, 1, Stride::Packed},
    /*  1 */ {Group::Colour, 3, 8, 24, 3, 1, Stride::Padded},
    /*  2 */ {Group::Colour, 3, 8, 24, 3, 1, Stride::Packed},
    /*  3 */ {Group::Colour, 3, 8, 24, 4, 1, Stride::Packed},
    /*  4 */ {Group::Colour, 3, 10, 30, 6, 2, Stride::Packed},
    /*  5 */ {Group::Colour, 3, 8, 24, 3, 1, Stride::Packed},
    /*  6 */ {Group::Colour, 3, 8, 24, 3, 1, Stride::Packed},
    /*  7 */ {Group::Colour, 3, 12, 36, 6, 2, Stride::Packed},
    /*  8 */ {Group::Colour, 3, 12, 36, 6, 2, Stride::Packed},
    /*  9 */ {Group::Colour, 3, 16, 48, 6, 2, Stride::Packed},
    /* 10 */ {Group::None, 0, 0, 0, 0, 0, Stride::None},
    /* 11 */ {Group::Colour, 3, 16, 48, 6, 2, Stride::Packed},
    /* 12 */ {Group::Gray, 1, 8, 8, 1, 1, Stride::Packed},
    /* 13 */ {Group::None, 1, 8, 8, 1, 1, Stride::Padded},
    /* 14 */ {Group::Four, 1, 4, 4, 1, 1, Stride::Nibbles},
    /* 15 */ {Group::Four, 1, 4, 4, 1, 1, Stride::NibbleRow},
    /* 16 */ {Group::Gray, 1, 10, 10, 2, 2, Stride::Packed},
    /* 17 */ {Group::Gray, 1, 12, 12, 2, 2, Stride::Packed},
    /* 18 */ {Group::Gray, 1, 12, 12, 2, 2, Stride::Packed},
    /* 19 */ {Group::Gray, 1, 16, 16, 2, 2, Stride::Packed},
    /* 20 */ {Group::Gray, 1, 16, 16, 2, 2, Stride::Packed},
    /* 21 */ {Group::Gray, 1, 8, 8, 1, 1, Stride::Packed},
    /* 22 */ {Group::Index, 1, 8, 8, 1, 1, Stride::Packed},
    /* 23 */ {Group::Index, 1, 8, 8, 1, 1, Stride::Padded},
    /* 24 */ {Group::BilevelA, 1, 1, 1, 1, 1, Stride::Bits},
    /* 25 */ {Group::BilevelA, 1, 1, 1, 1, 1, Stride::BitRow},
    /* 26 */ {Group::BilevelB, 1, 1, 1, 1, 1, Stride::Bits},
    /* 27 */ {Group::BilevelB, 1, 1, 1, 1, 1, Stride::BitRow},
};

// The pixel types that a layout makes of the groups, in their order.
using LayoutTypes = QLPixelType[6];
constexpr LayoutTypes kDeep = {QL_PIXEL_RGB16,  QL_PIXEL_GRAY16,  QL_PIXEL_4BIT,
                               QL_PIXEL_INDEX8, QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE};
constexpr LayoutTypes kPacked = {QL_PIXEL_RGB8,   QL_PIXEL_GRAY8,   QL_PIXEL_4BIT,
                                 QL_PIXEL_INDEX8, QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE};
// Halftone rows have no padding in this layout.
constexpr LayoutTypes kPadded = {QL_PIXEL_XRGB8,       QL_PIXEL_GRAY8_ROWS,   QL_PIXEL_4BIT_ROWS,
                                 QL_PIXEL_INDEX8_ROWS, QL_PIXEL_BILEVEL_ROWS, QL_PIXEL_HALFTONE};
constexpr LayoutTypes kBitmapRows = {QL_PIXEL_BGR8_ROWS,    QL_PIXEL_GRAY8_ROWS,
                                     QL_PIXEL_4BIT_ROWS,    QL_PIXEL_INDEX8_ROWS,
                                     QL_PIXEL_BILEVEL_ROWS, QL_PIXEL_HALFTONE_ROWS};
constexpr LayoutTypes kUnpacked = {QL_PIXEL_RGB8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8,
                                   QL_PIXEL_RGB8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8};

// Null for layouts that ask for nothing.
const LayoutTypes* TypesOf(std::uint32_t layout) {
    switch (layout) {
        case QL_LAYOUT_INTERNAL:
        case QL_LAYOUT_DEEP:
        case QL_LAYOUT_DEEP_BLUE_FIRST:
            return &kDeep;
        case QL_LAYOUT_PADDED:
            return &kPadded;
        case QL_LAYOUT_BITMAP_ROWS:
            return &kBitmapRows;
        case QL_LAYOUT_PACKED:
        case QL_LAYOUT_PACKED_B:
        case QL_LAYOUT_PACKED_C:
            return &kPacked;
        case QL_LAYOUT_UNPACKED:
            return &kUnpacked;
        default:
            return nullptr;
    }
}

std::uint32_t TypeForLayout(std::uint32_t type, std::uint32_t layout) {
    const LayoutTypes* types = TypesOf(layout);
    if (!types || type >= std::size(kGeometry))
        return type;
    // Padded index rows have no packed internal form of their own.
    if (layout == QL_LAYOUT_INTERNAL && type == QL_PIXEL_INDEX8_ROWS)
        return type;
    const auto group = static_cast<std::size_t>(kGeometry[type].group);
    return group < std::size(*types) ? (*types)[group] : type;
}

std::int32_t StrideOf(const Geometry& geometry, std::int32_t width) {
    // In 64 bits: six bytes a pixel take a wide line beyond 31 bits, and such a line has no stride.
    const std::int64_t w = width;
    std::int64_t bytes = 0;
    switch (geometry.stride) {
        case Stride::None:
            break;
        case Stride::Packed:
            bytes = w * geometry.bytesPerPixel;
            break;
        case Stride::Padded:
            bytes = (w * geometry.bytesPerPixel + 3) & ~std::int64_t{3};
            break;
        case Stride::Nibbles:
            bytes = (w + 1) / 2;
            break;
        // 32-bit units of eight pixels.
        case Stride::NibbleRow:
            bytes = (4 * w + 31) / 32 * 4;
            break;
        case Stride::Bits:
            bytes = (w + 7) / 8;
            break;
        case Stride::BitRow:
            bytes = ((w + 7) / 8 + 3) & ~std::int64_t{3};
            break;
    }
    return bytes < 0 || bytes > std::numeric_limits<std::int32_t>::max()
               ? 0
               : static_cast<std::int32_t>(bytes);
}

}  // namespace

void QLImageFormat::SetPixelType(std::uint32_t type) {
    m_pixelType = type;
    RecomputeLayout();
}

void QLImageFormat::SetLayout(std::uint32_t layout) {
    m_layout = layout;
    RecomputeLayout();
}

void QLImageFormat::SetWidth(std::int32_t width) {
    m_width = width;
    RecomputeLayout();
}

void QLImageFormat::SetHeight(std::int32_t height) {
    m_height = height;
    RecomputeLayout();
}

void QLImageFormat::SetRotation(std::int32_t degrees) {
    // Anything short of a quarter turn is none: the division truncates. The sum of the turns may
    // pass 360; only differences count.
    const std::int64_t steps = (std::int64_t{degrees} - m_rotation) / 90;
    const auto turn = static_cast<std::int32_t>(((steps % 4) + 4) % 4);
    m_rotation += turn * 90;
    if (turn == 1 || turn == 3) {
        const std::int32_t width = m_width;
        SetWidth(m_height);
        SetHeight(width);
    }
    RecomputeLayout();
}

void QLImageFormat::RecomputeLayout() {
    // The request stands as long as the layout does: each later type, width or height goes by it
    // too.
    m_pixelType = TypeForLayout(m_pixelType, m_layout);
    if (m_pixelType >= std::size(kGeometry) || m_pixelType == QL_PIXEL_OPAQUE)
        return;
    const Geometry& geometry = kGeometry[m_pixelType];
    m_samplesPerPixel = geometry.samples;
    m_bitsPerSample = geometry.bitsPerSample;
    m_bitsPerPixel = geometry.bitsPerPixel;
    m_bytesPerPixel = geometry.bytesPerPixel;
    m_bytesPerSample = geometry.bytesPerSample;
    m_bytesPerLine = StrideOf(geometry, m_width);
}

std::int32_t QLImageFormat::PaddingBytes() const {
    // Significant bytes are those that hold a whole pixel's bits, but for 4-bit lines of odd width:
    // the byte of the last, lone pixel counts as padding.
    // Without a stride there is no line that could be filled up.
    if (m_pixelType >= std::size(kGeometry) || m_bytesPerLine <= 0)
        return 0;
    const Geometry& geometry = kGeometry[m_pixelType];
    switch (geometry.stride) {
        case Stride::None:
            return 0;
        case Stride::Packed:
        case Stride::Padded:
            return m_bytesPerLine - m_width * geometry.bytesPerPixel;
        case Stride::Nibbles:
        case Stride::NibbleRow:
            return m_bytesPerLine - m_width / 2;
        case Stride::Bits:
        case Stride::BitRow:
            return m_bytesPerLine - (m_width + 7) / 8;
    }
    return 0;
}
