#include "pictures/pixel_rows.h"

#include <algorithm>

void InvertBits(std::uint8_t* row, std::size_t bytes) {
    std::transform(row, row + bytes, row,
                   [](std::uint8_t bits) { return static_cast<std::uint8_t>(~bits); });
}

// From the end on, so that each difference is from what stood there before.
void ToDifferences(std::uint8_t* row, std::size_t bytes, std::size_t channels) {
    for (std::size_t i = bytes; i-- > channels;)
        row[i] = static_cast<std::uint8_t>(row[i] - row[i - channels]);
}
