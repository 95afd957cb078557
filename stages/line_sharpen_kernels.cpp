#include "stages/line_sharpen_kernels.h"

#include "frame/fixed_point.h"
#include "stages/line_middle.h"

NVQ_KERNEL void SharpenLineByFive(const std::uint16_t* __restrict source,
                                  std::uint16_t* __restrict target, std::size_t pixels,
                                  std::size_t channels) {
    const QLLineMiddle middle(source, target, pixels, channels, 2);
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
    const QLLineMiddle middle(source, target, pixels, channels, 4);
    for (std::size_t i = middle.first; i < middle.last; ++i) {
        const std::uint16_t* p = source + i;
        const std::int32_t sum = p[0] * 4 + *(p - channels) + p[channels] + *(p - 2 * channels) +
                                 p[2 * channels] + *(p - 3 * channels) + p[3 * channels] -
                                 *(p - 4 * channels) - p[4 * channels];
        target[i] = ClampSample(sum >> 3);
    }
}
