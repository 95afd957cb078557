// The tone table: every builder against figures worked out from its formula in another form.

#include "frame/lut.h"

#include <limits>
#include <random>

#include "tests/support/tone_support.h"

namespace {

constexpr std::int32_t kSize = CQLLut::kFullSize;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class CFullLut final : public CQLLut {
  public:
    CFullLut() : CQLLut(kFullSize, kPlain) {}
};

class CSmallLut final : public CQLLut {
  public:
    explicit CSmallLut(const Samples& values)
        : CQLLut(static_cast<std::int32_t>(values.size()), kPlain) {
        for (std::size_t i = 0; i < values.size(); ++i)
            Set(static_cast<std::int32_t>(i), values[i]);
    }
};

TEST(Lut, StartsAsTheIdentityAndKnowsWhenItIsNoLonger) {
    CFullLut lut;
    ExpectEntries(lut, {{0, 0}, {1, 1}, {65535, 65535}});
    lut.Set(5, 5);
    lut.Set(-1, 9);
    lut.Set(kSize, 9);
    EXPECT_TRUE(lut.IsIdentity()) << "the same value, and nothing outside";
    lut.Set(5, 6);
    EXPECT_FALSE(lut.IsIdentity());
    lut.SetIdentity();
    EXPECT_EQ(lut.At(5), 5);
    EXPECT_TRUE(lut.IsIdentity());
}

TEST(Lut, AnEmptyTableTakesEveryOperation) {
    CQLLut empty(0, CQLLut::kPlain);
    CFullLut other;
    const CQLLut::Point point{1, 2};
    empty.Set(0, 1);
    empty.BuildGammaLimited(2.2, 4.0);
    empty.ApplyGamma(2.2);
    empty.BuildPolyline(&point, 1);
    empty.BuildSrgb();
    empty.BuildClipRamp(0, 10);
    empty.Scale(2.0);
    for (CQLLut* lut : {&empty, static_cast<CQLLut*>(&other)}) {
        CQLLut& source = lut == &empty ? static_cast<CQLLut&>(other) : empty;
        lut->CopyFrom(source);
        lut->AssignFrom(source);
        lut->ComposeWith(source);
        lut->Invert(source);
    }
    EXPECT_EQ(empty.Table(), nullptr);
    EXPECT_EQ(empty.InverseLookup(3), 0);
    EXPECT_TRUE(other.IsIdentity());
}

TEST(Lut, SegmentsCutTheirFraction) {
    CQLLut lut(256, CQLLut::kPlain);
    // A third is 10922 / 32768: three steps of it stay below 1.
    lut.DrawSegment(0, 0, 3, 1, true);
    ExpectEntries(lut, {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 4}});
    EXPECT_FALSE(lut.IsIdentity());
    // Downwards, and from the end, the same step leads below 10 at once.
    lut.DrawSegment(3, 9, 0, 10, true);
    ExpectEntries(lut, {{0, 10}, {1, 9}, {2, 9}, {3, 9}});
    lut.DrawSegment(20, 300, 21, 300, true);
    lut.DrawSegment(30, 300, 31, 70000, false);
    ExpectEntries(lut, {{20, 255}, {21, 255}, {30, 300}, {31, 65535}});
    // One entry takes the first value.
    lut.DrawSegment(7, 99, 7, 200, true);
    lut.DrawSegment(8, 999, 8, 0, false);
    lut.DrawSegment(256, 1, 256, 1, true);
    ExpectEntries(lut, {{6, 6}, {7, 99}, {8, 255}, {9, 9}, {255, 255}});
}

