// Error diffusion as its formulas have it, pixel by pixel.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

struct CPlainDither {
    using Values = std::array<int, 3>;  // gray in the first

    std::function<int(const Values& held)> m_choose;  // the index for values within 0 to 255
    std::function<Values(int index)> m_color;
    bool m_serpentine = true;
    int m_mask = 0;  // of the noise

    // Indices of lines of `width` pixels of `channels` samples of 16 bits.
    template <class Samples>
    std::vector<std::uint8_t> Run(const Samples& samples, std::size_t width,
                                  std::size_t channels) const {
        std::vector<std::uint8_t> out(samples.size() / channels);
        std::vector<Values> below(width, Values{});
        Values carry{};
        int state = 12354;
        for (std::size_t y = 0; y * width < out.size(); ++y) {
            const bool back = m_serpentine && y % 2 == 1;
            for (std::size_t n = 0; n < width; ++n) {
                const std::size_t x = back ? width - 1 - n : n;
                Values v{};
                Values held{};
                for (std::size_t i = 0; i < channels; ++i) {
                    const std::size_t c = back ? channels - 1 - i : i;
                    const int s = samples[(y * width + x) * channels + c] >> 8;
                    v[c] = std::clamp(s + carry[c], -256, 511);
                    state = state * 2 % 65536;
                    state ^= state >= 32768 ? 0x457 : 0;
                    held[c] =
                        std::clamp<int>(static_cast<std::int16_t>(v[c] + (state & m_mask)), 0, 255);
                }
                const int index = m_choose(held);
                out[y * width + x] = static_cast<std::uint8_t>(index);
                for (std::size_t c = 0; c < channels; ++c) {
                    const int err = v[c] - m_color(index)[c];
                    const int half = (err - (err % 2 != 0 && err < 0)) / 2;  // down
                    carry[c] = err - half + below[x][c];
                    below[x][c] = half;
                }
            }
        }
        return out;
    }
};
