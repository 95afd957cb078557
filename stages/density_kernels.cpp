#include "stages/density_kernels.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"

namespace {

// Products and sums wrap in 32 bits, so they are unsigned; what comes of them is signed again, and
// is shifted down arithmetically.
inline std::int32_t Scaled(std::int32_t difference, std::int32_t factor) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(difference) *
                                     static_cast<std::uint32_t>(factor)) >>
           10;
}

// What one difference does to a density. Without a branch: the side that doesn't count has the
// difference 0.
inline std::int32_t Change(std::int32_t difference, std::int32_t above, std::int32_t below) {
    return Scaled(std::max(difference, 0), above) - Scaled(std::max(-difference, 0), below);
}

inline std::int32_t Corrected(std::int32_t x, std::int32_t y, std::int32_t z,
                              const std::int32_t* c) {
    const std::int32_t a = x + Change(x - y, c[0], c[1]) + Change(x - z, c[2], c[3]) +
                           Change(2 * x - y - z, c[4], c[5]);
    return ClampSample(a);
}

}  // namespace

NVQ_KERNEL void CorrectDensity(std::uint16_t* __restrict samples, std::size_t pixels,
                               const std::uint16_t* __restrict toDensity,
                               const std::uint16_t* __restrict fromDensity,
                               const QLDensityFactors& factors) {
    const QLDensityFactors k = factors;
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* p = samples + 3 * i;
        const std::int32_t r = toDensity[p[0]];
        const std::int32_t g = toDensity[p[1]];
        const std::int32_t b = toDensity[p[2]];
        const std::int32_t lr = fromDensity[Corrected(r, g, b, k.m_density)];
        const std::int32_t lg = fromDensity[Corrected(g, r, b, k.m_density + 6)];
        const std::int32_t lb = fromDensity[Corrected(b, r, g, k.m_density + 12)];
        for (int c = 0; c < 3; ++c) {
            const std::uint32_t* m = reinterpret_cast<const std::uint32_t*>(k.m_post) + 3 * c;
            p[c] = ClampSample(static_cast<std::int32_t>(m[0] * static_cast<std::uint32_t>(lr) +
                                                         m[1] * static_cast<std::uint32_t>(lg) +
                                                         m[2] * static_cast<std::uint32_t>(lb)) >>
                               10);
        }
    }
}

NVQ_KERNEL void BalanceDensity(std::uint16_t* __restrict samples, std::size_t pixels,
                               const std::uint16_t* __restrict toDensity,
                               const std::uint16_t* __restrict fromDensity,
                               const std::uint16_t* __restrict curve, const std::int32_t* offsets) {
    const std::int32_t first = offsets[0], second = offsets[1], third = offsets[2];
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* p = samples + 3 * i;
        const std::int32_t r = ClampSample(toDensity[p[0]] - first);
        const std::int32_t g = ClampSample(toDensity[p[1]] - second);
        const std::int32_t b = ClampSample(toDensity[p[2]] - third);
        const std::int32_t lead = std::min(std::min(r, g), b);
        const std::int32_t shift = curve[lead] - lead;
        p[0] = fromDensity[ClampSample(r + shift)];
        p[1] = fromDensity[ClampSample(g + shift)];
        p[2] = fromDensity[ClampSample(b + shift)];
    }
}
