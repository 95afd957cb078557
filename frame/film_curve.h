// Tone table built from the characteristic curve of a photographic film.
//
// A film table has rows of density at equal steps of exposure; the table's axis is linear light
// with full scale at density 0. The finished curve falls: it turns a negative into a positive.
#pragma once

#include <memory>
#include <span>

#include "frame/lut.h"

// Densities of one row: the nominal curve and how far it may be bent to either side.
struct QLFilmRow {
    double low;
    double nominal;
    double high;
};

// The two films that the negative analyser knows: A of colour, B of black and white.
inline constexpr std::int32_t kFilmRows = 27;
inline constexpr std::int32_t kFilmPivotRow = 15;
inline constexpr double kFilmStepA = 0.069;
inline constexpr double kFilmStepB = 0.095;
std::span<const QLFilmRow, kFilmRows> FilmTableA();
std::span<const QLFilmRow, kFilmRows> FilmTableB();

class CFilmCurveLut : public CQLLut {
  public:
    // `rows` is borrowed; `step` is the density between two rows along the input axis. Rows from
    // `pivotRow` on give the light end of the output, those before it the dark end.
    CFilmCurveLut(std::int32_t size, const QLFilmRow* rows, double step, std::int16_t rowCount,
                  std::int16_t pivotRow);

    // Both build the table and answer true, or answer false when it holds the curve of these
    // arguments already. `shift` is a density along the input axis; `high` and `low`, -1 to 1, bend
    // the light and the dark end away from the nominal curve; `gamma` warps the input axis.
    virtual bool BuildCurveGamma(double shift, double high, double low, double gamma);
    virtual bool BuildCurve(double shift, double high, double low);

    // The density between two rows. Another one makes the next build build.
    void SetStep(double step);
    // The next build builds, whatever its arguments: the table was put to another use.
    void ForgetArguments() { m_lastHigh = kNoArgument; }

    // The table position of a density: 10^-density of full scale, truncated.
    std::int32_t DensityToCode(double density) const;
    double RowDensity(std::int32_t row, double high, double low) const;

  private:
    bool NeedWarp(double gamma);
    void Draw(double shift, double high, double low, const CQLLut* warp);

    const QLFilmRow* m_rows;
    double m_step;
    std::int16_t m_rowCount;
    std::int16_t m_pivotRow;
    // A `high` that no caller has: with it, the next build always runs.
    static constexpr double kNoArgument = -2.0;
    // Arguments of the last build.
    double m_lastHigh = kNoArgument;
    double m_lastLow = 0.0;
    double m_lastShift = 0.0;
    double m_lastGamma = 0.0;
    std::unique_ptr<CQLLut> m_helper;  // the inverted gamma m_warpGamma
    double m_warpGamma = 0.0;
};
