// Complete bitmaps of reflective originals from the stream to the client, byte by byte, against
// pictures that are worked out here from the formulas alone, without the engine's own tables and
// stages.

#include <gtest/gtest.h>

#include <cmath>

#include "engine/engine.h"
#include "stages/palette_dither.h"
#include "tests/support/engine_rig.h"
#include "tests/support/plain_density.h"
#include "tests/support/plain_dither.h"
#include "tests/support/plain_film_chain.h"
#include "tests/support/plain_neighbours.h"
#include "tests/support/plain_rows.h"
#include "tests/support/tone_support.h"

namespace {

using plain_film::Fixed;
using plain_film::Matrix;

// Levels of a reflective original: black, gamma over 256 pieces with a 12-bit fraction, gain.
Table Levels(double black, double gamma, double gain) {
    Table t = Identity();
    for (int& v : t)
        v = plain_film::Remap(v, static_cast<int>(Fixed(black) * 65535.0 / 255.0), kTop, 0, kTop);
    t = WithGamma(t, Fixed(gamma));
    for (int& v : t)
        v = Held(Round(Fixed(gain) * v));
    t[0] = 0;
    return t;
}

// ---- Whole chains

enum Source { kFlatbed, kFeeder, kSlide, kNegative };
enum Type { kLineArt = 0, kHalftone = 1, kGray = 2, kColor = 3 };

struct Settings {
    Source m_source = kFlatbed;
    int m_type = kColor;
    double m_saturation = 1.0;
    bool m_invert = false;
    bool m_gamma18 = false;
    bool m_encoded = false;  // the samples of the source
    int m_threshold = 26111;
    CTestProfile m_profile = {};
};

// A picture on its way: samples red first.
struct Samples {
    int m_channels;
    std::vector<int> m_v;

