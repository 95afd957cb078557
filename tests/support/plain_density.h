// Colour in density, worked out from its formulas alone.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

// Density codes (4.0 of density on 65535) of light, and back; truncated.
inline int DensityOf(int x) {
    const double density = -std::log10(std::max(x, 1) / 65535.0);
    return static_cast<int>(std::min(density, 4.0) * 65535.0 / 4.0);
}
inline int LightOf(int density) {
    return static_cast<int>(std::pow(10.0, -(std::clamp(density, 0, 65535) / 65535.0) * 4.0) *
                            65535.0);
}
// What 32 bits hold of a sum of products, in 1/1024.
inline int Wrapped(std::int64_t sum) {
    return static_cast<std::int32_t>(sum) >> 10;
}
// A pixel corrected in density: six factors of each channel's differences and nine of the matrix
// behind, in 1/1024.
template <typename Sample, typename ToDensity, typename ToLight>
void CorrectPixel(Sample* pixel, const int* k, const ToDensity& toDensity, const ToLight& toLight) {
    constexpr int kOthers[3][2] = {{1, 2}, {0, 2}, {0, 1}};
    int light[3];
    for (int c = 0; c < 3; ++c) {
        const int x = toDensity(pixel[c]);
        const int y = toDensity(pixel[kOthers[c][0]]);
        const int z = toDensity(pixel[kOthers[c][1]]);
        int density = x;
        for (const int difference : {x - y, x - z, 2 * x - y - z}) {
            density += difference > 0 ? Wrapped(std::int64_t{difference} * k[0])
                                      : -Wrapped(-std::int64_t{difference} * k[1]);
            k += 2;
        }
        light[c] = toLight(std::max(density, 0));
    }
    for (int c = 0; c < 3; ++c, k += 3) {
        std::int64_t sum = 0;
        for (int i = 0; i < 3; ++i)
            sum += std::int64_t{light[i]} * k[i];
        pixel[c] = static_cast<Sample>(std::clamp(Wrapped(sum), 0, 65535));
    }
}
