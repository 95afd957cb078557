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

// Calls `test` for widths of 1 to 20 and those around the runs, with three lines, their middle as
// it stands before, guards and all, and what a plain filter makes of that.
template <typename Rule, typename Kernel>
void ExpectAsPlain(std::size_t channels, int border, const Rule& rule, const Kernel& kernel) {
    std::vector<std::size_t> widths(20);
    std::iota(widths.begin(), widths.end(), std::size_t{1});
    widths.insert(widths.end(), {33, 51, 162, 163, 165, 171, 172, 258, 513, 514, 515, 1027});
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

TEST(NeighbourKernels, SmoothAndSharpenLines) {
    for (const std::size_t channels : {std::size_t{1}, std::size_t{3}}) {
        ExpectAsPlain(
            channels, 1,
            [](const auto& at) {
                int sum = 0;  // weights of 1, 2 and 4
                for (int i = 0; i < 9; ++i)
                    sum += at(i % 3 - 1, i / 3 - 1) * (2 - std::abs(i % 3 - 1)) *
                           (2 - std::abs(i / 3 - 1));
                return sum >> 4;
            },
            [&](auto u, auto c, auto d, auto* out, auto width) {
                SmoothLine(u, c, d, out, width, channels);
            });
        for (const int reach : {2, 4}) {
            ExpectAsPlain(
                channels, reach,
                [reach](const auto& at) {
                    const auto p = [&](int away) { return at(-away, 0) + at(away, 0); };
                    const int one = p(1) + 4 * at(0, 0);
                    return reach == 2 ? (one - p(2)) >> 2 : (one + p(2) + p(3) - p(4)) >> 3;
                },
                [&](auto, auto c, auto, auto* out, auto width) {
                    (reach == 2 ? SharpenLineByFive : SharpenLineByNine)(c, out, width, channels);
                });
        }
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
