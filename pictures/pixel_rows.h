// Rows of bitmaps in other forms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/types.h"

// Red and blue of `pixels` pixels change places.
void SwapRedBlue(std::uint8_t* row, std::size_t pixels);
void InvertBits(std::uint8_t* row, std::size_t bytes);

// Pixels of 1 or 8 bits, by their palette: one byte each, or three with blue first.
void ToGrays(const std::uint8_t* row, std::size_t pixels, std::span<const RGBQUAD> palette,
             std::uint8_t* grays);
void ToColors(const std::uint8_t* row, std::size_t pixels, std::span<const RGBQUAD> palette,
              std::uint8_t* colors);

// Each sample but the first pixel's becomes its difference from the one `channels` ahead: what then
// is packed repeats more often.
void ToDifferences(std::uint8_t* row, std::size_t bytes, std::size_t channels);
