// Slides and negatives from the stream to the client, byte by byte, against what the formulas say:
// every setting that reaches film, on its own and together with others.

#include <gtest/gtest.h>

#include <span>

#include "engine/engine.h"
#include "tests/support/engine_rig.h"
#include "tests/support/plain_film_chain.h"
#include "tests/support/plain_neighbours.h"
#include "tests/support/plain_rows.h"

namespace {

using namespace plain_film;

// Settings as a person has them.
struct Case {
    const char* m_name;
    Film m_film;
    int m_type = kColor;
    int m_brightness = 0;  // both -1000 to 1000
    int m_contrast = 0;
    std::array<int, 3> m_levels = {};  // highlight, shadow, midtone; in place of the two above
    std::array<int, 2> m_hue = {};     // 1/100
    int m_saturation = 1000;           // 1/1000
    bool m_inverts = false;
    bool m_gamma18 = false;
    bool m_exposes = false;
    double m_shift = 0;
    std::array<double, 3> m_channelShift = {};

    bool HasLevels() const { return m_levels != std::array<int, 3>{}; }
};

constexpr Film S = Film::Slide;
constexpr Film N = Film::Negative;
// clang-format off
const Case kCases[] = {
    {"at rest", S}, {"at rest", N}, {"gray", S, kGray}, {"gray", N, kGray},
    {"line art", S, kLineArt}, {"line art", N, kLineArt},
    {"brighter", S, kColor, 640, 375}, {"darker", S, kColor, -719, -1000},
    {"brighter", N, kColor, 640, 375}, {"darker", N, kColor, -719, -1000},
    {"darker lines", N, kLineArt, 300, -999}, {"darker lines", S, kLineArt, -1000, 999},
    {"clipped", S, kColor, 0, 0, {40, -70, 25}}, {"flat", S, kColor, 0, 0, {-60, 55, -35}},
    {"bent", N, kColor, 0, 0, {40, -70, 25}}, {"bent back", N, kColor, 0, 0, {-60, 55, -35}},
    {"ends", S, kGray, 0, 0, {100, -100, 100}}, {"ends", S, kColor, 0, 0, {-100, 100, -100}},
    {"ends", N, kGray, 0, 0, {100, -100, 100}}, {"ends", N, kColor, 0, 0, {-100, 100, -100}},
    {"tinted", S, kColor, 0, 0, {}, {-45, 62}}, {"beyond", S, kGray, 0, 0, {}, {90, -90}},
    {"tinted", N, kColor, 0, 0, {}, {-45, 62}}, {"beyond", N, kGray, 0, 0, {}, {90, -90}},
    {"pale", S, kColor, 0, 0, {}, {}, 350}, {"strong", S, kColor, 0, 0, {}, {}, 1500},
    {"pale", N, kColor, 0, 0, {}, {}, 350}, {"strong", N, kGray, 0, 0, {}, {}, 1500},
    {"inverted", S, kColor, 200, -300, {}, {10, 20}, 1200, true},
    {"inverted", N, kColor, 0, 0, {30, -20, 45}, {10, 20}, 1200, true},
    {"inverted lines", N, kLineArt, -250, 0, {}, {}, 1000, true},
    {"gamma", S, kColor, 50, 0, {}, {}, 1000, false, true}, {"gamma", N, kGray, 50, 0, {}, {}, 1000, false, true},
    {"exposed", S, kColor, 0, 0, {30, 40, -60}, {25, -10}, 1000, false, false, true},
    {"exposed", S, kColor, 0, 0, {-20, -30, 45}, {}, 1000, false, false, true}, {"at rest", S},
    {"shifted", N, kColor, 0, 0, {}, {}, 1000, false, false, false, 0.21},
    {"shifted out", N, kColor, -1000, 0, {}, {}, 1000, false, false, false, -0.9},
    {"shifted apart", N, kColor, 100, 0, {}, {}, 1100, false, false, false, -0.05, {0.12, -0.07, 0.3}}};
// clang-format on

// Numbers that move every sample: a clipping gain, slopes of both signs in density, an element
// above the matrix limit, a density step of its own.
CTestProfile StrongProfile() {
    CTestProfile p;
    p.m_slideCoeffs = {1, {}, {4.6, 0, -3.7}, {1.05, 0.9, 1.2}, {1.4, 1.0, 0.75}, 0};
    p.m_negCoeffs = {1, {}, {900.7, 3.2, 0}, {1.3, 1.0, 0.8}, {1.9, 0.6, 1.005}, 0.065};
    const double slide[9] = {2.3, -0.6, -0.1, 0.2, 0.7, 0.1, -0.3, 0.1, 1.2};
    const double density[18] = {0.315,  -0.1, 0.112, -0.086, 0.4,    -0.2,  -0.078, -0.289, -0.136,
                                -0.245, 1.25, 0.33,  -0.066, -0.227, 0.043, 0.005,  -0.5,   4.9};
    const double post[9] = {1.2, -0.15, -0.05, -0.1, 1.3, -0.2, 0.03, -0.4, 1.37};
    std::copy_n(slide, 9, p.m_slide);
    std::copy_n(density, 18, p.m_density);
    std::copy_n(post, 9, p.m_post);
    return p;
}

// A write of a coordinate holds the point's length at 1, the other coordinate being 0 at first.
void SetPoint(const Case& c, Scan* s) {
    s->m_x = std::clamp(Fixed(c.m_hue[0] / 100.0), -1.0, 1.0);
    s->m_y = Fixed(c.m_hue[1] / 100.0);
    const double length = std::sqrt(s->m_x * s->m_x + s->m_y * s->m_y);
    if (length > 1.0) {
        s->m_x /= length;
        s->m_y /= length;
    }
}

Scan ScanOf(const Case& c, const CTestProfile& profile) {
    Scan s;
    s.m_film = c.m_film;
    s.m_type = c.m_type;
    const int black = c.HasLevels() ? c.m_levels[1] : -(c.m_contrast / 10);
    const int middle = c.HasLevels() ? c.m_levels[2] : c.m_brightness / 10;
    // Levels keep their meaning in the inverted image.
    s.m_highlight = c.m_inverts ? -black : c.m_levels[0];
    s.m_shadow = c.m_inverts ? -c.m_levels[0] : black;
    s.m_midtone = c.m_inverts ? -middle : middle;
    SetPoint(c, &s);
    s.m_exposes = c.m_exposes;
    s.m_exposureShift = Fixed(c.m_shift);
    std::transform(c.m_channelShift.begin(), c.m_channelShift.end(), s.m_channelShift, Fixed);
    s.m_saturation = Fixed(c.m_saturation / 1000.0);
    s.m_gamma18 = c.m_gamma18;
    s.m_inverts = c.m_inverts;
    const int threshold =
        c.m_brightness != 0 ? Held((1000 - c.m_brightness) * 65536 / 2000) : 55 * 512 - 1;
    s.m_threshold = c.m_inverts ? kTop - threshold : threshold;
    s.m_coeffs = c.m_film == S ? profile.m_slideCoeffs : profile.m_negCoeffs;
    for (double* numbers : {s.m_coeffs.m_offset, s.m_coeffs.m_gain, s.m_coeffs.m_gamma})
        std::transform(numbers, numbers + 3, numbers, Fixed);
    s.m_coeffs.m_densityStep = Fixed(s.m_coeffs.m_densityStep);
    std::copy_n(profile.m_slide, 9, s.m_slideMatrix);
    std::copy_n(profile.m_density, 18, s.m_density);
    std::copy_n(profile.m_post, 9, s.m_post);
    return s;
}

void Apply(CQLEngine& engine, const Case& c, const CTestProfile& profile) {
    CTestItem item;
    item.m_profile = &profile;
    // clang-format off
    item.m_longs = {{WIA_IPA_DATATYPE, c.m_type}, {QL_PROP_EXPOSURE_METHOD, c.HasLevels()},
        {QL_PROP_HIGHLIGHT_LEVEL, c.m_levels[0]}, {QL_PROP_SHADOW_LEVEL, c.m_levels[1]},
        {QL_PROP_MIDTONE_LEVEL, c.m_levels[2]}, {WIA_IPS_BRIGHTNESS, c.m_brightness},
        {WIA_IPS_CONTRAST, c.m_contrast}, {QL_PROP_HUE_X, c.m_hue[0]}, {QL_PROP_HUE_Y, c.m_hue[1]},
        {QL_PROP_SATURATION, c.m_saturation}, {QL_PROP_GAMMA, 2200}, {WIA_IPS_THRESHOLD, 54},
        {QL_PROP_TMA_SELECT, 1}, {QL_PROP_TMA_METHOD, c.m_film == N},
        {WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED}};
    // clang-format on
    engine.SetValue(QL_ATTR_INVERT, c.m_inverts);
    engine.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, c.m_exposes);
    engine.ReadItemSettings(&item);
    engine.SetValue(QL_ATTR_CURVE_SELECT, c.m_gamma18);
    engine.SetFixed(QL_ATTR_EXPOSURE_SHIFT, c.m_shift);
    for (int i = 0; i < 3; ++i)
        engine.SetFixed(QL_ATTR_CHANNEL_SHIFT_R + i, c.m_channelShift[static_cast<std::size_t>(i)]);
}

