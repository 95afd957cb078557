// The automatic tone stages: what they feed to their analysers, when those run, and what lines go
// through. The arithmetic of the analysers has tests of its own.

#include <gtest/gtest.h>

#include <random>

#include "stages/auto_tone.h"
#include "stages/auto_tone_photo.h"
#include "stages/auto_tone_tma.h"
#include "stages/encoding_curve.h"
#include "tests/support/plain_density.h"
#include "tests/support/stage_rig.h"

namespace {

// ---- Sampling, against a plain form that asks each pixel

struct CCollector {
    bool IsComplete() const { return true; }
    CQLHistogram& Histogram(std::int32_t c) { return m_histograms[c]; }
    CBrightestPixelList& BrightestList() { return m_bright; }
    CDarkestPixelList& DarkestList() { return m_dark; }

    std::vector<double> Summary() {
        std::vector<double> all;
        for (const CQLHistogram& histogram : m_histograms) {
            for (std::int32_t i = 0; i < histogram.Size(); ++i)
                all.push_back(histogram.At(i));
        }
        for (const CExtremePixelList* list :
             std::initializer_list<const CExtremePixelList*>{&m_bright, &m_dark}) {
            double rgb[3];
            list->Average(&rgb[0], &rgb[1], &rgb[2]);
            all.insert(all.end(), rgb, rgb + 3);
            all.push_back(list->Count());
            all.push_back(list->Threshold());
        }
        return all;
    }

