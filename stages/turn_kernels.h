// Line kernels of mirror and rotation. Colour is three 16-bit samples a pixel, gray one.
#pragma once

#include <cstddef>
#include <cstdint>

// `count` pixels in the opposite order, to another place: the last becomes the first, the samples
// of a pixel keep their order.
void ReversePixels(const std::uint16_t* source, std::uint16_t* target, std::size_t count);
void ReverseGray(const std::uint16_t* source, std::uint16_t* target, std::size_t count);

// A line of `width` bits, first pixel in bit 7, mirrored where it lies. Bits behind the last pixel
// of a started byte stay as they are.
void ReverseBits(std::uint8_t* line, std::size_t width);

// `lines` rows of `width` pixels, without gaps, out of an image that lies crosswise: pixel i of row
// j is the one at source + i x step + j x columnStep. Steps count samples, forward or backward.
void TurnPixels(const std::uint16_t* source, std::ptrdiff_t step, std::ptrdiff_t columnStep,
                std::uint16_t* target, std::size_t width, std::size_t lines);
void TurnGray(const std::uint16_t* source, std::ptrdiff_t step, std::ptrdiff_t columnStep,
              std::uint16_t* target, std::size_t width, std::size_t lines);
