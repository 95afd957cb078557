// How an item's properties become attributes, and what the engine answers for its tables.

#include <gtest/gtest.h>

#include "engine/engine.h"
#include "tests/support/engine_rig.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kUntouched = 7777;

class ItemSettings : public testing::Test {
  protected:
    ItemSettings() {
        // In place of the stages that hold the tone settings.
        for (const std::int32_t id :
             {QL_ATTR_BRIGHTNESS, QL_ATTR_CONTRAST, QL_ATTR_HIGHLIGHT, QL_ATTR_SHADOW,
              QL_ATTR_MIDTONE, QL_ATTR_GAMMA, QL_ATTR_HUE_X, QL_ATTR_HUE_Y, QL_ATTR_SHARPEN_LEVEL})
            m_board.Put(id, kUntouched);
        m_item.m_longs[QL_PROP_EXPOSURE_METHOD] = 0;
    }
    // Reads with some properties set; how often the saturation was looked at.
    std::ptrdiff_t ReadWith(const std::map<DWORD, LONG>& longs) {
        for (const auto& [id, value] : longs)
            m_item.m_longs[id] = value;
        m_item.m_reads.clear();
        EXPECT_EQ(m_engine.ReadItemSettings(&m_item), S_OK);
        return std::count(m_item.m_reads.begin(), m_item.m_reads.end(), QL_PROP_SATURATION);
    }
    std::int32_t Get(std::int32_t id) { return m_rig.Get(id); }
    double Real(std::int32_t id) { return m_engine.GetFixed(id); }
    const double* Numbers(std::int32_t id) {
        return WordPointer<const double>(m_engine.GetValue(id));
    }

    CEngineRig m_rig;
    CQLEngine& m_engine = m_rig.m_engine;
    CTestBoard m_board{m_engine.Tree()};
    CTestItem m_item;
};

TEST_F(ItemSettings, ReachTheirAttributes) {
    // -999 x 128 / 1000 = -127.87, cut; 2.2 x 65536 = 144179.2; -0.33 x 65536 + 0.5 = -21626.38;
    // 1.3 x 65536 = 85196.8, rounded. Levels count with another exposure method only, and the
    // midtone, which no slider moves, is 0 without it.
    // clang-format off
    ReadWith({{WIA_IPA_DATATYPE, 2}, {QL_PROP_HIGHLIGHT_LEVEL, 11}, {WIA_IPS_BRIGHTNESS, -999},
              {WIA_IPS_CONTRAST, 1000}, {QL_PROP_GAMMA, 2200}, {QL_PROP_HUE_X, -33},
              {QL_PROP_HUE_Y, 50}, {QL_PROP_SATURATION, 1300}, {QL_PROP_SHARPEN_LEVEL, 4}});
    for (const auto& [id, value] : {
             std::pair{QL_ATTR_OUTPUT_TYPE, 2}, {QL_ATTR_BRIGHTNESS, -127}, {QL_ATTR_CONTRAST, 128},
             {QL_ATTR_HIGHLIGHT, kUntouched}, {QL_ATTR_GAMMA, 144179}, {QL_ATTR_HUE_X, -21626},
             {QL_ATTR_HUE_Y, 32768}, {QL_ATTR_SATURATION, 85197}, {QL_ATTR_SHARPEN_LEVEL, 4}})
        EXPECT_EQ(Get(id), value) << id;
    ReadWith({{QL_PROP_EXPOSURE_METHOD, 1}, {QL_PROP_SHADOW_LEVEL, -12}, {WIA_IPS_BRIGHTNESS, 500},
              {WIA_IPA_DATATYPE, 1}});
    for (const auto& [id, value] : {
             std::pair{QL_ATTR_HIGHLIGHT, 11}, {QL_ATTR_SHADOW, -12}, {QL_ATTR_MIDTONE, 0},
             {QL_ATTR_BRIGHTNESS, -127}, {QL_ATTR_OUTPUT_TYPE, 1}})
        EXPECT_EQ(Get(id), value) << id;
    // clang-format on
    m_item.m_longs = {{WIA_IPA_DATATYPE, 3}, {QL_PROP_GAMMA, 1000}, {QL_PROP_TMA_SELECT, 1}};
    for (const HRESULT missing : {S_FALSE, E_FAIL}) {
        m_item.m_missing = missing;
        EXPECT_EQ(m_engine.ReadItemSettings(&m_item), missing)
            << "ends without the exposure method";
        EXPECT_EQ(Get(QL_ATTR_OUTPUT_TYPE), 3) << "the data type stands in front";
        EXPECT_EQ(Get(QL_ATTR_GAMMA), 144179);
    }
    EXPECT_EQ(m_engine.ReadItemSettings(nullptr), E_INVALIDARG);
}

