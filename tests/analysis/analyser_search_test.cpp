// What an analysis finds, against the same searches walked step by step with an analyser that only
// builds tables.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "analysis/negative_analyser.h"
#include "analysis/neighbour_search.h"
#include "analysis/photo_analyser.h"
#include "analysis/slide_analyser.h"

namespace {

using Three = std::array<int, 3>;
using Weights = std::array<double, 3>;
using Pixels = std::vector<Three>;

// A bell of densities round `density`, with a cast between neighbouring channels.
Pixels Scene(double density, double cast, double spread) {
    std::mt19937 random(17);
    Pixels pixels(3000);
    for (Three& pixel : pixels) {
        const double bell = (random() % 1000 + random() % 1000 + random() % 1000) / 1000.0 - 1.5;
        for (int c = 0; c < 3; ++c) {
            const double own = cast * (c == 1 ? 1.5 : c);
            const double light = std::pow(10.0, -density - own - spread * bell);
            pixel[c] = static_cast<int>(65535.0 * std::min(light, 1.0));
        }
    }
    return pixels;
}
template <typename Analyser>
bool Analyse(Analyser& analyser, const Pixels& pixels, QLAnalysisKind what) {
    analyser.StartCollect();
    for (const Three& p : pixels) {
        for (int c = 0; c < 3; ++c)
            analyser.Histogram(c).Increment(p[c] >> 4);
        analyser.BrightestList().Offer(p[0], p[1], p[2]);
    }
    return analyser.Analyse(what);
}
Three LevelsOf(const CToneAnalyser& a) {
    return {a.Highlight(), a.Midtone(), a.Shadow()};
}
std::array<double, 6> PointsOf(const CToneAnalyser& a) {
    return {a.Point(0).x, a.Point(0).y, a.Point(1).x, a.Point(1).y, a.Point(2).x, a.Point(2).y};
}
void SetPoint(CToneAnalyser& a, double x, double y) {
    QLColorPoint point{x, y};
    a.SetPoint(point, 1);
}

// What was collected of a channel, behind the table that the settings make.
CQLHistogram Behind(CToneAnalyser& a, int c) {
    CQLHistogram hist(4096);
    a.BuildCurves();
    hist.RemapFrom(*a.Lut(c), a.Histogram(c));
    return hist;
}
Weights Means(CToneAnalyser& a) {
    return {Behind(a, 0).MeanScaled(65536), Behind(a, 1).MeanScaled(65536),
            Behind(a, 2).MeanScaled(65536)};
}
double Mean(const Weights& v) {
    return (v[0] + v[1] + v[2]) / 3.0;
}
double Squares(const Weights& v, double off) {
    return (v[0] - off) * (v[0] - off) + (v[1] - off) * (v[1] - off) + (v[2] - off) * (v[2] - off);
}

auto DownTo(double finest) {
    return [finest](std::int64_t, double step) { return step > finest; };
}

struct NegativeWalk {
    NegativeWalk(const Pixels& pixels, bool color) : m_color(color) {
        Analyse(m_twin, pixels, QL_ANALYSE_TONE_AND_COLOR);  // collects
        m_twin.SetSampleMode(color ? QL_SAMPLE_COLOR : QL_SAMPLE_MONO);
        m_twin.ResetTone();
        m_twin.ResetColor();
        if (color)
            SearchColor(0.2);
        See(0.35);
        Walk(-0.02, 0.35, [&] { return m_mean > 0.25666666666666665; });
        Walk(0.02, 0.35, [&] { return m_mean < 0.23555555555555555; });
        const double band = m_density;
        if (color) {
            Go(band);
            for (int i = 0; i < 50 && m_steps < 50 && std::abs(2 * m_top - m_bottom) > 1; ++i)
                Go(m_density + (2 * m_top <= m_bottom ? 0.02 : -0.02));
            SearchColor(m_density < 0.08 ? 0.05 : 0.2);
            return;
        }
        See(band);
        Walk(-0.02, band, [&] { return m_bottom + 1 < m_top || (m_top > 0.15 && m_bottom <= 0); });
        Walk(0.02, band, [&] { return m_top + 4 < m_bottom || (m_bottom > 0 && m_top <= 0); });
        See(m_density);
    }
    void Walk(double step, double back, const std::function<bool()>& wanted) {
        for (; m_steps < 50 && wanted(); ++m_steps)
            Go(m_density + step);
        m_density = m_steps == 50 ? back : m_density;
    }
    void Go(double density) {
        const int level = static_cast<int>((density - 0.35) * 100.0);
        const int from = level <= 0 ? -20 : 20, to = level <= 0 ? -80 : 50;
        m_twin.SetHighlight(CQLLut::Remap(level, from, to, 0, level <= 0 ? 30 : -25));
        m_twin.SetShadow(CQLLut::Remap(level, from, to, 0, level <= 0 ? 30 : -20));
        See(density);
    }
    void See(double density) {
        m_density = density;
        m_twin.SetMidtone(static_cast<int>((density - 0.35) * 100.0));
        Weights black, white;
        for (int c = 0; c < 3; ++c) {
            black[c] = Behind(m_twin, c).CumulativePercentAt(393, 65536);
            white[c] = Behind(m_twin, c).CumulativePercentAt(m_color ? 58982 : 55705, 65536);
        }
        const Weights m = Means(m_twin);
        m_bottom = m_color ? Mean(black) : black[0];
        m_top = 100.0 - (m_color ? std::ranges::max(white) : white[0]);
        m_mean = (m_color ? 0.3 * m[0] + 0.59 * m[1] + 0.11 * m[2] : m[0]) / 65536.0;
    }
    double Cost(const Weights& w) {
        const double x = (Mean(w) - w[0]) / 0.3 - 0.1;
        SetPoint(m_twin, x, (-0.5 * x - (Mean(w) - w[1]) / 0.3) / 0.866025 + 0.15);
        Weights density = Means(m_twin);
        for (double& d : density)
            d = CToneAnalyser::CodeToDensity(static_cast<int>(d));
        return Squares(density, Mean(density));
    }
    void SearchColor(double step) {
        Weights &w = m_offsets, bright, e, off;
        SearchNeighbours(&w, step, DownTo(0.02), [this](const Weights& at) { return Cost(at); });
        m_twin.BrightestList().Average(&bright[0], &bright[1], &bright[2]);
        const bool dark = std::ranges::min(bright) <= 8191.0;
        for (double& b : bright)
            b = dark ? 0.0 : CToneAnalyser::CodeToDensity(static_cast<int>(b));
        const double mean = Mean(w), brightMean = Mean(bright);
        for (int c = 0; c < 3; ++c)
            e[c] = (w[c] -= mean) - (bright[c] -= brightMean);
        w[1] -= std::max(e[1] - (e[0] + e[2]), 0.0) * 0.35;
        w[0] -= std::min(e[0] - (e[1] + e[2]), 0.0) * 0.6;
        for (int c = 0; c < 3; ++c)
            off[c] = w[c] - bright[c];
        const double k = std::clamp(1.0 - std::sqrt(Squares(off, 0.0)) * 3.0, 0.3, 1.0);
        for (int c = 0; c < 3; ++c)
            w[c] = w[c] * k + (1.0 - k) * bright[c];
        Cost(w);
    }

