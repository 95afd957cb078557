// Line kernels of the automatic tone stages, in place on pixels of three samples, red first.
#pragma once

#include <cstddef>
#include <cstdint>

// Each pixel becomes gray: (r + 2 g + b) >> 2 in all samples.
void MixToGray(std::uint16_t* samples, std::size_t pixels);
// Each pixel's red goes over its green and blue.
void CopyRedToAll(std::uint16_t* samples, std::size_t pixels);
