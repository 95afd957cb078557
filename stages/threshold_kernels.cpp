#include "stages/threshold_kernels.h"

#include "platform/target_clones.h"

namespace {

// Eight tests, written out: one comparison a pixel and one store a byte.
inline std::uint8_t EightBits(const std::uint16_t* s, std::uint16_t t) {
    return static_cast<std::uint8_t>((s[0] > t) << 7 | (s[1] > t) << 6 | (s[2] > t) << 5 |
                                     (s[3] > t) << 4 | (s[4] > t) << 3 | (s[5] > t) << 2 |
                                     (s[6] > t) << 1 | (s[7] > t));
}

}  // namespace

NVQ_KERNEL void BinarizeLine(const std::uint16_t* __restrict samples, std::size_t width,
                             std::uint16_t threshold, std::uint8_t* __restrict bits) {
    // Whole bytes first; the rest of the line starts one more, filled with 0 behind its pixels.
    const std::size_t bytes = width / 8;
    for (std::size_t i = 0; i < bytes; ++i)
        bits[i] = EightBits(samples + 8 * i, threshold);
    if (width % 8 == 0)
        return;
    std::uint8_t last = 0;
    for (std::size_t x = 8 * bytes; x < width; ++x) {
        if (samples[x] > threshold)
            last = static_cast<std::uint8_t>(last | (0x80 >> (x % 8)));
    }
    bits[bytes] = last;
}

// Scans have long runs of equal samples (paper). Counting a run before it is added keeps the bin
// from being read back while it is still on its way to memory.
void CountSamples(const std::uint16_t* samples, std::size_t count, std::uint32_t* bins) {
    std::size_t i = 0;
    while (i < count) {
        const std::uint16_t sample = samples[i];
        std::uint32_t run = 1;
        for (++i; i < count && samples[i] == sample; ++i)
            ++run;
        bins[sample] += run;
    }
}
