#include "stages/palette_kernels.h"

void CountColors(const std::uint16_t* samples, std::size_t count, std::uint64_t* cells) {
    for (std::size_t i = 0; i < count; ++i, samples += 3) {
        const unsigned red = samples[0];
        const unsigned green = samples[1];
        const unsigned blue = samples[2];
        std::uint64_t* cell = cells + 4 * (blue >> 12 << 8 | green >> 12 << 4 | red >> 12);
        cell[0] += 1;
        cell[1] += red >> 8;
        cell[2] += green >> 8;
        cell[3] += blue >> 8;
    }
}
