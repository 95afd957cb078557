// The record that describes an image at one point of the chain. A plain value, copied whole at each
// negotiation and never shared.
#pragma once

#include <cstdint>

struct QLPaletteTable;

// Pixel types, by their geometry and the meaning of their values. The geometry of each stands in
// the table of image_format.cpp; here are those that the chain's code names.
enum QLPixelType : std::uint32_t {
    QL_PIXEL_RGB8 = 0,           // 8-bit colour, red first
    QL_PIXEL_BGR8_ROWS = 1,      // bitmap rows: blue first, padded to 4 bytes
    QL_PIXEL_BGR8 = 2,           // input stream: blue first, linear
    QL_PIXEL_XRGB8 = 3,          // a pad byte, then red, green, blue
    QL_PIXEL_RGB10_SWAPPED = 4,  // 10 significant bits in 16, high byte first
    QL_PIXEL_RGB8_ENCODED = 5,   // red first, gamma-encoded
    QL_PIXEL_BGR8_ENCODED = 6,   // input stream: blue first, gamma-encoded
    QL_PIXEL_RGB12_SWAPPED = 7,  // 12 significant bits in 16, high byte first
    QL_PIXEL_RGB12 = 8,
    QL_PIXEL_RGB16 = 9,           // the engine's internal colour, red first
    QL_PIXEL_OPAQUE = 10,         // no derived fields
    QL_PIXEL_RGB16_SWAPPED = 11,  // high byte first
    QL_PIXEL_GRAY8 = 12,          // input stream: linear gray
    QL_PIXEL_GRAY8_ROWS = 13,     // bitmap rows, padded to 4 bytes
    QL_PIXEL_4BIT = 14,           // two pixels a byte, left pixel high
    QL_PIXEL_4BIT_ROWS = 15,
    QL_PIXEL_GRAY10 = 16,
    QL_PIXEL_GRAY12 = 17,
    QL_PIXEL_GRAY12_B = 18,
    QL_PIXEL_GRAY16 = 19,          // the engine's internal gray
    QL_PIXEL_GRAY16_SWAPPED = 20,  // high byte first
    QL_PIXEL_GRAY8_ENCODED = 21,   // input stream: gamma-encoded gray
    QL_PIXEL_INDEX8 = 22,
    QL_PIXEL_INDEX8_ROWS = 23,
    QL_PIXEL_BILEVEL = 24,  // threshold path, eight pixels a byte, first pixel in bit 7
    QL_PIXEL_BILEVEL_ROWS = 25,
    QL_PIXEL_HALFTONE = 26,  // halftone path
    QL_PIXEL_HALFTONE_ROWS = 27,
};

// Delivery layouts: requests that rewrite the pixel type.
inline constexpr std::uint32_t QL_LAYOUT_AS_IS = 1;
inline constexpr std::uint32_t QL_LAYOUT_INTERNAL = 2;  // 16-bit samples, red first
// Colour behind a pad byte; gray complemented, its rows padded with ones.
inline constexpr std::uint32_t QL_LAYOUT_PADDED = 3;
inline constexpr std::uint32_t QL_LAYOUT_BITMAP_ROWS = 4;  // rows of a device-independent bitmap
// 8-bit samples, red first, rows without gaps; the three differ for bilevel lines only.
inline constexpr std::uint32_t QL_LAYOUT_PACKED = 5;
inline constexpr std::uint32_t QL_LAYOUT_PACKED_B = 6;
inline constexpr std::uint32_t QL_LAYOUT_PACKED_C = 7;
inline constexpr std::uint32_t QL_LAYOUT_DEEP = 8;  // 16-bit samples, red first
// 8-bit samples of whatever there is: 4-bit, bilevel and indexed lines count as gray or colour too.
inline constexpr std::uint32_t QL_LAYOUT_UNPACKED = 9;
inline constexpr std::uint32_t QL_LAYOUT_DEEP_BLUE_FIRST = 10;  // 16-bit samples, blue first

// The shortest side of an image that can be turned: pixels or lines.
inline constexpr std::int32_t QL_LEAST_TURNED_SIDE = 3;

struct QLImageFormat {
    QLImageFormat() { RecomputeLayout(); }

    // Each stores its value and recomputes the derived fields.
    void SetPixelType(std::uint32_t type);
    void SetLayout(std::uint32_t layout);
    void SetWidth(std::int32_t width);
    void SetHeight(std::int32_t height);
    // Turns the format to `degrees`, in whole steps of 90 from the rotation it has.
    void SetRotation(std::int32_t degrees);

    // Rewrites the pixel type as the layout asks, then derives samples, bits, bytes and stride. A
    // width that no 32-bit stride can hold gives stride 0.
    void RecomputeLayout();

    // Bytes of a line beyond its significant pixels.
    std::int32_t PaddingBytes() const;

    // The form in which the middle of the chain works: 16-bit samples, three or one a pixel. Packed
    // lines, bilevel ones for example, may have the same layout and are not of it.
    bool IsInternal() const { return m_layout == QL_LAYOUT_INTERNAL && m_bytesPerSample == 2; }
    bool IsInternalColor() const { return IsInternal() && m_samplesPerPixel == 3; }
    bool IsInternalGray() const { return IsInternal() && m_samplesPerPixel == 1; }

    std::uint32_t m_pixelType = QL_PIXEL_GRAY8;
    std::uint32_t m_layout = QL_LAYOUT_AS_IS;
    std::uint32_t m_samplesPerPixel = 0;  // derived: 3 or 1
    std::uint32_t m_bitsPerSample = 0;    // derived: significant bits of one sample
    std::uint32_t m_bitsPerPixel = 0;     // derived: significant bits of one pixel
    std::int32_t m_width = 0;             // pixels per line
    std::int32_t m_height = 0;            // lines of the image
    std::int32_t m_xResolution = 0;       // dots per inch across
    std::int32_t m_yResolution = 0;       // dots per inch along
    bool m_resolutionsTurned = false;     // a quarter turn has exchanged the two
    std::int32_t m_xScalePercent = 0;     // set to 100 by the source, carried along
    std::int32_t m_yScalePercent = 0;
    std::uint32_t m_bytesPerPixel = 0;   // derived: storage of one pixel, 1 for packed pixels
    std::int32_t m_bytesPerLine = 0;     // derived: storage of one line
    std::uint32_t m_bytesPerSample = 0;  // derived: 1 or 2
    bool m_sharpenBoostOn = false;       // m_sharpenBoost is to be honoured; no stage sets it
    bool m_normalPolarity = true;        // false: light and dark have changed places
    double m_sharpenBoost = 1.0;         // strength of sharpening grows by its square root
    std::int32_t m_sourceRect[4] = {};   // carried along
    bool m_sourceRectValid = false;      // carried along
    std::int32_t m_rotation = 0;         // degrees of rotation already applied
    // Palette of an indexed image; owned by the stage that set it.
    const QLPaletteTable* m_palette = nullptr;
};
