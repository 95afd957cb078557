#include "simulator/color_negative.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kFullScale = 65535.0;
// Density is counted in 1/8192, in which a step is 0.03 percent of the light, from 0 to 4.
constexpr double kDensityUnits = 8192.0;
constexpr std::int32_t kDensities = 32768;
// Stray light in the camera: no part of a film stays quite unexposed.
constexpr double kFlare = 1.0 / 4096.0;

// The layers' characteristic curve, in log10 of exposure: a straight part of slope gamma between
// toe and shoulder, each of which bends within a few of its widths. The toe is long, and the
// shoulder lies three stops behind white: such film forgives wrong exposure. The densest that a
// layer gets is gamma times the way from one to the other, 1.5.
constexpr double kGamma = 0.6;
constexpr double kToe = -1.67;
constexpr double kToeWidth = 0.5;
constexpr double kShoulder = 0.9;
constexpr double kShoulderWidth = 0.3;

// Density of base and mask, and what the longer exposure takes off again.
constexpr double kBase[] = {0.22, 0.62, 0.90};
constexpr double kExposure[] = {0.19, 0.584, 0.786};
// Rows: for red, green, blue light; columns: the dyes cyan, magenta and yellow. What the mask
// leaves of their side absorptions, less what the layers take from each other while they develop.
// Rows sum up to 1, so that grays are alike in all three.
constexpr double kAbsorption[3][3] = {
    {0.98, 0.02, 0.00},
    {0.03, 0.94, 0.03},
    {0.01, 0.05, 0.94},
};

// 0 far below 0, x far above it, bent between.
double Soft(double x, double width) {
    return width * std::log1p(std::exp(x / width));
}

double DyeDensity(double exposure) {
    return kGamma * (Soft(exposure - kToe, kToeWidth) - Soft(exposure - kShoulder, kShoulderWidth));
}

}  // namespace

// A pixel's density is the sum of three entries: base, mask and the scanner's exposure stand in
// those of the first layer.
CColorNegative::CColorNegative(const CLightTables& scene) {
    for (std::size_t layer = 0; layer < 3; ++layer) {
        for (std::size_t value = 0; value < 256; ++value) {
            const double exposure = std::max(scene[layer][value] / kFullScale, kFlare);
            const double dye = DyeDensity(std::log10(exposure));
            for (std::size_t color = 0; color < 3; ++color) {
                const double clear = layer == 0 ? kBase[color] - kExposure[color] : 0.0;
                m_dyes[layer][value][color] = static_cast<std::int32_t>(
                    std::lround((clear + kAbsorption[color][layer] * dye) * kDensityUnits));
            }
        }
    }
    m_light.reserve(kDensities);
    for (std::int32_t i = 0; i < kDensities; ++i) {
        const double share = std::pow(10.0, -i / kDensityUnits);
        m_light.push_back(static_cast<std::uint16_t>(std::lround(share * kFullScale)));
    }
}

void CColorNegative::Light(const std::uint8_t* values, std::size_t pixels,
                           std::uint16_t* light) const {
    for (std::size_t i = 0; i < pixels; ++i, values += 3, light += 3) {
        const CDye& cyan = m_dyes[0][values[0]];
        const CDye& magenta = m_dyes[1][values[1]];
        const CDye& yellow = m_dyes[2][values[2]];
        for (std::size_t color = 0; color < 3; ++color) {
            const std::int32_t density = cyan[color] + magenta[color] + yellow[color];
            light[color] = m_light[static_cast<std::size_t>(
                std::clamp<std::int32_t>(density, 0, kDensities - 1))];
        }
    }
}
