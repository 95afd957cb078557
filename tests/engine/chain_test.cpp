// The chain: which stages stand where, changes of the source's kind, passes, and the bookkeeping of
// automatic analyses.

#include "engine/chain.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "platform/module.h"
#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

using Log = std::vector<std::string>;
using Sizes = std::vector<std::size_t>;

// ---- Shape

// Takes the log's lines about the chain while it lives.
class CChainLog {
  public:
    CChainLog() {
        constexpr char kKey[] =
            "Software\\Norvane\\Lumetra\\Ostrel\\{00000000-0000-0000-0000-000000000000}";
        constexpr std::pair<const char*, DWORD> kValues[] = {
            {"LogEnabled", 1}, {"LogLevel", kLogGeneral | kLogInformation}, {"LogDestination", 2}};
        for (const auto& [name, value] : kValues)
            RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, name, REG_DWORD, &value, sizeof(value));
        m_before = SetDebugStringHook([this](LPCSTR text) { m_text += text; });
    }
    ~CChainLog() {
        SetDebugStringHook(m_before);
        RegClearProcessValues();
    }

    // Names of the stages of the last chain, in data order, without "C" and "Stage".
    std::string Stages() {
        std::istringstream lines(m_text);
        std::string line;
        std::string stages;
        while (std::getline(lines, line)) {
            const std::size_t name = line.find("Chain: C");
            const std::size_t end = line.find("Stage ");
            if (name != std::string::npos && end != std::string::npos)
                stages += line.substr(name + 8, end - name - 8) + " ";
        }
        m_text.clear();
        return stages;
    }

  private:
    std::string m_text;
    DebugStringHook m_before;
};

// Classes that don't exist yet. Their names stand in the expected chains all the same.
const std::set<std::string> kMissing = {
    "LineSharpen",   "NoiseSmooth", "Destreak",     "Smooth",    "ChannelSharpen",
    "SharpenSwitch", "Mirror",      "AutoTone",     "Histogram", "LutSharpen",
    "AutoTonePhoto", "AutoToneTma", "DensityColor", "Palette"};

std::string Existing(const std::string& names) {
    std::istringstream words(names);
    std::string name;
    std::string stages;
    while (words >> name) {
        if (!kMissing.contains(name))
            stages += name + " ";
    }
    return stages;
}

TEST(ChainShape, FollowsSourceAndOutputType) {
    constexpr char kStart[] =
        "EncodedInput LineSharpen NoiseSmooth Destreak Smooth ChannelSharpen SharpenSwitch Mirror ";
    constexpr char kReflectiveBits[] = "DeviceMatrix OutputFormat LutSharpen Threshold Invert";
    constexpr char kReflectiveGray[] =
        "ToneLevels DeviceMatrix AutoTonePhoto SourceControl EncodingCurve Histogram OutputFormat "
        "LutSharpen Invert";
    constexpr char kReflectiveColor[] =
        "ToneLevels DeviceMatrix AutoTonePhoto SourceControl EncodingCurve Histogram OutputFormat "
        "LutSharpen Palette Invert";
    constexpr char kSlideBits[] = "DarkNeutral TmaMatrix OutputFormat LutSharpen Threshold Invert";
    constexpr char kSlideGray[] =
        "DarkNeutral AutoToneTma SourceControl EncodingCurve Histogram OutputFormat LutSharpen "
        "Invert";
    constexpr char kSlideColor[] =
        "DarkNeutral TmaMatrix AutoToneTma SourceControl EncodingCurve Histogram OutputFormat "
        "LutSharpen Palette Invert";
    constexpr char kNegativeBits[] =
        "ChannelCurve AutoTone SourceControl DensityColor Saturation OutputFormat LutSharpen "
        "Threshold Invert";
    constexpr char kNegativeGray[] =
        "ChannelCurve AutoTone DensityColor Saturation SourceControl EncodingCurve Histogram "
        "OutputFormat LutSharpen Invert";
    constexpr char kNegativeColor[] =
        "ChannelCurve AutoTone DensityColor Saturation SourceControl EncodingCurve Histogram "
        "OutputFormat LutSharpen Palette Invert";
    // By output type; the last is a type that nobody knows.
    const char* const kBodies[3][6] = {
        {kReflectiveBits, kReflectiveBits, kReflectiveGray, kReflectiveColor, kReflectiveColor,
         kReflectiveGray},
        {kSlideBits, kSlideGray, kSlideGray, kSlideColor, kSlideColor, kSlideGray},
        {kNegativeBits, kNegativeGray, kNegativeGray, kNegativeColor, kNegativeColor,
         kNegativeGray},
    };
    CChainLog chain;
    CEngineRig rig;
    // From each source to each other one.
    for (const int source : {0, 1, 2, 0, 2, 1, 0}) {
        rig.m_engine.SetValue(QL_ATTR_TMA, source != 0);
        rig.m_engine.SetValue(QL_ATTR_NEGATIVE, source == 2);
        for (int type = 0; type < 6; ++type) {
            rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, static_cast<std::uint64_t>(type));
            rig.RunStream(NoisePicture(4, 6), {20});
            EXPECT_EQ(chain.Stages(), Existing(std::string(kStart) + kBodies[source][type]))
                << "source " << source << ", output type " << type;
        }
    }
}

