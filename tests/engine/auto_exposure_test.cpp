// Analyses through a whole engine: what they make of scenes that were exposed wrongly, what a cut
// one leaves behind, and that the settings of a scan alone settle it.

#include <gtest/gtest.h>

#include <cmath>

#include "frame/film_curve.h"
#include "frame/output_type.h"
#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

enum Original { kPaper, kSlide, kNegative };
constexpr std::int32_t kWidth = 96;
constexpr std::int32_t kHeight = 72;

// Light of a scene, 0 to 1: a bright sky over a darker ground, with patches of grays and colours.
double Light(int x, int y, std::size_t c) {
    constexpr double kPatches[][3] = {{0.9, 0.9, 0.9},    {0.02, 0.02, 0.02}, {0.4, 0.1, 0.08},
                                      {0.1, 0.3, 0.1},    {0.08, 0.12, 0.4},  {0.2, 0.2, 0.2},
                                      {0.55, 0.45, 0.12}, {0.5, 0.35, 0.28}};
    const int place = x / 12 + y / 12 * 8;
    if (x % 12 > 2 && y % 12 > 2 && place % 3 == 1)
        return kPatches[place / 3 % 8][c];
    return y < kHeight * 2 / 5 ? 0.55 - 0.3 * y / kHeight + 0.05 * std::sin(x / 9.0)
                               : 0.05 + 0.1 * x / kWidth + 0.03 * std::sin(y / 3.0 + x / 5.0);
}

// The density that colour film gets from light: the film's row that makes this light again, at the
// settings at rest, which shift the layers apart.
double FilmDensity(double light, std::size_t c) {
    constexpr double kRest[] = {0.38, 0.373971, 0.296029};
    const double density = -std::log10(light);
    std::size_t row = 0;
    while (row < kFilmRows - 2 && FilmTableA()[row + 1].nominal > density)
        ++row;
    const double above = FilmTableA()[row].nominal;
    const double below = FilmTableA()[row + 1].nominal;
    return (static_cast<double>(row) + (above - density) / (above - below)) * kFilmStepA - kRest[c];
}

std::uint8_t Encoded(double light) {
    const double v = std::clamp(light, 0.0, 1.0);
    return static_cast<std::uint8_t>(
        255.0 * (v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055) + 0.5);
}

struct Exposure {
    double m_stops = 0.0;
    std::array<double, 3> m_cast = {1.0, 1.0, 1.0};

    double Factor(std::size_t c) const { return std::exp2(m_stops) * m_cast[c]; }
};

// The scene as light that comes from the original. Film of negatives has a density of 0.4 times the
// logarithm of what it was exposed to.
CTestPicture Scene(Original original, const Exposure& exposure) {
    CTestPicture picture{kWidth, kHeight, 24, {}};
    for (int i = 0; i < 3 * kWidth * kHeight; ++i) {
        const auto c = static_cast<std::size_t>(2 - i % 3);
        const double light = Light(i / 3 % kWidth, i / 3 / kWidth, c);
        const double more = exposure.Factor(c);
        picture.m_pixels.push_back(Encoded(
            original == kNegative ? std::pow(10.0, -FilmDensity(light, c) - 0.4 * std::log10(more))
                                  : light * more));
    }
    return picture;
}

void Hand(CQLEngine& engine, Original original, const std::map<DWORD, LONG>& settings = {}) {
    CTestProfile profile;
    profile.m_defaults.m_scannerGammaFixed = 1;
    CTestItem item;
    item.m_profile = &profile;
    // clang-format off
    item.m_longs = {{WIA_IPA_DATATYPE, 3}, {QL_PROP_EXPOSURE_METHOD, 0}, {WIA_IPS_BRIGHTNESS, 0},
                    {WIA_IPS_CONTRAST, 0}, {QL_PROP_HUE_X, 0}, {QL_PROP_HUE_Y, 0},
                    {QL_PROP_SATURATION, 1000}, {QL_PROP_TMA_SELECT, original == kPaper ? 0 : 1},
                    {QL_PROP_TMA_METHOD, original == kNegative}};
    // clang-format on
    for (const auto& [id, value] : settings)
        item.m_longs[id] = value;
    EXPECT_EQ(engine.ReadItemSettings(&item), S_OK);
}

// With exposure and colour by an analysis: of film negatives the usual one, else the exposure
// variant.
Bytes Developed(Original original, const Exposure& exposure) {
    CEngineRig rig;
    rig.FilterNothing();
    Hand(rig.m_engine, original);
    rig.m_engine.SetValue(QL_ATTR_AUTO_COLOR_ON, 1);
    rig.m_engine.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, original != kNegative);
    return rig.RunFile(Scene(original, exposure), false, true);
}

