// The tables that the analysers build, against the same curves put together step by step, and what
// the photo analyser makes of the board.

#include <gtest/gtest.h>

#include <array>

#include "analysis/negative_analyser.h"
#include "analysis/photo_analyser.h"
#include "analysis/slide_analyser.h"
#include "tests/support/plain_film_chain.h"
#include "tests/support/stage_rig.h"

namespace {

using namespace plain_film;
using Three = std::array<int, 3>;

struct Settings {
    Three levels;            // highlight, shadow, midtone
    QLColorPoint points[3];  // of length 1 at most
};
const Settings kSettings[] = {{{0, 0, 0}, {}},
                              {{10, 20, -30}, {{-0.5, 0.0005}}},  // two channels almost alike
                              {{37, -40, 25}, {{0.4, 0.3}, {0.1, -0.2}, {0.5, -0.5}}},
                              {{-60, 70, -80}, {{-0.6, 0.8}, {}, {-1.0, 0.0}}},
                              {{100, -100, 100}, {{}, {-0.7, 0.7}, {0.0, 1.0}}},
                              {{-100, 100, -100}, {{0.0, -1.0}, {1.0, 0.0}, {}}}};

void Apply(CToneAnalyser& analyser, Settings s) {
    analyser.SetHighlight(s.levels[0]);
    analyser.SetShadow(s.levels[1]);
    analyser.SetMidtone(s.levels[2]);
    for (int i = 0; i < 3; ++i)
        analyser.SetPoint(s.points[i], i);
    analyser.BuildCurves();
}
Scan ScanOf(const Settings& s) {
    Scan scan;
    std::tie(scan.m_highlight, scan.m_shadow, scan.m_midtone) = std::tuple_cat(s.levels);
    std::tie(scan.m_x, scan.m_y) = std::tuple(s.points[1].x, s.points[1].y);
    return scan;
}
Table TableOf(const CQLLut* lut) {
    return {lut->Table(), lut->Table() + lut->Size()};
}

// Photographs: a ramp, the colour of the midtones, the limits of the output, the midtone.
struct PlainPhoto : Codes {
    PlainPhoto(const Settings& s, double whiteGain, int n)
        : Codes(s.levels[0], s.levels[1], n), m_midtone(s.levels[2]) {
        const double gains[] = {-whiteGain, 0.5, 0.03};
        for (int i = 0; i < 3; ++i) {
            auto values = OnAxes(s.points[i].x * gains[i], s.points[i].y * gains[i]);
            for (double& value : values)
                value += 1.0;
            const double scale = i == 1 ? 32768.0 : 65535.0 / std::ranges::max(values);
            for (int c = 0; c < 3; ++c) {
                const int code = Round(scale * std::max(values[c], 0.0));
                m_rgb[i][c] = i == 2 ? kTop - code : code;
            }
        }
    }
    Table Finish(Table t) const {
        Each(t, [&](int v) { return Remap(v, 0, kTop, m_outBlack, m_outWhite); });
        const double g = m_midtone < 0 ? m_midtone / 200.0 : m_midtone / 100.0;
        return g == 0.0 ? t : Behind(t, HeldGamma(g + 1.0, 4.0));
    }
    Table Color(int c) const {
        const std::int64_t above = m_rgb[0][c] - std::ranges::min(m_rgb[0]);
        const int low = m_rgb[2][c] - std::ranges::max(m_rgb[2]) + m_black;
        const Table t = Ramp(low, static_cast<int>(above * m_white / kTop) + m_white);
        const bool neutral = m_rgb[1] == Three{32768, 32768, 32768};
        return Finish(neutral ? t : Behind(t, HeldGamma(m_rgb[1][c] / 32768.0, 4.0)));
    }

    int m_midtone;
    std::array<Three, 3> m_rgb;  // of white, midtones, black
};

TEST(LevelCurves, AreTheirStepsOneBehindTheOther) {
    for (const Settings& s : kSettings) {
        QLAttribTree tree;
        CPhotoToneAnalyser photo(&tree);
        CSlideToneAnalyser slide(&tree), exposed(&tree);
        exposed.SetExposeFlag(true);
        photo.SetSourceMode(1);
        Apply(photo, s);
        Apply(slide, s);
        Apply(exposed, s);
        const PlainPhoto paper(s, 0.45, 7), film(s, 0.22, 30);
        const auto& [r, g, b] = film.m_rgb[0];
        const Tables tables = SlideTables(ScanOf(s));
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(TableOf(photo.Lut(c)), paper.Color(c)) << s.levels[0] << " " << c;
            EXPECT_EQ(TableOf(exposed.Lut(c)), film.Color(c)) << s.levels[0] << " " << c;
            EXPECT_EQ(TableOf(slide.Lut(c)), tables[c]) << s.levels[0] << " " << c;
            EXPECT_EQ(slide.WhitePoint()[c],
                      film.m_rgb[0][c] + kTop + film.m_white - film.m_outWhite - (r + g + b) / 3);
        }
        EXPECT_EQ(TableOf(photo.GrayTable()), paper.Finish(Ramp(paper.m_black, paper.m_white)));
    }
}

