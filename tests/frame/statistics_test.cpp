// Rectangles, histograms and the lists of extreme pixels.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <vector>

#include "frame/histogram.h"
#include "frame/lut.h"
#include "frame/pixel_list.h"
#include "frame/rect.h"

namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

using Edges = std::array<int, 4>;  // top, left, bottom, right
QLRect Rect(const Edges& e) {
    return {e[0], e[1], e[2], e[3]};
}
Edges EdgesOf(const QLRect& r) {
    return {r.top, r.left, r.bottom, r.right};
}

TEST(Rect, SizesAreHeldToWhatTheirNumbersHold) {
    // clang-format off
    for (const auto& [edges, height, width, empty] : {
             std::tuple{Edges{1, 2, 4, 7}, 3, 5, false}, {{1, 2, 1, 7}, 0, 5, true}, {{4, 7, 1, 8}, -3, 1, true},
             {{0, 9, 1, 9}, 1, 0, true}, {{kLeast, 0, kMost, -1}, kMost, -1, true}, {{kMost, 0, kLeast, 1}, kLeast, 1, true}}) {
        // clang-format on
        const QLRect rect = Rect(edges);
        EXPECT_EQ(rect.Height(), height);
        EXPECT_EQ(rect.Width(), width);
        EXPECT_EQ(rect.IsEmpty(), empty) << edges[0] << " " << edges[1];
    }
}

TEST(Rect, ShrinksMovesAndGrows) {
    const auto shrunk = [](QLRect r, int dx, int dy) { return r.Shrink(dx, dy), EdgesOf(r); };
    EXPECT_EQ(shrunk({0, 0, 8, 10}, 2, 1), (Edges{1, 2, 7, 8}));
    EXPECT_EQ(shrunk({0, 0, 2, 10}, 0, 5), (Edges{5, 0, 5, 10})) << "nothing is left of two lines";
    EXPECT_EQ(shrunk({0, kMost, 5, kMost}, 9, -1), (Edges{-1, kMost, 6, kMost}));
    const auto moved = [](QLRect r, int dx, int dy) { return r.Offset(dx, dy), EdgesOf(r); };
    EXPECT_EQ(moved({1, 2, 3, 4}, -10, 20), (Edges{21, -8, 23, -6}));
    EXPECT_EQ(moved({0, 0, kMost, 1}, kLeast, 5), (Edges{5, kLeast, kMost, kLeast + 1}));
    const auto sized = [](QLRect r, double factor) { return r.Resize(factor), EdgesOf(r); };
    EXPECT_EQ(sized({10, 20, 13, 25}, 0.5), (Edges{10, 20, 12, 23})) << "halves go up";
    EXPECT_EQ(sized({0, 0, 30000, 40000}, 2.0), (Edges{0, 0, 60000, 80000})) << "beyond 16 bits";
    EXPECT_EQ(sized({5, 6, 7, 8}, 1e300), (Edges{5, 6, kMost, kMost}));
    EXPECT_EQ(sized({5, 6, 7, 8}, std::numeric_limits<double>::quiet_NaN()), (Edges{5, 6, 5, 6}));
}

