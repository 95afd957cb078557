// The chain: which stages stand where, changes of the source's kind, passes, and the bookkeeping of
// automatic analyses.

#include "engine/chain.h"

#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

// ---- Changes of the source's kind

TEST(Chain, AChangeOfSourceBuildsTheNewStagesAtOnceAndMakesNoSource) {
    CEngineRig rig;
    rig.m_engine.SetFixed(QL_ATTR_SATURATION, 0.5);
    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    rig.RunStream(NoisePicture(9, 12), {20});
    CTestStream stream(NoisePicture(9, 12));
    rig.m_engine.SetInputStream(&stream);
    for (const auto& [tma, negative] : {std::pair{1u, 0u}, {1, 1}, {0, 1}, {0, 0}}) {
        rig.m_engine.SetValue(QL_ATTR_TMA, tma);
        rig.m_engine.SetValue(QL_ATTR_NEGATIVE, negative);
        // The reflective stage of the start is gone for good; what comes back is a new object.
        EXPECT_EQ(rig.m_engine.GetFixed(QL_ATTR_SATURATION), 1.0);
        EXPECT_EQ(rig.Get(QL_ATTR_MATRIX_MODE), 1) << "told what the output type asks";
        EXPECT_EQ(stream.m_cbRead, 0u);
    }
    rig.m_engine.Start();
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 1);
    EXPECT_EQ(stream.m_cbRead, 54u);
    rig.m_engine.Stop();
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
}

TEST(Chain, AChangeInsideAnImageWaitsForItsEnd) {
    CEngineRig rig;
    const CTestPicture page = NoisePicture(8, 40);
    const Bytes expected = rig.RunStream(page, {20});
    rig.m_client.m_messages.clear();
    CTestStream stream(page);
    rig.Begin(stream);
    rig.Feed(stream, 20);
    rig.m_engine.SetFixed(QL_ATTR_SATURATION, 0.5);
    rig.m_engine.SetValue(QL_ATTR_TMA, 1);
    EXPECT_EQ(rig.m_engine.GetFixed(QL_ATTR_SATURATION), 0.5) << "the old stage stands";
    rig.Feed(stream, 20);
    rig.m_engine.FireFeed();
    rig.m_engine.FireEnd();
    EXPECT_EQ(rig.m_client.Rows(), expected);
    EXPECT_EQ(rig.m_engine.GetFixed(QL_ATTR_SATURATION), 1.0) << "the slide's stage is there now";
}

// ---- Passes

TEST(ChainPass, WholePassesMoveInStepsOfTheChunkButNeverInOne) {
    // Pixels, lines, bytes of an output row, and the lines of a step: 0x40000 / bytes, at least 2,
    // at most a fifth of the height, and one where that is none.
    // clang-format off
    for (const auto& [width, height, rowBytes, step] : {std::tuple{533, 41, 1600u, 8u},
            {8, 4, 24, 1}, {8, 9, 24, 1}, {8, 10, 24, 2}, {1000, 900, 3000, 87},
            {60000, 12, 180000, 2}}) {
        // clang-format on
        CEngineRig rig;
        EXPECT_EQ(rig.RunFile(NoisePicture(width, height)).size(),
                  rowBytes * static_cast<std::size_t>(height));
        const auto sizes = rig.m_client.BandSizes();
        EXPECT_EQ(sizes.front(), rowBytes * step) << width << " x " << height;
        EXPECT_EQ(sizes[1], rowBytes * step);
        EXPECT_EQ(sizes.back(), 0u) << "the end of the pass";
        EXPECT_EQ(rig.m_client.m_messages.back().m_percent, 100u);
    }
}

