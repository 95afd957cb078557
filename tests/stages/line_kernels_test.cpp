// Line kernels against plain forms, at awkward sizes, on random and extreme input. The build
// compiles this file and the kernels once more for each instruction set that the kernels are
// dispatched to.

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "stages/convert_kernels.h"
#include "stages/density_kernels.h"
#include "stages/invert_kernels.h"
#include "stages/lut_kernels.h"
#include "stages/matrix_kernels.h"
#include "stages/output_format_kernels.h"
#include "stages/threshold_kernels.h"
#include "stages/turn_kernels.h"
#include "tests/support/plain_density.h"
#include "tests/support/stage_rig.h"

namespace {

// Around the widths of vector registers, and two that are no multiple of anything.
constexpr std::size_t kSizes[] = {0, 1, 2, 3, 5, 7, 8, 9, 15, 16, 17, 258, 533};
constexpr std::size_t kGuard = 16;

std::mt19937 g_random(7);

int Pick(int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(g_random);
}
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}
std::uint16_t Held(std::int64_t v) {
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(v, 0, 65535));
}
// Samples up to `most`, many of them at an edge of the range or of a byte, with guards behind.
Samples Line(std::size_t count, int most = 65535) {
    constexpr int kEdges[] = {0, 0xFFFF, 0x8000, 0x7FFF, 0x00FF, 0xFF00, 1, 0xFFFE};
    Samples line(count + kGuard);
    for (std::uint16_t& v : line)
        v = static_cast<std::uint16_t>(
            std::min(most, Pick(0, 2) ? Pick(0, most) : kEdges[Pick(0, 7)]));
    return line;
}

// A kernel that works in place on pixels of so many samples, against its plain form for one pixel.
template <typename Kernel, typename Plain>
void ExpectInPlace(std::size_t channels, int most, const Kernel& kernel, const Plain& plain) {
    for (const std::size_t size : kSizes) {
        Samples line = Line(channels * size, most), expected = line;
        for (std::size_t i = 0; i < size; ++i)
            plain(&expected[channels * i]);
        kernel(line.data(), size);
        ASSERT_EQ(line, expected) << size << " pixels";
    }
}

// A kernel from pixels of one size to pixels of another, by bytes, against its plain form for one.
template <typename Kernel, typename Plain>
void ExpectInto(std::size_t fromBytes, std::size_t toBytes, const Kernel& kernel,
                const Plain& plain) {
    for (const std::size_t size : kSizes) {
        const Samples from = Line(fromBytes * size);  // twice as many bytes as are needed
        const auto* source = reinterpret_cast<const std::uint8_t*>(from.data());
        Bytes to(toBytes * size + kGuard, 0xA5), expected = to;
        for (std::size_t i = 0; i < size; ++i)
            plain(source + fromBytes * i, &expected[toBytes * i]);
        kernel(from.data(), to.data(), size);
        ASSERT_EQ(to, expected) << size << " pixels";
    }
}

// clang-format off
TEST(Kernels, TablesMapEverySampleAndDarkPixelsArePulledByWholeSixteenths) {
    const Samples t[3] = {Line(65536), Line(65536), Line(65536)};
    ExpectInPlace(1, 65535, [&](auto* line, std::size_t n) { MapSamples(line, n, t[0].data()); },
        [&](std::uint16_t* p) { *p = t[0][*p]; });
    ExpectInPlace(3, 65535, [&](auto* line, std::size_t n) {
            MapPixels(line, n, t[0].data(), t[1].data(), t[2].data()); },
        [&](std::uint16_t* p) { for (int c = 0; c < 3; ++c) p[c] = t[c][p[c]]; });
    for (const std::int32_t limit : {0, 1, 436, 5957}) {
        ExpectInPlace(3, limit * 2, [&](auto* p, std::size_t n) { PullDarkPixels(p, n, limit); },
            [&](std::uint16_t* p) {
                const std::int64_t sum = p[0] + 2 * p[1] + p[2];
                const int top = 4 * limit;
                const std::int64_t weight = sum < top ? 16 * (top - sum) / top : 0;
                for (int c = 0; c < 3; ++c)
                    p[c] = Held(FloorDiv((16 - weight) * p[c] + weight * (sum / 4), 16));
            });
    }
}
// clang-format on

