// The kernels of palettes against the formulas, on random and on extreme samples.

#include <random>

#include "stages/palette_dither_kernels.h"
#include "stages/palette_kernels.h"
#include "stages/range_clip_kernels.h"
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

TEST(DitherKernels, PackTheLowBitsOfIndices) {
    const std::uint8_t indices[] = {1, 0, 3, 2, 1, 0, 0, 1, 255, 4};
    std::uint8_t bits[] = {0, 0, 0xA5};
    PackIndexBits(indices, 10, bits);
    EXPECT_EQ(bits[0], 0xA9);
    EXPECT_EQ(bits[1], 0x80);
    EXPECT_EQ(bits[2], 0xA5);
}

TEST(PaletteKernels, CountColorsByTheHighBitsOfTheirChannels) {
    const std::uint16_t pixels[] = {0x1234, 0xFFFF, 0x20FF, 0x1FFF, 0xF000, 0x2000, 0, 0, 0};
    std::vector<std::uint64_t> cells(4096 * 4);
    CountColors(pixels, 3, cells.data());
    const std::uint64_t* cell = &cells[4 * 0x2F1];  // blue, green, red
    EXPECT_EQ(std::vector(cell, cell + 4), (std::vector<std::uint64_t>{2, 0x31, 0x1EF, 0x40}));
    EXPECT_EQ(cells[0], 1u);
}

// By hand: both ends, the sample next to each, and a colour with both in it.
TEST(RangeClipKernels, MarkSamplesAtTheEnds) {
    const Samples gray = {65279, 65280, 65535, 255, 256, 0};
    const Samples color = {65280, 10, 10, 255, 300, 65279, 256, 256, 65279};
    // clang-format off
    const struct { bool high, low; Samples gray, color; } kCases[] = {
        {true, false, {65279, 0, 0, 255, 256, 0}, {0, 0, 0, 255, 300, 65279, 256, 256, 65279}},
        {false, true, {65279, 65280, 65535, 65535, 256, 65535},
            {65535, 65535, 65535, 65535, 65535, 65535, 256, 256, 65279}},
        {true, true, {65279, 0, 0, 65535, 256, 65535},
            {0, 0, 0, 65535, 65535, 65535, 256, 256, 65279}}};
    // clang-format on
    for (const auto& c : kCases) {
        Samples g = gray;
        Samples rgb = color;
        MarkGrayEnds(g.data(), 6, c.high, c.low);
        MarkColorEnds(rgb.data(), 3, c.high, c.low);
        EXPECT_EQ(g, c.gray) << c.high << c.low;
        EXPECT_EQ(rgb, c.color) << c.high << c.low;
    }
}

}  // namespace
