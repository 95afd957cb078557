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

// What an image is to be made with; a detail channel below 0 rebuilds none.
struct Model {
    double k = 2.0;
    int spacing = 2, channel = 1, detail = -1, restriction = 2, difference = 0, level = 0,
        window = 5;
};

class Picture {
  public:
    Picture(int width, int channels, const Samples& samples, const Model& model)
        : m_width(width), m_channels(channels), m(model) {
        for (const std::uint16_t v : samples)
            m_roots.push_back(static_cast<int>(std::sqrt(v * 65536.0)));
        m_height = static_cast<int>(samples.size()) / (width * channels);
    }
    // The values of a pixel in the root domain, not yet held and truncated.
    std::vector<double> Pixel(int x, int y) const {
        const double e = Term(x, y);
        std::vector<double> out;
        for (int k = 0; k < m_channels; ++k)
            out.push_back(R(x, y, k) + e);
        if (m.detail < 0 || m_channels == 1)
            return out;
        const int d = m.channel == 1 ? (m.detail == 2 ? 2 : 1) : m.channel;
        bool ok[] = {true, true, true};
        for (int k = 0; k < 2 && d == 2; ++k) {
            const int mean = Mean(x, y, k), r = R(x, y, k);
            const bool near = std::abs(mean - r) < m.difference;
            const bool dim = near && !(Mean(x, y, 2) <= mean && mean >= m.level);
            const bool holds[] = {true, near, dim, near && mean > r, dim, dim};
            ok[k] = holds[m.restriction];
        }
        const bool both = d == 2 && m.restriction >= 4;
        if (both && !(ok[0] && ok[1]))
            return out;
        if (both && m.restriction == 5)
            return {65535, 65535, 65535};
        for (int k = 0; k < 3; ++k) {
            if (k != d && ok[k])
                out[static_cast<std::size_t>(k)] = Mean(x, y, k) - Mean(x, y, d) + R(x, y, d) + e;
            out[static_cast<std::size_t>(k)] -= both ? e : 0;
        }
        return out;
    }

  private:
    int R(int x, int y, int k) const {
        y = std::clamp(y, 0, m_height - 1);
        return m_roots[static_cast<std::size_t>((y * m_width + x) * m_channels + k)];
    }
    // Of the reference channel.
    int V(int x, int y) const { return R(x, y, m_channels == 1 ? 0 : m.channel); }
    double S(int x, int y) const {
        const int s = m.spacing;
        if (x < 2 * s || x >= m_width - 2 * s)
            return V(x, y);
        return 0.138 * V(x - 2 * s, y) + 0.222 * V(x - s, y) + 0.28 * V(x, y) +
               0.222 * V(x + s, y) + 0.138 * V(x + 2 * s, y);
    }
    double Term(int x, int y) const {
        double d[3], w[3], sum = 0, e = 0;
        for (int i = 0; i < 3; ++i)
            d[i] = std::abs(V(x, y) - S(x + (i - 1) * m.spacing, y));
        for (int i = 0; i < 3; ++i)
            sum += w[i] = std::min(1.0, 3 / (d[i] - *std::min_element(d, d + 3) + 1));
        for (int i = 0; i < 3; ++i) {
            const int at = x + (i - 1) * m.spacing;
            e += w[i] / sum * (V(at, y) - S(at, y));
        }
        return m.k * e;
    }
    int Column(int x, int y, int k) const {
        int sum = 0;
        for (int i = -(m.window / 2); i <= m.window / 2; ++i)
            sum += R(x, y + i, k);
        return sum;
    }
    // Truncated column by column, and the columns ahead of the first window's last one together.
    int Mean(int x, int y, int k) const {
        const int h = m.window / 2, size = m.window * m.window, first = 2 * m.spacing;
        int mean = 0;
        for (int at = first - h; at < first + h; ++at)
            mean += Column(at, y, k);
        mean /= size;
        for (int at = first; at <= x; ++at)
            mean +=
                Column(at + h, y, k) / size - (at > first ? Column(at - 1 - h, y, k) / size : 0);
        return mean;
    }

    int m_width, m_height, m_channels;
    const Model& m;
    std::vector<int> m_roots;
};