TEST(Kernels, MatricesMixAndFade) {
    const double nine[9] = {0.25, -0.25, 0.3, 0.59, 0.11, -0.0004, 1.98, -1.98, 0.00048828125};
    // 256.5, -255.5, 307.7, 604.66, 113.14, 0.09, 2028.02, -2027.02, 1, cut towards zero
    constexpr std::int32_t kElements[9] = {256, -255, 307, 604, 113, 0, 2028, -2027, 1};
    EXPECT_TRUE(std::equal(kElements, kElements + 9, QLFixedMatrix(nine).m_k));
    // clang-format off
    constexpr QLFadeWindow kWindows[] = {
        {12288, 20480, 8192}, {-16384, 65536, 81920}, {30000, 30000, 0}, {20480, 12288, -8192},
        {0, 65280, 65280}, {-536870912, 536870912, 1 << 30}};
    // Gray, as strong as profiles may be, as strong as 32 bits can bear, and random ones.
    for (int round = 0; round < 9; ++round) {
        double m[9] = {10, 10, 10, -12, -12, -12, 31.9, 0, -0.05};
        for (int i = 0; i < 9 && round < 8; ++i)
            m[i] = round == 0 ? 0.3 : round == 1 ? 1.98 - i % 2 * 3.96 : Pick(-1980, 1980) / 1000.0;
        const QLFixedMatrix matrix(m);
        const auto mixed = [&](const std::uint16_t* p, int c) {
            const std::int32_t* k = matrix.m_k + 3 * c;
            return FloorDiv(std::inner_product(k, k + 3, p, std::int64_t{0}), 1024);
        };
        ExpectInPlace(3, 65535, [&](auto* line, std::size_t n) { MixPixels(line, n, matrix); },
            [&](std::uint16_t* p) {
                const auto [r, g, b] = std::tuple(mixed(p, 0), mixed(p, 1), mixed(p, 2));
                std::tie(p[0], p[1], p[2]) = std::tuple(Held(r), Held(g), Held(b));
            });
        for (const QLFadeWindow& w : kWindows) {
            ExpectInPlace(3, Pick(0, 1) ? 65535 : 22000, [&](auto* line, std::size_t n) {
                    MixPixelsFading(line, n, matrix, w); },
                [&](std::uint16_t* p) {
                    const bool full = *std::max_element(p, p + 3) >= w.high;
                    const std::int64_t all[] = {mixed(p, 0), mixed(p, 1), mixed(p, 2)};
                    for (int c = 0; c < 3; ++c) {
                        if (full || (p[c] > w.low && w.width != 0))
                            p[c] = Held(full ? all[c] : (p[c] - w.low) * (all[c] - w.low) / w.width
                                                            + w.low);
                    }
                });
        }
    }
    // clang-format on
}

TEST(Kernels, ColourIsCorrectedAndBalancedInDensity) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t kExtremes[] = {-kMost - 1, -kMost, kMost, 0, -1, 1, 1 << 30, 65537};
    const Samples t[3] = {Line(65536), Line(65536), Line(65536)};
    const auto at = [](const Samples& table) {
        return [&table](int i) { return int{table[static_cast<std::size_t>(std::min(i, 65535))]}; };
    };
    // clang-format off
    for (int round = 0; round < 12; ++round) {
        int k[27];
        for (int& factor : k)
            factor = round < 4   ? Pick(-2000, 2000)
                     : round < 8 ? kExtremes[round < 6 ? round - 4 : Pick(0, 7)]
                                 : Pick(-kMost - 1, kMost);
        QLDensityFactors factors;
        std::copy_n(k, 18, factors.m_density);
        std::copy_n(k + 18, 9, factors.m_post);
        ExpectInPlace(3, 65535, [&](auto* line, std::size_t n) {
                CorrectDensity(line, n, t[0].data(), t[1].data(), factors); },
            [&](std::uint16_t* p) { CorrectPixel(p, k, at(t[0]), at(t[1])); });
        const int offsets[] = {Pick(-73978, 78911), round % 2 ? 0 : 78911, round % 3 ? 0 : -73978};
        ExpectInPlace(3, 65535, [&](auto* line, std::size_t n) {
                BalanceDensity(line, n, t[0].data(), t[1].data(), t[2].data(), offsets); },
            [&](std::uint16_t* p) {
                int d[3];
                for (int c = 0; c < 3; ++c)
                    d[c] = Held(t[0][p[c]] - offsets[c]);
                const int* lead = d[0] <= d[1] && d[0] <= d[2] ? d : d[1] <= d[2] ? d + 1 : d + 2;
                const int delta = t[2][*lead] - *lead;
                for (int c = 0; c < 3; ++c)
                    p[c] = t[1][Held(d[c] + delta)];
            });
    }
    // clang-format on
}

