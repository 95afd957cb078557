// Filters over neighbouring samples, worked out one by one from the formulas alone: the smoothing
// of noise and the sharpening that every scan has.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace plain {

// An image of `channels` samples a pixel. Above its first and below its last line these stand
// again; `border` pixels at the ends of each line stay. `rule(at)` makes a sample of those around
// it: at(dx, dy).
template <typename T, typename Rule>
std::vector<T> Filtered(const std::vector<T>& image, int width, int channels, int border,
                        const Rule& rule) {
    std::vector<T> result = image;
    const int stride = width * channels;
    const int lines = static_cast<int>(image.size()) / stride;
    for (int y = 0; y < lines; ++y) {
        for (int i = border * channels; i < stride - border * channels; ++i) {
            const auto at = [&](int dx, int dy) {
                const int line = std::clamp(y + dy, 0, lines - 1);
                return static_cast<int>(
                    image[static_cast<std::size_t>(line * stride + i + dx * channels)]);
            };
            result[static_cast<std::size_t>(y * stride + i)] =
                static_cast<T>(std::clamp(rule(at), 0, 65535));
        }
    }
    return result;
}

// Limits are in 4095ths of full scale.
inline auto NoiseRule(int channels, int limit) {
    return [=](const auto& at) {
        int e = -9 * at(0, 0);
        for (int n = 0; n < 9; ++n)
            e += at(n % 3 - 1, n / 3 - 1);
        if (channels == 1)
            return at(0, 0) + std::clamp(e >> 3, -limit * 65535 / 4095, limit * 65535 / 4095);
        const int most = std::min(limit * 524280 / 4095, 4096);
        return at(0, 0) + std::clamp(e, -most, most) * 3 / 32;
    };
}

inline double SlopeOf(int strength) {
    return std::pow(std::abs(strength) / 100.0, 1.5) * (strength < 0 ? -0.5 : 1.0);
}
// To a difference d from the neighbours.
inline int Response(double slope, int d) {
    const int i = d < 0 ? -d - 1 : d;
    const int response = static_cast<int>(std::min(std::trunc(std::abs(slope) * i), 16384.0));
    return (d < 0) != (slope < 0) ? -response : response;
}
inline auto SharpenRule(double slope) {
    return [=](const auto& at) {
        const int e = 4 * at(0, 0) - at(0, -1) - at(0, 1) - at(-1, 0) - at(1, 0);
        return at(0, 0) + Response(slope, std::clamp(e, -65535, 65535));
    };
}

// What is smaller than 5 x 5 passes.
inline bool IsSmall(std::size_t samples, int width, int channels) {
    return width < 5 || samples < static_cast<std::size_t>(5 * width * channels);
}
// As every scan has it unless it is told otherwise.
template <typename T>
std::vector<T> SmoothedNoise(const std::vector<T>& image, int width, int channels, int limit = 4) {
    return IsSmall(image.size(), width, channels)
               ? image
               : Filtered(image, width, channels, 2, NoiseRule(channels, limit));
}
template <typename T>
std::vector<T> Sharpened(const std::vector<T>& image, int width, int channels, int strength = 40) {
    return IsSmall(image.size(), width, channels)
               ? image
               : Filtered(image, width, channels, 1, SharpenRule(SlopeOf(strength)));
}

}  // namespace plain
