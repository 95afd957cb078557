// Line kernels of the output form.
#pragma once

#include <cstddef>
#include <cstdint>

// The second of each pixel's three samples.
void TakeGreen(const std::uint16_t* pixels, std::uint16_t* gray, std::size_t count);