TEST(ChainShape, ANegativeCountsOnlyOnTheAdapter) {
    CChainLog chain;
    CEngineRig rig;
    rig.m_engine.SetValue(QL_ATTR_NEGATIVE, 1);
    rig.RunStream(NoisePicture(4, 6), {20});
    EXPECT_NE(chain.Stages().find("DeviceMatrix"), std::string::npos);
}

// ---- Changes of the source's kind

TEST(ChainSource, AChangeBuildsTheNewStagesAtOnceAndMakesNoSource) {
    CEngineRig rig;
    rig.m_engine.SetFixed(QL_ATTR_SATURATION, 0.5);
    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    rig.RunStream(NoisePicture(9, 12), {20});
    CTestStream spent(NoisePicture(9, 12));
    rig.m_engine.SetInputStream(&spent);
    for (const auto& [tma, negative] : {std::pair{1, 0}, {1, 1}, {0, 1}, {0, 0}}) {
        rig.m_engine.SetValue(QL_ATTR_TMA, static_cast<std::uint64_t>(tma));
        rig.m_engine.SetValue(QL_ATTR_NEGATIVE, static_cast<std::uint64_t>(negative));
        // The reflective stage of the start is gone for good; what comes back is a new object.
        EXPECT_EQ(rig.m_engine.GetFixed(QL_ATTR_SATURATION), 1.0);
        EXPECT_EQ(rig.Get(QL_ATTR_MATRIX_MODE), 1) << "told what the output type asks";
        EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
        EXPECT_EQ(spent.m_cbRead, 0u);
    }
    rig.m_engine.Start();
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 1);
    EXPECT_EQ(spent.m_cbRead, 54u);
    rig.m_engine.Stop();
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
}

TEST(ChainSource, EveryRunReadsItsOwnInput) {
    CEngineRig rig;
    for (const std::int32_t size : {12, 7, 9}) {
        const CTestPicture picture = NoisePicture(size, size + 1);
        rig.RunStream(picture, {20});
        EXPECT_EQ(rig.m_client.Header().biWidth, size);
        EXPECT_EQ(rig.m_client.Header().biHeight, size + 1);
        // Between the images, with the stream of the last one spent.
        rig.m_engine.SetValue(QL_ATTR_TMA, rig.Get(QL_ATTR_TMA) == 0);
        rig.m_engine.SetValue(QL_ATTR_NEGATIVE, rig.Get(QL_ATTR_NEGATIVE) == 0);
    }
}

TEST(ChainSource, AFailedStartMakesNoSourceLater) {
    CEngineRig rig;
    CTestStream empty{Bytes()};
    const auto before = SetMessageBoxHook([](HWND, LPCSTR, LPCSTR, UINT) { return IDOK; });
    rig.m_engine.SetInputStream(&empty);
    rig.m_engine.Start();
    SetMessageBoxHook(before);
    ULONG written = 0;
    empty.Write(BitmapHeaders(NoisePicture(4, 4), -4).data(), 54, &written);
    rig.m_engine.SetValue(QL_ATTR_TMA, 1);
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
    rig.m_engine.Stop();
}

