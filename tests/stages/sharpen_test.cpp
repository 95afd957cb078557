// Sharpening and the smoothing of noise: their settings, and images against the plain filters.

#include <optional>
#include <random>

#include "stages/channel_sharpen.h"
#include "stages/lut_sharpen.h"
#include "stages/noise_smooth.h"
#include "stages/sharpen_switch.h"
#include "tests/support/plain_neighbours.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr int kWidth = 31;
constexpr std::size_t kLines = 9;
constexpr int kNone = 5;  // a level without a strength

Samples Image(int channels, int top = 65535) {
    static std::mt19937 random(5);
    Samples image(static_cast<std::size_t>(kWidth * channels) * kLines);
    for (std::uint16_t& v : image)
        v = static_cast<std::uint16_t>(random() % static_cast<unsigned>(top + 1));
    return image;
}

Samples Through(CQLStage& stage, int channels, const Samples& image) {
    const std::uint32_t type = channels == 3 ? QL_PIXEL_RGB16 : QL_PIXEL_GRAY16;
    return SamplesOf(RunLines(stage, type, kWidth, BytesOf(image), QL_LAYOUT_INTERNAL, 2).m_bytes);
}

// By a setting of which 0 is none.
template <typename Plain>
void ExpectFiltered(CQLStage& stage, int setting, const Plain& plain) {
    for (const int channels : {1, 3}) {
        const Samples image = Image(channels);
        EXPECT_EQ(Through(stage, channels, image), plain(image, kWidth, channels, setting))
            << setting;
    }
    EXPECT_EQ(stage.IsActive(), setting != 0);
}

// Every difference that can be, with every strength: the product with a factor is taken where it
// gives the same, else the table.
TEST(SharpenResponse, TheProductIsTheCurveOfEveryStrength) {
    QLImageFormat format;
    format.SetLayout(QL_LAYOUT_INTERNAL);
    format.SetPixelType(QL_PIXEL_GRAY16);
    format.SetWidth(131072);
    const std::size_t n = 131072;
    const Samples centre(n, 32768);
    Samples up(n), down(n), out(n);
    for (std::size_t i = 0; i < n; ++i) {
        up[i] = static_cast<std::uint16_t>(i / 2);
        down[i] = static_cast<std::uint16_t>(i - i / 2 - (i == n - 1 ? 1 : 0));
    }
    int products = 0, tables = 0;
    for (int strength = -101; strength <= 110; ++strength) {
        const double slope = SharpenSlope(strength, format);
        EXPECT_EQ(slope, plain::SlopeOf(strength));
        CSharpenResponse response;
        ASSERT_TRUE(response.Build({&slope, 1}));
        ++(response.IsProduct() ? products : tables);
        response.Apply(up.data(), centre.data(), down.data(), out.data(), format);
        for (std::size_t i = 1; i + 1 < n; ++i) {
            const int e = std::clamp(65536 - up[i] - down[i], -65535, 65535);
            ASSERT_EQ(out[i], 32768 + plain::Response(slope, e)) << strength << ' ' << e;
        }
    }
    EXPECT_GT(products, 190) << "else sharpening is slow";
    EXPECT_GT(tables, 10) << "100 percent and more have no factor of 32 bits";
}

struct LutSharpen : StageTest<CLutSharpenStage> {
    LutSharpen() {
        const int strengths[] = {27, 32, 49, -40, 110};
        for (int level = 0; level < 5; ++level)
            m_board.Put(QL_ATTR_SHARPEN_TABLE_0 + level, IntegerWord(strengths[level]));
        m_board.Put(QL_ATTR_ATTR_230, 0);
        m_board.Put(QL_ATTR_OUTPUT_TYPE, 3);
    }
    int Level() { return WordInteger(m_board.GetValue(QL_ATTR_SHARPEN_LEVEL)); }

    std::optional<CSharpenSwitchStage> m_switch{&m_tree};
};