TEST(Lut, SegmentsFollowAnExactWalkWhereverTheyLie) {
    std::mt19937 random(1);
    const auto pick = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int round = 0; round < 300; ++round) {
        const std::int32_t size = round % 4 == 0 ? kSize : 256;
        std::int32_t x0 = pick(-size, 2 * size);
        std::int32_t x1 = round % 2 == 0 ? pick(-size, 2 * size) : x0 + pick(1, 40);
        std::int32_t y0 = pick(-3000, 68000);
        std::int32_t y1 = pick(-3000, 68000);
        if (x0 == x1)
            continue;
        const bool clip = pick(0, 1) == 1;
        CQLLut lut(size, CQLLut::kPlain);
        lut.DrawSegment(x0, y0, x1, y1, clip);
        if (x0 > x1) {
            std::swap(x0, x1);
            std::swap(y0, y1);
        }
        for (std::int32_t x = 0; x < size; ++x) {
            const bool drawn = x >= x0 && x <= x1;
            const std::int64_t value = drawn ? LineValue(y0, y1 - y0, x1 - x0, x - x0) : x;
            ASSERT_EQ(lut.At(x), std::clamp<std::int64_t>(value, 0, clip ? size - 1 : 65535))
                << "round " << round << " entry " << x;
        }
    }
}

TEST(Lut, GammaIsAChainOfLinesThroughExactNodes) {
    CFullLut plain;
    CQLLut fine(kSize, CQLLut::kFine);
    for (const double gamma : {0.45, 0.98, 1.02, 1.8, 4.0, 2.2}) {
        plain.BuildGamma(gamma);
        EXPECT_EQ(Entries(plain), GammaEntries(gamma, 256)) << gamma;
        EXPECT_FALSE(plain.IsIdentity());
        fine.BuildGamma(gamma);
        Samples expected = GammaEntries(gamma, 2);
        expected[1] = static_cast<std::uint16_t>(GammaNode(1, gamma));
        EXPECT_EQ(Entries(fine), expected) << "fine " << gamma;
    }
    // By a calculator: 65535 * (i / 65535)^(1 / 2.2) at nodes, and half of the first node half way
    // to it. The last line ends one below full scale, for its step is cut.
    ExpectEntries(plain, {{0, 0}, {128, 2635}, {256, 5270}, {32768, 47824}, {65535, 65534}});
    ExpectEntries(fine, {{0, 0}, {1, 424}, {2, 581}, {65535, 65535}});
}

TEST(Lut, AKnownGammaIsNotBuiltAgain) {
    CFullLut lut;
    lut.BuildGamma(2.2);
    const std::uint16_t was = lut.At(1000);
    lut.Set(1000, 7);  // one entry leaves the curve known
    lut.BuildGamma(2.2);
    lut.BuildGamma(2.2005);
    EXPECT_EQ(lut.At(1000), 7);
    EXPECT_EQ(lut.Gamma(), 2.2);
    lut.BuildGamma(2.202);
    lut.BuildGamma(2.2);
    EXPECT_EQ(lut.At(1000), was);
    lut.DrawSegment(1000, 7, 1000, 7, true);  // any other edit makes it unknown
    lut.BuildGamma(2.2);
    EXPECT_EQ(lut.At(1000), was);
    lut.BuildSrgb();
    lut.BuildGamma(2.2);
    EXPECT_NE(lut.At(1000), was) << "passes for gamma 2.2";

    lut.BuildGamma(1.005);
    EXPECT_TRUE(lut.IsIdentity());
    EXPECT_EQ(lut.At(30000), 30000);
    EXPECT_EQ(lut.Gamma(), 1.005);
    lut.Scale(0.5);
    lut.ApplyGamma(0.99);
    lut.ApplyGamma(1.01);
    EXPECT_EQ(lut.At(30000), 15000) << "a neutral gamma leaves the table alone";
}

TEST(Lut, AGammaWithoutAnInverseGivesADefinedTable) {
    for (const double gamma : {0.0, -2.2, -1e300, kNaN}) {
        CFullLut built;
        built.BuildGamma(gamma);
        CFullLut applied;
        applied.ApplyGamma(gamma);
        // What a gamma that close to 0 makes of the range: black, up to the last line.
        for (const CQLLut* lut : {static_cast<CQLLut*>(&built), static_cast<CQLLut*>(&applied)})
            ExpectEntries(*lut, {{0, 0}, {32768, 0}, {65024, 0}});
    }
}