TEST(Histogram, AnswersByItsCounts) {
    CQLHistogram hist(8);
    for (const auto& [bin, count] : {std::pair{2, 3}, {3, 1}, {6, 4}, {-1, 5}, {8, 5}, {kMost, 1}})
        for (int i = 0; i < count; ++i)
            hist.Increment(bin);
    EXPECT_EQ(hist.Total(), 8U);
    EXPECT_EQ((std::array{hist.At(6), hist.At(-1), hist.At(8)}), (std::array{4U, 0U, 0U}));
    EXPECT_DOUBLE_EQ(hist.Mean(), (2 * 3 + 3 + 6 * 4) / 8.0);
    EXPECT_DOUBLE_EQ(hist.MeanScaled(65536), 4.125 * 8192);
    // Percent, from below, from above: 3 of 8 are 37.5 percent, 4 of 8 are 50.
    for (const auto& [p, low, high] : {std::tuple{0.0, 0, 7},
                                       {37.5, 2, 6},
                                       {37.6, 3, 6},
                                       {50.0, 3, 6},
                                       {50.1, 6, 3},
                                       {100.0, 6, 2},
                                       {101.0, 7, 0},
                                       {std::numeric_limits<double>::quiet_NaN(), 0, 7}}) {
        EXPECT_EQ(hist.LowPercentile(p), low) << p;
        EXPECT_EQ(hist.HighPercentile(p), high) << p;
        EXPECT_EQ(hist.LowPercentileScaled(p, 100), (low * 100 * 2 + 8) / 16) << p;
        EXPECT_EQ(hist.HighPercentileScaled(p, 65536), high * 8192) << p;
    }
    for (const auto& [bin, percent] :
         {std::pair{-5, 0.0}, {1, 0.0}, {2, 37.5}, {5, 50.0}, {6, 100.0}, {kMost, 100.0}})
        EXPECT_EQ(hist.CumulativePercent(bin), percent) << bin;
    EXPECT_EQ(hist.CumulativePercentAt(12288, 65536), 37.5) << "1.5 bins are bin 2";
    EXPECT_EQ(hist.CumulativePercentAt(12287, 65536), 0.0);
    EXPECT_EQ(hist.CumulativePercentAt(1, 0), 100.0);
}

TEST(Histogram, AnswersNothingWithoutCountsOrBins) {
    for (const int size : {4, 0, -3}) {
        CQLHistogram hist(size);
        hist.Increment(0);
        hist.Clear();
        EXPECT_EQ(hist.Total(), 0U);
        EXPECT_EQ(hist.Mean() + hist.MeanScaled(9) + hist.CumulativePercentAt(1, 2), 0.0);
        EXPECT_EQ(hist.LowPercentileScaled(50, 9), 0);
    }
    CQLHistogram full(2);
    std::fill_n(full.Bins(), 2, 0xffffffffU);
    EXPECT_EQ(full.Total(), 0x1fffffffeULL) << "more than 32 bits";
    EXPECT_EQ(full.CumulativePercent(0), 50.0);
}

TEST(Histogram, FollowsATable) {
    std::mt19937 random(4);
    // Sizes that are powers of two apart, and some where the shift leads beyond table or bins.
    for (const auto& [size, entries] :
         {std::pair{4096, 65536}, {256, 256}, {100, 65536}, {2800, 65536}, {3, 256}}) {
        CQLLut lut(entries, CQLLut::kPlain);
        for (int i = 0; i < entries; ++i)
            lut.Set(i, static_cast<std::uint16_t>(random() % static_cast<unsigned>(entries)));
        CQLHistogram source(size), hist(size);
        for (int i = 0; i < size; ++i)
            source.Bins()[i] = random() % 1000;
        std::vector<unsigned> expected(static_cast<std::size_t>(size));
        const double ratio = static_cast<double>(entries) / size;
        int factor = 1;
        while (factor * std::sqrt(2.0) <= ratio)
            factor *= 2;
        for (int i = 0; i < size; ++i) {
            const int target = lut.At(std::min(i * factor, entries - 1)) / factor;
            if (target < size)
                expected[static_cast<std::size_t>(target)] += source.At(i);
        }
        hist.Increment(1);
        hist.RemapFrom(lut, source);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), hist.Bins())) << size;
        hist.RemapFrom(CQLLut(size / 2, CQLLut::kPlain), source);
        EXPECT_EQ(hist.Total(), 0U) << "a table smaller than the histogram";
    }
}

// Averages and sums tell which pixels a list holds.
std::vector<double> Held(const CExtremePixelList& list) {
    double r = -1, g = -1, b = -1;
    list.Average(&r, &g, &b);
    return {r, g, b, static_cast<double>(list.Count()), static_cast<double>(list.Threshold())};
}