    CNegativeToneAnalyser m_twin{0.0};
    bool m_color;
    Weights m_offsets{};
    double m_density = 0.0, m_bottom = 0.0, m_top = 0.0, m_mean = 0.0;
    int m_steps = 0;
};

// Among them walks up and down, clipping to balance, and two of 50 steps that lead nowhere.
TEST(NegativeSearch, FindsWhatItsWalkFinds) {
    for (const auto& [density, cast, spread] :
         {std::tuple{0.7, 0.25, 0.5}, {1.2, 0.2, 0.2}, {0.2, -0.02, 0.4}, {3.0, 0.1, 0.1}}) {
        for (const bool color : {true, false}) {
            const Pixels pixels = Scene(density, cast, spread);
            NegativeWalk walk(pixels, color);
            for (const bool expose : {false, true}) {
                CNegativeToneAnalyser analyser(0.0);
                analyser.SetExposeFlag(expose);
                analyser.SetSampleMode(color ? QL_SAMPLE_COLOR : QL_SAMPLE_MONO);
                EXPECT_TRUE(Analyse(analyser, pixels, QL_ANALYSE_TONE_AND_COLOR));
                EXPECT_EQ(LevelsOf(analyser), LevelsOf(walk.m_twin)) << density << color;
                if (expose)
                    walk.m_twin.ResetColor();
                EXPECT_EQ(PointsOf(analyser), PointsOf(walk.m_twin)) << density << color;
            }
        }
    }
}

TEST(NegativeSearch, DetectsTheFilmOnce) {
    // Bins of red and blue, and whether that is colour film: bin 250 is the last dark one.
    for (const auto& [red, blue, color] : {std::tuple{200, 250, true},
                                           {200, 251, false},
                                           {50, 151, false},
                                           {50, 150, true},
                                           {0, 300, true}}) {
        CNegativeToneAnalyser analyser(0.0);
        analyser.Histogram(0).Increment(red);
        analyser.Histogram(2).Increment(blue);
        EXPECT_EQ(analyser.IsColorFilm(), color) << red << " " << blue;
        analyser.StartCollect();
        EXPECT_EQ(analyser.IsColorFilm(), color);
    }
}

// What it found of white and black stood before it searched for the midtones.
template <typename Analyser>
void ExpectMidtones(const Pixels& pixels, bool expose, int highest) {
    QLAttribTree tree;
    Analyser a(&tree);
    a.SetExposeFlag(expose);
    EXPECT_TRUE(Analyse(a, pixels, QL_ANALYSE_TONE_AND_COLOR));
    const int found = a.Midtone();
    const QLColorPoint point = a.Point(1);
    a.SetMidtone(0);
    std::array<double, 2> at{};
    SearchNeighbours(&at, 0.1, DownTo(0.01), [&](const std::array<double, 2>& p) {
        SetPoint(a, p[0], p[1]);
        return Squares(Means(a), Mean(Means(a)));
    });
    SetPoint(a, expose ? at[0] : at[0] / 3.0, expose ? at[1] : at[1] / 3.0);
    EXPECT_NEAR(std::hypot(point.x - a.Point(1).x, point.y - a.Point(1).y), 0.0, 1e-3);
    const auto off = [&](int midtone) {
        a.SetMidtone(midtone);
        return Squares(Means(a), 11796.48);
    };
    for (int midtone = -60; expose && midtone <= highest; midtone += 20)
        EXPECT_GE(off(midtone), off(found)) << found;
}

TEST(LevelSearch, FindsTheBestMidtones) {
    for (const double density : {0.3, 0.7, 1.2, 1.8}) {
        const Pixels pixels = Scene(density, 0.05, density / 3.0);
        ExpectMidtones<CPhotoToneAnalyser>(pixels, true, 80);
        ExpectMidtones<CSlideToneAnalyser>(pixels, true, 20);
        ExpectMidtones<CSlideToneAnalyser>(pixels, false, 0);
    }
}

// The white of 2 percent is (1.2, 1.0, 0.8) times its mean, and level 35.7; the black of 0.1
// percent is (63935, 63935, 64735) below full scale, and half of 1600 is level -36.6.
TEST(LevelSearch, TakesWhiteAndBlackOfAnExposureFromTheEnds) {
    Pixels pixels(1000, {16000, 16000, 16000});
    std::fill_n(pixels.begin(), 30, Three{48000, 40000, 32000});
    std::fill_n(pixels.rbegin(), 10, Three{1600, 1600, 800});
    std::fill_n(pixels.begin(), 6, Three{64000, 64000, 64000});
    const auto expect = [&](auto&& analyser, double gain) {
        analyser.SetExposeFlag(true);
        EXPECT_TRUE(Analyse(analyser, pixels, QL_ANALYSE_TONE_AND_COLOR));
        EXPECT_EQ(analyser.Highlight() * 1000 + analyser.Shadow(), 36000 - 37);
        const double points[] = {-0.2 / gain, 0.11547 / gain, -0.04155, 0.07197};
        EXPECT_NEAR(analyser.Point(0).x, points[0], 2e-3);
        EXPECT_NEAR(analyser.Point(0).y, points[1], 2e-3);
        EXPECT_NEAR(analyser.Point(2).x, points[2], 2e-3);
        EXPECT_NEAR(analyser.Point(2).y, points[3], 2e-3);
    };
    QLAttribTree tree;
    expect(CPhotoToneAnalyser(&tree), 0.5);
    expect(CSlideToneAnalyser(&tree), 1.3);
}

TEST(NeighbourSearch, TakesTheFirstOfEqualsAndClosesIn) {
    std::array<double, 2> at{};
    int asked = 0;
    SearchNeighbours(&at, 0.9, DownTo(0.2), [&](const std::array<double, 2>& p) {
        ++asked;
        return -std::min(std::abs(p[0]) + std::abs(p[1]), 0.5);
    });
    EXPECT_EQ(at, (std::array{0.9, 0.0}));
    EXPECT_EQ(asked, 1 + 3 * 4) << "at 0.9 twice, at 0.3 once";
}

// Of 1000 pixels 10 are at the top; those up to 500 bins below are near it.
TEST(LevelSearch, LowersWhiteWherePixelsCrowd) {
    // Whether gray, the top bin, a bin and how many are there, one more such, the level of white:
    // 51200 - 7680 is 44.8 levels below 65535, 51200 - 3840 36.98, 51200 - 1280 31.8, 51200 29.2;
    // by the band of bins 3100 to 3599, 59200 - 3840 is 20.7; with 36 bins more, 65520 - 7680
    // is 15.7. White is never below 45874.
    // clang-format off
    for (const auto& [gray, top, bin, count, other, more, level] : {
             std::tuple{false, 3200, 3000, 360, 9, 0, 45}, {false, 3200, 3000, 359, 9, 0, 37},
             {false, 3200, 3000, 189, 9, 0, 29}, {false, 3700, 3150, 100, 3300, 100, 21},
             {false, 4095, 3560, 360, 9, 0, 16}, {true, 3200, 3000, 360, 9, 0, 32},
             {true, 3200, 3000, 560, 9, 0, 45}, {false, 1000, 900, 500, 9, 0, 40}}) {
        // clang-format on
        QLAttribTree tree;
        CPhotoToneAnalyser analyser(&tree);
        analyser.SetGray(gray);
        Pixels pixels(1000, {1600, 1600, 1600});
        const auto put = [&](int from, int n, int at) {
            std::fill_n(pixels.begin() + from, n, Three{at * 16, at * 16, at * 16});
        };
        put(0, count, bin);
        put(count, more, other);
        put(990, 10, top);
        EXPECT_TRUE(Analyse(analyser, pixels, QL_ANALYSE_TONE));
        EXPECT_EQ(LevelsOf(analyser), (Three{level, 0, -69})) << count;  // 1507 of 2184
    }
}

}  // namespace
