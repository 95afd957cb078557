// Tone tables and film curves where whole images don't lead: odd arguments, what a table remembers,
// look-ups, and the builders that no chain uses yet.

#include <gtest/gtest.h>

#include <limits>

#include "frame/film_curve.h"
#include "tests/support/tone_support.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Table Entries(const CQLLut& lut) {
    return {lut.Table(), lut.Table() + lut.Size()};
}
// Pairs of an index and the entry that stands there.
void ExpectEntries(const CQLLut& lut, const std::vector<std::pair<int, int>>& expected) {
    for (const auto& [index, value] : expected)
        EXPECT_EQ(lut.At(index), value) << "entry " << index;
}

struct CFullLut final : CQLLut {
    explicit CFullLut(std::int32_t kind = kPlain) : CQLLut(kFullSize, kind) {}
};
struct CSmallLut final : CQLLut {
    explicit CSmallLut(const ::Table& values) : CQLLut(static_cast<int>(values.size()), kPlain) {
        for (int i = 0; i < Size(); ++i)
            Set(i, static_cast<std::uint16_t>(values[i]));
    }
};

TEST(Lut, KnowsWhatItHolds) {
    CFullLut lut;
    lut.BuildGamma(2.2);
    const int was = lut.At(1000);
    lut.Set(1000, 7);  // one entry leaves the curve known
    lut.BuildGamma(2.2005);
    EXPECT_EQ(lut.At(1000), 7);
    lut.BuildGamma(2.202);
    lut.BuildGamma(2.2);
    EXPECT_EQ(lut.At(1000), was);
    lut.DrawSegment(1000, 7, 1000, 7, true);  // any other edit makes it unknown
    lut.BuildGamma(2.2);
    EXPECT_EQ(lut.At(1000), was);
}

TEST(Lut, SegmentsCutTheirFractionAndStayInside) {
    // From, to, held in the table; a third is 10922 / 32768, and downwards it cuts at once.
    // clang-format off
    constexpr int kCases[][5] = {{0, 0, 3, 1, 1}, {0, 10, 3, 9, 1}, {-9, -3000, 300, 68000, 1},
            {-9, 68000, 300, -3000, 0}, {30, 300, 31, 70000, 0}, {300, 0, 400, 9, 1}};
    // clang-format on
    for (const auto& [x0, y0, x1, y1, clip] : kCases) {
        CQLLut lut(256, CQLLut::kPlain), turned(256, CQLLut::kPlain);
        Table expected = Identity(256);
        Line(expected, x0, y0, x1, y1, clip ? 255 : kTop);
        lut.DrawSegment(x0, y0, x1, y1, clip);
        turned.DrawSegment(x1, y1, x0, y0, clip);
        EXPECT_EQ(Entries(lut), expected) << x0;
        EXPECT_EQ(Entries(turned), expected) << x0;
    }
}

TEST(Lut, GammasOfAnySizeAreDefined) {
    CFullLut lut, fine(CQLLut::kFine), falling;
    lut.BuildGammaLimited(1.0, 0.5);  // no entry is at half of its index
    EXPECT_EQ(lut.At(65535), 65535);
    // By a calculator: 65535 * (i / 65535)^(1 / 2.2). The last line ends one below full scale, for
    // its step is cut.
    lut.BuildGamma(2.2);
    ExpectEntries(lut, {{0, 0}, {128, 2635}, {256, 5270}, {32768, 47824}, {65535, 65534}});
    fine.BuildGamma(0.45);
    EXPECT_EQ(Entries(fine), Gamma(0.45, 2));
    falling.DrawSegment(0, 65535, 65535, 100, true);
    const Table before = Entries(falling);
    falling.ApplyGamma(0.45);
    EXPECT_EQ(Entries(falling), WithGamma(before, 0.45));
    for (const double gamma : {0.0, -1e300, kNaN}) {
        CFullLut built, applied;
        built.BuildGamma(gamma);
        applied.ApplyGamma(gamma);
        for (const CQLLut* none : {&built, &applied})
            ExpectEntries(*none, {{0, 0}, {32768, 0}, {65024, 0}});
    }
}

TEST(Lut, PolylinesAndRampsAreFlatAtTheirEnds) {
    const CQLLut::Point points[] = {{16384, 1000}, {32768, 60000}, {49152, 50000}};
    CFullLut lut;
    lut.BuildPolyline(points, 3);  // 59000 / 16384 a step upwards, 10000 / 16384 downwards
    ExpectEntries(lut, {{0, 1000}, {16385, 1003}, {24576, 30500}, {32769, 59999}, {65535, 50000}});
    lut.BuildClipRamp(100, 200);  // 655.35 a step
    ExpectEntries(lut, {{0, 0}, {100, 0}, {101, 655}, {199, 64879}, {200, 65535}, {65535, 65535}});
    lut.BuildClipRamp(-1000, 1000);  // half of the line lies outside
    ExpectEntries(lut, {{0, 32767}, {500, 49151}, {999, 65502}, {1000, 65535}, {65535, 65535}});
}

