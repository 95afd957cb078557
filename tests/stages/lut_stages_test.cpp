// Table stages: what their attributes make of lines, when they step aside, and how colours and
// colour tables travel through them.

#include "stages/channel_curve.h"
#include "stages/dark_neutral.h"
#include "stages/encoding_curve.h"
#include "stages/tone_levels.h"

#include <array>
#include <limits>

#include "tests/support/tone_support.h"

namespace {

// ---- the base, with tables of the test's own

class CTableStage final : public CLutStage {
  public:
    CTableStage(QLAttribTree* tree, std::uint16_t mode) : CLutStage(tree) { m_lutMode = mode; }

    // Makes a table of red (0), green, blue or gray (3) that multiplies by a power of two.
    void Gain(int channel, double gain) {
        m_lut[channel] = CQLLut::MakeFull();
        m_lut[channel]->Scale(gain);
    }
    CQLLut& Table(int channel) { return *m_lut[channel]; }
    void Bypass() { m_bypass = true; }
};

class LutStage : public testing::Test {
  protected:
    QLAttribTree m_tree;
    CTableStage m_single{&m_tree, 1};
    CTableStage m_channels{&m_tree, 3};

    LutStage() {
        m_single.Gain(3, 2.0);
        for (int c = 0; c < 3; ++c)
            m_channels.Gain(c, 1 << (c + 1));
    }
};

TEST_F(LutStage, ModesChooseTheTables) {
    const Samples line{100, 200, 300, 40000, 40000, 40000};
    EXPECT_EQ(RunColor(m_single, line), (Samples{200, 400, 600, 65535, 65535, 65535}));
    EXPECT_EQ(RunGray(m_single, line), (Samples{200, 400, 600, 65535, 65535, 65535}));
    EXPECT_EQ(RunColor(m_channels, line), (Samples{200, 800, 2400, 65535, 65535, 65535}));
    EXPECT_EQ(RunGray(m_channels, line), line) << "no gray table";
    m_channels.Gain(3, 0.5);
    EXPECT_EQ(RunGray(m_channels, line), (Samples{50, 100, 150, 20000, 20000, 20000}));
    CTableStage incomplete(&m_tree, 3);
    incomplete.Gain(0, 2.0);
    incomplete.Gain(1, 2.0);
    EXPECT_EQ(RunColor(incomplete, line), line) << "one channel's table is missing";
}

TEST_F(LutStage, NothingToDoIsNoErrorAndAnUnknownModeIs) {
    CTableStage unknown(&m_tree, 2);
    CLineSource source = GraySource(&m_tree, 1, {7});
    EXPECT_EQ(RunPass(source, unknown).m_read, QL_ERR_BAD_ARGUMENT);
    std::int32_t lines = 1;
    EXPECT_EQ(unknown.OnAfterRead(&lines, nullptr), QL_OK) << "no buffer";
    unknown.Bypass();
    EXPECT_EQ(RunPass(source, unknown).m_read, QL_OK);
    m_single.Bypass();
    EXPECT_EQ(RunGray(m_single, {5}), Samples{5});
    EXPECT_FALSE(m_single.IsActive());
}

TEST_F(LutStage, ColoursAreTransformedOnceUpstreamAnswers) {
    const auto ask = [](CQLStage& stage) {
        QLColorQuery query;
        std::fill_n(query.m_words, 12, std::uint16_t{1000});
        stage.TransformColor(&query);
        EXPECT_EQ(query.m_words[8], 1000) << "only the last three words are the colour";
        return Samples(query.Samples(), query.Samples() + 3);
    };
    const Samples same{1000, 1000, 1000};
    EXPECT_EQ(ask(m_single), same) << "nobody upstream";
    CLineSource color = ColorSource(&m_tree, 1, {1, 2, 3});
    RunPass(color, m_single);
    RunPass(color, m_channels);
    EXPECT_EQ(ask(m_single), (Samples{2000, 2000, 2000}));
    EXPECT_EQ(ask(m_channels), (Samples{2000, 4000, 8000}));
    CLineSource gray = GraySource(&m_tree, 1, {1});
    RunPass(gray, m_single);
    RunPass(gray, m_channels);
    EXPECT_EQ(ask(m_single), (Samples{2000, 2000, 2000}));
    EXPECT_EQ(ask(m_channels), same) << "one sample a pixel";
    m_single.Bypass();
    EXPECT_EQ(ask(m_single), same);
}

// Notes that a colour table came by, and answers.
class CTableTail final : public CQLStage {
  public:
    using CQLStage::CQLStage;
    QLStatus MapColorTable(QLColorTable* table) override { return Note(table); }
    QLStatus MapColorTableBack(QLColorTable* table) override { return Note(table); }