// Samples as they stand ahead of the threshold or of the inversion, red first.
std::vector<int> Developed(const CTestPicture& picture, const Scan& s, const Chain& chain) {
    const int channels = picture.m_bits / 8;
    const bool color = channels == 3 && s.m_type == kColor;
    const std::vector<int> samples =
        plain::SmoothedNoise(RedFirst(picture), picture.m_width, channels);
    std::vector<int> developed;
    for (auto v = samples.begin(); v != samples.end(); v += channels) {
        const Pixel p =
            channels == 3 ? chain.Color({v[0], v[1], v[2]}) : Pixel{0, chain.Gray(v[0]), 0};
        developed.insert(developed.end(), p.begin() + (color ? 0 : 1), p.end() - (color ? 0 : 1));
    }
    return plain::Sharpened(developed, picture.m_width, color ? 3 : 1);
}

Bytes Expected(const CTestPicture& picture, const Scan& s, const Chain& chain) {
    const std::vector<int> developed = Developed(picture, s, chain);
    std::function<bool(std::size_t)> bit;
    if (s.m_type == kLineArt)
        bit = [&](std::size_t i) { return developed[i] > s.m_threshold; };
    return BitmapRows(developed, static_cast<std::size_t>(picture.m_width),
                      picture.m_bits == 24 && s.m_type == kColor ? 3 : 1, s.m_inverts, bit);
}

