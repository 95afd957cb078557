// Line kernels of noise smoothing. Each makes one line of `pixels` pixels; the two first and the
// two last of them are those of `centre`. A sample moves towards the mean of its eight neighbours,
// from which it is e / 8 away: e is the sum of the neighbours minus 8 times the sample.
#pragma once

#include <cstddef>
#include <cstdint>

// The most that e counts in colour.
inline constexpr std::int32_t kMostColorDifference = 4096;

// By three quarters of the way: 3 / 32 of e, rounded towards zero, with e held within -limit to
// limit. `limit` is at most kMostColorDifference.
void SmoothNoiseColor(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                      const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                      std::size_t pixels, std::uint16_t limit);
// All the way, e / 8 rounded down, by no more than `limit`.
void SmoothNoiseGray(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                     const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                     std::size_t pixels, std::int32_t limit);