    QLStatus m_answer = QL_OK;
    int m_seen = -1;  // the first red value when the table came

  private:
    QLStatus Note(const QLColorTable* table) {
        m_seen = table ? table->m_planes[0][0] : -2;
        return m_answer;
    }
};

TEST_F(LutStage, ColourTablesRunForwardToTheTailAndBackFromIt) {
    QLColorTable table{2, {{100, 8000, 77}, {100, 8000}, {100, 8000}}};
    EXPECT_EQ(m_channels.MapColorTable(&table), QL_OK);
    EXPECT_EQ(table.m_planes[0][0], 100) << "nobody downstream";
    CTableTail tail(&m_tree);
    m_single.SetUpstream(&m_channels);
    tail.SetUpstream(&m_single);
    tail.m_answer = QL_ERR_TEMP_FILE;
    EXPECT_EQ(m_channels.MapColorTable(&table), QL_ERR_TEMP_FILE) << "the tail's answer";
    EXPECT_EQ(tail.m_seen, 400);
    EXPECT_EQ(table.m_planes[1][0], 800);
    EXPECT_EQ(table.m_planes[2][1], 65535);
    EXPECT_EQ(table.m_planes[0][2], 77) << "beyond the count";

    EXPECT_EQ(m_channels.MapColorTableBack(&table), QL_ERR_TEMP_FILE);
    EXPECT_EQ(table.m_planes[0][0], 400) << "the tail did not let it pass";
    tail.m_answer = QL_OK;
    EXPECT_EQ(m_channels.MapColorTableBack(&table), QL_OK);
    EXPECT_EQ(tail.m_seen, 400) << "the tail first";
    EXPECT_EQ(table.m_planes[0][0], 100);
    EXPECT_EQ(table.m_planes[1][0], 100);
    EXPECT_EQ(table.m_planes[0][1], 8000);

    EXPECT_EQ(m_channels.MapColorTable(nullptr), QL_OK);
    EXPECT_EQ(m_channels.MapColorTableBack(nullptr), QL_OK);
    table.m_count = 3000;
    EXPECT_EQ(m_channels.MapColorTable(&table), QL_OK) << "held at 256 entries";
    // A table that is not monotonic gives the first input that fits.
    m_channels.Table(0).SetIdentity();
    m_channels.Table(0).Set(50, 40000);
    m_single.Table(3).SetIdentity();
    QLColorTable one{1, {{30000}, {0}, {0}}};
    m_channels.MapColorTableBack(&one);
    EXPECT_EQ(one.m_planes[0][0], 50);
}

// ---- CEncodingCurveStage

TEST(EncodingCurve, SwitchesBetweenSrgbAndGamma18AndTellsSo) {
    QLAttribTree tree;
    std::vector<std::string> log;
    CTestListener listener(&tree, &log, "");
    listener.Subscribe(QL_ATTR_ENCODING_LUT);
    CEncodingCurveStage stage(&tree);
    EXPECT_EQ(log, std::vector<std::string>{"20037"}) << "the new provider";
    const auto* lut = WordPointer<const CQLLut>(listener.GetValue(QL_ATTR_ENCODING_LUT));
    ASSERT_NE(lut, nullptr);
    // By a calculator: 65535 * (1.055 * (1000 / 65535)^(1 / 2.4) - 0.055).
    EXPECT_EQ(RunColor(stage, {0, 1000, 65535}), (Samples{0, 8498, 65535}));
    EXPECT_EQ(RunGray(stage, {32768}), Samples{48192});

    CTestProvider select(&tree);
    select.Provide(QL_ATTR_CURVE_SELECT, 0);
    EXPECT_EQ(log.size(), 1u) << "no change";
    select.SetValue(QL_ATTR_CURVE_SELECT, 1);
    EXPECT_EQ(log.size(), 2u);
    EXPECT_EQ(WordPointer<const CQLLut>(listener.GetValue(QL_ATTR_ENCODING_LUT)), lut);
    // 65535 * (i / 65535)^(1 / 1.8) at 256 and 32768; the first line has a slope of 11.8 a step.
    EXPECT_EQ(RunColor(stage, {1, 256, 32768}), (Samples{11, 3010, 44590}));
    select.SetValue(QL_ATTR_CURVE_SELECT, 1);
    EXPECT_EQ(log.size(), 2u);
    CEncodingCurveStage late(&tree);
    EXPECT_EQ(RunGray(late, {256}), Samples{3010}) << "reads the switch when it is made";
    select.SetValue(QL_ATTR_CURVE_SELECT, 0);
    EXPECT_EQ(RunGray(stage, {1000}), Samples{8498});
}

// ---- CToneLevelsStage

class ToneLevels : public testing::Test {
  protected:
    ToneLevels() {
        for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_GAIN_B; ++id)
            m_provider.Provide(id, ToFixed(1.0));
        for (const std::int32_t id : {QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_G,
                                      QL_ATTR_TONE_BLACK_B, QL_ATTR_GRAY_TONE_BLACK})
            m_provider.Provide(id, ToFixed(0.0));
        m_provider.Provide(QL_ATTR_GRAY_TONE_GAIN, ToFixed(1.0));
        m_provider.Provide(QL_ATTR_GRAY_TONE_GAMMA, ToFixed(1.0));
        m_provider.Provide(QL_ATTR_TONE_WINDOW_LOW, 0);
        m_provider.Provide(QL_ATTR_TONE_WINDOW_HIGH, 0);
    }
    void Set(std::int32_t id, double value) { m_provider.SetFixed(id, value); }
    void SetGammas(double gamma) {
        for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_GAMMA_B; ++id)
            Set(id, gamma);
    }
    void SetWindow(std::int32_t center, std::int32_t width) {
        m_provider.SetValue(QL_ATTR_TONE_WINDOW_LOW, IntegerWord(center));
        m_provider.SetValue(QL_ATTR_TONE_WINDOW_HIGH, IntegerWord(width));
    }
    // Entries that every channel's table holds, by a line of gray pixels.
    Samples Neutral(const Samples& inputs) {
        Samples line;
        for (const std::uint16_t v : inputs) {
            for (int c = 0; c < 3; ++c)
                line.push_back(v);
        }
        const Samples out = RunColor(m_stage, line);
        Samples result;
        for (std::size_t i = 0; i < out.size(); i += 3) {
            EXPECT_EQ(out[i], out[i + 1]);
            EXPECT_EQ(out[i], out[i + 2]);
            result.push_back(out[i]);
        }
        return result;
    }

    QLAttribTree m_tree;
    CTestProvider m_provider{&m_tree};
    CToneLevelsStage m_stage{&m_tree};
};

