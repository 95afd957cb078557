// Line kernel of the palette stage.
#pragma once

#include <cstddef>
#include <cstdint>

// Counts colours by cells of 16 x 16 x 16, blue slowest: four words a cell, which are its count and
// the sums of red, green and blue, of 8 bits each.
void CountColors(const std::uint16_t* samples, std::size_t count, std::uint64_t* cells);