TEST(PixelLists, KeepTheMostExtremePixels) {
    using Row = std::vector<double>;
    CBrightestPixelList bright(2);
    EXPECT_EQ(Held(bright), (Row{0, 0, 0, 0, 0}));
    bright.Offer(0, 0, 0);
    EXPECT_EQ(bright.Count(), 0) << "black is as dark as an empty place";
    for (const auto& [r, g, b] : {std::tuple{5, 0, 0}, {7, 0, 0}, {0, 6, 0}, {0, 0, 6}})
        bright.Offer(r, g, b);
    EXPECT_EQ(Held(bright), (Row{3.5, 3, 0, 2, 6})) << "of equal sums the older stays";
    bright.Offer(0, 0, 7);
    EXPECT_EQ(Held(bright), (Row{3.5, 0, 3.5, 2, 7}));
    bright.Insert(1, 1, 1);
    EXPECT_EQ(Held(bright), (Row{3.5, 0, 3.5, 2, 7})) << "there is no place for it";
    bright.Clear();
    EXPECT_EQ(Held(bright), (Row{0, 0, 0, 0, 0}));

    CDarkestPixelList dark(3, 65535);
    EXPECT_EQ(dark.Threshold(), 196608);
    for (const int sum : {9, 7, 8, 5, 8})
        dark.Offer(static_cast<std::uint16_t>(sum), 0, 0);
    EXPECT_EQ(Held(dark), (Row{20 / 3.0, 0, 0, 3, 8}));
    dark.Offer(0, 7, 0);
    EXPECT_EQ(Held(dark), (Row{4, 7 / 3.0, 0, 3, 7})) << "behind the older 7";
    CDarkestPixelList few(1, 9), odd(2, kMost), none(0, 9), less(-1, kLeast);
    few.Offer(10, 10, 10);
    EXPECT_EQ(few.Count(), 0);
    EXPECT_EQ(odd.Threshold(), kMost);
    for (CDarkestPixelList* list : {&none, &less}) {
        list->Insert(1, 2, 3);
        EXPECT_EQ(list->Count() + list->Capacity(), 0);
    }
    CBoundedBrightestList bounded(4, 52428);
    for (const auto& [r, g, b] :
         {std::tuple{52429, 0, 0}, {0, 52429, 0}, {0, 0, 65535}, {52428, 52428, 52428}})
        bounded.Offer(r, g, b);
    EXPECT_EQ(Held(bounded), (Row{52428, 52428, 52428, 1, 0}));
}

TEST(PixelLists, HoldWhatAStableSortPutsFirst) {
    std::mt19937 random(7);
    CBrightestPixelList bright(10);
    CDarkestPixelList dark(10, 65535);
    std::vector<std::array<int, 3>> pixels;
    for (int i = 0; i < 2000; ++i) {  // few sums, so that many are equal
        const std::array pixel{static_cast<int>(random() % 9), static_cast<int>(random() % 9),
                               static_cast<int>(random() % 9)};
        pixels.push_back(pixel);
        bright.Offer(pixel[0], pixel[1], pixel[2]);
        dark.Offer(pixel[0], pixel[1], pixel[2]);
    }
    for (const bool falling : {true, false}) {
        std::vector<std::array<int, 3>> sorted = pixels;
        std::ranges::stable_sort(sorted, [&](const auto& a, const auto& b) {
            const int difference = a[0] + a[1] + a[2] - b[0] - b[1] - b[2];
            return falling ? difference > 0 : difference < 0;
        });
        double sums[3] = {};
        for (int i = 0; i < 10; ++i)
            for (int c = 0; c < 3; ++c)
                sums[c] += sorted[i][c];
        const std::vector<double> held = falling ? Held(bright) : Held(dark);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(held[c], sums[c] / 10.0) << falling;
    }
}

}  // namespace