    void Map(const Table& r, const Table& g, const Table& b) {
        const Table* const tables[] = {&r, &g, &b};
        for (std::size_t i = 0; i < m_v.size(); ++i)
            m_v[i] = (*tables[m_channels == 3 ? i % 3 : 0])[m_v[i]];
    }
};

Samples Decode(const CTestPicture& picture, bool encoded) {
    Samples s{picture.m_bits / 8, RedFirst(picture)};
    const Table curve = encoded ? Srgb() : Table();
    for (int& sample : s.m_v)
        sample = encoded ? Inverse(curve, sample) : sample;
    return s;
}

void Tone(Samples& samples, const Settings& s) {
    const CTestProfile& p = s.m_profile;
    const CoeffRecord& c = s.m_source == kFeeder ? p.m_feederCoeffs : p.m_flatbedCoeffs;
    if (s.m_type == kLineArt)
        return;
    const auto table = [&c](int i) { return Levels(c.m_offset[i], c.m_gamma[i], c.m_gain[i]); };
    if (samples.m_channels == 3) {
        samples.Map(table(0), table(1), table(2));
    } else {
        const Table gray = Levels(p.m_gray.m_offset, p.m_gray.m_gamma, p.m_gray.m_gain);
        samples.Map(gray, gray, gray);
    }
}

void Color(Samples& samples, const Settings& s) {
    const CTestProfile& p = s.m_profile;
    if (samples.m_channels != 3)
        return;
    Matrix matrix = Matrix::Rows(p.m_gray.m_matrix[0], p.m_gray.m_matrix[1], p.m_gray.m_matrix[2]);
    if (s.m_type == kColor) {
        std::copy_n(p.m_flatbed, 9, matrix.m);
        matrix = matrix.Then(Matrix::Saturation(Fixed(s.m_saturation)));
    }
    for (std::size_t i = 0; i < samples.m_v.size(); i += 3)
        matrix.MixUnlessNeutral(samples.m_v.data() + i);
}

void TakeGreen(Samples& samples) {
    if (samples.m_channels != 3)
        return;
    for (std::size_t i = 0; i < samples.m_v.size() / 3; ++i)
        samples.m_v[i] = samples.m_v[3 * i + 1];
    samples.m_v.resize(samples.m_v.size() / 3);
    samples.m_channels = 1;
}

// Samples as they stand before the threshold or the inversion.
Samples Developed(const CTestPicture& picture, const Settings& s) {
    Samples samples = Decode(picture, s.m_encoded);
    samples.m_v = plain::SmoothedNoise(samples.m_v, picture.m_width, samples.m_channels);
    Tone(samples, s);
    Color(samples, s);
    if (s.m_type != kLineArt) {
        // Brightness 0 takes 52264 for white: four fifths of full scale, in whole levels.
        const Table ramp = plain_film::Ramp(0, 52264);
        samples.Map(ramp, ramp, ramp);
        const Table curve = s.m_gamma18 ? HeldGamma(1.8, 16.0) : Srgb();
        samples.Map(curve, curve, curve);
    }
    if (s.m_type != kColor)
        TakeGreen(samples);
    samples.m_v = plain::Sharpened(samples.m_v, picture.m_width, samples.m_channels);
    return samples;
}

Bytes Expected(const CTestPicture& picture, const Settings& s) {
    const Samples samples = Developed(picture, s);
    const auto width = static_cast<std::size_t>(picture.m_width);
    // A halftone's threshold is read as people see it.
    const int divide = (s.m_invert ? kTop - s.m_threshold : s.m_threshold) >> 8;
    CPlainDither plain;
    plain.m_choose = [divide](const CPlainDither::Values& held) { return held[0] >= divide; };
    plain.m_color = [](int index) { return CPlainDither::Values{index * 255}; };
    const Bytes dots = s.m_type == kHalftone ? plain.Run(samples.m_v, width, 1) : Bytes();
    std::function<bool(std::size_t)> bit;
    if (s.m_type == kHalftone)
        bit = [&](std::size_t i) { return dots[i] != 0; };
    else if (s.m_type == kLineArt)
        bit = [&](std::size_t i) { return samples.m_v[i] > s.m_threshold; };
    return BitmapRows(samples.m_v, width, static_cast<std::size_t>(samples.m_channels), s.m_invert,
                      bit);
}

// ---- The same settings for the engine

void Apply(CQLEngine& engine, const Settings& s) {
    CTestItem item;
    CTestProfile profile = s.m_profile;
    profile.m_defaults.m_scannerGammaFixed = s.m_encoded;
    item.m_profile = &profile;
    // clang-format off
    item.m_longs = {{WIA_IPA_DATATYPE, s.m_type}, {QL_PROP_EXPOSURE_METHOD, 0},
            {WIA_IPS_BRIGHTNESS, 0}, {WIA_IPS_THRESHOLD, (s.m_threshold + 1) / 512 - 1},
            {QL_PROP_TMA_SELECT, s.m_source >= kSlide ? 1 : 2},
            {WIA_DPS_DOCUMENT_HANDLING_SELECT, s.m_source == kFeeder ? FEEDER : FLATBED},
            {QL_PROP_TMA_METHOD, s.m_source == kNegative ? 1 : 0},
            {QL_PROP_SATURATION, Round(s.m_saturation * 1000)}};
    // clang-format on
    engine.ReadItemSettings(&item);
    engine.SetValue(QL_ATTR_INVERT, s.m_invert);
    // Written while inverted, a threshold counts from the other end.
    if (s.m_type == kHalftone)
        engine.SetValue(QL_ATTR_THRESHOLD,
                        IntegerWord(s.m_invert ? kTop - s.m_threshold : s.m_threshold));
    engine.SetValue(QL_ATTR_CURVE_SELECT, s.m_gamma18);
}

void ExpectSame(CEngineRig& rig, const CTestPicture& picture, const Settings& s) {
    EXPECT_TRUE(rig.RunStream(picture, {20}) == Expected(picture, s))
        << picture.m_width << " x " << picture.m_height << ", " << picture.m_bits
        << " bits, source " << s.m_source << ", type " << s.m_type << ", saturation "
        << s.m_saturation;
}

// Tables that move every sample, with a clipping gain, an element above the matrix limit, blacks
// that are cut and gray weights that don't add up to 1.
CTestProfile StrongProfile() {
    CTestProfile p;
    p.m_flatbedCoeffs = {1, {}, {4.2, 0, 7.75}, {1.1, 0.95, 1.0}, {1.3, 0.8, 1.0}, 0};
    p.m_feederCoeffs = {1, {}, {0, 11.3, 2.1}, {1.0, 1.2, 0.9}, {1.0, 1.7, 1.1}, 0};
    p.m_gray = {1, {}, {0.25, 0.6, 0.2}, 3.3, 1.08, 1.25};
    const double flatbed[9] = {2.4, -0.3, -0.146, -0.051, 1.328, -0.078, 0.013, -0.268, 1.423};
    std::copy_n(flatbed, 9, p.m_flatbed);
    return p;
}

// The sizes that show faults: one pixel, too few for filters, odd ones, one line.
std::vector<CTestPicture> AwkwardPictures(std::int32_t bits) {
    std::vector<CTestPicture> pictures;
    for (const auto& [width, height] :
         {std::pair{1, 1}, {4, 7}, {6, 4}, {5, 5}, {9, 3}, {258, 1}, {533, 41}})
        pictures.push_back(NoisePicture(width, height, bits, static_cast<std::uint32_t>(width)));
    return pictures;
}

TEST(WholeChain, GivesTheWorkedOutBitmapOfEverySourceAndType) {
    for (int at = 0; at < 16; ++at) {
        Settings s;
        s.m_source = static_cast<Source>(at / 8);
        s.m_type = at / 2 % 4;
        if (at % 2 == 1) {
            s.m_profile = StrongProfile();
            s.m_saturation = 1.3;
        }
        CEngineRig rig;
        Apply(rig.m_engine, s);
        for (const std::int32_t bits : {24, 8}) {
            for (const CTestPicture& picture : AwkwardPictures(bits))
                ExpectSame(rig, picture, s);
        }
    }
}

TEST(WholeChain, AnyBandsAndTheBenchFileGiveTheSameBytes) {
    for (const int type : {kColor, kGray, kLineArt}) {
        Settings s;
        s.m_type = type;
        s.m_profile = StrongProfile();
        CEngineRig rig;
        Apply(rig.m_engine, s);
        const CTestPicture page = NoisePicture(533, 41);
        const Bytes expected = Expected(page, s);
        // The second of {6, 1} and on: one line at a time.
        const std::vector<std::vector<std::int32_t>> kPatterns = {
            {1}, {2}, {3}, {6, 1}, {7}, {8}, {19}, {20}, {41}, {64}, {5, 1, 9, 2, 30}};
        for (const auto& bands : kPatterns)
            EXPECT_TRUE(rig.RunStream(page, bands) == expected) << "bands of " << bands[0];
        for (const CTestPicture& picture : AwkwardPictures(24)) {
            for (const bool topDown : {false, true})
                EXPECT_TRUE(rig.RunFile(picture, topDown) == Expected(picture, s)) << topDown;
        }
    }
}

TEST(WholeChain, OneEngineTakesAllSettingsInAnyOrder) {
    // Source, type, saturation, inversion, gamma 1.8, encoded samples. Film, which is compared in
    // tests of its own, only comes between.
    // clang-format off
    Settings order[] = {
        {kSlide, kColor, 1.4}, {kFlatbed, kGray, 0.6}, {kNegative, kColor, 1.4},
        {kFeeder, kColor, 1.4}, {kFlatbed, kColor, 0.6}, {kNegative, kLineArt, 1.4},
        {kSlide, kGray, 1.4}, {kNegative, kGray, 0.5}, {kSlide, kLineArt, 1.4},
        {kNegative, kGray}, {kSlide, kColor, 1.4}, {kFlatbed, kLineArt, 0.6},
        {kFlatbed, kColor, 0.0}, {kFlatbed, kColor, 1.5, true}, {kFlatbed, kGray, 1.5, true},
        {kFlatbed, kHalftone, 1.5, true}, {kFlatbed, kGray, 1.5, 0, true},
        {kFlatbed, kColor, 1.5, 0, true}, {kFlatbed, kGray, 1.0, 0, 0, true},
        {kFlatbed, kLineArt, 1.0, 0, 0, true}, {kFlatbed, kColor, 1.0, 0, 0, true}};
    // clang-format on
    CEngineRig rig;
    for (Settings& s : order) {
        s.m_profile = StrongProfile();
        Apply(rig.m_engine, s);
        for (const std::int32_t bits : {8, 24}) {
            if (s.m_source >= kSlide)
                rig.RunStream(NoisePicture(37, 12, bits), {20});
            else
                ExpectSame(rig, NoisePicture(37, 12, bits), s);
        }
    }
}

// The colour picture, diffused over the entries that the engine's own look-up names.
Bytes ExpectedIndexed(CEngineRig& rig, const CTestPicture& picture, const Settings& s) {
    const auto* cells =
        WordPointer<const QLDitherLookup>(rig.m_engine.GetValue(QL_ATTR_PALETTE_TABLE_C));
    const auto* table =
        WordPointer<const QLPaletteTable>(rig.m_engine.GetValue(QL_ATTR_PALETTE_TABLE_B));
    CPlainDither plain;
    plain.m_choose = [=](const CPlainDither::Values& t) {
        return int{cells->m_cells[t[0] / 16 * 256 + t[1] / 16 * 16 + t[2] / 16]};
    };
    plain.m_color = [=](int index) {
        const auto& c = table->m_entries[index].m_colors;
        return CPlainDither::Values{c[0], c[1], c[2]};
    };
    const auto width = static_cast<std::size_t>(picture.m_width);
    const Bytes indices = plain.Run(Developed(picture, s).m_v, width, 3);
    return Padded(indices, width, 0xFF);
}

TEST(WholeChain, IndexedColourIsTheColourPictureDiffused) {
    for (const Source source : {kFlatbed, kFeeder}) {
        Settings s;
        s.m_source = source;
        s.m_profile = StrongProfile();
        CEngineRig rig;
        Apply(rig.m_engine, s);
        for (const int kind : {1, 2}) {
            rig.m_engine.SetValue(QL_ATTR_PALETTE_KIND, IntegerWord(kind));
            for (const CTestPicture& picture : AwkwardPictures(24)) {
                const Bytes rows = rig.RunStream(picture, {7});
                EXPECT_TRUE(rows == ExpectedIndexed(rig, picture, s)) << source << kind;
            }
        }
    }
}

TEST(WholeChain, RangeClipMarksTheFinishedTones) {
    CTestPicture page{6, 3, 8, Bytes(18, 255)};
    Settings s;
    s.m_type = kGray;
    CEngineRig rig;
    Apply(rig.m_engine, s);
    const QLRect rect = {1, 2, 2, 4};
    rig.m_engine.SetValue(QL_ATTR_CLIP_RECT, PointerWord(&rect));
    EXPECT_TRUE(rig.RunStream(page, {3}) == Expected(page, s)) << "both switches are off";
    rig.m_engine.SetValue(QL_ATTR_CLIP_HIGH, 1);
    for (int run = 0; run < 2; ++run) {
        const Bytes rows = rig.RunStream(page, {3});
        EXPECT_EQ(Bytes(rows.begin() + 8, rows.begin() + 14), (Bytes{255, 255, 0, 0, 255, 255}));
    }
}

TEST(WholeChain, TheAutomaticThresholdComesFromTheFirstPass) {
    // Writing on dull paper, whose brightness falls off below the fixed threshold.
    CTestPicture page{120, 40, 24, {}};
    for (int i = 0; i < 120 * 40; ++i) {
        const int gray = i % 7 == 0 ? 15 + i % 11 : 120 - i / 90;
        page.m_pixels.insert(page.m_pixels.end(), 3, static_cast<std::uint8_t>(gray));
    }
    Settings s;
    s.m_type = kLineArt;
    CEngineRig rig;
    Apply(rig.m_engine, s);
    std::vector<int> sorted = Developed(page, s).m_v;
    std::sort(sorted.begin(), sorted.end());
    // The samples that hold the darkest and the lightest 2 in 100 apart, 51 parts to 49.
    const auto part = static_cast<std::size_t>(static_cast<double>(sorted.size()) * 0.02 + 0.5);
    const int low = sorted[part - 1];
    const int high = sorted[sorted.size() - part];
    ASSERT_LT(low, 28160) << "else the narrow rule would hold";
    const Bytes before = rig.RunFile(page);
    EXPECT_TRUE(before == Expected(page, s));
    rig.m_engine.SetValue(QL_ATTR_AUTO_THRESHOLD_ON, 0);
    EXPECT_TRUE(rig.RunFile(page, false, true) == before) << "not wanted";
    rig.m_engine.SetValue(QL_ATTR_AUTO_THRESHOLD_ON, 1);
    const Bytes after = rig.RunFile(page, false, true);
    s.m_threshold = (low * 51 + high * 49) / 100;
    EXPECT_EQ(rig.Get(QL_ATTR_THRESHOLD), s.m_threshold);
    EXPECT_TRUE(after == Expected(page, s));
    EXPECT_FALSE(after == before);
}

}  // namespace
