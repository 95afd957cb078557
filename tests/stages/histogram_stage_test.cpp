// The histogram stage: what it counts, when it publishes.

#include "stages/histogram_stage.h"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/stage_rig.h"

namespace {

struct Histogram : StageTest<CHistogramStage> {
    Histogram() { m_board.Hear({QL_ATTR_HISTOGRAM_CURRENT}); }

    // Twenty columns by ten rows of pixels that all differ in their bins: red 20 y + x, green and
    // blue 1000 and 2000 higher. True when the pass published.
    bool Pass(bool color = true, std::int32_t failAt = -1) {
        Samples samples;
        for (std::uint16_t i = 0; i < 200; ++i) {
            for (int c = 0; c < (color ? 3 : 1); ++c)
                samples.push_back(static_cast<std::uint16_t>((i + 1000 * c) * 16 + i % 16));
        }
        QLAttribTree tree;
        CLineSource source(&tree, color ? QL_PIXEL_RGB16 : QL_PIXEL_GRAY16, 20, BytesOf(samples),
                           QL_LAYOUT_INTERNAL);
        source.m_failAtLine = failAt;
        m_stage.SetUpstream(&source);
        EXPECT_TRUE(failAt >= 0 || RunPass(m_stage, 3).m_bytes == source.Bytes());
        if (failAt >= 0)
            RunPass(m_stage, 3);
        m_stage.SetUpstream(nullptr);
        return m_board.Heard() == Ids{QL_ATTR_HISTOGRAM_CURRENT};
    }
    // The bins of a channel that hold a pixel; each holds one.
    Ids Bins(int channel) {
        const auto* bins =
            WordPointer<const std::uint32_t>(m_board.GetValue(QL_ATTR_HISTOGRAM_R + channel));
        Ids found;
        for (std::int32_t i = 0; i < CHistogramStage::kBins; ++i) {
            if (bins[i] != 0)
                found.push_back(bins[i] == 1 ? i : -i);
        }
        return found;
    }
    std::int32_t Count() { return m_board.GetInteger(QL_ATTR_HISTOGRAM_PIXEL_COUNT); }
};

TEST_F(Histogram, CountsTheWindowWithItsBounds) {
    // Whole rows and columns of the image that belong to the window; the ends belong to it.
    // clang-format off
    const struct { QLRect rect; int top, left, bottom, right; } cases[] = {
        {{5, 7, 5, 7}, 5, 7, 5, 7},      {{0, 0, 9, 19}, 0, 0, 9, 19},
        {{8, 18, 90, 190}, 8, 18, 9, 19}, {{-5, -5, 0, 1}, 0, 0, 0, 1},
        {{5, 7, 4, 9}, 1, 1, 0, 0},       {{2, 9, 4, 7}, 1, 1, 0, 0},
        {{2, 20, 4, 2147483647}, 1, 1, 0, 0}, {{3, -2147483647 - 1, 3, -1}, 1, 1, 0, 0}};
    // clang-format on
    m_board.Put(QL_ATTR_ANALYSIS_RECT, 0);
    for (const auto& c : cases) {
        m_board.Put(QL_ATTR_ANALYSIS_RECT, PointerWord(&c.rect));
        EXPECT_TRUE(Pass());
        Ids red, blue;
        for (int y = c.top; y <= c.bottom; ++y) {
            for (int x = c.left; x <= c.right; ++x) {
                red.push_back(20 * y + x);
                blue.push_back(20 * y + x + 2000);
            }
        }
        EXPECT_EQ(Bins(0), red) << c.rect.top << ' ' << c.rect.left;
        EXPECT_EQ(Bins(2), blue);
        EXPECT_EQ(Count(), static_cast<int>(red.size()));
    }
    m_board.Put(QL_ATTR_ANALYSIS_RECT, 0);
    Pass();
    EXPECT_EQ(Count(), 200);
}

TEST_F(Histogram, GrayStandsInAllThreeAndAnInvertedImageIsCountedTurnedRound) {
    m_board.Put(QL_ATTR_INVERT, 1);
    EXPECT_TRUE(Pass(false));
    Ids expected(200);
    std::iota(expected.begin(), expected.end(), 4095 - 199);
    for (const int channel : {0, 1, 2})
        EXPECT_EQ(Bins(channel), expected);
    EXPECT_EQ(Count(), 200);
}

TEST_F(Histogram, OnlyAWholePassWhileItIsOnIsPublished) {
    EXPECT_EQ(Count(), 1);
    m_board.Put(QL_ATTR_HISTOGRAM_ON, 0);
    EXPECT_FALSE(Pass());
    m_board.Put(QL_ATTR_HISTOGRAM_ON, 1);
    EXPECT_FALSE(Pass(true, 6)) << "cut short";
    EXPECT_EQ(Bins(1), Ids{});
    for (const int pass : {1, 2}) {
        EXPECT_TRUE(Pass());
        EXPECT_EQ(Bins(1).front(), 1000) << "one a bin, also in pass " << pass;
    }
    for (const auto& [channel, id] : {std::pair{0, QL_ATTR_HISTOGRAM_PIXEL_COUNT},
                                      {1, QL_ATTR_HISTOGRAM_R},
                                      {3, QL_ATTR_HISTOGRAM_B}}) {
        m_board.SetValue(QL_ATTR_HISTOGRAM_CHANNEL, IntegerWord(channel));
        EXPECT_EQ(m_board.GetValue(QL_ATTR_HISTOGRAM_CURRENT), m_board.GetValue(id));
    }
    m_board.SetValue(QL_ATTR_HISTOGRAM_CHANNEL, 4);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_HISTOGRAM_CURRENT), 0u);
}

}  // namespace