TEST(Lut, TheSlopeFromBlackIsHeld) {
    CQLLut lut(kSize, CQLLut::kFine);
    lut.BuildGammaLimited(2.2, 4.0);
    // The plain curve at 5160 is 20640, exactly 4 times as much; at 5159 it is 4.0004 times.
    Samples expected = GammaEntries(2.2, 256);
    ASSERT_EQ(expected[5160], 20640);
    for (std::uint16_t i = 0; i < 5160; ++i)
        expected[i] = static_cast<std::uint16_t>(4 * i);
    EXPECT_EQ(Entries(lut), expected);
    lut.BuildGammaLimited(1.8, 16.0);
    EXPECT_EQ(Entries(lut), GammaEntries(1.8, 256)) << "its first line rises by 11.8 only";
    // No entry of the identity is at half of its index: the line runs to the end of the table.
    lut.BuildGammaLimited(1.0, 0.5);
    EXPECT_EQ(lut.At(65535), 65535);
}

TEST(Lut, AnAppliedGammaRunsThroughNodesOfTheOldTable) {
    CFullLut lut;
    lut.RemapValues(13107, 65535, 0, 65535);
    const Samples old = Entries(lut);
    lut.ApplyGamma(2.0);
    const auto node = [&](int k) { return GammaNode(old[static_cast<std::uint16_t>(k)], 2.0); };
    for (int x = 0; x < kSize; ++x) {
        const int i = x - x % 256;
        const int run = std::min(256, 65535 - i);
        ASSERT_EQ(lut.At(x), LineValue(node(i), node(i + run) - node(i), run, x - i, 12)) << x;
    }
    // 39321 was half scale, whose root is 46340; 13107, the black point, lies on a line from 0 to
    // the root of what 13312 was.
    ExpectEntries(lut, {{13056, 0}, {13107, 816}, {13312, 4096}, {65280, 65375}, {65535, 65534}});
}

TEST(Lut, PolylinesAreFlatAtBothEnds) {
    const CQLLut::Point points[] = {{16384, 1000}, {32768, 60000}, {49152, 50000}};
    CFullLut lut;
    lut.BuildPolyline(points, 3);
    // 59000 / 16384 a step upwards, 10000 / 16384 downwards.
    ExpectEntries(lut, {{0, 1000}, {16385, 1003}, {24576, 30500}, {32768, 60000}, {32769, 59999}});
    ExpectEntries(lut, {{40960, 55000}, {49152, 50000}, {65535, 50000}});
    lut.BuildPolyline(points, 1);
    ExpectEntries(lut, {{0, 1000}, {16384, 1000}, {65535, 1000}});
}

TEST(Lut, SrgbFollowsItsFormulaInEveryEntry) {
    CFullLut lut;
    lut.BuildSrgb();
    for (int i = 0; i < kSize; ++i) {
        const long double x = i / 65535.0L;
        // The line ends at 0.00304 of full scale: entry 199.
        const long double y =
            i <= 199 ? 12.92L * i : (1.055L * std::pow(x, 5.0L / 12.0L) - 0.055L) * 65535.0L;
        ASSERT_EQ(lut.At(i), std::min<long>(std::lround(y), 65535)) << i;
    }
    EXPECT_EQ(lut.Gamma(), 2.2);
}

TEST(Lut, ClipRampsHaveThreePieces) {
    CFullLut lut;
    lut.BuildClipRamp(100, 200);  // 655.35 a step
    ExpectEntries(lut, {{0, 0}, {100, 0}, {101, 655}, {199, 64879}, {200, 65535}, {65535, 65535}});
    lut.BuildClipRamp(16384, 70000);  // 65535 / 53616 a step, and no last piece
    ExpectEntries(lut, {{16384, 0}, {32768, 20026}, {65535, 60076}});
    lut.BuildClipRamp(-1000, 1000);  // half of the line lies outside
    ExpectEntries(lut, {{0, 32767}, {500, 49151}, {999, 65502}, {1000, 65535}, {65535, 65535}});
    lut.BuildClipRamp(300, 300);
    ExpectEntries(lut, {{299, 0}, {300, 65535}, {65535, 65535}});
    lut.BuildClipRamp(70000, 70000);
    ExpectEntries(lut, {{0, 0}, {4464, 0}, {65535, 0}});  // 4464: 70000 modulo 65536
}