TEST_F(ToneLevels, NeutralGammaAndBlackBypassWhateverTheGain) {
    const Samples line{10000, 20000, 30000};
    EXPECT_EQ(RunColor(m_stage, line), line);
    EXPECT_FALSE(m_stage.IsActive());
    Set(QL_ATTR_TONE_GAIN_R, 1.2);
    Set(QL_ATTR_GRAY_TONE_GAMMA, 2.0);
    EXPECT_EQ(RunColor(m_stage, line), line);
    EXPECT_EQ(RunGray(m_stage, {16384}), Samples{16384});
    Set(QL_ATTR_TONE_BLACK_B, 1.0 / 65536);
    EXPECT_EQ(RunColor(m_stage, line), (Samples{12000, 20000, 30000}));
    EXPECT_TRUE(m_stage.IsActive());
    Set(QL_ATTR_TONE_BLACK_B, 0.0);
    Set(QL_ATTR_TONE_GAMMA_G, 1.0 + 1.0 / 65536);
    EXPECT_EQ(RunColor(m_stage, line), (Samples{12000, 20000, 30000}));
    Set(QL_ATTR_TONE_GAMMA_G, 1.0);
    EXPECT_EQ(RunColor(m_stage, line), line) << "and back again, tables kept";
}

TEST_F(ToneLevels, BlackThenGammaThenGainInEachChannel) {
    Set(QL_ATTR_TONE_BLACK_R, 51.0);  // 51 * 257 = 13107; 39321 is half of what is left
    Set(QL_ATTR_TONE_GAMMA_G, 2.0);   // 16384 becomes 32768
    Set(QL_ATTR_TONE_GAIN_G, 0.5);    // behind the gamma: 16384, not 23170
    Set(QL_ATTR_TONE_GAIN_B, 1.2);
    EXPECT_EQ(RunColor(m_stage, {39321, 16384, 10000, 13107, 0, 60000}),
              (Samples{32767, 16384, 12000, 0, 0, 65535}));
    // A stage that is made later takes the same values over.
    CToneLevelsStage late(&m_tree);
    EXPECT_EQ(RunColor(late, {39321, 16384, 10000}), (Samples{32767, 16384, 12000}));
    Set(QL_ATTR_TONE_BLACK_R, 255.0);
    EXPECT_EQ(RunColor(m_stage, {0, 0, 0, 1, 0, 0}), (Samples{0, 0, 0, 65535, 0, 0}))
        << "no range left above the black point; entry 0 belongs to the window";
    Set(QL_ATTR_TONE_BLACK_R, 1000.0);
    EXPECT_EQ(RunColor(m_stage, {9, 0, 0}), (Samples{65535, 0, 0})) << "held at 65535";
    Set(QL_ATTR_TONE_BLACK_R, -3.0);
    EXPECT_EQ(RunColor(m_stage, {9, 0, 0}), (Samples{9, 0, 0})) << "held at 0";
}

