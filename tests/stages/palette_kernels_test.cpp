// The kernels of palettes against the formulas, on random and on extreme samples.

#include <random>

#include "stages/palette_dither_kernels.h"
#include "tests/support/plain_dither.h"
#include "tests/support/stage_rig.h"

namespace {

// Noise, ends and steps: errors pile up to their limits on the latter.
Samples Lines(std::size_t count, std::uint32_t seed) {
    std::mt19937 random(seed);
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const bool steps = seed % 2 == 0;
        samples[i] = static_cast<std::uint16_t>(steps ? (i / 40 + seed) % 3 * 32767 : random());
    }
    return samples;
}

Bytes RunKernel(const Samples& samples, std::size_t width, std::size_t channels,
                const std::vector<QLDitherCell>& cells, std::uint16_t mask, bool serpentine) {
    Bytes out(samples.size() / channels);
    std::vector<std::int16_t> errors(width * channels);
    std::int16_t carry[3] = {};
    std::uint16_t state = 12354;
    for (std::size_t y = 0; y * width < out.size(); ++y) {
        const QLDitherLine line = {&samples[y * width * channels],
                                   width,
                                   serpentine && y % 2 == 1,
                                   errors.data(),
                                   carry,
                                   &out[y * width]};
        if (mask != 0)
            DitherNoisyLine(line, static_cast<int>(channels), cells.data(), mask, &state);
        else
            (channels == 3 ? DitherColorLine : DitherGrayLine)(line, cells.data());
    }
    return out;
}

TEST(DitherKernels, DiffuseAsTheFormulasHaveIt) {
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        for (const std::size_t channels : {1u, 3u}) {
            std::mt19937 random(seed);
            // Colours that have nothing to do with their cells: the worst of errors.
            std::vector<QLDitherCell> cells(channels == 3 ? kDitherCells : kDitherValues);
            for (std::size_t i = 0; i < cells.size(); ++i) {
                const auto color = [&] {
                    return static_cast<std::uint8_t>(seed % 3 ? random() : i % 2 * 255);
                };
                cells[i] = {{color(), color(), color()}, static_cast<std::uint8_t>(random())};
            }
            // What is below 0 and above 255 has the cell of these.
            for (int v = kDitherLow; channels == 1 && v < kDitherLow + kDitherValues; ++v)
                cells[static_cast<std::size_t>(v - kDitherLow)] =
                    cells[static_cast<std::size_t>(std::clamp(v, 0, 255) - kDitherLow)];
            int last = 0;
            CPlainDither plain;
            plain.m_choose = [&](const CPlainDither::Values& t) {
                last = channels == 3 ? t[0] / 16 * 256 + t[1] / 16 * 16 + t[2] / 16
                                     : t[0] - kDitherLow;
                return int{cells[static_cast<std::size_t>(last)].m_index};
            };
            plain.m_color = [&](int) {
                const auto& color = cells[static_cast<std::size_t>(last)].m_colors;
                return CPlainDither::Values{color[0], color[1], color[2]};
            };
            for (const std::size_t width : {1u, 2u, 7u, 300u}) {
                const Samples samples = Lines(width * channels * 7, seed);
                for (const int mask : {0, 0x1F, 0xFFFF}) {
                    plain.m_serpentine = seed % 4 != 0;
                    plain.m_mask = mask;
                    EXPECT_TRUE(RunKernel(samples, width, channels, cells,
                                          static_cast<std::uint16_t>(mask), plain.m_serpentine) ==
                                plain.Run(samples, width, channels))
                        << "seed " << seed << ", width " << width << ", mask " << mask;
                }
            }
        }
    }
}

}  // namespace