TEST_F(ItemSettings, FiltersAreChosenAndStreaksAreProvidedForOnRequest) {
    const auto read = [this](LONG smoothing, LONG streaks, LONG detail) {
        ReadWith({{QL_PROP_SMOOTHING, smoothing},
                  {QL_PROP_STREAKS, streaks},
                  {QL_PROP_STREAK_DETAIL, detail}});
        std::vector<std::int32_t> values;
        for (const std::int32_t id : {QL_ATTR_SMOOTH_ON, QL_ATTR_DESTREAK_A, QL_ATTR_DESTREAK_B,
                                      QL_ATTR_DESTREAK_C, QL_ATTR_DESTREAK_D, QL_ATTR_DESTREAK_E})
            values.push_back(Get(id));
        return values;
    };
    using Values = std::vector<std::int32_t>;
    EXPECT_EQ(read(2, 0, 1), (Values{1, 0, 0, 0, 0, 0})) << "nobody answers";
    m_item.m_longs[QL_PROP_STREAKS] = 2;
    {
        const CFailingAllocation failing(1, true);
        EXPECT_EQ(m_engine.ReadItemSettings(&m_item), E_OUTOFMEMORY) << "and not without, silently";
    }
    EXPECT_EQ(read(1, 2, 1), (Values{0, 2, 2, 1, 1, 3000}));
    EXPECT_EQ(read(0, 1, 3), (Values{0, 1, 1, 2, 3, 3000}));
    EXPECT_EQ(read(0, 0, 0), (Values{0, 0, 0, 2, 0, 3000}));
    m_engine.SetValue(QL_ATTR_DESTREAK_A, 7);
    EXPECT_EQ(Get(QL_ATTR_DESTREAK_A), 7) << "which the stage takes for off";
}

TEST_F(ItemSettings, BrightnessMovesTheThresholdOfLineArt) {
    constexpr LONG kLeast = -2147483647 - 1;
    // Brightness, threshold, the engine's threshold.
    // clang-format off
    constexpr LONG kCases[][3] = {
        {500, 63, 16384}, {0, 63, 32767}, {1000, 63, 0}, {-1000, 63, 65535}, {1, 63, 32735},
        {0, 127, 65535}, {0, 0, 511}, {0, 1000, 65535}, {0, -2, 0}, {kLeast, 0, 65535},
        {0, 2147483647, 65535}};
    // clang-format on
    for (const auto& [brightness, threshold, expected] : kCases) {
        ReadWith({{WIA_IPA_DATATYPE, 0},
                  {WIA_IPS_BRIGHTNESS, brightness},
                  {WIA_IPS_THRESHOLD, threshold}});
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), expected) << brightness << " and " << threshold;
    }
    ReadWith({{WIA_IPA_DATATYPE, 2}, {WIA_IPS_BRIGHTNESS, 500}});
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 65535) << "line art only";
}

TEST_F(ItemSettings, TheSourceFollowsThreePropertiesAndItsStagesGetTheSettings) {
    // Adapter, document handling, method; what follows, and whether it is another road: then the
    // tone is written once more, to the stages of the new one.
    // clang-format off
    constexpr LONG kCases[][7] = {
        {1, 2, 0, 1, 0, 0, 2}, {2, 1, 1, 0, 1, 1, 2}, {0, 4, 2, 0, 1, 0, 1}, {1, 5, 1, 1, 0, 1, 2},
        {1, 5, 1, 1, 0, 1, 1}, {0, 2, 1, 0, 0, 1, 2}, {0, 2, 0, 0, 0, 0, 1}};
    // clang-format on
    m_item.m_longs[QL_PROP_SATURATION] = 700;
    for (const auto& [tma, handling, method, adapter, feeder, negative, times] : kCases) {
        EXPECT_EQ(ReadWith({{QL_PROP_TMA_SELECT, tma},
                            {WIA_DPS_DOCUMENT_HANDLING_SELECT, handling},
                            {QL_PROP_TMA_METHOD, method}}),
                  times)
            << tma << handling << method;
        EXPECT_EQ((Ids{Get(QL_ATTR_TMA), Get(QL_ATTR_ADF), Get(QL_ATTR_NEGATIVE)}),
                  (Ids{adapter, feeder, negative}));
        EXPECT_EQ(Get(QL_ATTR_SATURATION), WordInteger(ToFixed(0.7)));
    }
}

TEST_F(ItemSettings, TablesAreTakenOverAndAnnouncedOnce) {
    for (const QLAttribInfo& attrib : AttribTable())
        m_board.Subscribe(attrib.m_id);
    CTestProfile profile;
    m_item.m_profile = &profile;
    profile.m_defaults.m_valid = 0;
    ReadWith({});
    EXPECT_EQ(m_board.Heard(), Ids{QL_ATTR_MIDTONE})
        << "defaults that aren't valid take nothing over";
    profile.m_defaults.m_valid = 1;
    for (const bool first : {true, false}) {
        profile.m_gray.m_matrix[1] = first ? 0.75 : 0.25;
        profile.m_defaults.m_lidColor = first ? 5 : 6;
        ReadWith({});
        EXPECT_EQ(m_board.Heard().size(), first ? 46u : 1u);
        EXPECT_EQ(Numbers(QL_ATTR_GRAY_WEIGHTS)[1], 0.75);
        EXPECT_EQ(Get(QL_ATTR_DEFAULT_WORD), first ? 5 : 6) << "the defaults are read each time";
    }
}