    CQLHistogram m_histograms[3] = {CQLHistogram(4096), CQLHistogram(4096), CQLHistogram(4096)};
    CBrightestPixelList m_bright{10};
    CDarkestPixelList m_dark{10, 65535};
};

bool Inside(const QLRect& r, int x, int y) {
    return y >= r.top && y <= r.bottom && x >= r.left && x <= r.right;
}

void FeedPlainly(const std::uint16_t* p, bool color, bool whole, bool candidate, CCollector& to) {
    const std::uint16_t g = p[color ? 1 : 0];
    const std::uint16_t b = p[color ? 2 : 0];
    if (whole || candidate)
        to.m_bright.Offer(p[0], g, b);
    if (!whole)
        return;
    to.m_histograms[0].Increment(p[0] >> 4);
    to.m_histograms[1].Increment(g >> 4);
    to.m_histograms[2].Increment(b >> 4);
    to.m_dark.Offer(p[0], g, b);
}

TEST(ToneSampling, FeedsWhatAskingEachPixelWouldFeed) {
    constexpr int kWidth = 61;
    constexpr int kHeight = 23;
    std::mt19937 random(5);
    // Outer rectangle and window: usual, a single pixel, beyond the image on all sides, outside,
    // and turned over.
    // clang-format off
    const QLRect cases[][2] = {
        {{2, 3, 20, 55}, {6, 12, 15, 44}}, {{5, 7, 5, 7}, {5, 7, 5, 7}},
        {{-9, -2147483647, 99, 2147483647}, {3, -5, 12, 2147483647}},
        {{40, 90, 70, 120}, {45, 95, 60, 110}}, {{9, 30, 4, 10}, {8, 28, 5, 12}}};
    // clang-format on
    for (const auto& [outer, window] : cases) {
        for (const bool color : {true, false}) {
            const std::size_t channels = color ? 3 : 1;
            Samples image(kWidth * kHeight * channels);
            for (std::uint16_t& v : image)
                v = static_cast<std::uint16_t>(random() % 5 == 0 ? (random() % 2) * 65535
                                                                 : random());
            CCollector plain, ring, alone, plainAlone;
            std::size_t counter = 0;
            int n = 0;
            for (int y = 0; y < kHeight; ++y) {
                const std::uint16_t* row = image.data() + y * kWidth * channels;
                const QLPixelRun line{row, kWidth, channels, color};
                FeedWindowAndRing(line, y, window, outer, ring, &counter);
                FeedWindow(line, y, window, alone);
                for (int x = 0; x < kWidth; ++x, row += channels) {
                    const bool in = Inside(window, x, y);
                    FeedPlainly(row, color, in, false, plainAlone);
                    const bool around = !in && color && Inside(outer, x, y);
                    n += around ? 1 : 0;
                    FeedPlainly(row, color, in || (around && n == 5), around, plain);
                    n = n == 5 ? 0 : n;
                }
            }
            EXPECT_EQ(ring.Summary(), plain.Summary()) << outer.top << ", color " << color;
            EXPECT_EQ(alone.Summary(), plainAlone.Summary()) << window.top << ", color " << color;
        }
    }
}

// ---- Requests

const Ids kLevels = {QL_ATTR_AUTO_WHITE, QL_ATTR_AUTO_MID, QL_ATTR_AUTO_BLACK};
const Ids kHue = {QL_ATTR_HUE_X, QL_ATTR_HUE_Y};
Ids operator+(Ids a, const Ids& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A dark slope of colours, 16 pixels a line.
Samples DarkLines(int lines) {
    Samples image;
    for (int i = 0; i < 16 * lines; ++i)
        image.insert(image.end(), {static_cast<std::uint16_t>(2000 + 90 * i % 9000),
                                   static_cast<std::uint16_t>(2500 + 80 * i % 8000),
                                   static_cast<std::uint16_t>(1500 + 70 * i % 7000)});
    return image;
}

template <typename Stage>
class AutoTone : public StageTest<Stage> {
  protected:
    AutoTone() {
        this->m_board.Hear(Ids{QL_ATTR_HIGHLIGHT, QL_ATTR_MIDTONE, QL_ATTR_SHADOW} + kLevels +
                           kHue);
    }

    // A pass over 16 lines, of which only so many are pulled; what was announced.
    Ids Pass(int pulled = 16) {
        CLineSource source(&this->m_tree, QL_PIXEL_RGB16, 16, BytesOf(DarkLines(16)),
                           QL_LAYOUT_INTERNAL);
        this->m_stage.SetUpstream(&source);
        EXPECT_EQ(this->m_stage.Open(), QL_OK);
        CQLLineBuffer buffer(this->m_stage.GetOutputFormat());
        for (std::int32_t lines = 3; pulled > 0; pulled -= lines) {
            lines = std::min(pulled, 3);
            EXPECT_TRUE(buffer.Resize(lines));
            this->m_stage.Read(&lines, &buffer);
        }
        this->m_board.Heard();
        this->m_stage.Close();
        this->m_stage.SetUpstream(nullptr);
        return this->m_board.Heard();
    }
    void Ask(std::int32_t id, std::uint64_t value = 1) { this->m_board.Put(id, value); }
    int Level(std::int32_t id) { return WordInteger(this->m_stage.GetAttrib(id)); }
};
using Stages = testing::Types<CAutoToneStage, CAutoToneTmaStage, CAutoTonePhotoStage>;
TYPED_TEST_SUITE(AutoTone, Stages);

TYPED_TEST(AutoTone, ServesARequestWithAWholeImageOnly) {
    const Ids levels = std::is_same_v<TypeParam, CAutoTonePhotoStage>
                           ? Ids{QL_ATTR_HIGHLIGHT, QL_ATTR_MIDTONE, QL_ATTR_SHADOW} + kLevels
                           : kLevels;
    EXPECT_EQ(this->Pass(), Ids()) << "nobody asked";
    this->m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(77));
    this->Ask(QL_ATTR_AUTO_TONE);
    EXPECT_EQ(this->Pass(15), Ids()) << "cut";
    EXPECT_TRUE(this->m_stage.HasRequest());
    QLRect outside{100, 100, 200, 200};
    this->Ask(QL_ATTR_ANALYSIS_RECT, PointerWord(&outside));
    this->Ask(QL_ATTR_AUTO_COLOR);
    EXPECT_EQ(this->Pass(), Ids()) << "nothing to look at";
    EXPECT_EQ(this->Level(QL_ATTR_AUTO_MID), 77);
    EXPECT_EQ(this->Level(QL_ATTR_HUE_X), 0);
    QLRect turned{9, 9, 3, 3};
    this->Ask(QL_ATTR_ANALYSIS_RECT, PointerWord(&turned));
    EXPECT_EQ(this->Pass(), levels + kHue) << "an empty rectangle is none";
    EXPECT_FALSE(this->m_stage.HasRequest());
    EXPECT_NE(this->Level(QL_ATTR_AUTO_MID), 77);
    EXPECT_EQ(this->Pass(), Ids()) << "served";
    this->m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(77));
    this->Ask(QL_ATTR_AUTO_COLOR);
    EXPECT_EQ(this->Pass(), kHue);
    EXPECT_EQ(this->Level(QL_ATTR_AUTO_MID), 77) << "colour alone";
    const int hue = this->Level(QL_ATTR_HUE_X);
    this->Ask(QL_ATTR_AUTO_TONE);
    EXPECT_EQ(this->Pass(), levels);
    EXPECT_NE(this->Level(QL_ATTR_AUTO_MID), 77);
    EXPECT_EQ(this->Level(QL_ATTR_HUE_X), hue) << "tone alone";
}

