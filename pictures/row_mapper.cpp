#include "pictures/row_mapper.h"

#include <algorithm>
#include <cstring>

namespace {

using Byte = std::uint8_t;

// `sample` on white paper, rounded.
Byte OnWhite(int sample, int alpha) {
    return static_cast<Byte>((sample * alpha + 255 * (255 - alpha) + 127) / 255);
}

// Light of one colour through two layers of ink; 255 is none.
Byte ThroughInk(int ink, int black) {
    return static_cast<Byte>((ink * black + 127) / 255);
}

// Pixels one by one: `pixel` makes kTo bytes of kFrom.
template <int kFrom, int kTo, void (*pixel)(Byte* to, const Byte* from)>
void MapPixels(Byte* to, const Byte* from, std::int32_t width) {
    for (std::int32_t x = 0; x < width; ++x, from += kFrom, to += kTo)
        pixel(to, from);
}

void FromBgr(Byte* to, const Byte* from) {
    std::memcpy(to, from, 3);
}
void FromRgb(Byte* to, const Byte* from) {
    to[0] = from[2];
    to[1] = from[1];
    to[2] = from[0];
}
void FromRgbAlpha(Byte* to, const Byte* from) {
    to[0] = OnWhite(from[2], from[3]);
    to[1] = OnWhite(from[1], from[3]);
    to[2] = OnWhite(from[0], from[3]);
}
void FromRgbWeighed(Byte* to, const Byte* from) {
    for (int i = 0; i < 3; ++i)
        to[i] = static_cast<Byte>(from[2 - i] + 255 - from[3]);
}
void FromGrayWeighed(Byte* to, const Byte* from) {
    *to = static_cast<Byte>(from[1] + 255 - from[3]);
}
// The higher byte of a sample is its second one.
void FromRgb16(Byte* to, const Byte* from) {
    to[0] = from[5];
    to[1] = from[3];
    to[2] = from[1];
}
void FromGrayAlpha(Byte* to, const Byte* from) {
    *to = OnWhite(from[0], from[1]);
}
void FromGray16(Byte* to, const Byte* from) {
    *to = from[1];
}
void FromCmykInverted(Byte* to, const Byte* from) {
    to[0] = ThroughInk(from[2], from[3]);
    to[1] = ThroughInk(from[1], from[3]);
    to[2] = ThroughInk(from[0], from[3]);
}
void FromCmyk(Byte* to, const Byte* from) {
    for (int i = 0; i < 3; ++i)
        to[i] = ThroughInk(255 - from[2 - i], 255 - from[3]);
}

// By EPixelLayout.
constexpr struct {
    int sourceBits;
    int targetBits;
    void (*map)(Byte* to, const Byte* from, std::int32_t width);
} kLayouts[] = {
    {24, 24, MapPixels<3, 3, FromBgr>},          {32, 24, MapPixels<4, 3, FromBgr>},
    {24, 24, MapPixels<3, 3, FromRgb>},          {32, 24, MapPixels<4, 3, FromRgbAlpha>},
    {32, 24, MapPixels<4, 3, FromRgbWeighed>},   {32, 8, MapPixels<4, 1, FromGrayWeighed>},
    {48, 24, MapPixels<6, 3, FromRgb16>},        {16, 8, MapPixels<2, 1, FromGrayAlpha>},
    {16, 8, MapPixels<2, 1, FromGray16>},        {32, 24, MapPixels<4, 3, FromCmyk>},
    {32, 24, MapPixels<4, 3, FromCmykInverted>},
};

}  // namespace

CRowMapper::CRowMapper(int indexBits, std::span<const RGBQUAD> palette) : m_indexBits(indexBits) {
    std::copy_n(palette.begin(), std::min(palette.size(), m_palette.size()), m_palette.begin());
    // What a pixel can't name doesn't count.
    const std::span used(m_palette.data(), FullColorCount(indexBits));
    m_isGray = std::ranges::all_of(used, IsGray);
    m_isRamp = m_isGray && indexBits == 8;
    for (std::size_t i = 0; i < used.size(); ++i)
        m_isRamp = m_isRamp && used[i].rgbGreen == i;
}

CRowMapper CRowMapper::Gray(int bits, bool zeroIsWhite) {
    std::array<RGBQUAD, kMaxBitmapColors> grays = {};
    const std::span used(grays.data(), FullColorCount(bits));
    FillGrayRamp(used);
    if (zeroIsWhite)
        std::ranges::reverse(used);
    return {bits, used};
}

int CRowMapper::SourceBits() const {
    return m_indexBits != 0 ? m_indexBits : kLayouts[static_cast<int>(m_layout)].sourceBits;
}

int CRowMapper::TargetBits() const {
    if (m_indexBits != 0)
        return m_isGray ? 8 : 24;
    return kLayouts[static_cast<int>(m_layout)].targetBits;
}

void CRowMapper::Map(std::uint8_t* target, const std::uint8_t* row, std::int32_t width) const {
    if (m_isRamp)
        std::memcpy(target, row, static_cast<std::size_t>(width));
    else if (m_indexBits != 0)
        MapIndices(target, row, width);
    else
        kLayouts[static_cast<int>(m_layout)].map(target, row, width);
}

void CRowMapper::MapIndices(std::uint8_t* target, const std::uint8_t* row,
                            std::int32_t width) const {
    const unsigned mask = (1u << m_indexBits) - 1;
    int shift = 8;  // of the pixel's bits in its byte
    for (std::int32_t x = 0; x < width; ++x) {
        shift -= m_indexBits;
        const RGBQUAD& color = m_palette[static_cast<unsigned>(*row) >> shift & mask];
        if (m_isGray) {
            *target++ = color.rgbGreen;
        } else {
            *target++ = color.rgbBlue;
            *target++ = color.rgbGreen;
            *target++ = color.rgbRed;
        }
        if (shift == 0) {
            shift = 8;
            ++row;
        }
    }
}