TEST_F(LutSharpen, SharpensByTheStrengthOfItsLevel) {
    const auto expect = [&](int strength) {
        ExpectFiltered(m_stage, strength, plain::Sharpened<std::uint16_t>);
    };
    expect(27);
    m_board.SetValue(QL_ATTR_SHARPEN_STRENGTH, 3);  // of kernels that this stage doesn't use
    for (const auto& [level, strength] :
         {std::pair{1, 32}, {2, 49}, {3, -40}, {4, 110}, {-1, 0}, {kNone, 0}, {2, 49}}) {
        m_board.SetValue(QL_ATTR_SHARPEN_LEVEL, IntegerWord(level));
        expect(strength);
    }
    m_board.SetValue(QL_ATTR_ATTR_230, 1);
    expect(49);
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 0);
    expect(0);
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 3);
    m_board.SetValue(QL_ATTR_SHARPEN_SWITCH, 1);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SHARPEN_SWITCH), 1u);
    expect(49);
    m_switch.reset();
    expect(0);
}

TEST_F(LutSharpen, ABoostedImageIsDrawnToTheMiddleLevel) {
    CLineSource source(&m_tree, QL_PIXEL_GRAY16, kWidth, BytesOf(Image(1)), QL_LAYOUT_INTERNAL);
    source.Format().m_sharpenBoostOn = true;
    source.Format().m_sharpenBoost = 1.44;
    m_stage.SetUpstream(&source);
    // (27 + 49) / 2 = 38
    EXPECT_EQ(SamplesOf(RunPass(m_stage).m_bytes),
              plain::Filtered(SamplesOf(source.Bytes()), kWidth, 1, 1,
                              plain::SharpenRule(plain::SlopeOf(38) * 1.2)));
    m_stage.SetUpstream(nullptr);
}

TEST_F(LutSharpen, TheDefaultLevelHoldsUntilAnotherOneIsSet) {
    m_board.Hear({QL_ATTR_SHARPEN_LEVEL});
    EXPECT_EQ(Level(), 0);
    m_board.SetValue(QL_ATTR_SHARPEN_APPLY, 1);
    EXPECT_EQ(Level(), 2);
    EXPECT_EQ(m_board.Heard(), Ids{QL_ATTR_SHARPEN_LEVEL});
    m_board.SetValue(QL_ATTR_SHARPEN_APPLY, 1);
    Through(m_stage, 1, Image(1));
    EXPECT_EQ(m_board.Heard(), Ids{}) << "it has the level already";
    m_board.SetValue(QL_ATTR_SHARPEN_LEVEL, 2);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SHARPEN_APPLY), 1u);
    m_board.SetValue(QL_ATTR_SHARPEN_LEVEL, 4);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SHARPEN_APPLY), 0u);
    Through(m_stage, 1, Image(1));
    EXPECT_EQ(Level(), 4);
    m_board.SetValue(QL_ATTR_SHARPEN_APPLY, 0);
    EXPECT_EQ(Level(), 2);
}

// ---- Fixed kernels

struct CFixedStage final : CSharpenStage {
    using CSharpenStage::CSharpenStage;
    QLStatus OnAfterOpen() override {
        m_passThrough = false;
        return CSharpenStage::OnAfterOpen();
    }
    using CSharpenStage::m_previousLevel;
};
using FixedSharpen = StageTest<CFixedStage>;

// What becomes of c with s around it, by the kernels' letters: 1 to 4, a dash, soft, the mean.
int Kernel(char kernel, int c, int s) {
    switch (kernel) {
        case '1':
            return (12 * c - s) >> 3;
        case '2':
            return (8 * c - s) >> 2;
        case '3':
            return (6 * c - s) >> 1;
        case '4':
            return 5 * c - s;
        case 's':
            return (s + 4 * c) >> 3;
        case 'm':
            return s >> 2;
        default:
            return c;
    }
}