TEST(ChainSource, AChangeInsideAnImageWaitsForItsEnd) {
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
    rig.m_engine.Stop();
}

// ---- Passes

TEST(ChainPass, WholePassesMoveInStepsOfTheChunkButNeverInOne) {
    // Bytes of an output row, lines, and the lines of a step: 0x40000 / bytes, at least 2, at most
    // a fifth of the height, and one where that is none.
    constexpr struct {
        std::int32_t width, height;
        std::size_t rowBytes;
        std::size_t step;
    } kCases[] = {{533, 41, 1600, 8}, {8, 4, 24, 1},         {8, 9, 24, 1},
                  {8, 10, 24, 2},     {1000, 900, 3000, 87}, {60000, 12, 180000, 2}};
    for (const auto& row : kCases) {
        CEngineRig rig;
        rig.RunFile(NoisePicture(row.width, row.height));
        const Sizes sizes = rig.m_client.BandSizes();
        ASSERT_GT(sizes.size(), 2u);
        EXPECT_EQ(sizes.front(), row.rowBytes * row.step) << row.width << " x " << row.height;
        EXPECT_EQ(sizes[1], row.rowBytes * row.step);
        EXPECT_EQ(sizes.back(), 0u) << "the end of the pass";
        EXPECT_EQ(rig.m_client.m_messages.back().m_percent, 100u);
        EXPECT_EQ(rig.m_client.Rows().size(), row.rowBytes * static_cast<std::size_t>(row.height));
        EXPECT_EQ(rig.m_client.OfType(QL_IMAGE_CALLBACK_DONE).size(), 0u);
    }
}

TEST(ChainPass, AnAnalysisCollectsAndDeliversNothing) {
    CEngineRig rig;
    Log log;
    // What the collecting stages are told during the pass.
    struct Watcher {
        void Told(std::int32_t id) {
            m_log->push_back(std::to_string(id) + "=" + std::to_string(m_engine->GetInteger(id)));
        }
        Log* m_log;
        CQLEngine* m_engine;
    } watcher{&log, &rig.m_engine};
    CQLAttribMemberPort<Watcher> port(rig.m_engine.Tree(), &watcher, &Watcher::Told, nullptr,
                                      nullptr);
    for (const std::int32_t id : {QL_ATTR_HISTOGRAM_ON, QL_ATTR_THRESHOLD_COLLECT,
                                  QL_ATTR_SOURCE_FIRST_READ, QL_ATTR_AUTO_TONE})
        port.Subscribe(id);
    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    const CTestBenchFile file(NoisePicture(20, 20));
    rig.m_engine.Start();
    rig.m_engine.FireAnalyse();
    EXPECT_EQ(log, (Log{"20036=1", "20038=1", "20344=1", "20245=0", "20038=0", "20344=0"}));
    EXPECT_EQ(rig.Get(QL_ATTR_AUTO_TONE), 0) << "a request holds for one pass";
    EXPECT_TRUE(rig.m_client.m_messages.empty());
    rig.m_engine.FireOpenAnalysed();
    rig.Finish();
    EXPECT_EQ(rig.m_client.Rows().size(), 20u * 20) << "the file is read again from its first line";
}

