#include "stages/lut_kernels.h"

// Four reads a turn keep several table reads in flight; one a turn costs nearly twice the time.
void MapSamples(std::uint16_t* samples, std::size_t count, const std::uint16_t* table) {
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const std::uint16_t a = table[samples[i]];
        const std::uint16_t b = table[samples[i + 1]];
        const std::uint16_t c = table[samples[i + 2]];
        const std::uint16_t d = table[samples[i + 3]];
        samples[i] = a;
        samples[i + 1] = b;
        samples[i + 2] = c;
        samples[i + 3] = d;
    }
    for (; i < count; ++i)
        samples[i] = table[samples[i]];
}

// Two pixels a turn for the same reason: six reads of three tables under way at once.
void MapPixels(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* red,
               const std::uint16_t* green, const std::uint16_t* blue) {
    std::size_t i = 0;
    for (; i + 2 <= pixels; i += 2) {
        std::uint16_t* pixel = samples + 3 * i;
        const std::uint16_t r0 = red[pixel[0]];
        const std::uint16_t g0 = green[pixel[1]];
        const std::uint16_t b0 = blue[pixel[2]];
        const std::uint16_t r1 = red[pixel[3]];
        const std::uint16_t g1 = green[pixel[4]];
        const std::uint16_t b1 = blue[pixel[5]];
        pixel[0] = r0;
        pixel[1] = g0;
        pixel[2] = b0;
        pixel[3] = r1;
        pixel[4] = g1;
        pixel[5] = b1;
    }
    for (; i < pixels; ++i) {
        std::uint16_t* pixel = samples + 3 * i;
        pixel[0] = red[pixel[0]];
        pixel[1] = green[pixel[1]];
        pixel[2] = blue[pixel[2]];
    }
}

void PullDarkPixels(std::uint16_t* samples, std::size_t pixels, std::int32_t limit) {
    // The weighted mean is never divided by 4 to compare it: sums of four against four times the
    // limit.
    const std::int32_t top = limit * 4;
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* pixel = samples + 3 * i;
        const std::int32_t sum = pixel[0] + 2 * pixel[1] + pixel[2];
        if (sum >= top)
            continue;
        // In 1/16: 16 at black, 0 at the limit.
        const std::int32_t weight = ((top - sum) << 4) / top;
        // v + weight x (mean - v), in 1/16 and shifted down arithmetically: a sample above the mean
        // moves down by a whole code for the smallest part of one.
        const std::int32_t mean = sum >> 2;
        for (int c = 0; c < 3; ++c) {
            const std::int32_t v = pixel[c];
            pixel[c] = static_cast<std::uint16_t>((v * 16 + weight * (mean - v)) >> 4);
        }
    }
}