TEST_F(ToneLevels, GrayLinesHaveACurveOfTheirOwn) {
    Set(QL_ATTR_TONE_GAMMA_R, 2.0);
    EXPECT_EQ(RunGray(m_stage, {0, 16384, 65535}), (Samples{0, 16384, 65535}));
    Set(QL_ATTR_GRAY_TONE_BLACK, 25.5);  // 6553.5, cut
    Set(QL_ATTR_GRAY_TONE_GAMMA, 2.0);
    Set(QL_ATTR_GRAY_TONE_GAIN, 0.5);
    // (22784 - 6553) / 58982 of full scale is 18034; its root 34378, half of that 17189.
    EXPECT_EQ(RunGray(m_stage, {0, 22784}), (Samples{0, 17189}));
    // Lines that are not in the internal form pass.
    CLineSource bytes(&m_tree, QL_PIXEL_GRAY8, 4, {1, 2, 3, 4});
    EXPECT_EQ(RunPass(bytes, m_stage).m_bytes, (std::vector<std::uint8_t>{1, 2, 3, 4}));
}

TEST_F(ToneLevels, AWindowBlendsFromTheIdentityIntoTheCurve) {
    SetGammas(2.0);
    const Samples built = Neutral({0, 8192, 16384, 24576, 30000});
    // Centre 64, width 64: from 8192 to 24576, where the curve has 40132.
    SetWindow(64, 64);
    EXPECT_EQ(Neutral({0, 5000, 8192, 16384, 24576, 30000}),
              (Samples{0, 5000, 8192, 24162, 40132, built[4]}));
    SetWindow(0, 0);
    EXPECT_EQ(Neutral({0, 8192, 16384, 24576, 30000}), built);
    SetWindow(64, 0);
    EXPECT_EQ(Neutral({16383, 16384, 30000}), (Samples{16383, 16384, built[4]}));
    SetWindow(64, 64);  // only the width is new
    EXPECT_EQ(Neutral({16384}), Samples{24162});
}

TEST_F(ToneLevels, EachTableIsBlendedIntoItsOwnValue) {
    Set(QL_ATTR_TONE_GAMMA_R, 2.0);
    Set(QL_ATTR_TONE_GAIN_B, 0.5);
    SetWindow(64, 64);
    // Green stays the identity; blue runs from 8192 to 12288.
    EXPECT_EQ(RunColor(m_stage, {16384, 16384, 16384}), (Samples{24162, 16384, 10240}));
    Set(QL_ATTR_GRAY_TONE_GAIN, 0.5);
    EXPECT_EQ(RunGray(m_stage, {16384}), Samples{10240});
}

TEST_F(ToneLevels, AWindowThatReachesOverTheTableStaysInside) {
    SetGammas(2.0);
    const Samples built = Neutral({7681, 30000, 65535});
    // From (-2560, -2560) to (7680, 22435): 24995 / 10240 a step.
    SetWindow(10, 40);
    EXPECT_EQ(Neutral({0, 1000, 7680, 7681}), (Samples{3688, 6129, 22435, built[0]}));
    // From 39680 to 65534 in the last entry: a step of 32766 / 32768, which falls one short.
    SetWindow(255, 200);
    EXPECT_EQ(built[2], 65534);
    EXPECT_EQ(Neutral({30000, 39680, 65535}), (Samples{30000, 39680, 65533}));
    SetWindow(400, 0);
    EXPECT_EQ(Neutral({11264, 30000, 65535}), (Samples{11264, 30000, 65535})) << "all identity";
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t center : {-kMost - 1, -300, kMost}) {
        for (const std::int32_t width : {-kMost - 1, -50, 0, kMost}) {
            SetWindow(center, width);
            Neutral({0, 30000, 65535});  // no bound is crossed
        }
    }
}