TYPED_TEST(AutoTone, ResetsToWhatWasFoundUnlessTheExposureVariantCameBetween) {
    const bool paper = std::is_same_v<TypeParam, CAutoTonePhotoStage>;
    this->Ask(QL_ATTR_AUTO_TONE);
    this->Ask(QL_ATTR_AUTO_COLOR);
    this->Pass();
    const int white = this->Level(QL_ATTR_AUTO_WHITE), black = this->Level(QL_ATTR_AUTO_BLACK);
    const auto hue = this->m_stage.GetAttrib(QL_ATTR_HUE_X);
    EXPECT_NE(hue, 0u);
    const auto spoil = [&] {
        for (const std::int32_t id : kLevels)
            this->m_stage.SetAttrib(id, IntegerWord(-99));
        this->m_stage.SetAttrib(QL_ATTR_HUE_X, ToFixed(0.9));
    };
    for (const bool expose : {false, true, false}) {
        spoil();
        this->m_stage.SetExposeFlag(expose);
        this->m_board.Heard();
        this->m_board.Notify(QL_ATTR_RESET_COLOR);
        EXPECT_EQ(this->m_board.Heard(), kHue);
        this->m_board.Notify(QL_ATTR_RESET_TONE);
        EXPECT_EQ(this->m_board.Heard().size(), paper ? 6u : 3u);
        EXPECT_EQ(this->m_stage.GetAttrib(QL_ATTR_HUE_X), expose || paper ? 0u : hue);
        EXPECT_EQ(this->Level(QL_ATTR_AUTO_WHITE), expose ? (paper ? 27 : 0) : white);
        EXPECT_EQ(this->Level(QL_ATTR_AUTO_BLACK), expose ? 0 : black);
    }
}

TYPED_TEST(AutoTone, LevelsKeepTheirMeaningBehindAnInversion) {
    this->m_board.Put(QL_ATTR_INVERT, 1);
    EXPECT_EQ(this->m_board.Heard().size() % 3, 0u);
    this->m_stage.SetAttrib(QL_ATTR_AUTO_WHITE, IntegerWord(30));
    this->m_stage.SetAttrib(QL_ATTR_AUTO_BLACK, IntegerWord(-2147483647 - 1));
    this->m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(2147483647));
    const auto all = [this] {
        return Ids{this->Level(QL_ATTR_AUTO_WHITE), this->Level(QL_ATTR_AUTO_BLACK),
                   this->Level(QL_ATTR_AUTO_MID)};
    };
    EXPECT_EQ(all(), (Ids{30, -100, 100}));
    this->m_board.Put(QL_ATTR_INVERT, 0);
    EXPECT_EQ(all(), (Ids{100, -30, -100}));
}

// ---- What is special in each

using NegativeTone = AutoTone<CAutoToneStage>;
using SlideTone = AutoTone<CAutoToneTmaStage>;
using PhotoTone = AutoTone<CAutoTonePhotoStage>;

TEST_F(NegativeTone, GrayInputIsMixedAndGrayLinesPass) {
    // (r + 2 g + b) >> 2, before one curve for all three.
    m_stage.SetGrayInput(true);
    const Samples out = RunColor(m_stage, {4001, 9000, 20000, 10500, 10500, 10501});
    EXPECT_EQ(out[0], out[1]);
    EXPECT_EQ(out[1], out[2]);
    EXPECT_EQ((Samples{out.begin(), out.begin() + 3}), (Samples{out.begin() + 3, out.end()}))
        << "10500 both";
    Samples pixels = {1, 2, 3, 65535, 0, 7};
    CQLLineBuffer line(m_stage.GetOutputFormat(), reinterpret_cast<std::uint8_t*>(pixels.data()),
                       1);
    m_stage.CopyRedToAll(5, &line);
    EXPECT_EQ(pixels, (Samples{1, 1, 1, 65535, 65535, 65535}));
    const Samples gray = {3000, 40000, 65535};
    EXPECT_EQ(RunGray(m_stage, gray), gray);
    EXPECT_EQ(m_stage.GrayTable(), nullptr);
}