void ExpectSame(CEngineRig& rig, const Case& c, const CTestProfile& profile, const char* how) {
    const Scan scan = ScanOf(c, profile);
    const Chain chain(scan);
    Apply(rig.m_engine, c, profile);
    for (const CTestPicture& picture :
         {NoisePicture(67, 23), NoisePicture(1, 1), NoisePicture(9, 3, 8)}) {
        EXPECT_TRUE(rig.RunStream(picture, {20}) == Expected(picture, scan, chain))
            << c.m_name << (c.m_film == S ? ", slide, type " : ", negative, type ") << c.m_type
            << ", " << picture.m_bits << " bits" << how;
    }
}

TEST(FilmChain, GivesTheWorkedOutBitmapWithEverySetting) {
    const CTestProfile strong = StrongProfile();
    for (const Case& c : kCases) {
        CEngineRig first;
        ExpectSame(first, c, strong, ", profile");
    }
    for (const Case& c : std::span(kCases).first(6)) {
        CEngineRig first;
        ExpectSame(first, c, CTestProfile(), "");
    }
}

// A scan is settled by its own settings alone, whatever one engine has done before.
TEST(FilmChain, OneEngineTakesAllSettingsAfterEachOther) {
    const CTestProfile strong = StrongProfile();
    CEngineRig rig;
    CTestItem paper;
    paper.m_profile = &strong;
    paper.m_longs = {{WIA_IPA_DATATYPE, 3},         {QL_PROP_EXPOSURE_METHOD, 1},
                     {QL_PROP_HIGHLIGHT_LEVEL, 33}, {QL_PROP_MIDTONE_LEVEL, -21},
                     {QL_PROP_HUE_X, 70},           {QL_PROP_TMA_SELECT, 2}};
    for (const Case& c : kCases) {
        if (c.m_type == kHalftone)
            continue;  // no item can ask for it
        ExpectSame(rig, c, strong, ", after others");
        if (c.m_saturation != 1000)
            rig.m_engine.ReadItemSettings(&paper);
    }
}

}  // namespace