// ---- CChannelCurveStage

TEST(ChannelCurve, BlackThenGainThenGammaAndGrayPasses) {
    QLAttribTree tree;
    CTestProvider provider(&tree);
    const double values[9] = {4096, 0, 0, 2, 1, 1, 2, 1.8, 1.8008};
    for (int i = 0; i < 9; ++i)
        provider.Provide(QL_ATTR_NEG_CURVE_0 + i, ToFixed(values[i]));
    CChannelCurveStage stage(&tree);
    // 16384 of 61439 is 17476, twice that 34952, and its root 47860. What the gain clips stays
    // white.
    const std::uint16_t green = static_cast<std::uint16_t>(GammaNode(4096, 1.8));
    // Blue's gamma lies within a thousandth of green's, whose curve stands.
    EXPECT_EQ(RunColor(stage, {20480, 4096, 4096, 4096, 0, 0, 50000, 65535, 65535}),
              (Samples{47860, green, green, 0, 0, 0, 65535, 65535, 65535}));
    EXPECT_EQ(RunGray(stage, {20480, 4096}), (Samples{20480, 4096}));
    // The second scan has the new settings.
    provider.SetFixed(QL_ATTR_NEG_CURVE_0, 0.0);
    provider.SetFixed(QL_ATTR_NEG_CURVE_6, 1.0);
    provider.SetFixed(QL_ATTR_NEG_CURVE_8, 1.802);
    const std::uint16_t blue = static_cast<std::uint16_t>(GammaNode(4096, 1.802));
    EXPECT_EQ(RunColor(stage, {20480, 4096, 4096}), (Samples{40960, green, blue}));
    EXPECT_NE(green, blue);
    for (int i = 0; i < 9; ++i)
        provider.SetFixed(QL_ATTR_NEG_CURVE_0 + i, -7.5);
    EXPECT_EQ(RunColor(stage, {0, 30000, 65535}), (Samples{0, 0, 0}))
        << "negative values are defined";
}

// ---- CDarkNeutralStage

class DarkNeutral : public testing::Test {
  protected:
    // Without a call nobody provides the attribute.
    void Pull(std::int32_t n) {
        if (!m_provided)
            m_provider.Provide(QL_ATTR_DARK_PULL, 0);
        m_provided = true;
        m_provider.SetValue(QL_ATTR_DARK_PULL, IntegerWord(n));
    }

    QLAttribTree m_tree;
    CTestProvider m_provider{&m_tree};
    CDarkNeutralStage m_stage{&m_tree};
    bool m_provided = false;
};

TEST_F(DarkNeutral, RampThenGammaThenGainAndGrayPasses) {
    const Samples dark{100, 0, 0, 30000, 30001, 30002};
    EXPECT_EQ(RunColor(m_stage, dark), dark) << "neutral curves, and no pull without its attribute";
    m_provider.Provide(QL_ATTR_SLIDE_CURVE_0, ToFixed(1000.25));
    m_provider.Provide(QL_ATTR_SLIDE_TENTH, ToFixed(0.25));  // 1000.5 in all, rounded to 1001
    m_provider.Provide(QL_ATTR_SLIDE_CURVE_4, ToFixed(0.5));
    m_provider.Provide(QL_ATTR_SLIDE_CURVE_7, ToFixed(2.0));
    // The root of 16384 is 32768, half of it again 16384. Blue has a black point at the offset, 0.
    EXPECT_EQ(RunColor(m_stage, {1001, 16384, 9, 1002, 0, 1, 33268, 16384, 65535}),
              (Samples{0, 16384, 9, 1, 0, 1, 32767, 16384, 65535}));
    EXPECT_EQ(RunGray(m_stage, {1001, 33268}), (Samples{1001, 33268}));
    EXPECT_FALSE(m_stage.IsActive());
    // The ramp starts at -999 (-999.75, rounded towards 0): 1000 steps of 65535 / 66534 lead to
    // 984.
    m_provider.SetFixed(QL_ATTR_SLIDE_TENTH, -2000.0);
    EXPECT_EQ(RunColor(m_stage, {1, 0, 0}), (Samples{984, 0, 0}));
    EXPECT_TRUE(m_stage.IsActive());
    m_provider.SetFixed(QL_ATTR_SLIDE_CURVE_0, 32767.9);
    m_provider.SetFixed(QL_ATTR_SLIDE_TENTH, 32767.9);
    EXPECT_EQ(RunColor(m_stage, {65534, 0, 0, 65535, 0, 0}), (Samples{0, 0, 0, 65535, 0, 0}));
}

