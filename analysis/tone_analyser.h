// Base of the tone analysers: the tone settings of an image, its statistics, and the tables that
// apply the settings.
//
// An analyser is no stage; the automatic tone stage of its kind of original owns it:
//
//   CNegativeToneAnalyser   film negatives, in density
//   CPhotoToneAnalyser      reflective originals, by white and black codes
//   CSlideToneAnalyser      slides, the same with the white side left to the stage
//
// In every scan BuildCurves turns the settings, three levels and three colour points, into a table
// of 65536 entries a channel. In an analysis pass the stage calls StartCollect, counts pixels into
// the histograms and lists, and calls Analyse, which sets levels and points by simulating the
// tables on the histograms. What it found is what RestoreTone and RestoreColor return to.
//
// A colour point is a vector in a plane with three axes at 120 degrees: red along (1, 0), green
// along (-1/2, -0.866025), blue along (-1/2, 0.866025). Its length is at most 1.
#pragma once

#include <array>
#include <cstdint>

#include "frame/histogram.h"
#include "frame/lut.h"

// What an analysis sets.
enum QLAnalysisKind : std::int32_t {
    QL_ANALYSE_TONE_AND_COLOR = 0,
    QL_ANALYSE_TONE = 1,
    QL_ANALYSE_COLOR = 2,
};

// The share that the axes of green and blue have of a vector's y. More digits would make other
// tables.
inline constexpr double kColorAxisY = 0.866025;

struct QLColorPoint {
    double x = 0.0;
    double y = 0.0;
};

// Which colour point belongs to what.
enum QLColorPointIndex : std::int32_t { QL_POINT_WHITE, QL_POINT_MID, QL_POINT_BLACK };

class CToneAnalyser {
  public:
    static constexpr std::int32_t kChannels = 3;  // red, green, blue
    static constexpr std::int32_t kMostLevel = 100;

    virtual ~CToneAnalyser() = default;
    CToneAnalyser(const CToneAnalyser&) = delete;
    CToneAnalyser& operator=(const CToneAnalyser&) = delete;

    // False when memory for tables, histograms or lists was missing at construction; nothing is
    // allocated later. All calls are safe even so: what is missing counts nothing, answers 0 or is
    // left out.
    virtual bool IsComplete() const;

    // Empties the statistics.
    virtual void StartCollect();
    // A channel's statistic, and the table that the last BuildCurves made for it, both for the
    // analyser's life. Null for a table without memory.
    CQLHistogram& Histogram(std::int32_t channel) { return m_hist[channel]; }
    const CQLLut* Lut(std::int32_t channel) const { return OrNull(Table(channel)); }

    // Builds the tables when a setting has changed since the last call.
    virtual void BuildCurves() = 0;
    // Sets levels and points, or one of the two, from the statistics, and builds the tables. False,
    // and nothing changed, when nothing was collected.
    bool Analyse(QLAnalysisKind what);

    void ResetColor();
    virtual void ResetTone();
    // Back to what the last analysis found, or with `keep`, or before any analysis, to the
    // defaults.
    void RestoreTone(bool keep);
    void RestoreColor(bool keep);

    // Levels, held at -100 and 100.
    void SetHighlight(std::int32_t level) { SetLevel(&m_levels.m_highlight, level); }
    void SetShadow(std::int32_t level) { SetLevel(&m_levels.m_shadow, level); }
    void SetMidtone(std::int32_t level) { SetLevel(&m_levels.m_midtone, level); }
    std::int32_t Highlight() const { return m_levels.m_highlight; }
    std::int32_t Shadow() const { return m_levels.m_shadow; }
    std::int32_t Midtone() const { return m_levels.m_midtone; }

    // Any index but that of white and black means the midtones.
    const QLColorPoint& Point(std::int32_t index) const { return m_points[PlaceOf(index)]; }
    // A longer vector is scaled to length 1, the caller's too.
    void SetPoint(QLColorPoint& vector, std::int32_t index);

    // The image has one sample a pixel.
    void SetGray(bool gray) { SetFlag(&m_gray, gray); }
    // The exposure variant of the analysis is wanted.
    void SetExposeFlag(bool expose) { SetFlag(&m_exposeFlag, expose); }
    bool ExposeFlag() const { return m_exposeFlag; }

    // The density of a code of linear light: 0 at full scale, 4.8165 at code 1 and below.
    static double CodeToDensity(std::int32_t code);

  protected:
    struct Levels {
        std::int16_t m_highlight = 0;
        std::int16_t m_shadow = 0;
        std::int16_t m_midtone = 0;
    };
    using Points = std::array<QLColorPoint, 3>;

    CToneAnalyser();

    // Sets levels and points from the statistics; Analyse puts back what wasn't asked for.
    virtual void RunAnalysis(QLAnalysisKind what) = 0;
    // A channel's table, which is empty without memory.
    virtual const CQLLut& Table(std::int32_t channel) const = 0;
    static const CQLLut* OrNull(const CQLLut& lut) { return lut.Table() ? &lut : nullptr; }
    // Puts the statistics through the tables into m_work. False when something is missing.
    bool RemapHistograms();
    // The sum of squares of what the values are off their mean, or off `target`.
    static double Spread(const std::array<double, 3>& values);
    static double SquaresAround(const std::array<double, 3>& values, double target);
    // All levels 0, and all points (0, 0).
    void ClearLevels();
    void ClearPoints();
    // Builds the tables whether or not a setting has changed.
    void Rebuild();
    // Scales a longer vector to length 1.
    static void LimitToUnit(QLColorPoint* vector);
    // The weights of a vector on the axes of red, green and blue.
    static std::array<double, 3> AxisWeights(const QLColorPoint& vector);

    std::array<CQLHistogram, kChannels> m_hist;
    std::array<CQLHistogram, kChannels> m_work;  // the statistics as they come out of the tables
    CQLLut m_temporary;                          // a step of a build, on its way into the tables
    Levels m_levels;
    Points m_points;
    bool m_dirty = true;  // settings have changed since the last BuildCurves
    bool m_gray = false;
    bool m_exposeFlag = false;

  private:
    static std::size_t PlaceOf(std::int32_t index);
    void SetLevel(std::int16_t* field, std::int32_t level);
    void SetFlag(bool* field, bool value);
    bool HasStatistics() const;
    void SaveState();

    // What the last analysis found.
    bool m_toneSaved = false;
    bool m_colorSaved = false;
    Levels m_savedLevels;
    Points m_savedPoints;
    QLAnalysisKind m_analysisKind = QL_ANALYSE_TONE_AND_COLOR;
};
