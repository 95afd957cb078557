// Line kernels of the threshold stage.
#pragma once

#include <cstddef>
#include <cstdint>

// One line of samples into bits, first pixel in bit 7. A bit is 1 for a sample strictly above
// `threshold`; bits behind the last pixel of a started byte are 0. Writes (width + 7) / 8 bytes.
void BinarizeLine(const std::uint16_t* samples, std::size_t width, std::uint16_t threshold,
                  std::uint8_t* bits);

// Adds each sample to its bin.
void CountSamples(const std::uint16_t* samples, std::size_t count, std::uint32_t* bins);