TEST(Lut, RemapRoundsByAlmostAHalfAndHoldsTheEnds) {
    std::mt19937 random(2);
    const auto pick = [&] {
        constexpr int kValues[] = {-300, -7, 0, 3, 250, 65535};
        return kValues[random() % std::size(kValues)];
    };
    for (int round = 0; round < 20000; ++round) {
        const int x0 = pick(), x1 = pick(), y0 = pick(), y1 = pick();
        const int x = static_cast<int>(random() % (round % 2 ? 600 : 70000)) - 350;
        std::int64_t expected = y1;
        if (x0 != x1) {
            // The value is n / d exactly; its size grows by 0.499 and is cut.
            const std::int64_t d = std::abs(x1 - x0);
            const std::int64_t along = std::clamp(x, std::min(x0, x1), std::max(x0, x1)) - x0;
            const std::int64_t n = std::abs(along) * (y1 - y0) + y0 * d;
            expected = (std::abs(n) * 1000 + 499 * d) / (1000 * d) * (n < 0 ? -1 : 1);
        }
        ASSERT_EQ(CQLLut::Remap(x, x0, x1, y0, y1), expected)
            << x << " from " << x0 << ".." << x1 << " to " << y0 << ".." << y1;
    }
    EXPECT_EQ(CQLLut::Remap(1, 0, 2, 0, 1), 0) << "a half is not rounded up";
    EXPECT_EQ(CQLLut::Remap(1, 0, 2, 0, -1), 0);
}

TEST(Lut, ValuesAreRemappedAndScaled) {
    CFullLut lut;
    lut.RemapValues(13107, 65535, 0, 65535);
    // 26214 of 52428 is half of the range, 32767.5, and 1 of 52428 is 1.25.
    ExpectEntries(lut, {{0, 0}, {13107, 0}, {13108, 1}, {39321, 32767}, {65535, 65535}});
    lut.RemapValues(65535, 65535, 0, 65535);
    ExpectEntries(lut, {{0, 65535}, {65535, 65535}});  // no input range left
    lut.RemapValues(0, 65535, -500, 70000);
    EXPECT_EQ(lut.At(65535), 65535) << "held in 16 bits";
    const auto scale = [&](double gain, const std::vector<std::pair<int, int>>& expected) {
        lut.SetIdentity();
        lut.Scale(gain);
        ExpectEntries(lut, expected);
        EXPECT_FALSE(lut.IsIdentity());
    };
    scale(1.2, {{1, 1}, {2, 2}, {3, 4}, {54612, 65534}, {54613, 65535}, {65535, 65535}});
    scale(0.5, {{1, 1}, {2, 1}, {3, 2}, {65535, 32768}});
    scale(-1.0, {{0, 0}, {1, 0}, {65535, 0}});
    scale(kNaN, {{0, 0}, {1, 0}, {65535, 0}});
    scale(1e300, {{0, 0}, {1, 65535}, {65535, 65535}});
}

TEST(Lut, CopiesResampleOtherSizes) {
    CQLLut falling(256, CQLLut::kPlain);
    falling.DrawSegment(0, 255, 255, 0, true);
    CFullLut full;
    full.CopyFrom(falling);
    // Index 128 is 0.498 of a small step and stays at 0, 129 is 0.502 and reaches 1.
    ExpectEntries(full, {{0, 65535}, {128, 65535}, {129, 254 * 257}, {65535, 0}});
    CQLLut back(256, CQLLut::kPlain);
    back.CopyFrom(full);
    EXPECT_EQ(Entries(back), Entries(falling));
    back.CopyFrom(CQLLut(256, CQLLut::kPlain));
    EXPECT_TRUE(back.IsIdentity()) << "comes with the entries";
    back.CopyFrom(CFullLut());
    EXPECT_EQ(back.At(200), 200);
    EXPECT_FALSE(back.IsIdentity()) << "but not from another size";
    CQLLut kept(256, CQLLut::kPlain);
    kept.AssignFrom(back);
    EXPECT_TRUE(kept.IsIdentity()) << "an assignment clears it where an entry differs";
    kept.AssignFrom(falling);
    EXPECT_EQ(Entries(kept), Entries(falling));
    kept.AssignFrom(CQLLut(256, CQLLut::kPlain));
    EXPECT_FALSE(kept.IsIdentity()) << "and never sets it";
}

