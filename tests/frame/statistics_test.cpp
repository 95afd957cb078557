// Rectangles, histograms and the lists of extreme pixels.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "frame/histogram.h"
#include "frame/lut.h"
#include "frame/pixel_list.h"
#include "frame/rect.h"

namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Rect, IsHeldToWhatItsNumbersHold) {
    using Edges = std::array<int, 4>;  // top, left, bottom, right
    const auto edges = [](const QLRect& r) { return Edges{r.top, r.left, r.bottom, r.right}; };
    const QLRect inverted{4, 7, 1, 8}, huge{kLeast, 0, kMost, -1};
    EXPECT_EQ((std::array{inverted.Height(), inverted.Width()}), (std::array{-3, 1}));
    EXPECT_EQ((std::array{huge.Height(), huge.Width()}), (std::array{kMost, -1}));
    EXPECT_TRUE(inverted.IsEmpty() && huge.IsEmpty() && !QLRect({1, 1, 2, 2}).IsEmpty());
    const auto shrunk = [&](QLRect r, int dx, int dy) { return r.Shrink(dx, dy), edges(r); };
    EXPECT_EQ(shrunk({0, 0, 8, 10}, 2, 1), (Edges{1, 2, 7, 8}));
    EXPECT_EQ(shrunk({0, 0, 2, 10}, 0, 5), (Edges{5, 0, 5, 10})) << "nothing is left of two lines";
    EXPECT_EQ(shrunk({0, kMost, 5, kMost}, 9, -1), (Edges{-1, kMost, 6, kMost}));
    const auto moved = [&](QLRect r, int dx, int dy) { return r.Offset(dx, dy), edges(r); };
    EXPECT_EQ(moved({0, -1, kMost, 1}, kLeast, 5), (Edges{5, kLeast, kMost, kLeast + 1}));
    const auto sized = [&](QLRect r, double factor) { return r.Resize(factor), edges(r); };
    EXPECT_EQ(sized({10, 20, 13, 25}, 0.5), (Edges{10, 20, 12, 23})) << "halves go up";
    EXPECT_EQ(sized({0, 0, 30000, 40000}, 2.0), (Edges{0, 0, 60000, 80000})) << "beyond 16 bits";
    EXPECT_EQ(sized({5, 6, 7, 8}, 1e300), (Edges{5, 6, kMost, kMost}));
    EXPECT_EQ(sized({5, 6, 7, 8}, kNaN), (Edges{5, 6, 5, 6}));
}

TEST(Histogram, AnswersByItsCounts) {
    CQLHistogram hist(8), full(2);
    for (const auto& [bin, count] : {std::pair{2, 3}, {3, 1}, {6, 4}, {-1, 5}, {8, 5}, {kMost, 1}})
        for (int i = 0; i < count; ++i)
            hist.Increment(bin);
    EXPECT_EQ(hist.Total(), 8U);
    EXPECT_EQ(hist.Sum(-9, 3) + hist.Sum(4, 99) + hist.At(-1) + hist.At(8), 8U);
    EXPECT_EQ(hist.MeanScaled(65536), (2 * 3 + 3 + 6 * 4) / 8.0 * 8192);
    // Percent, the bin from below, that from above: 3 of 8 are 37.5 percent.
    // clang-format off
    for (const auto& [p, low, high] : {
             std::tuple{0.0, 0, 7}, {37.5, 2, 6}, {37.6, 3, 6}, {50.0, 3, 6}, {50.1, 6, 3},
             {100.0, 6, 2}, {101.0, 7, 0}, {kNaN, 0, 7}}) {
        // clang-format on
        EXPECT_EQ(hist.LowPercentileScaled(p, 100), std::lround(low * 12.5)) << p;
        EXPECT_EQ(hist.HighPercentileScaled(p, 65536), high * 8192) << p;
    }
    for (const auto& [bin, percent] :
         {std::pair{-5, 0.0}, {1, 0.0}, {2, 37.5}, {5, 50.0}, {6, 100.0}, {kMost, 100.0}})
        EXPECT_EQ(hist.CumulativePercent(bin), percent) << bin;
    EXPECT_EQ(hist.CumulativePercentAt(12288, 65536), 37.5) << "1.5 bins are bin 2";
    EXPECT_EQ(hist.CumulativePercentAt(12287, 65536), 0.0);
    EXPECT_EQ(hist.CumulativePercentAt(1, 0), 100.0);
    std::fill_n(full.Bins(), 2, 0xffffffffU);
    EXPECT_EQ(full.CumulativePercent(0), 50.0) << "more than 32 bits in all";
    for (const int size : {4, 0, -3}) {
        CQLHistogram none(size);
        none.Increment(-size);
        EXPECT_EQ(none.MeanScaled(9) + none.CumulativePercentAt(1, 2), 0.0);
        EXPECT_EQ(none.LowPercentileScaled(50, 9), 0);
    }
}

