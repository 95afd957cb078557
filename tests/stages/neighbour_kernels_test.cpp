// Kernels over neighbouring pixels against plain forms, at awkward widths, on random and extreme
// samples.

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "stages/destreak_kernels.h"
#include "stages/line_sharpen_kernels.h"
#include "stages/noise_smooth_kernels.h"
#include "stages/sharpen_kernels.h"
#include "stages/smooth_kernels.h"
#include "tests/support/plain_neighbours.h"
#include "tests/support/stage_rig.h"

namespace {

// Around vector registers and around the runs that kernels work in.
constexpr std::size_t kWidths[] = {1, 2, 3, 4, 5, 8, 9, 10, 17, 171, 172, 258, 513, 514, 515, 1027};

std::mt19937 g_random(11);

// A line of samples, by turns random, at the ends of the range, and between the two; two more
// stand behind it as guards.
Samples Line(std::size_t count) {
    constexpr std::uint16_t kEdges[] = {0, 0xFFFF, 15, 16, 0x8000, 0x7FFF, 0xFFF0, 1};
    const unsigned kind = g_random() % 3;
    Samples line(count + 2);
    for (std::uint16_t& v : line)
        v = static_cast<std::uint16_t>(kind == 0 || (kind == 1 && g_random() % 2 != 0)
                                           ? g_random()
                                           : kEdges[g_random() % std::size(kEdges)]);
    return line;
}

TEST(NeighbourKernels, SmoothLine) {
    for (const std::size_t channels : {std::size_t{1}, std::size_t{3}}) {
        for (const std::size_t width : kWidths) {
            const std::size_t n = width * channels;
            const Samples up = Line(n), centre = Line(n), down = Line(n);
            Samples out = Line(n), expected = out;
            for (std::size_t i = 0; i < n; ++i) {
                const std::size_t l = i - channels, r = i + channels;
                expected[i] = i < channels || r >= n
                                  ? centre[i]
                                  : static_cast<std::uint16_t>(
                                        (up[l] + 2 * up[i] + up[r] + 2 * centre[l] + 4 * centre[i] +
                                         2 * centre[r] + down[l] + 2 * down[i] + down[r]) >>
                                        4);
            }
            SmoothLine(up.data(), centre.data(), down.data(), out.data(), width, channels);
            ASSERT_EQ(out, expected) << width << " x " << channels;
        }
    }
}

TEST(NeighbourKernels, SharpenLine) {
    for (const std::size_t channels : {std::size_t{1}, std::size_t{3}}) {
        for (const std::size_t width : kWidths) {
            const std::size_t n = width * channels;
            const Samples line = Line(n);
            const auto p = [&](std::size_t i, int away) {
                return static_cast<int>(
                    line[i + static_cast<std::size_t>(away + 4) * channels - 4 * channels]);
            };
            for (const std::size_t reach : {2u, 4u}) {
                Samples out = Line(n), expected = out;
                for (std::size_t i = 0; i < n; ++i) {
                    int v = line[i];
                    if (i >= reach * channels && i + reach * channels < n) {
                        const int two = p(i, -2) + p(i, 2), one = p(i, -1) + p(i, 1) + 4 * v;
                        v = reach == 2 ? (one - two) >> 2
                                       : (one + two + p(i, -3) + p(i, 3) - p(i, -4) - p(i, 4)) >> 3;
                    }
                    expected[i] = static_cast<std::uint16_t>(std::clamp(v, 0, 65535));
                }
                (reach == 2 ? SharpenLineByFive : SharpenLineByNine)(line.data(), out.data(), width,
                                                                     channels);
                ASSERT_EQ(out, expected) << width << " x " << channels << ", " << reach;
            }
        }
    }
}

// Calls `test` for widths of 1 to 20 and those around the runs, with three lines, their middle as
// it stands before, guards and all, and what a plain filter makes of that.
template <typename Rule, typename Kernel>
void ExpectAsPlain(std::size_t channels, int border, const Rule& rule, const Kernel& kernel) {
    std::vector<std::size_t> widths(20);
    std::iota(widths.begin(), widths.end(), std::size_t{1});
    widths.insert(widths.end(), {33, 51, 162, 163, 165, 171, 515, 1027});
    for (const std::size_t width : widths) {
        const std::size_t n = width * channels;
        const Samples up = Line(n), centre = Line(n), down = Line(n);
        Samples out = Line(n), expected = out, image;
        for (const Samples* line : {&up, &centre, &down})
            image.insert(image.end(), line->begin(), line->end() - 2);
        image = plain::Filtered(image, static_cast<int>(width), static_cast<int>(channels), border,
                                rule);
        std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(n), n, expected.begin());
        kernel(up.data(), centre.data(), down.data(), out.data(), width);
        ASSERT_EQ(out, expected) << width << " x " << channels;
    }
}

