#include "stages/density_balance.h"

#include <algorithm>
#include <cmath>

#include "frame/fixed_point.h"
#include "stages/density_kernels.h"

void CDensityBalance::SetOffsets(std::int32_t r, std::int32_t g, std::int32_t b) {
    const std::int32_t white[] = {r, g, b};
    for (int c = 0; c < 3; ++c) {
        const double density = -std::log10(std::max(white[c], 1) / 65535.0);
        // Not held at density 4 as the tables are: this may lie beyond them on either side.
        m_offsets[c] = TruncToI32(density * 65535.0 / 4.0);
    }
}

void CDensityBalance::Apply(const CQLLut& curve, std::uint16_t* r, std::uint16_t* g,
                            std::uint16_t* b) const {
    std::uint16_t pixel[] = {*r, *g, *b};
    ApplyPixels(curve, pixel, 1);
    *r = pixel[0];
    *g = pixel[1];
    *b = pixel[2];
}

void CDensityBalance::ApplyPixels(const CQLLut& curve, std::uint16_t* samples,
                                  std::size_t pixels) const {
    BalanceDensity(samples, pixels, m_tables.Forward(), m_tables.Inverse(), curve.Table(),
                   m_offsets);
}
