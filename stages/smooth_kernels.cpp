#include "stages/smooth_kernels.h"

#include <algorithm>

#include "platform/target_clones.h"

namespace {

// Samples of a run: its sums stay in the processor's first cache.
constexpr std::size_t kRun = 512;
constexpr std::size_t kMostChannels = 3;

}  // namespace

// The sum has 20 bits, and the kernel keeps to 16, twice as many lanes: it adds the samples without
// their low four bits, h = sum of w (x >> 4) up to 65520, and the whole samples modulo 65536, s.
// What the low four bits sum up to, at most 240, is s - 16 h in 16 bits; so the result,
// (16 h + that) >> 4, is h + ((s - 16 h) >> 4).
NVQ_KERNEL void SmoothLine(const std::uint16_t* __restrict up,
                           const std::uint16_t* __restrict centre,
                           const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                           std::size_t pixels, std::size_t channels) {
    const std::size_t samples = pixels * channels;
    if (pixels < 3) {
        std::copy_n(centre, samples, out);
        return;
    }
    std::copy_n(centre, channels, out);
    // Of the three lines, column by column; those of a run and of its neighbours on both sides.
    std::uint16_t sum[kRun + 2 * kMostChannels];
    std::uint16_t high[kRun + 2 * kMostChannels];
    const std::size_t end = samples - channels;
    for (std::size_t first = channels; first < end; first += kRun) {
        const std::size_t count = std::min(kRun, end - first);
        const std::size_t left = first - channels;
        for (std::size_t i = 0; i < count + 2 * channels; ++i) {
            const std::uint16_t u = up[left + i], c = centre[left + i], d = down[left + i];
            sum[i] = static_cast<std::uint16_t>(u + 2 * c + d);
            high[i] = static_cast<std::uint16_t>((u >> 4) + 2 * (c >> 4) + (d >> 4));
        }
        for (std::size_t i = 0; i < count; ++i) {
            const auto s =
                static_cast<std::uint16_t>(sum[i] + 2 * sum[i + channels] + sum[i + 2 * channels]);
            const auto h = static_cast<std::uint16_t>(high[i] + 2 * high[i + channels] +
                                                      high[i + 2 * channels]);
            out[first + i] =
                static_cast<std::uint16_t>(h + (static_cast<std::uint16_t>(s - 16 * h) >> 4));
        }
    }
    std::copy_n(centre + end, channels, out + end);
}