// In codes of 8 bits, over all samples that the exposure has left below full scale.
double MeanDifference(const Bytes& a, const Bytes& b, const Exposure& exposure) {
    double sum = 0;
    int count = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int pixel = static_cast<int>(i / 3);
        const std::size_t c = 2 - i % 3;
        if (Light(pixel % kWidth, pixel / kWidth, c) * exposure.Factor(c) < 1.0) {
            sum += std::abs(a[i] - b[i]);
            ++count;
        }
    }
    return sum / count;
}

// How far a wrongly exposed scene comes out from the well exposed one that went the same way. What
// is too bright on a positive has lost its lights, and no level is low enough for it: it is held
// against the scene itself, from which it is 41 codes off and more without.
TEST(AutoExposure, BringsWronglyExposedScenesTogether) {
    constexpr std::array<double, 3> kWarm = {1.0, 0.8, 0.65};
    constexpr std::array<double, 3> kCold = {0.7, 0.85, 1.0};
    const struct {
        Exposure m_exposure;
        double m_positive, m_negative;  // most codes
    } cases[] = {{{-1}, 2, 2},         {{-2}, 7, 2},        {{1}, 26, 2},
                 {{2}, 48, 2},         {{0, kWarm}, 17, 6}, {{-1, kWarm}, 17, 6},
                 {{-2, kCold}, 17, 6}, {{1, kCold}, 26, 6}};
    for (const Original original : {kPaper, kSlide, kNegative}) {
        const Bytes scene = Scene(kPaper, {}).m_pixels;
        const Bytes good = Developed(original, {});
        for (const auto& [exposure, positive, negative] : cases) {
            const bool film = original == kNegative;
            const bool lost = !film && exposure.m_stops > 0;
            EXPECT_LT(MeanDifference(Developed(original, exposure), lost ? scene : good,
                                     film ? Exposure{-9} : exposure),
                      film ? negative : positive)
                << "original " << original << ", " << exposure.m_stops << " stops, blue times "
                << exposure.m_cast[2];
        }
        EXPECT_LT(MeanDifference(good, scene, {}), original == kNegative ? 5 : 30);
    }
}

// ---- Images and settings that nobody would make

TEST(AutoExposure, OddImagesEndWithSettingsInTheirLimits) {
    Bytes red(3 * 20 * 9, 0);
    for (std::size_t i = 2; i < red.size(); i += 3)
        red[i] = 255;
    const CTestPicture pictures[] = {NoisePicture(1, 1),
                                     NoisePicture(33, 1),
                                     NoisePicture(1, 33),
                                     {20, 9, 24, Bytes(3 * 20 * 9, 0)},
                                     {20, 9, 24, Bytes(3 * 20 * 9, 255)},
                                     {20, 9, 24, red}};
    for (int at = 0; at < 6; ++at) {
        for (const CTestPicture& picture : pictures) {
            CEngineRig rig;
            Hand(rig.m_engine, static_cast<Original>(at / 2));
            rig.m_engine.SetValue(QL_ATTR_AUTO_COLOR_ON, 1);
            rig.m_engine.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, at % 2);
            const auto rowBytes =
                static_cast<std::size_t>(picture.m_width * picture.m_bits / 8 + 3) / 4 * 4;
            EXPECT_EQ(rig.RunFile(picture, false, true).size(),
                      rowBytes * static_cast<std::size_t>(picture.m_height));
            for (const std::int32_t id : {QL_ATTR_AUTO_WHITE, QL_ATTR_AUTO_MID, QL_ATTR_AUTO_BLACK})
                EXPECT_LE(std::abs(rig.Get(id)), 100);
            EXPECT_LE(std::hypot(rig.m_engine.GetFixed(QL_ATTR_HUE_X),
                                 rig.m_engine.GetFixed(QL_ATTR_HUE_Y)),
                      1.0001);
        }
    }
}

