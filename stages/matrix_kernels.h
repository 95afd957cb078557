// Line kernels of the matrix stages.
#pragma once

#include <cstddef>
#include <cstdint>

// Matrix elements in 1/1024: trunc(m * 1024 + 0.5). Where a row is so strong that the sum of its
// three products could leave 32 bits, its elements are held at +-10.
struct QLFixedMatrix {
    explicit QLFixedMatrix(const double* nine);

    std::int32_t m_k[9];
};

// Pixels of three samples through the matrix, in place, held at 0 and 65535.
void MixPixels(std::uint16_t* samples, std::size_t pixels, const QLFixedMatrix& matrix);

// The same with the matrix fading in over the samples low to high. A pixel with any sample at or
// above `high` takes the full matrix; otherwise each sample above `low` is blended by itself.
struct QLFadeWindow {
    std::int32_t low;
    std::int32_t high;
    std::int32_t width;  // high - low
};
void MixPixelsFading(std::uint16_t* samples, std::size_t pixels, const QLFixedMatrix& matrix,
                     const QLFadeWindow& window);