TEST(ChainPass, AnAnalysisCollectsAndDeliversNothing) {
    CEngineRig rig;
    CTestBoard board(rig.m_engine.Tree());
    board.Hear({QL_ATTR_HISTOGRAM_ON, QL_ATTR_THRESHOLD_COLLECT, QL_ATTR_SOURCE_FIRST_READ});
    const CTestBenchFile file(NoisePicture(20, 20));
    rig.m_engine.Start();
    rig.m_engine.FireAnalyse();
    EXPECT_EQ(board.Heard(),
              (Ids{QL_ATTR_HISTOGRAM_ON, QL_ATTR_THRESHOLD_COLLECT, QL_ATTR_SOURCE_FIRST_READ,
                   QL_ATTR_HISTOGRAM_ON, QL_ATTR_THRESHOLD_COLLECT}))
        << "collecting goes on and off around the pass";
    EXPECT_TRUE(rig.m_client.m_messages.empty());
    rig.m_engine.FireOpenAnalysed();
    EXPECT_EQ(rig.m_client.Rows().size(), 60u * 20) << "the file is read again from its first line";
    rig.m_engine.SetValue(QL_ATTR_HISTOGRAM_ON, 1);
    rig.m_engine.FireAnalyse();
    EXPECT_EQ(rig.m_engine.GetValue(QL_ATTR_HISTOGRAM_ON), 1u) << "a user's choice stays";
}

// Eight pixels by 32 lines, so that no row has padding either way.
TEST(ChainPass, ATurnedImageIsTakenInFirstAndThenDelivered) {
    const CTestPicture page = NoisePicture(8, 32);
    CEngineRig rig;
    // Filters would tell a turned image's neighbours from those of the image.
    rig.FilterNothing();
    rig.m_engine.SetValue(QL_ATTR_ROTATE_ANGLE, 90);
    const Bytes rows = rig.RunStream(page, {20});
    EXPECT_EQ(rig.m_client.BandSizes()[0], 24u * 15) << "off at first";
    rig.m_engine.PutRotationOnPath(true);
    const auto turned = [&](const Bytes& from) {
        Bytes to;
        for (std::size_t i = 0; i < from.size(); ++i)
            to.push_back(from[(31 - i / 3 % 32) * 24 + i / 96 * 3 + i % 3]);
        return to;
    };
    for (const auto& bands : {std::vector{20}, {3}, {1, 40}}) {
        EXPECT_EQ(rig.RunStream(page, bands), turned(rows)) << bands[0];
        std::uint32_t percent = 0;
        for (const auto* band : rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_BUFFER)) {
            EXPECT_TRUE(band->m_percent >= percent && (percent = band->m_percent) <= 90);
            EXPECT_EQ(band->m_bytes.empty(), band != &rig.m_client.m_messages.back());
        }
    }
    EXPECT_EQ(rig.RunFile(page), turned(rows));
    // A stream that ends early leaves white, and a client that stops gets no lines.
    for (const bool stops : {false, true}) {
        CTestStream stream(page);
        rig.m_client.m_messages.clear();
        rig.m_client.m_act = [&](const auto&) { return stops ? S_FALSE : S_OK; };
        rig.Begin(stream);
        rig.Feed(stream, 20);
        rig.m_engine.FireFeed();
        rig.Finish();
        Bytes cut(rows.begin(), rows.begin() + 20 * 24);
        cut.resize(rows.size(), 0xFF);
        EXPECT_EQ(rig.m_client.Rows(), stops ? Bytes() : turned(cut));
    }
    // An output that is held when the image is whole is only late; so many are taken in by then.
    CTestBoard board(rig.m_engine.Tree());
    CTestStream stream(page);
    rig.m_client.m_messages.clear();
    rig.m_client.m_act = [&](const auto& message) {
        if (message.m_percent == 90)
            board.Put(QL_ATTR_HOLD_OUTPUT, 1);
        return S_OK;
    };
    rig.Begin(stream);
    rig.Feed(stream, 32);
    rig.m_engine.FireFeed();
    EXPECT_EQ(rig.m_client.Rows(), Bytes()) << "held";
    board.Put(QL_ATTR_HOLD_OUTPUT, 0);
    rig.Finish();
    EXPECT_EQ(rig.m_client.Rows(), turned(rows));
}

