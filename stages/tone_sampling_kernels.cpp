#include "stages/tone_sampling_kernels.h"

#include <algorithm>

#include "platform/target_clones.h"

NVQ_KERNEL QLSampleRange FindRange(const std::uint16_t* samples, std::size_t count) {
    std::uint16_t least = 65535;
    std::uint16_t most = 0;
    for (std::size_t i = 0; i < count; ++i) {
        least = std::min(least, samples[i]);
        most = std::max(most, samples[i]);
    }
    return {least, most};
}
