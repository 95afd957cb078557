// Table stages: what whole images don't show of their settings, and how colours and colour tables
// travel through them.

#include <gtest/gtest.h>

#include <limits>

#include "stages/dark_neutral.h"
#include "stages/encoding_curve.h"
#include "stages/tone_levels.h"
#include "tests/support/stage_rig.h"
#include "tests/support/tone_support.h"

namespace {

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

using ToneLevels = StageTest<CToneLevelsStage>;
using DarkNeutral = StageTest<CDarkNeutralStage>;

TEST_F(ToneLevels, ColourTablesRunForwardToTheTailAndBackFromIt) {
    for (int c = 0; c < 3; ++c)
        m_board.PutReal(QL_ATTR_TONE_GAIN_R + c, 1 << c);
    CEncodingCurveStage curve(&m_tree);
    CQLFilterStage tail(&m_tree);
    RunColor(m_stage, {1, 2, 3});
    const QLColorTable start{2, {{8000, 200, 77}, {8000, 200}, {8000, 200}}};
    QLColorTable table = start;
    curve.SetUpstream(&m_stage);
    tail.SetUpstream(&curve);
    EXPECT_EQ(m_stage.MapColorTable(&table), QL_OK);
    const Table srgb = Srgb();
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(table.m_planes[c][0], srgb[8000 << c]);
    EXPECT_EQ(m_stage.MapColorTableBack(&table), QL_OK);
    EXPECT_EQ(std::memcmp(&table, &start, sizeof(table)), 0) << "entries beyond the count stay";
    table.m_count = 3000;
    EXPECT_EQ(m_stage.MapColorTable(&table), QL_OK) << "held at 256 entries";
    EXPECT_EQ(m_stage.MapColorTableBack(nullptr), QL_OK);
}

TEST_F(ToneLevels, NeutralGammaAndBlackBypassWhateverTheGain) {
    const Samples line{10000, 20000, 30000}, gained{12000, 20000, 30000};
    const auto expect = [&](std::int32_t id, double value, const Samples& in, const Samples& out) {
        m_board.PutReal(id, value);
        EXPECT_EQ(RunColor(m_stage, in), out) << id << " " << value;
        EXPECT_EQ(AskColor(m_stage, {in[0], in[1], in[2]}), (Samples{out[0], out[1], out[2]}));
    };
    expect(QL_ATTR_TONE_GAIN_R, 1.2, line, line);
    expect(QL_ATTR_GRAY_TONE_GAMMA, 2.0, line, line);
    EXPECT_EQ(RunGray(m_stage, {16384}), Samples{16384});
    expect(QL_ATTR_TONE_BLACK_B, 1.0 / 65536, line, gained);
    EXPECT_EQ(RunGray(m_stage, {16384}), Samples{32768});
    expect(QL_ATTR_TONE_BLACK_B, 0.0, line, line);
    expect(QL_ATTR_TONE_GAMMA_G, 1.0 + 1.0 / 65536, line, gained);
    // A black point that leaves no range, and one held at 0.
    expect(QL_ATTR_TONE_BLACK_R, 255.0, {0, 0, 0, 1, 0, 0}, {0, 0, 0, 65535, 0, 0});
    expect(QL_ATTR_TONE_BLACK_R, -3.0, {10, 0, 0}, {12, 0, 0});
}

TEST_F(ToneLevels, AWindowBlendsFromTheIdentityIntoTheCurve) {
    m_board.PutReal(QL_ATTR_TONE_GAMMA_R, 2.0);
    m_board.PutReal(QL_ATTR_TONE_GAIN_B, 0.5);
    const auto red = [&](std::int32_t center, std::int32_t width, const Samples& in) {
        m_board.Put(QL_ATTR_TONE_WINDOW_LOW, IntegerWord(center));
        m_board.Put(QL_ATTR_TONE_WINDOW_HIGH, IntegerWord(width));
        Samples out;
        for (const std::uint16_t v : in)
            out.push_back(RunColor(m_stage, {v, 0, 0})[0]);
        return out;
    };
    const Samples built = red(0, 0, {7681, 30000});
    // From 8192 to 24576, where the curve has 40132; blue has 12288 there, green stays as it is.
    EXPECT_EQ(red(64, 64, {0, 5000, 8192, 16384, 24576, 30000}),
              (Samples{0, 5000, 8192, 24162, 40132, built[1]}));
    EXPECT_EQ(RunColor(m_stage, {16384, 16384, 16384}), (Samples{24162, 16384, 10240}));
    // From (-2560, -2560) to (7680, 22435): 24995 / 10240 a step.
    EXPECT_EQ(red(10, 40, {0, 1000, 7680, 7681}), (Samples{3688, 6129, 22435, built[0]}));
    // From 39680 to 65534 in the last entry: a step of 32766 / 32768, which falls one short.
    EXPECT_EQ(red(255, 200, {30000, 39680, 65535}), (Samples{30000, 39680, 65533}));
    for (const std::int32_t center : {-kMost - 1, -300, kMost}) {
        for (const std::int32_t width : {-kMost - 1, -50, 0, kMost})
            EXPECT_EQ(red(center, width, {0, 65535}).size(), 2u) << "no bound is crossed";
    }
}

TEST_F(DarkNeutral, RampThenGammaThenGainWithinAWindow) {
    m_board.PutReal(QL_ATTR_SLIDE_CURVE_0, 1000.25);
    m_board.PutReal(QL_ATTR_SLIDE_TENTH, 0.25);  // 1000.5 in all, rounded to 1001
    m_board.PutReal(QL_ATTR_SLIDE_CURVE_4, 0.5);
    m_board.PutReal(QL_ATTR_SLIDE_CURVE_7, 2.0);
    // The root of 16384 is 32768, half of it again 16384. Blue's black point is the offset, 0.
    EXPECT_EQ(RunColor(m_stage, {1001, 16384, 9, 1002, 0, 1, 33268, 16384, 65535}),
              (Samples{0, 16384, 9, 1, 0, 1, 32767, 16384, 65535}));
    EXPECT_EQ(AskColor(m_stage, {33268, 16384, 9}), (Samples{32767, 16384, 9}));
    // The ramp starts at -999 (-999.75, rounded towards 0): 1000 steps of 65535 / 66534 lead to
    // 984.
    m_board.PutReal(QL_ATTR_SLIDE_TENTH, -2000.0);
    EXPECT_EQ(RunColor(m_stage, {1, 0, 0}), (Samples{984, 0, 0}));
    for (const std::int32_t id :
         {QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_TENTH, QL_ATTR_SLIDE_CURVE_7})
        m_board.PutReal(id, id == QL_ATTR_SLIDE_CURVE_7 ? 1.0 : 0.0);
    for (const std::int32_t id : {QL_ATTR_DARK_WINDOW_LOW, QL_ATTR_DARK_WINDOW_HIGH})
        m_board.Put(id, 64);  // from 8192 to 24576
    EXPECT_EQ(RunColor(m_stage, {5000, 5000, 5000, 16384, 16384, 16384, 30000, 30000, 30000}),
              (Samples{5000, 5000, 5000, 16384, 10240, 16384, 30000, 15000, 30000}));
}

TEST_F(DarkNeutral, DarkPixelsArePulledTowardsTheirMean) {
    // Weights of 16 by the limit 4 * 436 = 1744 and the sum r + 2g + b:
    //   100      15 * 16ths to 25 (from 100: (1600 - 1125) / 16 = 29; from 0: 375 / 16 = 23)
    //   1600     one 16th to 400 (0: 400 / 16 = 25; 800: 12400 / 16 = 775)
    //   1635     one 16th to 408 yet (1: 423 / 16 = 26; 817: 12663 / 16 = 791), and 1636 none
    const Samples line{100, 0, 0, 0, 400, 800, 1, 817, 0, 0, 818, 0, 0, 0, 0, 65535, 0, 0};
    const Samples pulled{29, 23, 23, 25, 400, 775, 26, 791, 25, 0, 818, 0, 0, 0, 0, 65535, 0, 0};
    EXPECT_EQ(RunColor(m_stage, line), line) << "nobody provides the attribute";
    for (const std::int32_t pull : {10, 0, -1}) {
        m_board.Put(QL_ATTR_DARK_PULL, IntegerWord(pull));
        EXPECT_EQ(RunColor(m_stage, line), pull == 0 ? line : pulled) << pull;
    }
    // Above ten it sets the limit for good: 65535 / 11 = 5957, of the sums 23828. 16000: (7828 *
    // 16) / 23828 = 5 towards 4000. 6000: (17828 * 16) / 23828 = 11 towards 1500.
    for (const std::int32_t pull : {11, 5}) {
        m_board.Put(QL_ATTR_DARK_PULL, IntegerWord(pull));
        EXPECT_EQ(RunColor(m_stage, {0, 8000, 0, 6000, 0, 0}),
                  (Samples{1250, 6750, 1250, 2906, 1031, 1031}));
    }
    m_board.Put(QL_ATTR_DARK_PULL, 150);  // back to 436
    m_board.PutReal(QL_ATTR_SLIDE_CURVE_3, 0.01);
    EXPECT_EQ(RunColor(m_stage, {10000, 0, 0}), (Samples{29, 23, 23})) << "dark behind the table";
    m_board.Put(QL_ATTR_DARK_PULL, 70000);
    EXPECT_EQ(RunColor(m_stage, {0, 0, 0, 100, 0, 0}), (Samples{0, 0, 0, 1, 0, 0})) << "limit 0";
}

}  // namespace
