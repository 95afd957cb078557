// The chain: which stages stand where, changes of the source's kind, passes, and the bookkeeping of
// automatic analyses.

#include "engine/chain.h"

#include <gtest/gtest.h>

#include "platform/module.h"
#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

// Which stages an image passes is to be seen in the image; people see it in the log.
TEST(Chain, IsToldInTheLogInDataOrder) {
    constexpr char kKey[] =
        "Software\\Norvane\\Lumetra\\Ostrel\\{00000000-0000-0000-0000-000000000000}";
    constexpr std::pair<const char*, DWORD> kValues[] = {
        {"LogEnabled", 1}, {"LogLevel", kLogGeneral | kLogInformation}, {"LogDestination", 2}};
    for (const auto& [name, value] : kValues)
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, name, REG_DWORD, &value, sizeof(value));
    std::string text, told;
    const auto before = SetDebugStringHook([&](LPCSTR line) { text += line; });
    CEngineRig rig;
    rig.m_engine.SetValue(QL_ATTR_TMA, 1);
    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 0);
    rig.RunStream(NoisePicture(4, 6), {20});
    SetDebugStringHook(before);
    RegClearProcessValues();
    for (std::size_t at = 0; (at = text.find("Chain: ", at)) != std::string::npos;) {
        at += 7;
        told += text.substr(at, text.find_first_of("\r\n", at) - at) + "; ";
    }
    EXPECT_EQ(told,
              "4 x 6 pixels, 1 bits each; CEncodedInputStage active; CDarkNeutralStage active; "
              "CTmaMatrixStage active; COutputFormatStage active; CThresholdStage active; "
              "CInvertStage bypassed; ");
}

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
    const auto before = SetMessageBoxHook([](HWND, LPCSTR, LPCSTR, UINT) { return IDOK; });
    CTestStream empty{Bytes()};
    rig.m_engine.SetInputStream(&empty);
    rig.m_engine.Start();
    SetMessageBoxHook(before);
    empty.Append(BitmapHeaders(NoisePicture(4, 4), -4));
    rig.m_engine.SetValue(QL_ATTR_TMA, 1);
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0) << "nor does it after a start that failed";
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

TEST(ChainPass, WholePassesMoveInStepsOfTheChunkButNeverInOneWithoutClipping) {
    // Pixels, lines, bytes of an output row, and the lines of a step: 0x40000 / bytes, at least 2,
    // at most a fifth of the height, and one where that is none.
    // clang-format off
    for (const auto& [width, height, rowBytes, step] : {std::tuple{533, 41, 1600u, 8u},
            {8, 4, 24, 1}, {8, 9, 24, 1}, {8, 10, 24, 2}, {1000, 900, 3000, 87},
            {60000, 12, 180000, 2}}) {
        // clang-format on
        CEngineRig rig;
        CTestBoard clip(rig.m_engine.Tree());
        clip.Put(QL_ATTR_CLIP_HIGH, 1);
        clip.Put(QL_ATTR_CLIP_LOW, 0);
        rig.m_client.m_act = [&](const auto&) {
            EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH) + rig.Get(QL_ATTR_CLIP_LOW), 0);
            return S_OK;
        };
        EXPECT_EQ(rig.RunFile(NoisePicture(width, height)).size(),
                  rowBytes * static_cast<std::size_t>(height));
        const auto sizes = rig.m_client.BandSizes();
        EXPECT_EQ(sizes.front(), rowBytes * step) << width << " x " << height;
        EXPECT_EQ(sizes[1], rowBytes * step);
        EXPECT_EQ(sizes.back(), 0u) << "the end of the pass";
        EXPECT_EQ(rig.m_client.m_messages.back().m_percent, 100u);
        EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH), 1) << "released";
        EXPECT_EQ(rig.Get(QL_ATTR_CLIP_LOW), 0);
        if (height < 20)
            rig.RunStream(NoisePicture(8, 8), {20});
        EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH), height < 20 ? 0 : 1)
            << "a streamed image leaves it off";
    }
}