// A ramp with noise and, in red and green, streaks; or anything.
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

    // What a stage with these attributes, in their order, makes of samples at a resolution; with
    // others written behind each of its lines.
    static Samples Run(const Ids& attribs, int dpi, int width, int channels, const Samples& samples,
                       const Ids& later = {}) {
        constexpr std::int32_t kIds[] = {QL_ATTR_DESTREAK_A, QL_ATTR_DESTREAK_B, QL_ATTR_DESTREAK_C,
                                         QL_ATTR_DESTREAK_D, QL_ATTR_DESTREAK_E, QL_ATTR_DESTREAK_F,
                                         QL_ATTR_TMA};
        QLAttribTree tree;
        CTestBoard board(&tree);
        CDestreakStage stage(&tree);
        const auto write = [&](const Ids& values) {
            for (std::size_t i = 0; i < values.size(); ++i) {
                board.Put(kIds[i], IntegerWord(values[i]));
                stage.OnAttribNotify(kIds[i]);
            }
        };
        write(attribs);
        CLineSource source(&tree, channels == 3 ? QL_PIXEL_RGB16 : QL_PIXEL_GRAY16, width,
                           BytesOf(samples), QL_LAYOUT_INTERNAL);
        source.Format().m_xResolution = dpi;
        stage.SetUpstream(&source);
        RunPass(stage, 2);  // of which nothing is left
        if (later.empty())
            return SamplesOf(RunPass(stage, 3).m_bytes);
        Samples all(samples.size());
        stage.Open();
        for (auto* line = all.data(); line < all.data() + all.size(); line += width * channels) {
            std::int32_t lines = 1;
            CQLLineBuffer buffer(stage.GetOutputFormat(), reinterpret_cast<std::uint8_t*>(line), 1);
            stage.Read(&lines, &buffer);
            write(later);
        }
        stage.Close();
        return all;
    }
    // Values that rounding of real numbers may bring to either side of a whole one count as both.
    static void Expect(const Samples& got, int width, int channels, const Samples& from,
                       const Model& m) {
        const Picture picture(width, channels, from, m);
        for (std::size_t i = 0; i < from.size(); ++i) {
            const int pixel = static_cast<int>(i) / channels, x = pixel % width;
            std::uint32_t low = from[i], high = from[i];
            if (x >= 2 * m.spacing && x < width - 2 * m.spacing) {
                const double v = picture.Pixel(x, pixel / width)[i % channels];
                const std::uint32_t a = TruncToU16(v - 1e-7), b = TruncToU16(v + 1e-7);
                low = a * a / 65536;
                high = b * b / 65536;
            }
            ASSERT_TRUE(got[i] == low || got[i] == high) << i << ": " << got[i] << ", not " << low;
        }
    }
};

TEST_F(Destreak, SharpensAndRebuildsByItsFormulas) {
    for (int choice = 0; choice < 2 * 6 * 3 * 4; ++choice) {
        SCOPED_TRACE(choice);
        Model m = {2.5, 3, choice / 4 % 3, choice % 4 - 1, choice / 12 % 6, 700, 20000, 5};
        m.window = m.restriction % 2 ? 3 : 5;
        Configure("[Streak]\nUse Restrictions=" + std::to_string(m.restriction) +
                  "\nDestreak kernel size=" + std::to_string(m.window) + '\n');
        const Samples samples = MakeSamples(37, 6, 3, choice >= 72, 1);
        for (const int channels : {3, 1})
            Expect(
                Run({0, 2, m.channel + 1, m.detail + 1, 700, 20000}, 1300, 37, channels, samples),
                37, channels, samples, m);
    }
}

TEST_F(Destreak, StrengthAndSpacingFollowTheResolution) {
    const Samples line = MakeSamples(21, 3, 1, false, 5);
    const std::tuple<int, int, double, int> cases[] = {
        {1201, 1, 4.0, 1}, {1200, 1, 2.0, 1},  {1300, 2, 2.5, 3},  {1200, 2, 2.0, 2},
        {600, 2, 2.0, 1},  {300, 1, 0.5, 1},   {200, 1, 0.333, 1}, {101, 1, 0.25, 1},
        {76, 1, 0.16, 1},  {100, 2, 0.375, 1}, {75, 1, 0.125, 1},  {0, 2, 0.25, 1}};
    for (const auto& [dpi, mode, k, spacing] : cases) {
        const Model m = {k, spacing};
        Expect(Run({0, mode}, dpi, 21, 1, line), 21, 1, line, m);
        Expect(Run({mode, 0, 1, 0, 0, 0, 1}, dpi, 21, 1, line), 21, 1, line, m);
    }
}