TEST(Kernels, SamplesChangeDepthAndOrder) {
    const Samples table = Line(256);
    const auto put = [](std::uint8_t* to, int v) {
        to[0] = static_cast<std::uint8_t>(v % 256);
        to[1] = static_cast<std::uint8_t>(v / 256);
    };
    const auto wide = [](void* to) { return reinterpret_cast<std::uint16_t*>(to); };
    const auto bytes = [](const void* from) { return static_cast<const std::uint8_t*>(from); };
    // clang-format off
    ExpectInto(1, 2, [&](auto* f, auto* t, std::size_t n) { WidenSamples(bytes(f), wide(t), n); },
        [&](const auto* f, auto* t) { put(t, *f * 256); });
    for (const bool decode : {false, true})
        ExpectInto(3, 6, [&](auto* f, auto* t, std::size_t n) {
                decode ? DecodeBlueFirst(bytes(f), wide(t), n, table.data())
                       : WidenBlueFirst(bytes(f), wide(t), n); },
            [&](const auto* f, auto* t) {
                for (int c = 0; c < 3; ++c)
                    put(t + 2 * c, decode ? table[f[2 - c]] : f[2 - c] * 256); });
    for (const auto& [shift, high] : {std::pair{0, true}, {4, false}, {6, true}})
        ExpectInto(2, 2, [&](auto* f, auto* t, std::size_t n) {
                ShiftSamples(f, wide(t), n, shift, high); },
            [&](const auto* f, auto* t) {
                put(t, (f[high ? 1 : 0] + 256 * f[high ? 0 : 1]) * (1 << shift) % 65536); });
    for (const std::uint8_t turn : {0, 0xFF})
        ExpectInto(2, 1, [&](auto* f, auto* t, std::size_t n) { NarrowSamples(f, t, n, turn); },
            [&](const auto* f, auto* t) { *t = static_cast<std::uint8_t>(std::abs(turn - f[1])); });
    ExpectInto(6, 3, [](auto* f, auto* t, std::size_t n) { NarrowBlueFirst(f, t, n); },
        [](const auto* f, auto* t) { for (int c = 0; c < 3; ++c) t[c] = f[5 - 2 * c]; });
    ExpectInto(6, 2, [&](auto* f, auto* t, std::size_t n) { TakeGreen(f, wide(t), n); },
        [](const auto* f, auto* t) { std::copy(f + 2, f + 4, t); });
    // clang-format on
}

TEST(Kernels, BytesAreComplementedAndBitsCompared) {
    for (const std::size_t width : kSizes) {
        const Samples samples = Line(width);
        Bytes bytes = BytesOf(samples), turned = bytes;
        for (std::size_t i = 0; i < width; ++i)
            turned[i] = static_cast<std::uint8_t>(255 - bytes[i]);
        ComplementBytes(bytes.data(), width);
        EXPECT_EQ(bytes, turned) << width;
        for (const int t : {0, 1, 255, 28160, 0x7FFF, 0x8000, 65534, 65535}) {
            Bytes bits((width + 7) / 8 + 1, 0xA5), expected((width + 7) / 8, 0);
            expected.push_back(0xA5);  // not a byte more
            for (std::size_t x = 0; x < width; ++x)
                expected[x / 8] =
                    static_cast<std::uint8_t>(expected[x / 8] + (samples[x] > t) * (128 >> x % 8));
            BinarizeLine(samples.data(), width, static_cast<std::uint16_t>(t), bits.data());
            EXPECT_EQ(bits, expected) << width << " above " << t;
        }
        std::vector<std::uint32_t> bins(65536, 3), counted(65536, 3);
        std::for_each(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(width),
                      [&](std::uint16_t sample) { ++counted[sample]; });
        CountSamples(samples.data(), width, bins.data());
        EXPECT_EQ(bins, counted) << width;
    }
}

// Lines backward, and rows out of an image that lies crosswise, in both directions of each step.
TEST(Kernels, PixelsAreTurned) {
    for (const std::size_t channels : {1u, 3u}) {
        const bool color = channels == 3;
        for (const std::size_t n : kSizes) {
            const Samples line = Line(channels * n);
            Samples to(channels * n + kGuard, 7), expected = to;
            for (std::size_t i = 0; i < channels * n; ++i)
                expected[i] = line[(n - 1 - i / channels) * channels + i % channels];
            (color ? ReversePixels : ReverseGray)(line.data(), to.data(), n);
            EXPECT_EQ(to, expected) << n;
        }
        for (const auto& [w, h] : {std::pair{5, 3}, {70, 129}, {3, 64}, {17, 1}}) {
            for (const bool back : {false, true}) {
                const auto s = static_cast<int>(channels);
                const Samples image = Line(static_cast<std::size_t>(s * w * h));
                Samples to(static_cast<std::size_t>(s * w * h) + kGuard, 7), expected = to;
                for (int i = 0; i < s * w * h; ++i) {  // w rows of h pixels
                    const int row = i / s / h, x = i / s % h;
                    const int y = back ? x : h - 1 - x, column = back ? w - 1 - row : row;
                    expected[static_cast<std::size_t>(i)] =
                        image[static_cast<std::size_t>(s * (w * y + column) + i % s)];
                }
                (color ? TurnPixels : TurnGray)(
                    image.data() + (back ? s * (w - 1) : s * w * (h - 1)), back ? s * w : -s * w,
                    back ? -s : s, to.data(), static_cast<std::size_t>(h),
                    static_cast<std::size_t>(w));
                EXPECT_EQ(to, expected) << w << " x " << h;
            }
        }
    }
}

}  // namespace