// The next plain scan of the program finds no request of it.
TEST(AutoExposure, ACutAnalysisLeavesNothingBehind) {
    for (const Original original : {kPaper, kSlide, kNegative}) {
        const CTestPicture picture = Scene(original, {-1});
        CEngineRig rig;
        CTestBoard board(rig.m_engine.Tree());
        Hand(rig.m_engine, original);
        rig.m_engine.SetValue(QL_ATTR_AUTO_COLOR_ON, 1);
        const Bytes plain = rig.RunFile(picture);
        const CTestBenchFile file(picture);
        rig.m_engine.Start();
        board.Put(QL_ATTR_HOLD_OUTPUT, 1);
        EXPECT_EQ(rig.m_engine.FireAnalyse(), S_FALSE);
        board.SetValue(QL_ATTR_HOLD_OUTPUT, 0);
        for (int scan = 0; scan < 2; ++scan) {
            rig.m_client.m_messages.clear();
            rig.m_engine.FireOpenAnalysed();
            EXPECT_TRUE(rig.m_client.Rows() == plain) << "original " << original;
        }
        EXPECT_EQ(rig.m_engine.FireAnalyse(), S_OK);
        rig.m_client.m_messages.clear();
        rig.m_engine.FireOpenAnalysed();
        EXPECT_FALSE(rig.m_client.Rows() == plain);
        rig.Finish();
    }
}

// Their chain has no threshold: the line art that comes next keeps its own.
TEST(AutoExposure, DitheredImagesAreAnalysedAsGrayOnes) {
    const CTestPicture picture = Scene(kPaper, {-1});
    std::int32_t white[3] = {};
    for (const auto type : {QL_OUTPUT_GRAY, QL_OUTPUT_HALFTONE}) {
        CEngineRig rig;
        Hand(rig.m_engine, kPaper, {{WIA_IPA_DATATYPE, QL_OUTPUT_LINE_ART}});
        rig.m_engine.SetValue(QL_ATTR_AUTO_THRESHOLD_ON, 1);
        const Bytes lineArt = rig.RunFile(picture);
        rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, static_cast<std::uint64_t>(type));
        rig.RunFile(picture, false, true);
        white[type] = rig.Get(QL_ATTR_AUTO_WHITE);
        rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, QL_OUTPUT_LINE_ART);
        rig.RunFile(picture);
        EXPECT_TRUE(rig.RunFile(picture) == lineArt) << "behind type " << type;
    }
    EXPECT_NE(white[QL_OUTPUT_GRAY], 0);
    EXPECT_EQ(white[QL_OUTPUT_HALFTONE], white[QL_OUTPUT_GRAY]);
}

TEST(AutoExposure, APaletteOfACutPassIsntMadeByALaterScan) {
    const CTestPicture picture = Scene(kPaper, {});
    for (const bool cut : {false, true}) {
        CEngineRig rig;
        CTestBoard board(rig.m_engine.Tree());
        Hand(rig.m_engine, kPaper);
        rig.m_engine.Notify(QL_ATTR_PALETTE_COLLECT);
        const CTestBenchFile file(picture);
        rig.m_engine.Start();
        board.Put(QL_ATTR_HOLD_OUTPUT, cut);
        EXPECT_EQ(rig.m_engine.FireAnalyse(), cut ? S_FALSE : S_OK);
        board.SetValue(QL_ATTR_HOLD_OUTPUT, 0);
        rig.Finish();
        EXPECT_EQ(rig.m_engine.HasOwnPalette(), !cut);
        rig.RunStream(picture, {20});
        EXPECT_EQ(rig.m_engine.HasOwnPalette(), !cut);
    }
}

// Of paper; film's settings are under the tests of its chains.
TEST(PaperSettings, AloneSettleAScan) {
    // clang-format off
    const std::map<DWORD, LONG> items[] = {
        {{WIA_IPS_BRIGHTNESS, -1000}, {WIA_IPS_CONTRAST, 450}, {QL_PROP_HUE_X, 90}, {QL_PROP_HUE_Y, 80}},
        {{QL_PROP_EXPOSURE_METHOD, 1}, {QL_PROP_HIGHLIGHT_LEVEL, 55}, {QL_PROP_SHADOW_LEVEL, -80},
         {QL_PROP_MIDTONE_LEVEL, 70}},
        {{QL_PROP_EXPOSURE_METHOD, 1}, {QL_PROP_HIGHLIGHT_LEVEL, -55}, {QL_PROP_SHADOW_LEVEL, 80},
         {QL_PROP_MIDTONE_LEVEL, -100}, {QL_PROP_HUE_Y, -100}},
        {}};
    // clang-format on
    const CTestPicture picture = NoisePicture(40, 25);
    CEngineRig rig;
    for (const auto& item : items) {
        CEngineRig fresh;
        Hand(fresh.m_engine, kPaper, item);
        const Bytes expected = fresh.RunStream(picture, {20});
        for (int time = 0; time < 3; ++time) {
            Hand(rig.m_engine, kPaper, item);
            EXPECT_TRUE(rig.RunStream(picture, {20}) == expected)
                << "item " << &item - items << ", time " << time;
        }
    }
}

}  // namespace
