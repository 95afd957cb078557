// Leptonica, and who owns its images.
#pragma once

// Ahead of Leptonica, to which TRUE and FALSE are macros.
#include "platform/types.h"

#include <leptonica/allheaders.h>

#include <cstdint>
#include <limits>
#include <memory>

struct CPixDeleter {
    void operator()(PIX* pix) const { pixDestroy(&pix); }
};
using CPixPtr = std::unique_ptr<PIX, CPixDeleter>;

struct CLeptDeleter {
    void operator()(void* memory) const { lept_free(memory); }
};

// What Leptonica can hold of an image.
inline constexpr std::int64_t kMaxDecodedBytes = std::numeric_limits<std::int32_t>::max();
