// The holder of the values that decide the shape of the chain.

#include "stages/source_control.h"

#include <gtest/gtest.h>

#include "tests/support/stage_rig.h"

namespace {

using Log = std::vector<std::string>;

class SourceControl : public testing::Test {
  protected:
    SourceControl() { m_ear.Subscribe(QL_ATTR_CMD_START); }

    std::uint64_t Get(std::int32_t id) { return m_board.GetValue(id); }
    // Writes a value; how often the chain was told to start.
    std::size_t Starts(std::int32_t id, std::uint64_t value) {
        m_log.clear();
        EXPECT_TRUE(m_board.SetValue(id, value));
        return m_log.size();
    }

    QLAttribTree m_tree;
    Log m_log;
    CTestProvider m_board{&m_tree};
    CTestListener m_ear{&m_tree, &m_log, ""};
    CSourceControlStage m_stage{&m_tree};
};

TEST(SourceControlBoard, RegistersInItsOrder) {
    QLAttribTree tree;
    Log log;
    CTestListener ear(&tree, &log, "");
    for (const QLAttribInfo& info : AttribTable())
        ear.Subscribe(info.m_id);
    CSourceControlStage stage(&tree);
    EXPECT_EQ(log, (Log{"20036", "20057", "20035", "20038", "20179", "20221", "20049"}));
    for (const std::string& id : log)
        EXPECT_EQ(stage.GetValue(std::stoi(id)), 0u) << id;
}

TEST_F(SourceControl, ARequestForAnalysisHoldsForOnePass) {
    for (const std::int32_t id : {QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR}) {
        m_board.SetValue(id, 0);
        EXPECT_EQ(Get(id), 1u) << "whatever is written";
        CLineSource source(&m_tree, QL_PIXEL_GRAY8, 1, {5, 6});
        EXPECT_EQ(RunPass(source, m_stage).m_bytes, (std::vector<std::uint8_t>{5, 6}));
        EXPECT_EQ(Get(id), 0u);
        m_board.Notify(id);
        EXPECT_EQ(Get(id), 1u) << "fired";
        m_stage.SetUpstream(nullptr);
        m_stage.Close();
        EXPECT_EQ(Get(id), 0u);
    }
    m_board.Notify(QL_ATTR_AUTO_TONE);
    EXPECT_EQ(Get(QL_ATTR_AUTO_COLOR), 0u) << "each for itself";
}

TEST_F(SourceControl, TheTransparencyAdapterStartsTheChainWhenItChanges) {
    EXPECT_EQ(Starts(QL_ATTR_TMA, 0), 0u) << "as stored";
    EXPECT_EQ(Starts(QL_ATTR_TMA, 1), 1u);
    EXPECT_EQ(Starts(QL_ATTR_TMA, 1), 0u);
    EXPECT_EQ(Starts(QL_ATTR_TMA, 0), 1u);
    EXPECT_EQ(Starts(QL_ATTR_TMA, 7), 0u) << "stored, but no known source";
    EXPECT_EQ(Get(QL_ATTR_TMA), 1u);
}

TEST_F(SourceControl, TheNegativeGoesByItsLowByte) {
    EXPECT_EQ(Starts(QL_ATTR_NEGATIVE, 0x100), 0u) << "low byte 0, as stored";
    EXPECT_EQ(Starts(QL_ATTR_NEGATIVE, 1), 1u);
    EXPECT_EQ(Get(QL_ATTR_NEGATIVE), 1u);
    EXPECT_EQ(Starts(QL_ATTR_NEGATIVE, 0x101), 0u);
    EXPECT_EQ(Starts(QL_ATTR_NEGATIVE, 0), 1u);
}

TEST_F(SourceControl, TheCurveChoiceIsAnnouncedWhenItChanges) {
    m_ear.Subscribe(QL_ATTR_CURVE_SELECT);
    // A write is announced by the board in any case.
    EXPECT_EQ(Starts(QL_ATTR_CURVE_SELECT, 0), 1u);
    EXPECT_EQ(Starts(QL_ATTR_CURVE_SELECT, 1), 2u);
    EXPECT_EQ(Starts(QL_ATTR_CURVE_SELECT, 1), 1u);
    EXPECT_EQ(m_log, (Log{"20049"}));
    EXPECT_EQ(Get(QL_ATTR_CURVE_SELECT), 1u);
}

TEST_F(SourceControl, HoldsTheAnalysisWindowAndTheHistogramSwitch) {
    QLRect rect{1, 2, 3, 4};
    m_board.SetValue(QL_ATTR_ANALYSIS_RECT, PointerWord(&rect));
    rect.right = 99;
    const std::uint64_t word = Get(QL_ATTR_ANALYSIS_RECT);
    EXPECT_EQ(WordPointer<const QLRect>(word)->right, 4) << "a copy";
    m_board.SetValue(QL_ATTR_ANALYSIS_RECT, 0);
    EXPECT_EQ(Get(QL_ATTR_ANALYSIS_RECT), 0u);
    EXPECT_EQ(WordPointer<const QLRect>(word)->right, 4) << "switched off, not cleared";
    EXPECT_EQ(Starts(QL_ATTR_HISTOGRAM_ON, 1), 0u);
    EXPECT_EQ(Get(QL_ATTR_HISTOGRAM_ON), 1u);
    m_board.SetValue(QL_ATTR_HISTOGRAM_ON, 0x100);
    EXPECT_EQ(Get(QL_ATTR_HISTOGRAM_ON), 0u) << "low byte";
}

}  // namespace
