// How an item's properties become attributes, and what the engine answers for its tables.

#include <gtest/gtest.h>

#include "engine/engine.h"
#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

using Log = std::vector<std::string>;
using Writes = std::vector<std::pair<DWORD, LONG>>;

// Stands in for the stages that hold the tone settings.
constexpr std::int32_t kToneIds[] = {QL_ATTR_BRIGHTNESS, QL_ATTR_CONTRAST, QL_ATTR_HIGHLIGHT,
                                     QL_ATTR_SHADOW,     QL_ATTR_MIDTONE,  QL_ATTR_GAMMA,
                                     QL_ATTR_HUE_X,      QL_ATTR_HUE_Y,    QL_ATTR_SHARPEN_LEVEL};
constexpr std::int32_t kUntouched = 7777;

class ItemSettings : public testing::Test {
  protected:
    ItemSettings() {
        for (const std::int32_t id : kToneIds)
            m_tone.Provide(id, kUntouched);
        m_item.m_longs[QL_PROP_EXPOSURE_METHOD] = 0;
    }

    HRESULT Read() { return m_rig.m_engine.ReadItemSettings(&m_item); }
    std::int32_t Get(std::int32_t id) { return m_rig.Get(id); }

    CEngineRig m_rig;
    CTestProvider m_tone{m_rig.m_engine.Tree()};
    CTestItem m_item;
};

TEST_F(ItemSettings, ReachTheirAttributes) {
    m_item.m_longs = {{WIA_IPA_DATATYPE, 2},         {QL_PROP_EXPOSURE_METHOD, 0},
                      {QL_PROP_HIGHLIGHT_LEVEL, 11}, {WIA_IPS_BRIGHTNESS, -999},
                      {WIA_IPS_CONTRAST, 1000},      {QL_PROP_GAMMA, 2200},
                      {QL_PROP_HUE_X, -33},          {QL_PROP_HUE_Y, 50},
                      {QL_PROP_SATURATION, 1300},    {QL_PROP_SHARPEN_LEVEL, 4}};
    EXPECT_EQ(Read(), S_OK);
    EXPECT_EQ(Get(QL_ATTR_OUTPUT_TYPE), 2);
    EXPECT_EQ(Get(QL_ATTR_BRIGHTNESS), -127) << "-999 x 128 / 1000 = -127.87, towards zero";
    EXPECT_EQ(Get(QL_ATTR_CONTRAST), 128);
    EXPECT_EQ(Get(QL_ATTR_HIGHLIGHT), kUntouched) << "only with another exposure method";
    EXPECT_EQ(Get(QL_ATTR_GAMMA), 144179) << "2.2 x 65536 = 144179.2";
    EXPECT_EQ(Get(QL_ATTR_HUE_X), -21626) << "-0.33 x 65536 + 0.5 = -21626.38";
    EXPECT_EQ(Get(QL_ATTR_HUE_Y), 32768);
    EXPECT_EQ(Get(QL_ATTR_SATURATION), 85197) << "1.3 x 65536 = 85196.8, rounded";
    EXPECT_EQ(Get(QL_ATTR_SHARPEN_LEVEL), 4);

    m_item.m_longs[QL_PROP_EXPOSURE_METHOD] = 1;
    m_item.m_longs[QL_PROP_SHADOW_LEVEL] = -12;
    m_item.m_longs[WIA_IPS_BRIGHTNESS] = 500;
    EXPECT_EQ(Read(), S_OK);
    EXPECT_EQ(Get(QL_ATTR_HIGHLIGHT), 11);
    EXPECT_EQ(Get(QL_ATTR_SHADOW), -12);
    EXPECT_EQ(Get(QL_ATTR_MIDTONE), kUntouched) << "can't be read";
    EXPECT_EQ(Get(QL_ATTR_BRIGHTNESS), -127);
}

TEST_F(ItemSettings, EndWithoutTheExposureMethod) {
    m_item.m_longs = {{WIA_IPA_DATATYPE, 0}, {QL_PROP_GAMMA, 1000}, {QL_PROP_TMA_SELECT, 1}};
    m_item.m_missing = S_FALSE;
    EXPECT_EQ(Read(), S_FALSE);
    m_item.m_missing = E_FAIL;
    EXPECT_EQ(Read(), E_FAIL);
    EXPECT_EQ(Get(QL_ATTR_OUTPUT_TYPE), 0) << "the data type stands in front";
    EXPECT_EQ(Get(QL_ATTR_GAMMA), kUntouched);
    EXPECT_EQ(Get(QL_ATTR_TMA), 0);
    EXPECT_EQ(m_rig.m_engine.ReadItemSettings(nullptr), E_INVALIDARG);
}