TEST(ChainPass, ClippingIsHeldForAPassAndReleasedAfterAWholeOne) {
    CEngineRig rig;
    CTestProvider clip(rig.m_engine.Tree());
    clip.Provide(QL_ATTR_CLIP_HIGH, 1);
    clip.Provide(QL_ATTR_CLIP_LOW, 0);
    std::vector<std::int32_t> during;
    rig.m_client.m_act = [&](const CTestClient::Message&) {
        during.push_back(rig.Get(QL_ATTR_CLIP_HIGH) * 10 + rig.Get(QL_ATTR_CLIP_LOW));
        return S_OK;
    };
    rig.m_engine.FireOpenAnalysed();
    EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH), 1) << "no source, no pass";
    rig.m_engine.FireEnd();
    during.clear();
    rig.RunFile(NoisePicture(8, 8));
    EXPECT_EQ(during, std::vector<std::int32_t>(1 + 8 + 1)) << "off throughout";
    EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH), 1);
    EXPECT_EQ(rig.Get(QL_ATTR_CLIP_LOW), 0);
    rig.RunStream(NoisePicture(8, 8), {20});
    EXPECT_EQ(rig.Get(QL_ATTR_CLIP_HIGH), 0) << "a streamed image leaves it off";
}

TEST(ChainPass, TheEndOfAFeederPageIsAnnouncedOnRequest) {
    CEngineRig rig;
    Log log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    listener.Subscribe(QL_ATTR_ADF_PAGE_DONE);
    rig.m_engine.SetValue(QL_ATTR_ADF, 1);
    rig.RunStream(NoisePicture(8, 8), {20});
    EXPECT_TRUE(log.empty());
    CTestProvider enable(rig.m_engine.Tree());
    enable.Provide(QL_ATTR_ADF_EVENT_ENABLE, 1);
    rig.RunStream(NoisePicture(8, 8), {20});
    EXPECT_EQ(log, (Log{"20216"}));
}

// ---- Bookkeeping. A chain without an engine: what it asks for is fired before it finds no source.

class ChainBookkeeping : public testing::Test {
  protected:
    ChainBookkeeping() {
        for (const std::int32_t id :
             {QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR, QL_ATTR_THRESHOLD_AUTO})
            m_listener.Subscribe(id);
    }
    // The analyses that an opening asks for.
    Log Asked(std::uint64_t outputType) {
        m_listener.SetValue(QL_ATTR_OUTPUT_TYPE, outputType);
        m_log.clear();
        m_chain.OpenForAnalysis();
        return m_log;
    }
    Log Listen(const std::vector<std::int32_t>& ids, const std::function<void()>& act) {
        Log log;
        CTestListener listener(&m_tree, &log, "");
        for (const std::int32_t id : ids)
            listener.Subscribe(id);
        act();
        return log;
    }

    QLAttribTree m_tree;
    CChainFull m_chain{&m_tree};
    Log m_log;
    CTestListener m_listener{&m_tree, &m_log, ""};
};

TEST_F(ChainBookkeeping, AnalysesAreAskedForByTypeAndWhatIsDue) {
    EXPECT_EQ(Asked(3), Log{}) << "nothing is due";
    for (const std::int32_t id :
         {QL_ATTR_TONE_TOUCHED, QL_ATTR_COLOR_TOUCHED, QL_ATTR_THRESHOLD_TOUCHED})
        m_listener.Notify(id);
    EXPECT_EQ(Asked(3), (Log{"20057", "20036"}));
    EXPECT_EQ(Asked(4), (Log{"20057", "20036"}));
    EXPECT_EQ(Asked(2), (Log{"20036"}));
    EXPECT_EQ(Asked(0), (Log{"20340"}));
    EXPECT_EQ(Asked(1), (Log{"20340"}));
    m_listener.Notify(QL_ATTR_CLEAR_PENDING);
    EXPECT_EQ(Asked(3), Log{});
    EXPECT_EQ(Asked(0), Log{});
    m_listener.SetValue(QL_ATTR_AUTO_COLOR_ON, 1);
    m_listener.Notify(QL_ATTR_REARM);
    EXPECT_EQ(Asked(3), (Log{"20057"}));
    m_listener.SetValue(QL_ATTR_AUTO_COLOR_ON, 0x100);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_AUTO_COLOR_ON), 0) << "the low byte counts";
    m_listener.Notify(QL_ATTR_REARM);
    EXPECT_EQ(Asked(3), Log{});
}

