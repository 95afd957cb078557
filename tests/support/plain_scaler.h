// The scaler of the band loop in its plain form: one sample after the other, from the weights of
// the four around it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

// Lines of packed samples, `samples` a pixel, in bands of 20. Each is scaled by itself, to as many
// lines as `bands` says: at its last line the one above stands in for the line below, the last
// column is copied, and so is a last line of single samples.
inline std::vector<std::uint8_t> PlainScaled(const std::vector<std::uint8_t>& source,
                                             std::size_t width, std::size_t samples,
                                             std::size_t wanted,
                                             const std::vector<std::size_t>& bands) {
    std::vector<std::uint8_t> out;
    const std::size_t bytes = width * samples;
    for (std::size_t band = 0; band < bands.size(); ++band) {
        const std::uint8_t* first = source.data() + band * 20 * bytes;
        const std::size_t lines = std::min<std::size_t>(20, source.size() / bytes - band * 20);
        for (std::size_t i = 0; i < bands[band] * wanted; ++i) {
            const std::size_t y = i / wanted * lines;
            const std::size_t x = i % wanted * width;
            const std::size_t sy = y / bands[band];
            const std::size_t sx = x / wanted;
            const float fy =
                static_cast<float>(y) / static_cast<float>(bands[band]) - static_cast<float>(sy);
            const float fx =
                static_cast<float>(x) / static_cast<float>(wanted) - static_cast<float>(sx);
            const bool bottom = y > 0 && sy == lines - 1;
            const bool copied = (x > 0 && sx == width - 1) || (bottom && samples == 1);
            const std::size_t ny =
                bottom ? std::max<std::size_t>(sy, 1) - 1 : std::min(sy + 1, lines - 1);
            const std::uint8_t* here = first + sy * bytes + sx * samples;
            const std::uint8_t* there = first + ny * bytes + sx * samples;
            const std::size_t right = sx + 1 < width ? samples : 0;
            for (std::size_t c = 0; c < samples; ++c, ++here, ++there) {
                const float sum = (1 - fx) * (1 - fy) * here[0] + fx * (1 - fy) * here[right] +
                                  (1 - fx) * fy * there[0] + fx * fy * there[right];
                out.push_back(copied ? *here : static_cast<std::uint8_t>(sum));
            }
        }
    }
    return out;
}