TEST_F(SlideTone, TheBalanceStandsAsideForAnAnalysisOfTone) {
    const Samples pixel = {30000, 20000, 10000};
    const Samples before = RunColor(m_stage, pixel);
    m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(60));
    const Samples brighter = RunColor(m_stage, pixel);
    EXPECT_GT(brighter[2], before[2]);
    EXPECT_EQ(AskColor(m_stage, pixel), brighter) << "single colours go the same way";
    Ask(QL_ATTR_AUTO_TONE);
    EXPECT_EQ(RunColor(m_stage, pixel), pixel);
    EXPECT_EQ(RunGray(m_stage, pixel), pixel);
}

TEST_F(PhotoTone, ARequestStandsUntilServedAndExposureAsksForBoth) {
    Ask(QL_ATTR_AUTO_TONE);
    Ask(QL_ATTR_AUTO_TONE, 0);
    EXPECT_TRUE(m_stage.HasRequest());
    m_stage.DropRequest();
    Ask(QL_ATTR_AUTO_EXPOSE_COLOR);
    m_board.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, 1);
    EXPECT_FALSE(m_stage.HasRequest()) << "without automatics there is nothing to ask for";
    Ask(QL_ATTR_AUTO_AVAILABLE);
    m_board.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, 0);
    EXPECT_EQ(Pass().size(), 6u) << "tone alone";
    m_board.SetValue(QL_ATTR_AUTO_EXPOSE_COLOR, 1);
    EXPECT_EQ(Pass().size(), 8u);
}

// The curve takes both tables with one read: lines are what the two make of them apart, also where
// a table changes between two bands.
TEST_F(PhotoTone, JoinsTheEncodingCurveWithoutAChangeToLines) {
    Samples line(24);
    for (std::size_t i = 0; i < line.size(); ++i)
        line[i] = static_cast<std::uint16_t>(i * 2849);
    for (const std::uint32_t type : {QL_PIXEL_RGB16, QL_PIXEL_GRAY16}) {
        m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(60));
        Ask(QL_ATTR_CURVE_SELECT, 0);
        CEncodingCurveStage curve(&m_tree);
        const auto apart = [&] { return RunGray(curve, RunGray(m_stage, line, type), type); };
        std::vector<Samples> expected = {apart()}, joint;
        Samples lines;
        for (int i = 0; i < 3; ++i)
            lines.insert(lines.end(), line.begin(), line.end());
        CLineSource source(&m_tree, type, type == QL_PIXEL_RGB16 ? 8 : 24, BytesOf(lines),
                           QL_LAYOUT_INTERNAL);
        m_stage.SetUpstream(&source);
        curve.SetUpstream(&m_stage);
        ASSERT_EQ(curve.Open(), QL_OK);
        const auto read = [&] {
            Samples out(line.size());
            CQLLineBuffer buffer(curve.GetOutputFormat(),
                                 reinterpret_cast<std::uint8_t*>(out.data()), 1);
            std::int32_t count = 1;
            EXPECT_EQ(curve.Read(&count, &buffer), QL_OK);
            return out;
        };
        joint.push_back(read());
        Ask(QL_ATTR_CURVE_SELECT, 1);
        joint.push_back(read());
        m_stage.OnAttribNotify(QL_ATTR_RESET_TONE);
        joint.push_back(read());
        curve.Close();
        expected.push_back({});
        expected.push_back(apart());
        m_stage.SetAttrib(QL_ATTR_AUTO_MID, IntegerWord(60));
        expected[1] = apart();
        EXPECT_EQ(joint, expected);
        EXPECT_TRUE(joint[0] != joint[1] && joint[1] != joint[2]);
    }
}

}  // namespace