TEST(ChainPass, AnAnalysisCollectsAndDeliversNothing) {
    CEngineRig rig;
    // What the collecting stages are told during the pass.
    struct Watcher {
        void Told(std::int32_t id) { m_log.insert(m_log.end(), {id, m_engine->GetInteger(id)}); }
        Ids m_log;
        CQLEngine* m_engine;
    } watcher{{}, &rig.m_engine};
    CQLAttribMemberPort<Watcher> port(rig.m_engine.Tree(), &watcher, &Watcher::Told, nullptr,
                                      nullptr);
    for (const std::int32_t id : {QL_ATTR_HISTOGRAM_ON, QL_ATTR_THRESHOLD_COLLECT,
                                  QL_ATTR_SOURCE_FIRST_READ, QL_ATTR_AUTO_TONE})
        port.Subscribe(id);
    const CTestBenchFile file(NoisePicture(20, 20));
    rig.m_engine.Start();
    rig.m_engine.FireAnalyse();
    EXPECT_EQ(watcher.m_log, (Ids{20036, 1, 20038, 1, 20344, 1, 20245, 0, 20038, 0, 20344, 0}));
    EXPECT_TRUE(rig.m_client.m_messages.empty());
    rig.m_engine.FireOpenAnalysed();
    EXPECT_EQ(rig.m_client.Rows().size(), 60u * 20) << "the file is read again from its first line";
}

TEST(ChainPass, TheEndOfAFeederPageIsAnnouncedOnRequest) {
    CEngineRig rig;
    CTestBoard board(rig.m_engine.Tree());
    board.Hear({QL_ATTR_ADF_PAGE_DONE});
    rig.m_engine.SetValue(QL_ATTR_ADF, 1);
    for (const std::size_t enabled : {0u, 1u}) {
        board.Put(QL_ATTR_ADF_EVENT_ENABLE, enabled);
        rig.RunStream(NoisePicture(8, 8), {20});
        EXPECT_EQ(board.Heard().size(), enabled);
    }
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
    Ids HeardOf(std::int32_t fired) {
        m_board.Notify(fired);
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
        {QL_ATTR_THRESHOLD_AUTO}, {QL_ATTR_THRESHOLD_AUTO}, {QL_ATTR_AUTO_TONE}, both, both};
    for (std::uint64_t type = 0; type < 5; ++type)
        EXPECT_EQ(Asked(type), due[type]) << type;
    m_board.Notify(QL_ATTR_CLEAR_PENDING);
    EXPECT_EQ(Asked(3), Ids());
    EXPECT_EQ(Asked(0), Ids());
    for (const auto& [wanted, asked] : {std::pair{1u, 1u}, {0x100, 0}}) {
        Set(QL_ATTR_AUTO_COLOR_ON, wanted);
        m_board.Notify(QL_ATTR_REARM);
        EXPECT_EQ(Asked(3).size(), asked) << "by the low byte";
    }
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
        EXPECT_EQ(HeardOf(QL_ATTR_HUE_X).size(), palette ? 1u : 0u) << "makes a palette stale";
        EXPECT_EQ(HeardOf(QL_ATTR_ANALYSIS_OVERRIDE), due);
    }
}

TEST_F(ChainBookkeeping, ExposureResetsWhatWasFoundAndResolutionsFollowTheSource) {
    m_board.Hear({QL_ATTR_SATURATION_RESET, QL_ATTR_RESET_COLOR, QL_ATTR_RESET_TONE,
                  QL_ATTR_COLOR_TOUCHED, QL_ATTR_TONE_TOUCHED, QL_ATTR_RES_SCAN_X,
                  QL_ATTR_RES_SCAN_Y});
    Set(QL_ATTR_AUTO_TONE_ON, 1);
    Set(QL_ATTR_AUTO_EXPOSE_COLOR, 1);
    EXPECT_EQ(m_board.Heard(), (Ids{20164, 20058, 20045, 20086, 20084}));
    Set(QL_ATTR_AUTO_EXPOSE_COLOR, 0);
    EXPECT_EQ(m_board.Heard(), (Ids{20164, 20058, 20045, 20084}));
    for (const auto& [id, written, held] : {std::tuple{QL_ATTR_RES_OPTICAL, 5u, 12},
                                            {QL_ATTR_RES_SCAN_X, 1000000u, 999999},
                                            {QL_ATTR_RES_SCAN_Y, 1200u, 1200}}) {
        Set(id, written);
        EXPECT_EQ(m_board.GetInteger(id), held);
    }
    m_board.Heard();
    m_board.Put(QL_ATTR_SRC_RES_X, 600);
    m_board.Put(QL_ATTR_SRC_RES_Y, 0);  // is no resolution
    m_board.Put(QL_ATTR_SRC_RES_X, 600);
    EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_RES_SCAN_Y})) << "the sides cross over";
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_RES_SCAN_Y), 600);
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_RES_SCAN_X), 999999);
}

}  // namespace