TEST(Histogram, FollowsATable) {
    std::mt19937 random(4);
    // Sizes that are powers of two apart, and some where the shift leads beyond table or bins.
    for (const auto& [size, entries, shift] :
         {std::tuple{4096, 65536, 4}, {256, 256, 0}, {100, 65536, 9}, {2800, 65536, 5}}) {
        CQLLut lut(entries, CQLLut::kPlain);
        CQLHistogram source(size), hist(size), expected(size);
        for (int i = 0; i < entries; ++i)
            lut.Set(i, static_cast<std::uint16_t>(random() % static_cast<unsigned>(entries)));
        for (int i = 0; i < size; ++i) {
            source.Bins()[i] = random() % 100;
            for (unsigned k = 0; k < source.At(i); ++k)
                expected.Increment(lut.At(std::min(i << shift, entries - 1)) >> shift);
        }
        hist.Increment(1);
        hist.RemapFrom(lut, source);
        EXPECT_TRUE(std::equal(hist.Bins(), hist.Bins() + size, expected.Bins())) << size;
        hist.RemapFrom(CQLLut(size / 2, CQLLut::kPlain), source);
        EXPECT_EQ(hist.Total(), 0U) << "a table smaller than the histogram";
    }
}

TEST(PixelLists, HoldWhatAStableSortPutsFirst) {
    using Pixel = std::array<std::uint16_t, 3>;
    std::mt19937 random(7);
    std::vector<Pixel> pixels(2000);  // of few sums, so that many are equal
    for (Pixel& p : pixels)
        p = {std::uint16_t(random() % 9), std::uint16_t(random() % 9), std::uint16_t(random() % 9)};
    const auto sum = [](const Pixel& p) { return p[0] + p[1] + p[2]; };
    const auto expect = [&](auto&& list, int sign, const auto& taken) {
        std::vector<Pixel> sorted;
        std::ranges::copy_if(pixels, std::back_inserter(sorted), taken);
        std::ranges::stable_sort(sorted, {}, [&](const Pixel& p) { return sign * sum(p); });
        std::array<double, 3> mean{}, held{1, 1, 1};
        for (int i = 0; i < 90; ++i)
            mean[i % 3] += sorted[i / 3][i % 3] / 30.0;
        list.Average(&held[0], &held[1], &held[2]);
        EXPECT_EQ(held[0] + held[1] + held[2] + list.Count(), 0) << "nothing is 0";
        for (const Pixel& p : pixels)
            list.Offer(p[0], p[1], p[2]);
        list.Average(&held[0], &held[1], &held[2]);
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(held[c], mean[c], 1e-9);
        EXPECT_EQ(list.Threshold(), sum(sorted[29]));
        list.Clear();
        EXPECT_EQ(list.Count(), 0);
    };
    expect(CBrightestPixelList(30), -1, [](const auto&) { return true; });
    expect(CBoundedBrightestList(30, 7), -1,
           [](const auto& p) { return std::ranges::max(p) <= 7; });
    expect(CDarkestPixelList(30, 2), 1, [&](const auto& p) { return sum(p) < 9; });
    CBrightestPixelList bright(2);
    bright.Offer(0, 0, 0);
    EXPECT_EQ(bright.Count(), 0) << "black is as dark as an empty place";
    EXPECT_EQ(CDarkestPixelList(1, 65535).Threshold(), 196608);
    CDarkestPixelList none(-1, kMost);
    none.Offer(0, 0, 0);
    EXPECT_EQ(none.Count(), 0);
}

}  // namespace