TEST_F(ItemSettings, OtherDataTypesLeaveTheOutputType) {
    for (const LONG type : {1, 4, -1}) {
        m_item.m_longs[WIA_IPA_DATATYPE] = type;
        EXPECT_EQ(Read(), S_OK);
        EXPECT_EQ(Get(QL_ATTR_OUTPUT_TYPE), 3);
    }
}

TEST_F(ItemSettings, BrightnessMovesTheThresholdOfLineArt) {
    constexpr struct {
        LONG brightness, threshold, expected;
    } kCases[] = {{500, 63, 16384},
                  {0, 63, 32767},
                  {1000, 63, 0},
                  {-1000, 63, 65535},
                  {1, 63, 32735},
                  {0, 127, 65535},
                  {0, 0, 511},
                  {0, 1000, 65535},
                  {0, -2, 0},
                  {-2147483647 - 1, 0, 65535},
                  {0, 2147483647, 65535}};
    for (const auto& row : kCases) {
        m_item.m_longs[WIA_IPA_DATATYPE] = 0;
        m_item.m_longs[WIA_IPS_BRIGHTNESS] = row.brightness;
        m_item.m_longs[WIA_IPS_THRESHOLD] = row.threshold;
        EXPECT_EQ(Read(), S_OK);
        EXPECT_EQ(Get(QL_ATTR_THRESHOLD), row.expected)
            << row.brightness << " and " << row.threshold;
    }
    m_item.m_longs[WIA_IPA_DATATYPE] = 2;
    m_item.m_longs[WIA_IPS_BRIGHTNESS] = 500;
    Read();
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 65535) << "line art only";
    m_item.m_longs = {{WIA_IPA_DATATYPE, 0}, {QL_PROP_EXPOSURE_METHOD, 0}, {WIA_IPS_THRESHOLD, 9}};
    Read();
    EXPECT_EQ(Get(QL_ATTR_THRESHOLD), 65535) << "without a brightness there is nothing to go by";
}

TEST_F(ItemSettings, TheSourceFollowsThreeProperties) {
    constexpr struct {
        LONG tma, handling, method;
        std::int32_t adapter, feeder, negative;
    } kCases[] = {{1, 2, 0, 1, 0, 0}, {2, 1, 1, 0, 1, 1}, {0, 4, 2, 0, 1, 0}, {1, 5, 1, 1, 0, 1}};
    for (const auto& row : kCases) {
        m_item.m_longs[QL_PROP_TMA_SELECT] = row.tma;
        m_item.m_longs[WIA_DPS_DOCUMENT_HANDLING_SELECT] = row.handling;
        m_item.m_longs[QL_PROP_TMA_METHOD] = row.method;
        EXPECT_EQ(Read(), S_OK);
        EXPECT_EQ(Get(QL_ATTR_TMA), row.adapter);
        EXPECT_EQ(Get(QL_ATTR_ADF), row.feeder);
        EXPECT_EQ(Get(QL_ATTR_NEGATIVE), row.negative);
    }
}

TEST_F(ItemSettings, SettingsReachTheStagesOfANewSourceAtOnce) {
    m_item.m_longs = {{WIA_IPA_DATATYPE, 2},
                      {QL_PROP_EXPOSURE_METHOD, 0},
                      {QL_PROP_SATURATION, 700},
                      {QL_PROP_TMA_SELECT, 1},
                      {QL_PROP_TMA_METHOD, 1}};
    const auto fixed700 = WordInteger(ToFixed(0.7));
    Read();
    EXPECT_EQ(Get(QL_ATTR_SATURATION), fixed700) << "the negative's own saturation stage";
    EXPECT_EQ(Get(QL_ATTR_MATRIX_MODE), 1) << "gray, as the data type asked of the one before";
    m_item.m_longs[QL_PROP_TMA_METHOD] = 0;
    Read();
    EXPECT_EQ(Get(QL_ATTR_SATURATION), fixed700) << "the slide's";
    m_item.m_longs[QL_PROP_TMA_SELECT] = 0;
    Read();
    EXPECT_EQ(Get(QL_ATTR_SATURATION), fixed700) << "the reflective one's";
    m_item.m_reads.clear();
    Read();
    EXPECT_EQ(std::count(m_item.m_reads.begin(), m_item.m_reads.end(), QL_PROP_SATURATION), 1)
        << "the same source again: once is enough";
    m_item.m_longs[QL_PROP_TMA_METHOD] = 1;
    m_item.m_reads.clear();
    Read();
    EXPECT_EQ(std::count(m_item.m_reads.begin(), m_item.m_reads.end(), QL_PROP_SATURATION), 1)
        << "a negative off the adapter changes nothing";
    m_item.m_longs[WIA_DPS_DOCUMENT_HANDLING_SELECT] = FEEDER;
    m_item.m_reads.clear();
    Read();
    EXPECT_EQ(std::count(m_item.m_reads.begin(), m_item.m_reads.end(), QL_PROP_SATURATION), 2)
        << "the feeder has tables of its own";
}