TEST_F(ChainBookkeeping, AnOutputTypeMakesWantedAnalysesDueAndSetsTheMatrixMode) {
    CTestProvider values(&m_tree);
    values.Provide(QL_ATTR_PALETTE_KIND, 3);
    values.Provide(QL_ATTR_HALFTONE_CELL, 0);
    for (const std::int32_t id :
         {QL_ATTR_AUTO_TONE_ON, QL_ATTR_AUTO_COLOR_ON, QL_ATTR_AUTO_THRESHOLD_ON})
        m_listener.SetValue(id, 1);
    const std::vector<std::int32_t> touched = {QL_ATTR_TONE_TOUCHED, QL_ATTR_COLOR_TOUCHED,
                                               QL_ATTR_THRESHOLD_TOUCHED, QL_ATTR_PALETTE_TOUCHED};
    const auto set = [this](std::uint64_t type) {
        return [this, type] { m_listener.SetValue(QL_ATTR_OUTPUT_TYPE, type); };
    };
    EXPECT_EQ(Listen(touched, set(3)), (Log{"20086", "20084", "20090"}));
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_MATRIX_MODE), 0);
    EXPECT_EQ(Listen(touched, set(4)), (Log{"20086", "20084", "20090", "20092"}));
    const auto hue = [this] { m_listener.Notify(QL_ATTR_HUE_X); };
    EXPECT_EQ(Listen(touched, hue), (Log{"20092"})) << "a palette of the image is stale now";
    EXPECT_EQ(Listen(touched, set(2)).size(), 3u);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_MATRIX_MODE), 1) << "gray by weights without a cell";
    EXPECT_EQ(Listen(touched, hue), Log{});
    values.SetAttrib(QL_ATTR_HALFTONE_CELL, 3);
    set(1)();
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_MATRIX_MODE), 3);
    values.SetAttrib(QL_ATTR_PALETTE_KIND, 2);
    EXPECT_EQ(Listen(touched, set(4)).size(), 3u);
    EXPECT_EQ(Listen(touched, [this] { m_listener.Notify(QL_ATTR_ANALYSIS_OVERRIDE); }),
              (Log{"20086", "20084", "20090"}));
}

TEST_F(ChainBookkeeping, AutomaticExposureResetsWhatWasFound) {
    const std::vector<std::int32_t> ids = {QL_ATTR_SATURATION_RESET, QL_ATTR_RESET_COLOR,
                                           QL_ATTR_RESET_TONE, QL_ATTR_COLOR_TOUCHED,
                                           QL_ATTR_TONE_TOUCHED};
    m_listener.SetValue(QL_ATTR_AUTO_TONE_ON, 1);
    const auto set = [this](std::uint64_t value) {
        return [this, value] { m_listener.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, value); };
    };
    EXPECT_EQ(Listen(ids, set(1)), (Log{"20164", "20058", "20045", "20086", "20084"}));
    EXPECT_EQ(Listen(ids, set(0)), (Log{"20164", "20058", "20045", "20084"}));
}

TEST_F(ChainBookkeeping, ResolutionsAreLimitedAndFollowTheSource) {
    m_listener.SetValue(QL_ATTR_RES_OPTICAL, 5);
    m_listener.SetValue(QL_ATTR_RES_SCAN_X, 1000000);
    m_listener.SetValue(QL_ATTR_RES_SCAN_Y, 1200);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_RES_OPTICAL), 12);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_RES_SCAN_X), 999999);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_RES_SCAN_Y), 1200);
    CTestProvider source(&m_tree);
    const Log heard = Listen({QL_ATTR_RES_SCAN_X, QL_ATTR_RES_SCAN_Y}, [&source, this] {
        source.Provide(QL_ATTR_SRC_RES_X, 600);
        source.Provide(QL_ATTR_SRC_RES_Y, 0);
        m_listener.Notify(QL_ATTR_SRC_RES_X);
    });
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_RES_SCAN_Y), 600);
    EXPECT_EQ(m_listener.GetInteger(QL_ATTR_RES_SCAN_X), 999999) << "0 is no resolution";
    EXPECT_EQ(heard, (Log{"20070"})) << "and the same once more is no change";
}

}  // namespace
