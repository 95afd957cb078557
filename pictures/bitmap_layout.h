// Sizes and units of bitmap files, as picture files come in and go out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "frame/fixed_point.h"
#include "platform/types.h"

// Wider lines would not fit the engine's 32-bit strides.
inline constexpr std::int32_t kMaxPictureWidth = 200'000'000;
// Of a bitmap's rows, with their padding. Sizes in bitmap headers are 32-bit.
inline constexpr std::int64_t kMaxBitmapBytes = std::int64_t{1} << 31;
inline constexpr std::size_t kMaxPaletteColors = 256;

// Rows are read and written in bands of about this size: few system calls, and bounded memory.
inline constexpr std::int64_t kFileBandBytes = std::int64_t{1} << 20;

// Bytes of a row: padded to 4.
constexpr std::int64_t BitmapStride(std::int32_t width, std::int32_t bitsPerPixel) {
    return (std::int64_t{width} * bitsPerPixel + 31) / 32 * 4;
}

// A size for a header field. None fits beyond 4 GiB; readers then go by the dimensions.
constexpr DWORD BitmapSizeField(std::int64_t bytes) {
    return bytes <= std::numeric_limits<DWORD>::max() ? static_cast<DWORD>(bytes) : 0;
}

inline constexpr double kInchesPerMeter = 39.37;

// 0 for a resolution that is unknown or beyond all measure.
constexpr std::int32_t PelsPerMeter(std::int32_t dpi) {
    constexpr std::int32_t kMaxDpi = 1'000'000;
    return dpi > 0 && dpi <= kMaxDpi ? RoundToI32(dpi * kInchesPerMeter) : 0;
}
constexpr std::int32_t DotsPerInch(std::int32_t pelsPerMeter) {
    return pelsPerMeter > 0 ? RoundToI32(pelsPerMeter / kInchesPerMeter) : 0;
}
