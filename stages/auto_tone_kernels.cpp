#include "stages/auto_tone_kernels.h"

void MixToGray(std::uint16_t* samples, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* p = samples + 3 * i;
        p[0] = p[1] = p[2] = static_cast<std::uint16_t>((p[0] + 2 * p[1] + p[2]) >> 2);
    }
}

void CopyRedToAll(std::uint16_t* samples, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i)
        samples[3 * i + 1] = samples[3 * i + 2] = samples[3 * i];
}
