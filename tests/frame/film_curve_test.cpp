// Film curves: densities, the bend of the two ends, and the finished table against a plain walk.

#include "frame/film_curve.h"

#include <array>

#include "tests/support/tone_support.h"

namespace {

constexpr std::int32_t kSize = CQLLut::kFullSize;

CFilmCurveLut FilmA() {
    return {kSize, FilmTableA().data(), kFilmStepA, kFilmRows, kFilmPivotRow};
}

// Full scale times 10^-density, cut.
int Code(double density) {
    return static_cast<int>(
        std::clamp(65535.0 * std::exp(-density * std::log(10.0)), 0.0, 65535.0));
}

TEST(FilmCurve, TablesHoldTheDensitiesOfBothFilms) {
    // The sums of the columns, in hundredths.
    using Sums = std::array<long, 3>;
    const auto sums = [](std::span<const QLFilmRow, kFilmRows> rows) {
        Sums sum{};
        for (const QLFilmRow& row : rows) {
            sum[0] += std::lround(row.low * 100);
            sum[1] += std::lround(row.nominal * 100);
            sum[2] += std::lround(row.high * 100);
        }
        return sum;
    };
    EXPECT_EQ(sums(FilmTableA()), (Sums{4809, 3362, 2721}));
    EXPECT_EQ(sums(FilmTableB()), (Sums{5348, 2941, 2514}));
    EXPECT_EQ(FilmTableA()[12].nominal, 1.21);
    EXPECT_EQ(FilmTableB()[16].low, 0.04);
}

TEST(FilmCurve, DensityIsLinearLightFromFullScale) {
    const CFilmCurveLut film = FilmA();
    EXPECT_EQ(film.DensityToCode(0.0), 65535);
    EXPECT_EQ(film.DensityToCode(1.0), 6553);
    EXPECT_EQ(film.DensityToCode(2.0), 655);
    EXPECT_EQ(film.DensityToCode(5.0), 0);
    EXPECT_EQ(film.DensityToCode(-0.5), 65535);
    EXPECT_EQ(film.DensityToCode(-1e6), 65535);
}

TEST(FilmCurve, TheTwoEndsBendBySeparateArguments) {
    const CFilmCurveLut film = FilmA();
    // Row 16 (0.43, 0.54, 0.60) stands behind the pivot and follows `high`.
    EXPECT_DOUBLE_EQ(film.RowDensity(16, 0.0, 0.7), 0.54);
    EXPECT_DOUBLE_EQ(film.RowDensity(16, 1.0, 0.7), 0.43);
    EXPECT_DOUBLE_EQ(film.RowDensity(16, 0.5, 0.7), 0.485);
    EXPECT_DOUBLE_EQ(film.RowDensity(16, -0.5, 0.7), 0.57);
    EXPECT_DOUBLE_EQ(film.RowDensity(16, 3.0, 0.7), 0.43);
    // Row 14 (1.50, 0.87, 0.80) stands before it and follows `low`, with the columns exchanged.
    EXPECT_DOUBLE_EQ(film.RowDensity(14, 0.7, 1.0), 0.80);
    EXPECT_DOUBLE_EQ(film.RowDensity(14, 0.7, -1.0), 1.50);
    EXPECT_DOUBLE_EQ(film.RowDensity(14, 0.7, -0.5), 1.185);
    EXPECT_DOUBLE_EQ(film.RowDensity(14, 0.7, -3.0), 1.50);
    // Film B's pivot row (0.34, 0.56, 0.64) belongs to the light end.
    const CFilmCurveLut other(kSize, FilmTableB().data(), kFilmStepB, kFilmRows, kFilmPivotRow);
    EXPECT_DOUBLE_EQ(other.RowDensity(15, 1.0, -0.5), 0.34);
    EXPECT_DOUBLE_EQ(other.RowDensity(15, -1.0, -0.5), 0.64);
}

TEST(FilmCurve, TheFinishedTableIsTheWalkOverItsRows) {
    CFilmCurveLut film = FilmA();
    ASSERT_TRUE(film.BuildCurve(0.0, 0.0, 0.0));
    std::vector<int> expected(kSize, -1);
    for (int row = 0; row + 1 < kFilmRows; ++row) {
        // Codes fall along the rows, so a line runs from the denser row upwards.
        const int from = Code((row + 1) * kFilmStepA);
        const int to = Code(row * kFilmStepA);
        const int y0 = Code(FilmTableA()[row + 1].nominal);
        const int dy = Code(FilmTableA()[row].nominal) - y0;
        for (int x = from; x <= to; ++x)
            expected[x] = static_cast<int>(LineValue(y0, dy, to - from, x - from));
    }
    const int dense = Code(26 * kFilmStepA);
    for (int x = 0; x < dense; ++x)
        expected[x] = expected[dense];
    for (int x = 0; x < kSize; ++x)
        ASSERT_EQ(film.At(x), expected[x]) << x;
    // Film density 1.794 is code 1053 and the lightest output; no density is the darkest, 10^-3.33.
    ExpectEntries(film, {{0, 65535}, {1053, 65535}, {6046, 13380}, {55907, 49}, {65535, 30}});
}

TEST(FilmCurve, ACurveFallsAndIsFlatBeyondItsEnds) {
    CFilmCurveLut film(kSize, FilmTableB().data(), kFilmStepB, kFilmRows, kFilmPivotRow);
    film.BuildCurve(-0.3, 0.0, 0.0);
    for (int x = 1; x < kSize; ++x)
        ASSERT_LE(film.At(x), film.At(x - 1)) << x;
    // The thin end lies at density 0.3, code 32845, where film B has 10^-2.86; the dense one
    // at 2.77.
    ExpectEntries(film, {{0, 65535}, {111, 65535}, {32845, 90}, {65535, 90}});
    // The inverse look-up takes the falling branch: from a light output to a small code.
    EXPECT_LT(film.InverseLookup(50000), film.InverseLookup(1000));
    for (const int x : {500, 2000, 6000})
        EXPECT_EQ(film.At(film.InverseLookup(film.At(x))), film.At(x));

    CFilmCurveLut bent = FilmA();
    bent.BuildCurve(0.3, 0.5, -0.5);
    ExpectEntries(bent, {{2101, 65535}, {6000, 55207}, {10000, 23942}, {20000, 339}, {65535, 71}});
}

TEST(FilmCurve, OnlyOtherArgumentsBuildAgain) {
    CFilmCurveLut film = FilmA();
    EXPECT_TRUE(film.BuildCurve(0.1, 0.2, 0.3));
    film.Set(100, 7);
    EXPECT_FALSE(film.BuildCurve(0.1, 0.2, 0.3));
    EXPECT_EQ(film.At(100), 7) << "untouched";
    for (const auto& [shift, high, low] :
         {std::array{0.2, 0.2, 0.3}, {0.2, 0.1, 0.3}, {0.2, 0.1, 0.2}})
        EXPECT_TRUE(film.BuildCurve(shift, high, low));
    EXPECT_TRUE(film.BuildCurveGamma(0.2, 0.1, 0.2, 2.2));
    EXPECT_FALSE(film.BuildCurveGamma(0.2, 0.1, 0.2, 2.2));
    EXPECT_TRUE(film.BuildCurveGamma(0.2, 0.1, 0.2, 1.8));
    EXPECT_TRUE(film.BuildCurveGamma(0.2, 0.1, 0.3, 1.8));
}

TEST(FilmCurve, AGammaWarpsTheInputAxisOnly) {
    CFilmCurveLut plain = FilmA();
    plain.BuildCurve(0.0, 0.0, 0.0);
    CFilmCurveLut neutral = FilmA();
    neutral.BuildCurveGamma(0.0, 0.0, 0.0, 1.0);
    EXPECT_EQ(Entries(neutral), Entries(plain));

    CFilmCurveLut warped = FilmA();
    warped.BuildCurveGamma(0.0, 0.0, 0.0, 2.2);
    // (code / 65535)^2.2 of the rows 1 and 15, on the lines of the gamma table: 46203 and 358; the
    // dense end moves from 1053 to 52. Outputs stay.
    ExpectEntries(warped, {{0, 65535}, {52, 65535}, {358, 13380}, {46203, 49}, {65535, 30}});
    ExpectEntries(warped, {{100, 56405}, {1000, 4010}});
    // The flat ends are warped too: density 0.3, code 32845, lies at 14337 now.
    warped.BuildCurveGamma(-0.3, 0.0, 0.0, 2.2);
    ExpectEntries(warped, {{2000, 322}, {12000, 40}, {14337, 30}, {20000, 30}, {65535, 30}});
    // A second gamma starts from its own curve, not from the first one's inverse.
    warped.BuildCurveGamma(0.0, 0.0, 0.0, 1.0);
    EXPECT_EQ(Entries(warped), Entries(plain));
}

}  // namespace