TEST(Lut, RemapRoundsByAlmostAHalfAndHoldsTheEnds) {
    // clang-format off
    constexpr int kCases[][6] = {  // x, from, to, result
        {1, 0, 2, 0, 1, 0}, {1, 0, 2, 0, -1, 0}, {2, 0, 3, 0, 1, 1}, {-9, 0, 9, 5, 8, 5},
        {5, 9, 0, -7, 11, 1}, {10, 9, 0, -7, 11, -7}, {99, 0, 9, 5, 8, 8}, {3, 7, 7, 5, 8, 8}};
    // clang-format on
    for (const auto& [x, x0, x1, y0, y1, result] : kCases)
        EXPECT_EQ(CQLLut::Remap(x, x0, x1, y0, y1), result) << x << " of " << x0 << ".." << x1;
    CFullLut lut;
    lut.RemapValues(0, 65535, -500, 70000);
    ExpectEntries(lut, {{0, 0}, {65535, 65535}});
    for (const double gain : {kNaN, -1.0, 1e300}) {
        lut.SetIdentity();
        lut.Scale(gain);
        ExpectEntries(lut, {{0, 0}, {2, gain > 0.0 ? 65535 : 0}, {65535, gain > 0.0 ? 65535 : 0}});
    }
}

TEST(Lut, CopiesOtherSizesAndComposes) {
    CQLLut falling(256, CQLLut::kPlain), back(256, CQLLut::kPlain);
    falling.DrawSegment(0, 255, 255, 0, true);
    CFullLut full;
    full.CopyFrom(falling);
    // Index 128 is 0.498 of a small step and stays at 0, 129 is 0.502 and reaches 1.
    ExpectEntries(full, {{0, 65535}, {128, 65535}, {129, 254 * 257}, {65535, 0}});
    back.CopyFrom(full);
    EXPECT_EQ(Entries(back), Entries(falling));

    CSmallLut lut({0, 0, 1, 1, 2, 2, 9, 9});
    lut.ComposeWith(CSmallLut({0, 1, 4, 7, 7, 7, 7, 6}));
    EXPECT_EQ(Entries(lut), (Table{0, 0, 1, 1, 4, 4, 6, 6})) << "this one first, held at its end";
    lut.ComposeWith(lut);
    lut.ComposeWith(CSmallLut({3, 2, 1, 0}));
    EXPECT_EQ(Entries(lut), (Table{0, 0, 0, 0, 4, 4, 6, 6})) << "itself; another size";
}

TEST(Lut, InverseLookupBisectsWhatRisesOrFallsAndScansOthers) {
    // Walked by hand: from index 3 by 4, 2 and 1, held at the ends, then one step to the value.
    // clang-format off
    const std::pair<Table, std::vector<std::pair<int, int>>> cases[] = {
        {{0, 10, 20, 30, 40, 50, 60, 70}, {{0, 0}, {20, 2}, {25, 3}, {65, 6}, {99, 7}, {-5, 0}}},
        {{70, 60, 50, 40, 30, 20, 10, 0}, {{0, 7}, {5, 6}, {45, 2}, {65, 0}, {99, 0}, {-5, 7}}},
        {{30, 30, 30, 30, 30, 30, 30, 30}, {{30, 3}, {10, 7}, {50, 0}}},
        {{0, 20, 10, 30, 40, 35, 60, 70}, {{0, 0}, {15, 1}, {36, 4}, {65, 7}, {99, 7}}},
        {{70, 50, 60, 20, 30, 10, 5, 1}, {{99, 0}, {55, 1}, {25, 3}, {3, 7}, {0, 7}}}};
    // clang-format on
    for (const auto& [table, lookups] : cases) {
        for (const auto& [value, index] : lookups)
            EXPECT_EQ(CSmallLut(table).InverseLookup(value), index) << "value " << value;
    }
}

// ---- Film curves

struct CFilmA final : CFilmCurveLut {
    CFilmA()
        : CFilmCurveLut(kFullSize, FilmTableA().data(), kFilmStepA, kFilmRows, kFilmPivotRow) {}
};

TEST(FilmCurve, HasTheRowsOfTheFilms) {
    // The sums of the columns, in hundredths.
    const auto sums = [](std::span<const QLFilmRow> rows) {
        double low = 0, nominal = 0, high = 0;
        for (const QLFilmRow& r : rows)
            std::tie(low, nominal, high) =
                std::tuple(low + r.low, nominal + r.nominal, high + r.high);
        return std::tuple(std::lround(low * 100), std::lround(nominal * 100),
                          std::lround(high * 100));
    };
    EXPECT_EQ(sums(FilmTableA()), (std::tuple(4809, 3362, 2721)));
    EXPECT_EQ(sums(FilmTableB()), (std::tuple(5348, 2941, 2514)));
}

TEST(FilmCurve, IsTheWalkOverItsRowsAndFlatBeyondThem) {
    for (const auto& [shift, gamma] : {std::pair{0.0, 1.0}, {-0.3, 1.0}, {-0.3, 2.2}, {0.0, 2.2}}) {
        const Table curve = Gamma(gamma, 256);
        Table warp = Identity();
        for (int& entry : warp)
            entry = gamma == 1.0 ? entry : Inverse(curve, entry);
        const Table expected = FilmCurve(FilmTableA(), kFilmStepA, shift, 0, 0, warp);
        CFilmA film, warped;
        warped.BuildCurveGamma(0.0, 0.0, 0.0, 1.7);  // leaves nothing behind
        warped.BuildCurveGamma(shift, 0.0, 0.0, gamma);
        EXPECT_EQ(Entries(warped), expected) << shift << ", " << gamma;
        film.BuildCurve(shift, 0.0, 0.0);
        EXPECT_TRUE(gamma != 1.0 || Entries(film) == expected);
    }
    CFilmA bent;
    EXPECT_TRUE(bent.BuildCurve(0.3, 0.5, -0.5));
    EXPECT_FALSE(bent.BuildCurve(0.3, 0.5, -0.5)) << "only other arguments build again";
    EXPECT_TRUE(bent.BuildCurveGamma(0.3, 0.5, -0.5, 2.2));
}

}  // namespace
