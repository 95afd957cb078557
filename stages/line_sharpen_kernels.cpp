#include "stages/line_sharpen_kernels.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"

namespace {

// The samples between the ends, of which there are `reach` pixels on each side; the ends are
// copied.
struct Middle {
    Middle(const std::uint16_t* source, std::uint16_t* target, std::size_t pixels,
           std::size_t channels, std::size_t reach) {
        const std::size_t samples = pixels * channels;
        first = std::min(reach * channels, samples);
        last = std::max(first, samples - std::min(reach * channels, samples));
        std::copy_n(source, first, target);
        std::copy(source + last, source + samples, target + last);
    }
    std::size_t first;
    std::size_t last;  // one behind
};

}  // namespace

NVQ_KERNEL void SharpenLineByFive(const std::uint16_t* __restrict source,
                                  std::uint16_t* __restrict target, std::size_t pixels,
                                  std::size_t channels) {
    const Middle middle(source, target, pixels, channels, 2);
    for (std::size_t i = middle.first; i < middle.last; ++i) {
        const std::uint16_t* p = source + i;
        const std::int32_t sum =
            p[0] * 4 + *(p - channels) + p[channels] - *(p - 2 * channels) - p[2 * channels];
        target[i] = ClampSample(sum >> 2);
    }
}

NVQ_KERNEL void SharpenLineByNine(const std::uint16_t* __restrict source,
                                  std::uint16_t* __restrict target, std::size_t pixels,
                                  std::size_t channels) {
    const Middle middle(source, target, pixels, channels, 4);
    for (std::size_t i = middle.first; i < middle.last; ++i) {
        const std::uint16_t* p = source + i;
        const std::int32_t sum = p[0] * 4 + *(p - channels) + p[channels] + *(p - 2 * channels) +
                                 p[2 * channels] + *(p - 3 * channels) + p[3 * channels] -
                                 *(p - 4 * channels) - p[4 * channels];
        target[i] = ClampSample(sum >> 3);
    }
}
