#include "stages/range_clip_kernels.h"

#include <algorithm>

#include "platform/target_clones.h"

namespace {

// As 32-bit limits that no sample reaches where the end isn't marked.
struct Ends {
    std::int32_t m_nearWhite;
    std::int32_t m_nearBlack;
};
constexpr Ends EndsOf(bool high, bool low) {
    return {high ? 65280 : 65536, low ? 256 : 0};
}

inline std::int32_t Marked(std::int32_t sample, std::int32_t most, std::int32_t least, Ends ends) {
    if (most >= ends.m_nearWhite)
        return 0;
    return least < ends.m_nearBlack ? 65535 : sample;
}

}  // namespace

NVQ_KERNEL void MarkGrayEnds(std::uint16_t* samples, std::size_t pixels, bool high, bool low) {
    const Ends ends = EndsOf(high, low);
    for (std::size_t i = 0; i < pixels; ++i)
        samples[i] = static_cast<std::uint16_t>(Marked(samples[i], samples[i], samples[i], ends));
}

NVQ_KERNEL void MarkColorEnds(std::uint16_t* samples, std::size_t pixels, bool high, bool low) {
    const Ends ends = EndsOf(high, low);
    for (std::size_t i = 0; i < pixels; ++i, samples += 3) {
        const std::int32_t most = std::max({samples[0], samples[1], samples[2]});
        const std::int32_t least = std::min({samples[0], samples[1], samples[2]});
        for (int c = 0; c < 3; ++c)
            samples[c] = static_cast<std::uint16_t>(Marked(samples[c], most, least, ends));
    }
}
