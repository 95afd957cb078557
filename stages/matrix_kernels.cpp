#include "stages/matrix_kernels.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"

namespace {

constexpr std::int32_t kUnity = 1024;
constexpr std::int32_t kHeldElement = 10 * kUnity;
// Largest sum of a row's absolute elements that any three samples can go through in 32 bits.
constexpr std::int64_t kSafeRow = std::numeric_limits<std::int32_t>::max() / kSampleMax;

struct Mixed {
    std::int32_t r, g, b;
};

// Elements are in 1/1024, so the sum is shifted down by 10, arithmetically: negative results round
// towards minus infinity before they are held at 0.
inline Mixed Mix(const std::int32_t* k, std::int32_t r, std::int32_t g, std::int32_t b) {
    return {(k[0] * r + k[1] * g + k[2] * b) >> 10, (k[3] * r + k[4] * g + k[5] * b) >> 10,
            (k[6] * r + k[7] * g + k[8] * b) >> 10};
}

// Blend of the sample and its result by the place in the window: 0 at `low`, all at `high`. The
// product of two differences leaves 32 bits.
// Fades one sample: `mixed` is what the full matrix makes of it.
inline std::uint16_t Fade(std::int32_t sample, std::int32_t mixed, const QLFadeWindow& window) {
    if (sample <= window.low || window.width == 0)
        return static_cast<std::uint16_t>(sample);
    const std::int64_t faded =
        (std::int64_t{sample} - window.low) * (std::int64_t{mixed} - window.low) / window.width +
        window.low;
    return static_cast<std::uint16_t>(Clamp(faded, 0, kSampleMax));
}

}  // namespace

QLFixedMatrix::QLFixedMatrix(const double* nine) {
    for (std::size_t r = 0; r < 3; ++r) {
        std::int32_t* row = m_k + 3 * r;
        std::int64_t sum = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            // Truncated towards zero behind the half: a negative element lands a unit nearer to
            // zero than a positive one of its size.
            row[c] = RoundToI32(nine[3 * r + c] * kUnity);
            sum += std::abs(std::int64_t{row[c]});
        }
        for (std::size_t c = 0; sum > kSafeRow && c < 3; ++c)
            row[c] = std::clamp(row[c], -kHeldElement, kHeldElement);
    }
}

NVQ_KERNEL void MixPixels(std::uint16_t* __restrict samples, std::size_t pixels,
                          const QLFixedMatrix& matrix) {
    // A copy that no store to the samples can reach: the nine factors stay in registers.
    const QLFixedMatrix local = matrix;
    const std::int32_t* k = local.m_k;
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* pixel = samples + 3 * i;
        const Mixed mixed = Mix(k, pixel[0], pixel[1], pixel[2]);
        pixel[0] = ClampSample(mixed.r);
        pixel[1] = ClampSample(mixed.g);
        pixel[2] = ClampSample(mixed.b);
    }
}

void MixPixelsFading(std::uint16_t* samples, std::size_t pixels, const QLFixedMatrix& matrix,
                     const QLFadeWindow& window) {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* pixel = samples + 3 * i;
        const Mixed mixed = Mix(matrix.m_k, pixel[0], pixel[1], pixel[2]);
        if (pixel[0] >= window.high || pixel[1] >= window.high || pixel[2] >= window.high) {
            pixel[0] = ClampSample(mixed.r);
            pixel[1] = ClampSample(mixed.g);
            pixel[2] = ClampSample(mixed.b);
        } else {
            pixel[0] = Fade(pixel[0], mixed.r, window);
            pixel[1] = Fade(pixel[1], mixed.g, window);
            pixel[2] = Fade(pixel[2], mixed.b, window);
        }
    }
}