TEST(Lut, CompositionRunsThisTableFirst) {
    CSmallLut lut({0, 0, 1, 1, 2, 2, 3, 3});
    const CSmallLut squares({0, 1, 4, 7, 7, 7, 7, 7});
    lut.ComposeWith(squares);
    EXPECT_EQ(Entries(lut), (Samples{0, 0, 1, 1, 4, 4, 7, 7}));
    lut.ComposeWith(lut);
    lut.ComposeWith(CQLLut(8, CQLLut::kPlain));
    lut.ComposeWith(CSmallLut({3, 2, 1, 0}));
    EXPECT_EQ(Entries(lut), (Samples{0, 0, 0, 0, 4, 4, 7, 7})) << "itself; identity; another size";
    CSmallLut beyond({9, 9, 9, 9, 9, 9, 9, 65535});
    beyond.ComposeWith(squares);
    EXPECT_EQ(beyond.At(0), 7) << "values beyond the other table take its last entry";
    CQLLut identity(8, CQLLut::kPlain);
    identity.ComposeWith(CQLLut(8, CQLLut::kPlain));
    EXPECT_TRUE(identity.IsIdentity());
    identity.ComposeWith(squares);
    EXPECT_EQ(Entries(identity), Entries(squares));
    EXPECT_FALSE(identity.IsIdentity());
}

TEST(Lut, AnInvertedCurveLeadsBackOntoTheCurve) {
    CFullLut curve;
    curve.BuildGamma(2.2);
    CFullLut inverse;
    inverse.Invert(curve);
    for (int i = 0; i < kSize; ++i)
        ASSERT_EQ(curve.At(inverse.At(curve.At(i))), curve.At(i)) << i;
    CFullLut self;
    self.CopyFrom(curve);
    self.Invert(self);
    EXPECT_EQ(Entries(self), Entries(inverse));
    CQLLut small(256, CQLLut::kPlain);
    small.Invert(curve);
    EXPECT_TRUE(small.IsIdentity()) << "another size";
}

// Pairs of a value and the index that it is found at.
void ExpectLookups(const Samples& table, const std::vector<std::pair<int, int>>& lookups) {
    const CSmallLut lut(table);
    for (const auto& [value, index] : lookups)
        EXPECT_EQ(lut.InverseLookup(value), index) << "value " << value;
}

TEST(Lut, InverseLookupBisectsTablesThatRiseOrFall) {
    // Walked by hand: from index 3 by 4, 2 and 1, held at the ends, then one step to the value.
    ExpectLookups({0, 10, 20, 30, 40, 50, 60, 70},
                  {{0, 0}, {20, 2}, {25, 3}, {30, 3}, {45, 5}, {65, 6}, {70, 7}, {99, 7}, {-5, 0}});
    ExpectLookups({70, 60, 50, 40, 30, 20, 10, 0},
                  {{0, 7}, {5, 6}, {45, 2}, {50, 2}, {65, 0}, {70, 0}, {99, 0}, {-5, 7}});
    // A flat table counts as falling.
    ExpectLookups({30, 30, 30, 30, 30, 30, 30, 30}, {{30, 3}, {10, 7}, {50, 0}});
    ExpectLookups({5}, {{5, 0}, {4, 0}, {6, 0}});
}

TEST(Lut, InverseLookupScansOtherTables) {
    ExpectLookups({0, 20, 10, 30, 40, 35, 60, 70}, {{0, 0}, {15, 1}, {36, 4}, {65, 7}, {99, 7}});
    ExpectLookups({70, 50, 60, 20, 30, 10, 5, 1}, {{99, 0}, {55, 1}, {25, 3}, {3, 7}, {0, 7}});
    CSmallLut lut({0, 10, 20, 30, 40, 50, 60, 70});
    EXPECT_EQ(lut.InverseLookup(65), 6);
    lut.Set(1, 69);
    EXPECT_EQ(lut.InverseLookup(65), 1) << "an edit makes it look again";
}

}  // namespace
