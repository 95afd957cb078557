// Line kernels of the sharpening along the line.
#pragma once

#include <cstddef>
#include <cstdint>

// One line of `pixels` pixels of `channels` samples each. p[n] is the same sample n pixels away;
// pixels that lack one of their neighbours are copied, and so are lines that are too narrow to have
// any other. Sums are rounded down and held at 0 and 65535.

// (p[-1] + 4 p + p[+1] - p[-2] - p[+2]) / 4
void SharpenLineByFive(const std::uint16_t* __restrict source, std::uint16_t* __restrict target,
                       std::size_t pixels, std::size_t channels);
// (p[-1] + 4 p + p[+1] + p[-2] + p[+2] + p[-3] + p[+3] - p[-4] - p[+4]) / 8
void SharpenLineByNine(const std::uint16_t* __restrict source, std::uint16_t* __restrict target,
                       std::size_t pixels, std::size_t channels);
