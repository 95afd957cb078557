// The order of a pixel's colours: devices and most files have red first, bitmaps have blue first.
#pragma once

#include <cstddef>

#include "platform/types.h"

// Exchanges the first and the third byte of each pixel of three, in place. A part of a pixel at the
// end stays as it is.
void SwapRedBlue(BYTE* buffer, std::size_t byteCount);
