// Bitmap headers: the sizes that follow from them, filling them, and what must hold of one from
// outside before anybody works with its sizes. Headers are little-endian as they lie in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "platform/types.h"

// Both headers, which stand at the beginning of a bitmap file; behind them its colours.
inline constexpr std::int64_t kBitmapHeaderBytes =
    sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
inline constexpr std::size_t kMaxBitmapColors = 256;
// With 64 bits a pixel, a row of this width still has a stride of 31 bits.
inline constexpr std::int32_t kMaxBitmapWidth = std::numeric_limits<std::int32_t>::max() / 8;
inline constexpr double kInchesPerMeter = 39.37;

// ---- Sizes

// Bytes of a row's pixels; the last byte may be used in part.
constexpr std::int64_t BitmapRowBytes(std::int64_t pixels, std::int32_t bitsPerPixel) {
    return (pixels * bitsPerPixel + 7) / 8;
}

// Bytes from row to row: whole groups of 4.
constexpr std::int64_t BitmapStride(std::int64_t pixels, std::int32_t bitsPerPixel) {
    return (pixels * bitsPerPixel + 31) / 32 * 4;
}

constexpr std::int64_t BitmapStride(const BITMAPINFOHEADER& info) {
    return BitmapStride(info.biWidth, info.biBitCount);
}

constexpr std::int64_t BitmapLines(const BITMAPINFOHEADER& info) {
    return info.biHeight < 0 ? -std::int64_t{info.biHeight} : info.biHeight;
}

// Bytes of all rows.
constexpr std::int64_t BitmapImageBytes(const BITMAPINFOHEADER& info) {
    return BitmapStride(info) * BitmapLines(info);
}

// Colours of a full table: pixels of more than 8 bits have none.
constexpr DWORD FullColorCount(std::int32_t bitsPerPixel) {
    return bitsPerPixel >= 1 && bitsPerPixel <= 8 ? DWORD{1} << bitsPerPixel : 0;
}

// Colours that stand behind a header: as many as it says, else a full table.
constexpr DWORD BitmapColorCount(const BITMAPINFOHEADER& info) {
    return info.biClrUsed != 0 ? info.biClrUsed : FullColorCount(info.biBitCount);
}

// A size for a header field, which has 32 bits: 0 for one beyond. Readers then go by the sides.
constexpr DWORD BitmapSizeField(std::int64_t bytes) {
    return bytes >= 0 && bytes <= std::numeric_limits<DWORD>::max() ? static_cast<DWORD>(bytes) : 0;
}

// ---- Resolution

// 0 for a resolution that is unknown or beyond all measure.
constexpr std::int32_t PelsPerMeter(std::int32_t dpi) {
    constexpr std::int32_t kMaxDpi = 1'000'000;
    return dpi > 0 && dpi <= kMaxDpi ? static_cast<std::int32_t>(dpi * kInchesPerMeter + 0.5) : 0;
}
constexpr std::int32_t DotsPerInch(std::int32_t pelsPerMeter) {
    return pelsPerMeter > 0 ? static_cast<std::int32_t>(pelsPerMeter / kInchesPerMeter + 0.5) : 0;
}

// ---- Filling

// Of uncompressed rows with a full colour table; without a resolution. A negative height puts the
// top line first.
constexpr BITMAPINFOHEADER MakeInfoHeader(std::int32_t width, std::int32_t height,
                                          std::int32_t bitsPerPixel) {
    BITMAPINFOHEADER info = {};
    info.biSize = sizeof(BITMAPINFOHEADER);
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = static_cast<WORD>(bitsPerPixel);
    info.biSizeImage = BitmapSizeField(BitmapImageBytes(info));
    info.biClrUsed = FullColorCount(bitsPerPixel);
    return info;
}

// Of a file in which the header's colours and then `imageBytes` of rows follow.
constexpr BITMAPFILEHEADER MakeFileHeader(const BITMAPINFOHEADER& info, std::int64_t imageBytes) {
    const std::int64_t offset =
        kBitmapHeaderBytes + std::int64_t{info.biClrUsed} * std::int64_t{sizeof(RGBQUAD)};
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfSize = BitmapSizeField(offset + imageBytes);
    file.bfOffBits = static_cast<DWORD>(offset);
    return file;
}

// Grays in even steps from black to white.
constexpr void FillGrayRamp(std::span<RGBQUAD> colors) {
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const auto gray = static_cast<BYTE>(colors.size() > 1 ? i * 255 / (colors.size() - 1) : 0);
        colors[i] = {gray, gray, gray, 0};
    }
}

constexpr bool IsGray(const RGBQUAD& color) {
    return color.rgbRed == color.rgbGreen && color.rgbGreen == color.rgbBlue;
}

// ---- Headers from outside

// That all sizes above can be worked out of a header, in 64 bits, and an image has a pixel.
constexpr bool HasSoundSides(const BITMAPINFOHEADER& info) {
    return info.biWidth >= 1 && info.biWidth <= kMaxBitmapWidth && info.biHeight != 0 &&
           info.biHeight != std::numeric_limits<LONG>::min() && info.biBitCount >= 1 &&
           info.biBitCount <= 64;
}

// That a header is the plain one of 40 bytes, before uncompressed rows that have a pixel, and names
// no more colours than a table may have.
constexpr bool IsPlainInfo(const BITMAPINFOHEADER& info) {
    return info.biSize == sizeof(BITMAPINFOHEADER) && info.biCompression == 0 &&
           info.biClrUsed <= kMaxBitmapColors && HasSoundSides(info);
}
