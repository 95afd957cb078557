// Leptonica, and who owns its images.
#pragma once

// Ahead of Leptonica, to which TRUE and FALSE are macros.
#include "platform/types.h"

#include <leptonica/allheaders.h>

#include <memory>

struct CPixDeleter {
    void operator()(PIX* pix) const { pixDestroy(&pix); }
};
using CPixPtr = std::unique_ptr<PIX, CPixDeleter>;

struct CLeptDeleter {
    void operator()(void* memory) const { lept_free(memory); }
};