TEST(NegativeCurves, AreThoseOfTheFilmShiftedInDensity) {
    CNegativeToneAnalyser analyser(0.0);
    const auto expect = [&](const Settings& s, bool color, double step) {
        analyser.SetSampleMode(color ? QL_SAMPLE_COLOR : QL_SAMPLE_MONO);
        Apply(analyser, s);
        Scan scan = ScanOf(s);
        scan.m_exposureShift = analyser.ExposureShift();
        scan.m_channelShift[1] = analyser.ChannelShift(1);
        scan.m_coeffs.m_densityStep = step;
        Tables tables = FilmCurves(scan);
        const double density = s.levels[2] / 100.0 + 0.35 + scan.m_exposureShift;
        const auto hue = OnAxes(s.points[0].x, s.points[0].y);
        for (int c = 0; c < 3; ++c) {
            if (!color)
                tables[c] = Behind(FilmCurve(FilmTableB(), step == 0.0 ? 0.095 : step, density,
                                             s.levels[0] / 100.0, s.levels[1] / 100.0),
                                   Gamma(2.0 * (hue[c] * 0.3) + 1.0, 256));
            EXPECT_EQ(TableOf(analyser.Lut(c)), tables[c]) << s.levels[2] << " " << c << color;
        }
    };
    for (const Settings& s : kSettings) {
        expect(s, true, 0.0);
        expect(s, false, 0.0);
        expect(s, true, 0.0);  // the same curve, built anew behind that of the other film
    }
    analyser.SetExposureShift(0.1);
    analyser.SetChannelShift(1, -0.05);
    expect(kSettings[2], true, 0.0);
    analyser.SetFilmStep(0.25);  // beyond the dark end of the table
    expect(kSettings[2], true, 0.25);
    expect(kSettings[2], false, 0.25);
}

struct PhotoOnBoard : testing::Test {
    QLAttribTree m_tree;
    CTestBoard m_board{&m_tree};
    CPhotoToneAnalyser m_photo{&m_tree};
};

// A level is a hundredth of the way from white code 65535 to 16384, or from black code 0 to 2184.
// Reference 980 of black is 65535 - 980 * 65.535, 1311; 1300 of white is 131070 * 0.35, 45875; 1500
// is 32768, level 67, whose white code 32604 is at 54 and 60 when it is 1.2 and 1.1 times as high.
TEST_F(PhotoOnBoard, SettingsAndReferencesAreLevels) {
    m_photo.BuildCurves();
    EXPECT_EQ(m_photo.Lut(0)->At(52263), 65532);  // 41088 / 32768 a step up to white code 52264
    EXPECT_EQ(m_photo.Lut(0)->At(52264), 65535);
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_BRIGHTNESS), 1);
    // Written, levels, and what brightness or contrast read. A reset is the stage's to do.
    // clang-format off
    for (const auto& [id, value, levels, read] : {
             std::tuple{QL_ATTR_BRIGHTNESS, 999, Three{100, 0, 0}, 128},
             {QL_ATTR_BRIGHTNESS, -25, {0, 0, 0}, -25}, {QL_ATTR_BRIGHTNESS, -26, {-1, 0, 0}, -26},
             {QL_ATTR_BRIGHTNESS, -999, {-100, 0, 0}, -126}, {QL_ATTR_BRIGHTNESS, 0, {27, 0, 0}, 1},
             {QL_ATTR_CONTRAST, 128, {27, -100, 0}, 128}, {QL_ATTR_CONTRAST, 64, {27, -50, 0}, 64},
             {QL_ATTR_CONTRAST, -127, {27, 100, 0}, -126}, {QL_ATTR_CONTRAST, 0, {27, 0, 0}, 0},
             {QL_ATTR_AUTO_BLACK_REF, 980, {27, 0, 0}, 980}, {QL_ATTR_ADF, 1, {27, -60, 0}, 1},
             {QL_ATTR_AUTO_WHITE_REF, 1300, {40, -60, 0}, 1300},
             {QL_ATTR_AUTO_WHITE_REF, 1500, {40, -60, 0}, 1500},
             {QL_ATTR_RESET_TONE, 0, {67, -60, 0}, 0}, {QL_ATTR_EXPOSURE_PRESET, 1, {54, -60, -67}, 0},
             {QL_ATTR_RESET_TONE, 0, {67, -60, 0}, 0}, {QL_ATTR_EXPOSURE_PRESET, 2, {60, -60, -33}, 0},
             {QL_ATTR_EXPOSURE_PRESET, 3, {60, -60, -33}, 0},
             {QL_ATTR_EXPOSURE_PRESET, 5, {60, -60, 67}, 0}, {QL_ATTR_ADF, 0, {60, 0, 67}, 0}}) {
        // clang-format on
        if (id == QL_ATTR_RESET_TONE)
            m_photo.ResetTone();
        else if (id == QL_ATTR_ADF || id == QL_ATTR_AUTO_WHITE_REF || id == QL_ATTR_AUTO_BLACK_REF)
            m_board.Put(id, IntegerWord(value));
        else
            m_board.SetValue(id, IntegerWord(value));
        EXPECT_EQ((Three{m_photo.Highlight(), m_photo.Shadow(), m_photo.Midtone()}), levels) << id;
        EXPECT_EQ(m_board.GetInteger(id), read) << id << " " << value;
    }
}

}  // namespace