TEST_F(Destreak, PassesWhatItIsNotMeantFor) {
    const Samples line = MakeSamples(36, 3, 1, true, 2);
    for (const Ids& off :
         {Ids{}, {2, 0}, {0, 3}, {0, -1}, {0, 2, 0}, {0, 2, 4}, {0, 2, 1, 0, 0, 0, 1}})
        EXPECT_EQ(Run(off, 300, 36, 1, line), line);
    const Ids on = {0, 2, 2, 2, 100, 100};
    EXPECT_NE(Run(on, 300, 36, 1, line), line);
    EXPECT_EQ(Run(on, 300, 4, 3, line), line) << "narrower than nine pixels";
    for (const int width : {9, 12})
        EXPECT_EQ(Run(on, 1300, width, 1, line), line) << "no more than four times the spacing";
    // Without detail, up to the two roundings, at every level and the greatest strength.
    Samples levels;
    for (int i = 0; i < 9 * 65536; ++i)
        levels.push_back(static_cast<std::uint16_t>(i / 9));
    const Samples sharpened = Run({0, 1}, 1201, 9, 1, levels);
    for (std::uint32_t i = 0; i < 9 * 65536; ++i) {
        const auto root = static_cast<std::uint32_t>(std::sqrt(i / 9 * 65536.0));
        const bool isEnd = i % 9 < 2 || i % 9 > 6;
        ASSERT_EQ(sharpened[i], isEnd ? i / 9 : root * root / 65536) << i;
    }
    // 40000 has the root 51200 exactly.
    const Samples flat(36 * 3 * 3, 40000);
    EXPECT_EQ(Run(on, 1300, 36, 3, flat), flat);
    // Gray is no weaker in blue: it is rebuilt where it lies below the level, shown in white.
    Configure("[Streak]\nUse Restrictions=5\n");
    EXPECT_EQ(Run({0, 1, 2, 3, 1, 51200}, 300, 36, 3, flat), flat);
    EXPECT_EQ(Run({0, 1, 2, 3, 0, 51201}, 300, 36, 3, flat), flat);
    EXPECT_EQ(Run({0, 1, 2, 3, 1, 51201}, 300, 36, 3, flat)[50], 65534);
}

TEST_F(Destreak, WhatIsWrittenDuringAnImageCountsFromTheNextOn) {
    const Samples samples = MakeSamples(37, 6, 3, false, 3);
    const Ids keeps = {0, 2, 2, 0, 0, 0}, rebuilds = {0, 2, 2, 3, 700, 65535}, red = {0, 1, 1, 1};
    for (const auto& [first, later] :
         {std::pair{keeps, rebuilds}, {rebuilds, keeps}, {rebuilds, red}})
        EXPECT_EQ(Run(first, 300, 37, 3, samples, later), Run(first, 300, 37, 3, samples));
}

TEST_F(Destreak, SettingsComeFromThreePlacesAndFallBack) {
    const std::string home = TestFolder() + "/config";
    std::filesystem::create_directories(home + "/nvqdrv");
    setenv("XDG_CONFIG_HOME", home.c_str(), 1);
    std::ofstream(home + "/nvqdrv/streak.ini")
        << "[Streak]\nuse restrictions = 4\nDestreak kernel size=3\n";
    const std::tuple<const char*, int, int> cases[] = {
        {"", 4, 3},
        {"[Streak]\nUse Restrictions=0\n", 0, 3},
        {"[Streak]\nUse Restrictions=9\nDestreak kernel size=4\n", 2, 5},
        {"[Streak]\nUse Restrictions=-1\nDestreak kernel size=99999999999999999999\n", 2, 5},
        {"[Other]\nUse Restrictions=1\n\x01\xff\n[Streak\nDestreak kernel size=x\n", 4, 5}};
    for (const auto& [text, restriction, size] : cases) {
        Configure(text);
        EXPECT_EQ(ReadStreakSettings().m_restriction, restriction) << text;
        EXPECT_EQ(ReadStreakSettings().m_meanSize, size) << text;
    }
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
