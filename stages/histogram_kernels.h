// Line kernels of the histogram stage. Bins are 4096 coarse ones: a sample falls in sample >> 4.
#pragma once

#include <cstddef>
#include <cstdint>

// Adds the three samples of each of `count` pixels to the bins of their channels.
void CountPixels(const std::uint16_t* samples, std::size_t count, std::uint32_t* red,
                 std::uint32_t* green, std::uint32_t* blue);

// The same for gray lines, with one table.
void CountGray(const std::uint16_t* samples, std::size_t count, std::uint32_t* bins);