// Coefficients 0 to 9 of a record, counted on from `base` in halves.
CoeffRecord Record(double base) {
    CoeffRecord record = {};
    double* const groups[] = {record.m_offset, record.m_gain, record.m_gamma};
    for (int i = 0; i < 9; ++i)
        groups[i / 3][i % 3] = base + i / 2.0;
    record.m_densityStep = base + 4.5;
    return record;
}

TEST_F(ItemSettings, TablesAnswerForTheSelectedSource) {
    // clang-format off
    // Of the neutral tables, and of the profile.
    const std::tuple<std::int32_t, double, double> cases[] = {
        {QL_ATTR_TONE_BLACK_R, 0, 10}, {QL_ATTR_TONE_GAIN_B, 1, 12.5},
        {QL_ATTR_TONE_GAMMA_R, 1, 13}, {QL_ATTR_NEG_CURVE_0, 0, 50},
        {QL_ATTR_NEG_CURVE_8, 1, 54}, {QL_ATTR_NEG_TENTH, 0, 54.5},
        {QL_ATTR_SLIDE_CURVE_4, 1, 32}, {QL_ATTR_SLIDE_B_CURVE_4, 1, 42},
        {QL_ATTR_GRAY_TONE_GAIN, 1, 1.5}, {QL_ATTR_GRAY_TONE_BLACK, 0, 0}};
    // clang-format on
    for (const auto& [id, neutral, value] : cases)
        EXPECT_EQ(Real(id), neutral) << id;
    CTestProfile profile;
    profile.m_flatbedCoeffs = Record(10);
    profile.m_feederCoeffs = Record(20);
    profile.m_slideCoeffs = Record(30);
    profile.m_slideCoeffsB = Record(40);
    profile.m_negCoeffs = Record(50);
    profile.m_gray.m_gain = 1.5;
    profile.m_defaults.m_adfLidColor = -1;
    profile.m_defaults.m_scannerGammaFixed = 1;
    m_item.m_profile = &profile;
    ReadWith({});
    for (const auto& [id, neutral, value] : cases)
        EXPECT_EQ(Real(id), value) << id;
    EXPECT_EQ(Get(QL_ATTR_SRGB_OUTPUT), 1);
    m_board.Hear({QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_BLACK_B, QL_ATTR_DEFAULT_WORD});
    m_engine.SetValue(QL_ATTR_ADF, 4);
    EXPECT_EQ(m_board.Heard().size(), 3u) << "what changes with the source is announced";
    EXPECT_EQ(Real(QL_ATTR_TONE_BLACK_R), 20.0);
    EXPECT_EQ(Real(QL_ATTR_TONE_GAMMA_B), 24.0);
    EXPECT_EQ(m_engine.GetValue(QL_ATTR_DEFAULT_WORD), 0xFFFFFFFFu);
}

TEST_F(ItemSettings, DefaultsArePublishedFromTheAttributes) {
    // -127000 / 128 = -992.19; 1000 / 128 = 7.81; 144179 / 65.536 = 2199.997; 28161 / 512 - 1.
    // clang-format off
    for (const auto& [id, word] : {
             std::pair{QL_ATTR_BRIGHTNESS, IntegerWord(-127)}, {QL_ATTR_CONTRAST, 1},
             {QL_ATTR_GAMMA, ToFixed(2.2)}, {QL_ATTR_HUE_X, ToFixed(1.75)},
             {QL_ATTR_HUE_Y, ToFixed(-0.75)}})
        m_board.Put(id, word);
    EXPECT_EQ(m_engine.PublishDefaults(&m_item), S_OK);
    const std::vector<std::pair<DWORD, LONG>> expected = {
        {WIA_IPS_BRIGHTNESS, -992}, {WIA_IPS_CONTRAST, 7}, {QL_PROP_HIGHLIGHT_LEVEL, kUntouched},
        {QL_PROP_MIDTONE_LEVEL, kUntouched}, {QL_PROP_SHADOW_LEVEL, kUntouched},
        {QL_PROP_GAMMA, 2199}, {QL_PROP_SATURATION, 1000}, {QL_PROP_HUE_X, 100}, {QL_PROP_HUE_Y, 0},
        {QL_PROP_SHARPEN_LEVEL, kUntouched}, {WIA_IPS_THRESHOLD, 54}};
    // clang-format on
    EXPECT_EQ(m_item.m_writes, expected);
    EXPECT_EQ(m_engine.PublishDefaults(nullptr), E_INVALIDARG);
}

}  // namespace
