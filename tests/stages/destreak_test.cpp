// The removal of streaks against its formulas, written out pixel by pixel in real numbers, and its
// settings.

#include "stages/destreak.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include "frame/fixed_point.h"
#include "tests/platform/test_folder.h"
#include "tests/support/stage_rig.h"

namespace {

int Root(int x) {
    return static_cast<int>(std::sqrt(x * 65536.0));
}

// What an image is to be made with; a detail channel below 0 rebuilds none.
struct Model {
    double k = 2.0;
    int spacing = 2;
    int channel = 1;
    int detail = -1;
    int restriction = 2;
    int difference = 0;
    int level = 0;
    int window = 5;
};

class Picture {
  public:
    Picture(int width, int height, int channels, const Samples& samples)
        : m_width(width), m_height(height), m_channels(channels) {
        for (const std::uint16_t v : samples)
            m_roots.push_back(Root(v));
    }
    int R(int x, int y, int k) const {
        y = std::clamp(y, 0, m_height - 1);
        return m_roots[static_cast<std::size_t>((y * m_width + x) * m_channels + k)];
    }
    double S(int x, int y, const Model& m) const {
        const int s = m.spacing, c = m_channels == 1 ? 0 : m.channel;
        const auto at = [&](int n) { return R(x + n * s, y, c); };
        if (x < 2 * s || x >= m_width - 2 * s)
            return at(0);
        return 0.138 * at(-2) + 0.222 * at(-1) + 0.28 * at(0) + 0.222 * at(1) + 0.138 * at(2);
    }
    double Term(int x, int y, const Model& m) const {
        const int s = m.spacing, c = m_channels == 1 ? 0 : m.channel;
        double d[3], w[3], sum = 0, e = 0;
        for (int i = 0; i < 3; ++i)
            d[i] = std::abs(R(x, y, c) - S(x + (i - 1) * s, y, m));
        for (int i = 0; i < 3; ++i)
            sum += w[i] = std::min(1.0, 3 / (d[i] - *std::min_element(d, d + 3) + 1));
        for (int i = 0; i < 3; ++i)
            e += w[i] / sum * (R(x + (i - 1) * s, y, c) - S(x + (i - 1) * s, y, m));
        return m.k * e;
    }
    // Truncated column by column, and the columns ahead of the first window's last one together.
    int Mean(int x, int y, int k, const Model& m) const {
        const int h = m.window / 2, size = m.window * m.window;
        const auto column = [&](int at) {
            int sum = 0;
            for (int i = -h; i <= h; ++i)
                sum += R(at, y + i, k);
            return sum;
        };
        int mean = 0;
        for (int at = 2 * m.spacing - h; at < 2 * m.spacing + h; ++at)
            mean += column(at);
        mean /= size;
        for (int at = 2 * m.spacing; at <= x; ++at)
            mean += column(at + h) / size - (at > 2 * m.spacing ? column(at - 1 - h) / size : 0);
        return mean;
    }
    // The three values of a pixel in the root domain; not yet held and truncated.
    std::vector<double> Pixel(int x, int y, const Model& m) const {
        const double e = Term(x, y, m);
        std::vector<double> out;
        for (int k = 0; k < m_channels; ++k)
            out.push_back(R(x, y, k) + e);
        if (m.detail < 0 || m_channels == 1)
            return out;
        const int d = m.channel == 1 ? (m.detail == 2 ? 2 : 1) : m.channel;
        const auto built = [&](int k) {
            return Mean(x, y, k, m) - Mean(x, y, d, m) + R(x, y, d) + e;
        };
        bool ok[2] = {true, true};
        for (int k = 0; k < 2 && d == 2; ++k) {
            const int mean = Mean(x, y, k, m), r = R(x, y, k);
            const bool near = std::abs(mean - r) < m.difference;
            const bool dim = !(Mean(x, y, 2, m) <= mean && mean >= m.level);
            const bool holds[] = {true,        near,       near && dim, near && mean > r,
                                  near && dim, near && dim};
            ok[k] = holds[m.restriction];
        }
        if (d == 2 && m.restriction >= 4) {
            if (!ok[0] || !ok[1])
                return out;
            if (m.restriction == 5)
                return {65535, 65535, 65535};
            return {built(0) - e, built(1) - e, out[2] - e};
        }
        for (int k = 0; k < 3; ++k) {
            if (k != d && (d != 2 || ok[k]))
                out[static_cast<std::size_t>(k)] = built(k);
        }
        return out;
    }

