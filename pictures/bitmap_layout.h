// Limits of pictures and of their files, as they come in and go out.
#pragma once

#include <cstdint>

#include "platform/bitmap_headers.h"

// Wider lines would not fit the engine's 32-bit strides.
inline constexpr std::int32_t kMaxPictureWidth = 200'000'000;
// Of a bitmap's rows, with their padding. Sizes in bitmap headers are 32-bit.
inline constexpr std::int64_t kMaxBitmapBytes = std::int64_t{1} << 31;
// Of a bitmap file that is written, headers and all.
inline constexpr std::int64_t kMaxBitmapFileBytes = 0xFFFFFFFF;

// Rows are read and written in bands of about this size: few system calls, and bounded memory.
inline constexpr std::int64_t kFileBandBytes = std::int64_t{1} << 20;