TEST_F(ItemSettings, TablesAreTakenOverOnceAndAnnouncedInOrder) {
    Log log;
    CTestListener listener(m_rig.m_engine.Tree(), &log, "");
    for (const QLAttribInfo& attrib : AttribTable())
        listener.Subscribe(attrib.m_id);
    Log expected = {"20288", "20287"};
    const auto run = [&expected](int first, int last) {
        for (int id = first; id <= last; ++id)
            expected.push_back(std::to_string(id));
    };
    run(20258, 20266);
    run(20186, 20186);
    run(20184, 20185);
    run(20267, 20284);
    run(20233, 20235);
    run(20239, 20241);
    run(20236, 20238);
    run(20367, 20369);
    run(20366, 20366);

    CTestProfile profile;
    profile.PutInto(m_item);
    DefaultsRecord invalid = {};
    invalid.m_lidColor = 5;
    m_item.PutRecord(QL_PROP_DEFAULTS, invalid);
    Read();
    EXPECT_TRUE(log.empty()) << "defaults that aren't valid take nothing over";
    EXPECT_EQ(Get(QL_ATTR_DEFAULT_WORD), 5) << "but are read each time";
    profile.m_gray.m_matrix[1] = 0.75;
    profile.PutInto(m_item);
    Read();
    EXPECT_EQ(log, expected);
    const auto* weights = WordPointer<const double>(m_rig.m_engine.GetValue(QL_ATTR_GRAY_WEIGHTS));
    EXPECT_EQ(weights[1], 0.75);
    log.clear();
    profile.m_gray.m_matrix[1] = 0.25;
    profile.m_defaults.m_lidColor = 6;
    profile.PutInto(m_item);
    Read();
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(weights[1], 0.75);
    EXPECT_EQ(Get(QL_ATTR_DEFAULT_WORD), 6);
}