    int m_width, m_height, m_channels;

  private:
    std::vector<int> m_roots;
};

// Smooth ramps with noise and, in red and green, streaks; or anything.
Samples MakeSamples(int width, int height, int channels, bool wild, std::uint32_t seed) {
    std::mt19937 random(seed);
    Samples samples;
    for (int i = 0; i < width * height * channels; ++i) {
        const int x = i / channels % width, k = i % channels;
        const int v = 3000 + 900 * x + 4000 * k + static_cast<int>(random() % 1500) -
                      (x % 11 == 5 && k < 2 ? 2500 : 0);
        samples.push_back(static_cast<std::uint16_t>(
            wild ? (random() % 3 ? random() : random() % 2 * 65535) : std::clamp(v, 0, 65535)));
    }
    return samples;
}

struct Destreak : testing::Test {
    // A settings file for the stages that are made from here on.
    void Configure(const std::string& text) {
        std::ofstream(TestFolder() + "/streak.ini") << text;
        setenv("NVQ_CONFIG_DIR", TestFolder().c_str(), 1);
    }
    ~Destreak() override { unsetenv("NVQ_CONFIG_DIR"); }

    // What a stage with these attributes, in their order, makes of samples at a resolution.
    static Samples Run(const std::vector<std::int32_t>& attribs, int dpi, int width, int channels,
                       const Samples& samples) {
        constexpr std::int32_t kIds[] = {QL_ATTR_DESTREAK_A, QL_ATTR_DESTREAK_B, QL_ATTR_DESTREAK_C,
                                         QL_ATTR_DESTREAK_D, QL_ATTR_DESTREAK_E, QL_ATTR_DESTREAK_F,
                                         QL_ATTR_TMA};
        QLAttribTree tree;
        CTestBoard board(&tree);
        CDestreakStage stage(&tree);
        for (std::size_t i = 0; i < attribs.size(); ++i) {
            board.Put(kIds[i], IntegerWord(attribs[i]));
            stage.OnAttribNotify(kIds[i]);
        }
        CLineSource source(&tree, channels == 3 ? QL_PIXEL_RGB16 : QL_PIXEL_GRAY16, width,
                           BytesOf(samples), QL_LAYOUT_INTERNAL);
        source.Format().m_xResolution = dpi;
        stage.SetUpstream(&source);
        RunPass(stage, 2);  // of which nothing is left
        return SamplesOf(RunPass(stage, 3).m_bytes);
    }
    // Values that rounding of real numbers may bring to either side of a whole one count as both.
    static void Expect(const Samples& got, const Samples& from, const Picture& p, const Model& m) {
        for (std::size_t i = 0; i < from.size(); ++i) {
            const int pixel = static_cast<int>(i) / p.m_channels, x = pixel % p.m_width;
            std::uint16_t low = from[i], high = from[i];
            if (x >= 2 * m.spacing && x < p.m_width - 2 * m.spacing) {
                const double v = p.Pixel(x, pixel / p.m_width, m)[i % p.m_channels];
                const std::uint32_t a = TruncToU16(v - 1e-7), b = TruncToU16(v + 1e-7);
                low = static_cast<std::uint16_t>(a * a / 65536);
                high = static_cast<std::uint16_t>(b * b / 65536);
            }
            ASSERT_TRUE(got[i] == low || got[i] == high)
                << "sample " << i << ": " << got[i] << ", not " << low;
        }
    }
};

TEST_F(Destreak, SharpensAndRebuildsByItsFormulas) {
    for (const bool wild : {false, true}) {
        for (int restriction = 0; restriction <= 5; ++restriction) {
            const Model m = {2.5, 3, 0, 0, restriction, 700, 20000, restriction % 2 ? 3 : 5};
            Configure("[Streak]\nUse Restrictions=" + std::to_string(restriction) +
                      "\nDestreak kernel size=" + std::to_string(m.window) + '\n');
            const Samples color = MakeSamples(37, 7, 3, wild, 1), gray(color.begin(), color.end());
            for (int c = 0; c < 3; ++c) {
                for (int detail = -1; detail < 3; ++detail) {
                    SCOPED_TRACE(testing::Message() << restriction << ' ' << c << ' ' << detail);
                    Model now = m;
                    now.channel = c;
                    now.detail = detail;
                    const std::vector<std::int32_t> attribs = {0, 2, c + 1, detail + 1, 700, 20000};
                    Expect(Run(attribs, 1300, 37, 3, color), color, {37, 7, 3, color}, now);
                    Expect(Run(attribs, 1300, 37, 1, gray), gray, {37, 21, 1, gray}, now);
                }
            }
        }
    }
}

TEST_F(Destreak, StrengthAndSpacingFollowTheResolution) {
    const Samples line = MakeSamples(21, 3, 1, false, 5);
    const Picture picture(21, 3, 1, line);
    const struct {
        int dpi, mode, spacing;
        double k;
    } cases[] = {{1201, 1, 1, 4.0},  {1200, 1, 1, 2.0}, {1300, 2, 3, 2.5}, {1200, 2, 2, 2.0},
                 {600, 2, 1, 2.0},   {300, 1, 1, 0.5},  {200, 2, 1, 0.75}, {101, 1, 1, 0.25},
                 {100, 2, 1, 0.375}, {76, 1, 1, 0.16},  {75, 1, 1, 0.125}, {0, 2, 1, 0.25}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.dpi);
        Model m;
        m.k = c.k;
        m.spacing = c.spacing;
        Expect(Run({0, c.mode}, c.dpi, 21, 1, line), line, picture, m);
        Expect(Run({c.mode, 0, 1, 0, 0, 0, 1}, c.dpi, 21, 1, line), line, picture, m);
    }
}

