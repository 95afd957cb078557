#include "frame/film_curve.h"

#include <algorithm>
#include <cmath>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

// Row r belongs to an exposure of r density steps along the input axis. A density d lets through
// 10^-d of the light: 0 is clear film, 3.33 passes a two-thousandth. Rows before the pivot give
// dark output and are dense, those behind it thin. Low, nominal and high density by row.
constexpr QLFilmRow kFilmA[kFilmRows] = {
    {3.33, 3.33, 2.38}, {3.33, 3.12, 2.24}, {3.33, 2.95, 2.15}, {3.33, 2.78, 2.04},
    {3.33, 2.60, 1.93}, {3.33, 2.43, 1.81}, {3.33, 2.26, 1.70}, {3.33, 2.08, 1.59},
    {3.33, 1.91, 1.48}, {3.33, 1.74, 1.36}, {3.33, 1.56, 1.25}, {3.33, 1.39, 1.14},
    {3.33, 1.21, 1.03}, {2.00, 1.04, 0.91}, {1.50, 0.87, 0.80}, {0.69, 0.69, 0.69},
    {0.43, 0.54, 0.60}, {0.18, 0.38, 0.51}, {0.00, 0.27, 0.41}, {0.00, 0.17, 0.32},
    {0.00, 0.12, 0.25}, {0.00, 0.09, 0.22}, {0.00, 0.06, 0.16}, {0.00, 0.03, 0.12},
    {0.00, 0.00, 0.08}, {0.00, 0.00, 0.04}, {0.00, 0.00, 0.00},
};

constexpr QLFilmRow kFilmB[kFilmRows] = {
    {6.34, 2.86, 2.24}, {5.94, 2.72, 2.13}, {5.54, 2.58, 2.02}, {5.14, 2.44, 1.91},
    {4.74, 2.30, 1.80}, {4.34, 2.16, 1.69}, {3.94, 2.02, 1.58}, {3.54, 1.88, 1.47},
    {3.14, 1.74, 1.36}, {2.74, 1.60, 1.25}, {2.34, 1.46, 1.14}, {1.94, 1.30, 1.04},
    {1.54, 1.14, 0.94}, {1.14, 0.94, 0.84}, {0.74, 0.74, 0.74}, {0.34, 0.56, 0.64},
    {0.04, 0.38, 0.54}, {0.00, 0.24, 0.44}, {0.00, 0.17, 0.34}, {0.00, 0.10, 0.29},
    {0.00, 0.05, 0.24}, {0.00, 0.03, 0.19}, {0.00, 0.00, 0.13}, {0.00, 0.00, 0.09},
    {0.00, 0.00, 0.06}, {0.00, 0.00, 0.03}, {0.00, 0.00, 0.00},
};

}  // namespace

std::span<const QLFilmRow, kFilmRows> FilmTableA() {
    return kFilmA;
}

std::span<const QLFilmRow, kFilmRows> FilmTableB() {
    return kFilmB;
}

CFilmCurveLut::CFilmCurveLut(std::int32_t size, const QLFilmRow* rows, double step,
                             std::int16_t rowCount, std::int16_t pivotRow)
    : CQLLut(size, kPlain),
      m_rows(rows),
      m_step(step),
      m_rowCount(rowCount),
      m_pivotRow(pivotRow) {}

void CFilmCurveLut::SetStep(double step) {
    if (step != m_step)
        ForgetArguments();
    m_step = step;
}

// Densities below 0, which shifts make of the first rows, lie at full scale.
std::int32_t CFilmCurveLut::DensityToCode(double density) const {
    const std::int32_t code = TruncToI32(std::pow(10.0, -density) * (Size() - 1));
    return std::clamp(code, 0, std::max(Size() - 1, 0));
}

double CFilmCurveLut::RowDensity(std::int32_t row, double high, double low) const {
    const double bend = std::clamp(row >= m_pivotRow ? high : low, -1.0, 1.0);
    const QLFilmRow& t = m_rows[row];
    // Towards the thinner column for a positive bend, towards the denser one for a negative bend:
    // the columns change sides at the pivot.
    const double up = row >= m_pivotRow ? t.low : t.high;
    const double down = row >= m_pivotRow ? t.high : t.low;
    return bend >= 0.0 ? up * bend + t.nominal * (1.0 - bend)
                       : down * -bend + t.nominal * (1.0 + bend);
}

// The rows are joined by straight lines between codes, not between densities: 26 pieces, closer
// together the darker the input is, as the eye wants it.
void CFilmCurveLut::Draw(double shift, double high, double low, const CQLLut* warp) {
    if (!Table() || m_rowCount < 1)
        return;
    // With a warp the input axis is not linear light but the exponent that the gamma puts on it.
    const auto input = [&](double density) {
        const std::int32_t code = DensityToCode(density);
        return warp ? std::int32_t{warp->At(code)} : code;
    };
    const auto output = [&](std::int32_t row) { return DensityToCode(RowDensity(row, high, low)); };
    const std::int32_t thinEnd = input(-shift);
    std::int32_t denseEnd = thinEnd;
    std::int32_t from = output(0);
    for (std::int32_t row = 1; row < m_rowCount; ++row) {
        const std::int32_t next = input(row * m_step - shift);
        const std::int32_t to = output(row);
        DrawSegment(denseEnd, from, next, to, true);
        denseEnd = next;
        from = to;
    }
    // Beyond its dense and its thin end the film's curve is flat.
    const std::uint16_t denseValue = At(denseEnd);
    Fill(0, denseEnd, denseValue);
    const std::uint16_t thinValue = At(thinEnd);
    Fill(thinEnd, Size(), thinValue);
}

// The answer tells callers whether what they have made of the curve is stale. Arguments are
// compared exactly: any other number is another curve.
bool CFilmCurveLut::BuildCurve(double shift, double high, double low) {
    if (high == m_lastHigh && low == m_lastLow && shift == m_lastShift)
        return false;
    m_lastHigh = high;
    m_lastLow = low;
    m_lastShift = shift;
    Draw(shift, high, low, nullptr);
    return true;
}

// Inverting a gamma curve point by point costs more than the film curve itself; it is kept while
// the gamma stays. False without memory; the next call tries again.
bool CFilmCurveLut::NeedWarp(double gamma) {
    if (!m_helper)
        m_helper = TryNew<CQLLut>(Size(), kPlain);
    if (!m_helper || m_helper->Size() != Size())
        return false;
    if (gamma != m_warpGamma) {
        m_warpGamma = 0.0;  // what a failure leaves behind is no warp
        m_helper->BuildGamma(gamma);
        if (!m_helper->Invert(*m_helper))
            return false;
        m_warpGamma = gamma;
    }
    return true;
}

bool CFilmCurveLut::BuildCurveGamma(double shift, double high, double low, double gamma) {
    if (high == m_lastHigh && low == m_lastLow && shift == m_lastShift && gamma == m_lastGamma)
        return false;
    // The inverse of a neutral gamma is the identity: no table is needed, and the build can't fail.
    const bool warped = !IsNeutralGamma(gamma);
    // Arguments are noted only when the build can't fail any more, so that the next call tries
    // again.
    if (warped && !NeedWarp(gamma))
        return false;
    m_lastHigh = high;
    m_lastLow = low;
    m_lastShift = shift;
    m_lastGamma = gamma;
    Draw(shift, high, low, warped ? m_helper.get() : nullptr);
    return true;
}
