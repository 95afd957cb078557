// Line kernel of the five-line smoothing.
#pragma once

#include <cstddef>
#include <cstdint>

// One line of `pixels` pixels of `channels` samples each, 3 or 1. A sample becomes the sum of its
// neighbourhood, weighed 1 2 1 / 2 4 2 / 1 2 1, over 16, rounded down. The first and the last pixel
// are those of `centre`.
void SmoothLine(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                std::size_t pixels, std::size_t channels);
