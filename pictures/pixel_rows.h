// Rows of bitmaps, changed where they lie.
#pragma once

#include <cstddef>
#include <cstdint>

void InvertBits(std::uint8_t* row, std::size_t bytes);

// Each sample but the first pixel's becomes its difference from the one `channels` ahead: what then
// is packed repeats more often.
void ToDifferences(std::uint8_t* row, std::size_t bytes, std::size_t channels);