// ---- Bookkeeping. A chain without an engine: what it asks for is fired before it finds no source.

class ChainBookkeeping : public testing::Test {
  protected:
    void Set(std::int32_t id, std::uint64_t value) { m_board.SetValue(id, value); }
    // The analyses that an opening asks for.
    Ids Asked(std::uint64_t outputType) {
        Set(QL_ATTR_OUTPUT_TYPE, outputType);
        m_board.Heard();
        m_chain.OpenForAnalysis();
        return m_board.Heard();
    }

    QLAttribTree m_tree;
    CChainFull m_chain{&m_tree};
    CTestBoard m_board{&m_tree};
};

TEST_F(ChainBookkeeping, AnalysesAreAskedForByTypeAndWhatIsDue) {
    m_board.Hear({QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR, QL_ATTR_THRESHOLD_AUTO});
    EXPECT_EQ(Asked(3), Ids()) << "nothing is due";
    for (const std::int32_t id :
         {QL_ATTR_TONE_TOUCHED, QL_ATTR_COLOR_TOUCHED, QL_ATTR_THRESHOLD_TOUCHED})
        m_board.Notify(id);
    const Ids both = {QL_ATTR_AUTO_COLOR, QL_ATTR_AUTO_TONE};
    const Ids due[] = {
        {QL_ATTR_THRESHOLD_AUTO}, {QL_ATTR_AUTO_TONE}, {QL_ATTR_AUTO_TONE}, both, both};
    for (std::uint64_t type = 0; type < 5; ++type)
        EXPECT_EQ(Asked(type), due[type]) << type;
    m_board.Notify(QL_ATTR_CLEAR_PENDING);
    EXPECT_EQ(Asked(3), Ids());
    EXPECT_EQ(Asked(0), Ids());
    Set(QL_ATTR_AUTO_COLOR_ON, 1);
    m_board.Notify(QL_ATTR_REARM);
    EXPECT_EQ(Asked(3), Ids{QL_ATTR_AUTO_COLOR});
}

TEST_F(ChainBookkeeping, AnOutputTypeMakesWantedAnalysesDueAndSetsTheMatrixMode) {
    m_board.Hear({QL_ATTR_TONE_TOUCHED, QL_ATTR_COLOR_TOUCHED, QL_ATTR_THRESHOLD_TOUCHED,
                  QL_ATTR_PALETTE_TOUCHED});
    for (const std::int32_t id :
         {QL_ATTR_AUTO_TONE_ON, QL_ATTR_AUTO_COLOR_ON, QL_ATTR_AUTO_THRESHOLD_ON})
        Set(id, 1);
    // Type, kind of palette, cell of the halftone; whether the palette is due, the matrix mode.
    // clang-format off
    for (const auto& [type, kind, cell, palette, mode] : {std::tuple{3u, 3u, 0u, false, 0},
            {4, 3, 0, true, 0}, {2, 3, 0, false, 1}, {1, 3, 3, false, 3}, {4, 2, 3, false, 0}}) {
        // clang-format on
        m_board.Put(QL_ATTR_PALETTE_KIND, kind);
        m_board.Put(QL_ATTR_HALFTONE_CELL, cell);
        m_board.Heard();
        Set(QL_ATTR_OUTPUT_TYPE, type);
        Ids due = {QL_ATTR_COLOR_TOUCHED, QL_ATTR_TONE_TOUCHED, QL_ATTR_THRESHOLD_TOUCHED};
        if (palette)
            due.push_back(QL_ATTR_PALETTE_TOUCHED);
        EXPECT_EQ(m_board.Heard(), due) << type;
        EXPECT_EQ(m_board.GetInteger(QL_ATTR_MATRIX_MODE), mode) << type;
        m_board.Notify(QL_ATTR_HUE_X);
        EXPECT_EQ(m_board.Heard().size(), palette ? 1u : 0u) << "makes a palette stale";
    }
}

}  // namespace