TEST_F(Destreak, PassesWhatItIsNotMeantFor) {
    const Samples line = MakeSamples(36, 3, 1, true, 2);
    for (const std::vector<std::int32_t>& off : {std::vector<std::int32_t>{},
                                                 {2, 0},
                                                 {0, 3},
                                                 {0, -1},
                                                 {0, 2, 0},
                                                 {0, 2, 4},
                                                 {0, 2, 1, 0, 0, 0, 1}})
        EXPECT_EQ(Run(off, 300, 36, 1, line), line);
    const std::vector<std::int32_t> on = {0, 2, 2, 2, 100, 100};
    EXPECT_NE(Run(on, 300, 36, 1, line), line);
    EXPECT_EQ(Run(on, 300, 4, 3, line), line) << "narrower than nine pixels";
    for (const int width : {9, 12})
        EXPECT_EQ(Run(on, 1300, width, 1, line), line) << "no more than four times the spacing";
    // Without detail, up to the two roundings: 40000 has the root 51200 exactly.
    const Samples flat(36 * 3 * 3, 40000);
    EXPECT_EQ(Run(on, 1300, 36, 3, flat), flat);
    // Gray is no weaker in blue: it is rebuilt where it lies below the level, shown in white.
    Configure("[Streak]\nUse Restrictions=5\n");
    EXPECT_EQ(Run({0, 1, 2, 3, 1, 51200}, 300, 36, 3, flat), flat);
    EXPECT_EQ(Run({0, 1, 2, 3, 0, 51201}, 300, 36, 3, flat), flat);
    Samples white = flat;
    for (std::size_t i = 0; i < white.size(); ++i)
        white[i] = i % 108 < 6 || i % 108 >= 102 ? 40000 : 65534;
    EXPECT_EQ(Run({0, 1, 2, 3, 1, 51201}, 300, 36, 3, flat), white);
}

TEST_F(Destreak, SettingsComeFromThreePlacesAndFallBack) {
    const std::string home = TestFolder() + "/config";
    std::filesystem::create_directories(home + "/nvqdrv");
    setenv("XDG_CONFIG_HOME", home.c_str(), 1);
    std::ofstream(home + "/nvqdrv/streak.ini")
        << "[Streak]\nuse restrictions = 4\nDestreak kernel size=3\n";
    const struct {
        const char* text;
        int restriction, size;
    } cases[] = {
        {"", 4, 3},
        {"[Streak]\nUse Restrictions=0\n", 0, 3},
        {"[Streak]\nUse Restrictions=9\nDestreak kernel size=4\n", 2, 5},
        {"[Streak]\nUse Restrictions=-1\nDestreak kernel size=99999999999999999999\n", 2, 5},
        {"[Other]\nUse Restrictions=1\n\x01\xff\n[Streak\nDestreak kernel size=x\n", 4, 5}};
    for (const auto& c : cases) {
        Configure(c.text);
        const QLStreakSettings settings = ReadStreakSettings();
        EXPECT_EQ(settings.m_restriction, c.restriction) << c.text;
        EXPECT_EQ(settings.m_meanSize, c.size) << c.text;
    }
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