TEST(NeighbourKernels, SharpenByFactorAndByTable) {
    using Line = const std::uint16_t*;
    for (const std::int64_t factor : {0x40000000LL, 0x12345679LL, -0x69FFFFFFLL, 0xFFFFFFFFLL}) {
        const double slope = static_cast<double>(factor) / 4294967296.0;
        std::vector<std::int32_t> table;
        for (int d = -65536; d < 65536; ++d)
            table.push_back(plain::Response(slope, d));
        const std::int32_t* const response = table.data() + 65536;
        const std::int32_t* const responses[] = {response, response, response};
        QLSharpenFactors factors;
        std::fill_n(factors.high, kSharpenRun, static_cast<std::uint16_t>(std::abs(factor) >> 16));
        std::fill_n(factors.low, kSharpenRun, static_cast<std::uint16_t>(std::abs(factor)));
        std::fill_n(factors.flip, kSharpenRun, slope < 0 ? std::uint16_t{0xFFFF} : std::uint16_t{});
        for (const std::size_t channels : {std::size_t{1}, std::size_t{3}}) {
            const auto rule = plain::SharpenRule(slope);
            ExpectAsPlain(channels, 1, rule, [&](Line u, Line c, Line d, auto* out, auto width) {
                SharpenByFactor(u, c, d, out, width, channels, factors);
            });
            ExpectAsPlain(channels, 1, rule, [&](Line u, Line c, Line d, auto* out, auto width) {
                SharpenByTable(u, c, d, out, width, channels, responses);
            });
        }
    }
}

TEST(NeighbourKernels, SmoothNoise) {
    for (const int limit : {1, 4, 31, 32, 700, 4095}) {
        ExpectAsPlain(3, 2, plain::NoiseRule(3, limit),
                      [&](auto u, auto c, auto d, auto* out, auto width) {
                          const int most = std::min(limit * 524280 / 4095, kMostColorDifference);
                          SmoothNoiseColor(u, c, d, out, width, static_cast<std::uint16_t>(most));
                      });
        ExpectAsPlain(1, 2, plain::NoiseRule(1, limit),
                      [&](auto u, auto c, auto d, auto* out, auto width) {
                          SmoothNoiseGray(u, c, d, out, width, limit * 65535 / 4095);
                      });
    }
}

TEST(NeighbourKernels, RootsOfAllSamples) {
    Samples all(65536), roots(65536), squares(65536);
    std::iota(all.begin(), all.end(), std::uint16_t{0});
    RootLine(all.data(), roots.data(), all.size(), 1);
    SquareLine(all.data(), squares.data(), all.size(), 1, 0, all.size());
    for (std::uint64_t x = 0; x < 65536; ++x) {
        const std::uint64_t root = roots[x];
        ASSERT_TRUE(root * root <= x << 16 && (root + 1) * (root + 1) > x << 16) << x;
        ASSERT_EQ(squares[x], x * x / 65536);
    }
}

}  // namespace
