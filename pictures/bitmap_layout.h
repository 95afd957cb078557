// Limits of pictures and of their files, as they come in and go out.
#pragma once

#include <cstdint>
#include <limits>

#include "platform/bitmap_headers.h"

// Wider lines would not fit the engine's 32-bit strides.
inline constexpr std::int32_t kMaxPictureWidth = 200'000'000;
// Of a bitmap file, headers and all: it tells its size in 32 bits.
inline constexpr std::int64_t kMaxBitmapFileBytes = 0xFFFFFFFF;

// Rows are read and written in bands of about this size: few system calls, and bounded memory.
inline constexpr std::int64_t kFileBandBytes = std::int64_t{1} << 18;
// What is held of a picture that can't be streamed; it is also what Leptonica can hold.
inline constexpr std::int64_t kMaxDecodedBytes = std::numeric_limits<std::int32_t>::max();