TEST_F(FixedSharpen, TakesTheKernelOfVariantLevelAndTone) {
    const int breaksA[] = {721, 481, 241, 1, 0}, breaksB[] = {1441, 1201, 801, 1, 0};
    const std::string plain[] = {"11111", "22222", "33333", "44444"};
    const std::string gray[] = {"1----", "21---", "321--", "4321-"};
    const std::string colorA[] = {"1ssss", "21sss", "321ss", "4321-"};
    const std::string colorB[] = {"1smmm", "21smm", "321mm", "4321s"};
    for (const int channels : {1, 3}) {
        for (int variant = 0; variant <= 5; ++variant) {
            const bool color = channels == 3;
            const auto* rows = variant == 2   ? (color ? colorA : gray)
                               : variant == 3 ? (color ? colorB : gray)
                                              : plain;
            const auto* breaks = variant == 3 ? breaksB : breaksA;
            for (const int level : {1, 2, 3, 4, kNone}) {
                // Dark enough for all tones; a line of one value besides.
                Samples image = Image(channels, level % 2 != 0 ? 1600 : 900);
                std::fill_n(image.begin() + kWidth * 4, kWidth, std::uint16_t{0});
                const auto rule = [&](const auto& at) {
                    const int c = at(0, 0), l = at(-1, 0), r = at(1, 0);
                    if (level == kNone || (variant == 4 && (l + r) >> 1 == c))
                        return c;
                    const auto range =
                        std::find_if(breaks, breaks + 5, [c](int least) { return c >= least; });
                    return Kernel(rows[level - 1][static_cast<std::size_t>(range - breaks)], c,
                                  l + r + at(0, -1) + at(0, 1));
                };
                m_board.SetValue(QL_ATTR_SHARPEN_STRENGTH, IntegerWord(variant));
                m_board.SetValue(QL_ATTR_SHARPEN_LEVEL, IntegerWord(level));
                EXPECT_EQ(Through(m_stage, channels, image),
                          plain::Filtered(image, kWidth, channels, 1, rule))
                    << channels << ", variant " << variant << ", level " << level;
            }
        }
    }
    m_board.SetValue(QL_ATTR_SHARPEN_APPLY, 1);
    EXPECT_EQ(m_stage.m_previousLevel, kNone);
}

// ---- At the front of the chain

using ChannelSharpen = StageTest<CChannelSharpenStage>;

TEST_F(ChannelSharpen, EachChannelHasAStrengthAndGrayGoesByGreen) {
    const Samples color = Image(3), gray = Image(1);
    EXPECT_EQ(Through(m_stage, 3, color), color);
    const int strengths[] = {0, 55, -80};
    for (int k = 0; k < 3; ++k)
        m_board.Put(QL_ATTR_CHANNEL_SHARPEN_0 + k, IntegerWord(strengths[k]));
    for (const std::uint64_t tma : {1, 0}) {
        m_board.Put(QL_ATTR_TMA, tma);
        for (const std::uint64_t type : {0, 2, 3}) {
            m_board.Put(QL_ATTR_OUTPUT_TYPE, type);
            Samples expected = color;
            for (std::size_t k = 0; k < 3 && type != 0 && tma == 0; ++k) {
                const Samples one = plain::Sharpened(color, kWidth, 3, strengths[k]);
                for (std::size_t i = k; i < one.size(); i += 3)
                    expected[i] = one[i];
            }
            EXPECT_EQ(Through(m_stage, 3, color), expected) << type << ' ' << tma;
        }
    }
    EXPECT_EQ(Through(m_stage, 1, gray), plain::Sharpened(gray, kWidth, 1, 55));
    // One that no factor gives: all channels read tables.
    m_board.Put(QL_ATTR_CHANNEL_SHARPEN_1, 110);
    EXPECT_EQ(Through(m_stage, 1, gray), plain::Sharpened(gray, kWidth, 1, 110));
    EXPECT_EQ(Through(m_stage, 3, color)[kWidth * 3 + 5],
              plain::Sharpened(color, kWidth, 3, -80)[kWidth * 3 + 5]);
}

// ---- Noise

using NoiseSmooth = StageTest<CNoiseSmoothStage>;

TEST_F(NoiseSmooth, PullsByTheLimitThatIsChosen) {
    const auto expect = [&](int limit) {
        ExpectFiltered(m_stage, limit, plain::SmoothedNoise<std::uint16_t>);
    };
    expect(4);
    m_board.SetValue(QL_ATTR_NOISE_SMOOTH_ON, 0);
    expect(0);
    m_board.Put(QL_ATTR_NOISE_SMOOTH_B, 2);
    expect(2);
    m_board.Put(QL_ATTR_NOISE_SMOOTH_A, 0);
    expect(0);
    m_board.SetValue(QL_ATTR_NOISE_SMOOTH_ON, 1);
    for (const int limit : {1, 32, 4095}) {
        m_board.Put(QL_ATTR_NOISE_SMOOTH_A, IntegerWord(limit));
        expect(limit);
    }
}

}  // namespace