TEST_F(DarkNeutral, ColourThatIsNotInternalIsLeftAlone) {
    m_provider.Provide(QL_ATTR_SLIDE_CURVE_3, ToFixed(0.5));
    QLColorQuery query;
    query.Samples()[0] = 1000;
    CLineSource bytes(&m_tree, QL_PIXEL_RGB8, 1, {9, 9, 9});
    EXPECT_EQ(RunPass(bytes, m_stage).m_bytes, (std::vector<std::uint8_t>{9, 9, 9}));
    EXPECT_EQ(m_stage.TransformColor(&query), 1);
    EXPECT_EQ(query.Samples()[0], 1000);
    CLineSource internal = ColorSource(&m_tree, 1, {9, 9, 9});
    RunPass(internal, m_stage);
    m_stage.TransformColor(&query);
    EXPECT_EQ(query.Samples()[0], 500);
}

TEST_F(DarkNeutral, TheWindowTakesThreeTables) {
    for (int c = 0; c < 3; ++c)
        m_provider.Provide(QL_ATTR_SLIDE_CURVE_3 + c, ToFixed(c == 2 ? 1.0 : 0.5));
    m_provider.Provide(QL_ATTR_DARK_WINDOW_LOW, IntegerWord(64));
    m_provider.Provide(QL_ATTR_DARK_WINDOW_HIGH, IntegerWord(64));
    EXPECT_EQ(RunColor(m_stage, {5000, 16384, 16384, 30000, 30000, 30000}),
              (Samples{5000, 10240, 16384, 15000, 15000, 30000}));
}

TEST_F(DarkNeutral, DarkPixelsArePulledTowardsTheirMean) {
    Pull(10);
    // Weights of 16 by the limit 4 * 436 = 1744 and the sum r + 2g + b:
    //   100      15 * 16ths to 25 (from 100: (1600 - 1125) / 16 = 29; from 0: 375 / 16 = 23)
    //   1600     one 16th to 400 (0: 400 / 16 = 25; 800: 12400 / 16 = 775)
    //   1744     none, and one below it none either
    const Samples line{100, 0, 0, 0, 400, 800, 0, 872, 0, 0, 871, 1, 0, 0, 0, 65535, 0, 0};
    const Samples pulled{29, 23, 23, 25, 400, 775, 0, 872, 0, 0, 871, 1, 0, 0, 0, 65535, 0, 0};
    EXPECT_EQ(RunColor(m_stage, line), pulled);
    Pull(-1);
    EXPECT_EQ(RunColor(m_stage, line), pulled) << "any value but 0";
    EXPECT_EQ(RunGray(m_stage, {100, 0, 0}), (Samples{100, 0, 0}));
    Pull(0);
    EXPECT_EQ(RunColor(m_stage, line), line);
}

TEST_F(DarkNeutral, APullAboveTenSetsTheLimitForGood) {
    const Samples line{0, 8000, 0, 6000, 0, 0};
    Pull(11);  // 65535 / 11 = 5957, the sums' limit 23828
    // 16000: (7828 * 16) / 23828 = 5 towards 4000. 6000: (17828 * 16) / 23828 = 11 towards 1500.
    const Samples pulled{1250, 6750, 1250, 2906, 1031, 1031};
    EXPECT_EQ(RunColor(m_stage, line), pulled);
    Pull(5);
    EXPECT_EQ(RunColor(m_stage, line), pulled) << "the limit stays";
    Pull(70000);
    EXPECT_EQ(RunColor(m_stage, {0, 0, 0, 1, 0, 0}), (Samples{0, 0, 0, 1, 0, 0})) << "limit 0";
}

TEST_F(DarkNeutral, ThePullComesBehindTheTables) {
    m_provider.Provide(QL_ATTR_SLIDE_CURVE_3, ToFixed(0.01));
    Pull(1);
    // Red 10000 becomes 100 and is dark only then.
    EXPECT_EQ(RunColor(m_stage, {10000, 0, 0}), (Samples{29, 23, 23}));
}

}  // namespace