TEST(EngineTables, AreNeutralBeforeAProfileComes) {
    CEngineRig rig;
    for (const std::int32_t id :
         {QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAMMA_B, QL_ATTR_NEG_CURVE_3, QL_ATTR_SLIDE_CURVE_8,
          QL_ATTR_SLIDE_B_CURVE_6, QL_ATTR_GRAY_TONE_GAIN, QL_ATTR_GRAY_TONE_GAMMA})
        EXPECT_EQ(rig.Get(id), 65536) << id;
    for (const std::int32_t id : {QL_ATTR_TONE_BLACK_G, QL_ATTR_NEG_CURVE_2, QL_ATTR_NEG_TENTH,
                                  QL_ATTR_SLIDE_CURVE_0, QL_ATTR_GRAY_TONE_BLACK})
        EXPECT_EQ(rig.Get(id), 0) << id;
    const auto* weights = WordPointer<const double>(rig.m_engine.GetValue(QL_ATTR_GRAY_WEIGHTS));
    EXPECT_EQ(weights[0], 0.3);
    EXPECT_EQ(weights[2], 0.11);
    for (const std::int32_t id : {QL_ATTR_DEVICE_MATRIX, QL_ATTR_TMA_MATRIX, QL_ATTR_POST_MATRIX}) {
        const auto* matrix = WordPointer<const double>(rig.m_engine.GetValue(id));
        for (int i = 0; i < 9; ++i)
            EXPECT_EQ(matrix[i], i % 4 == 0 ? 1.0 : 0.0);
    }
    double density[18] = {1};
    rig.m_engine.GetMatrix18(QL_ATTR_DENSITY_MATRIX, density);
    EXPECT_EQ(std::count(density, density + 18, 0.0), 18);
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

TEST(EngineTables, AnswerForTheSelectedSource) {
    CEngineRig rig;
    CTestItem item;
    CTestProfile profile;
    profile.m_flatbedCoeffs = Record(10);
    profile.m_feederCoeffs = Record(20);
    profile.m_slideCoeffs = Record(30);
    profile.m_slideCoeffsB = Record(40);
    profile.m_negCoeffs = Record(50);
    profile.m_gray.m_gain = 1.5;
    profile.m_defaults.m_lidColor = 3;
    profile.m_defaults.m_adfLidColor = -1;
    profile.m_defaults.m_scannerGammaFixed = 1;
    profile.PutInto(item);
    item.m_longs[QL_PROP_EXPOSURE_METHOD] = 0;
    rig.m_engine.ReadItemSettings(&item);
    const auto fixed = [&rig](std::int32_t id) { return rig.m_engine.GetFixed(id); };
    EXPECT_EQ(fixed(QL_ATTR_TONE_BLACK_R), 10.0);
    EXPECT_EQ(fixed(QL_ATTR_TONE_GAIN_B), 12.5);
    EXPECT_EQ(fixed(QL_ATTR_TONE_GAMMA_R), 13.0);
    EXPECT_EQ(fixed(QL_ATTR_NEG_CURVE_0), 50.0);
    EXPECT_EQ(fixed(QL_ATTR_NEG_CURVE_8), 54.0);
    EXPECT_EQ(fixed(QL_ATTR_NEG_TENTH), 54.5);
    EXPECT_EQ(fixed(QL_ATTR_SLIDE_CURVE_4), 32.0);
    EXPECT_EQ(fixed(QL_ATTR_SLIDE_B_CURVE_4), 42.0);
    EXPECT_EQ(fixed(QL_ATTR_GRAY_TONE_GAIN), 1.5);
    EXPECT_EQ(rig.Get(QL_ATTR_SRGB_OUTPUT), 1);
    EXPECT_EQ(rig.Get(QL_ATTR_ENGINE_FLAG_28), 0);
    EXPECT_EQ(rig.Get(QL_ATTR_DEFAULT_WORD), 3);

    Log log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_BLACK_B; ++id)
        listener.Subscribe(id);
    listener.Subscribe(QL_ATTR_DEFAULT_WORD);
    rig.m_engine.SetValue(QL_ATTR_ADF, 4);
    EXPECT_EQ(log, (Log{"20233", "20234", "20235", "20239", "20240", "20241", "20236", "20237",
                        "20238", "20256"}));
    EXPECT_EQ(rig.Get(QL_ATTR_ADF), 1);
    EXPECT_EQ(fixed(QL_ATTR_TONE_BLACK_R), 20.0);
    EXPECT_EQ(fixed(QL_ATTR_TONE_GAMMA_B), 24.0);
    EXPECT_EQ(rig.m_engine.GetValue(QL_ATTR_DEFAULT_WORD), 0xFFFFFFFFu);

    // Written for the source in use, read as the flatbed's whatever the source.
    const double nine[9] = {9, 8, 7, 6, 5, 4, 3, 2, 1};
    const auto* matrix = WordPointer<const double>(rig.m_engine.GetValue(QL_ATTR_DEVICE_MATRIX));
    rig.m_engine.SetValue(QL_ATTR_DEVICE_MATRIX, PointerWord(nine));
    EXPECT_EQ(matrix[0], 1.0);
    rig.m_engine.SetValue(QL_ATTR_ADF, 0);
    rig.m_engine.SetValue(QL_ATTR_DEVICE_MATRIX, PointerWord(nine));
    EXPECT_EQ(matrix[1], 8.0);
    rig.m_engine.SetValue(QL_ATTR_DEVICE_MATRIX, 0);
    EXPECT_EQ(matrix[1], 8.0);
}

TEST_F(ItemSettings, DefaultsArePublishedFromTheAttributes) {
    m_tone.SetAttrib(QL_ATTR_BRIGHTNESS, IntegerWord(-127));
    m_tone.SetAttrib(QL_ATTR_CONTRAST, 1);
    m_tone.SetAttrib(QL_ATTR_GAMMA, ToFixed(2.2));
    m_tone.SetAttrib(QL_ATTR_HUE_X, ToFixed(1.75));
    m_tone.SetAttrib(QL_ATTR_HUE_Y, ToFixed(-0.75));
    m_tone.SetAttrib(QL_ATTR_SHARPEN_LEVEL, 2);
    EXPECT_EQ(m_rig.m_engine.PublishDefaults(&m_item), S_OK);
    EXPECT_EQ(m_item.m_writes, (Writes{{WIA_IPS_BRIGHTNESS, -992},  // -127000 / 128 = -992.19
                                       {WIA_IPS_CONTRAST, 7},       // 1000 / 128 = 7.81
                                       {QL_PROP_HIGHLIGHT_LEVEL, kUntouched},
                                       {QL_PROP_MIDTONE_LEVEL, kUntouched},
                                       {QL_PROP_SHADOW_LEVEL, kUntouched},
                                       {QL_PROP_GAMMA, 2199},  // 144179 / 65.536 = 2199.997
                                       {QL_PROP_SATURATION, 1000},
                                       {QL_PROP_HUE_X, 100},
                                       {QL_PROP_HUE_Y, 0},
                                       {QL_PROP_SHARPEN_LEVEL, 2},
                                       {WIA_IPS_THRESHOLD, 54}}));  // 28161 / 512 - 1
    EXPECT_EQ(m_rig.m_engine.PublishDefaults(nullptr), E_INVALIDARG);
}

}  // namespace
