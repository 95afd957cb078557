#include "analysis/tone_analyser.h"

#include <algorithm>
#include <cmath>

namespace {

std::array<CQLHistogram, CToneAnalyser::kChannels> ToneHistograms() {
    constexpr std::int32_t kBins = CQLHistogram::kToneBins;
    return {CQLHistogram(kBins), CQLHistogram(kBins), CQLHistogram(kBins)};
}

}  // namespace

CToneAnalyser::CToneAnalyser()
    : m_hist(ToneHistograms()),
      m_work(ToneHistograms()),
      m_temporary(CQLLut::kFullSize, CQLLut::kPlain) {}

bool CToneAnalyser::IsComplete() const {
    for (std::int32_t c = 0; c < kChannels; ++c) {
        if (m_hist[c].Size() == 0 || m_work[c].Size() == 0 || !Lut(c))
            return false;
    }
    return m_temporary.Table() != nullptr;
}

void CToneAnalyser::StartCollect() {
    for (CQLHistogram& hist : m_hist)
        hist.Clear();
}

bool CToneAnalyser::HasStatistics() const {
    return std::ranges::all_of(m_hist, [](const CQLHistogram& hist) { return hist.Total() != 0; });
}

// The analysis sets everything, so that all it found can be saved; then the live settings that
// weren't asked for come back.
bool CToneAnalyser::Analyse(QLAnalysisKind what) {
    if (!HasStatistics())
        return false;
    m_analysisKind = what;
    const Levels levels = m_levels;
    const Points points = m_points;
    RunAnalysis(what);
    SaveState();
    if (what == QL_ANALYSE_TONE)
        m_points = points;
    if (what == QL_ANALYSE_COLOR)
        m_levels = levels;
    Rebuild();
    return true;
}

void CToneAnalyser::SaveState() {
    if (m_analysisKind != QL_ANALYSE_COLOR) {
        m_savedLevels = m_levels;
        m_toneSaved = true;
    }
    if (m_analysisKind != QL_ANALYSE_TONE) {
        m_savedPoints = m_points;
        m_colorSaved = true;
    }
}

void CToneAnalyser::ResetColor() {
    ClearPoints();
    BuildCurves();
}

void CToneAnalyser::ResetTone() {
    ClearLevels();
    BuildCurves();
}

void CToneAnalyser::RestoreTone(bool keep) {
    if (!m_toneSaved || keep) {
        ResetTone();
        return;
    }
    SetHighlight(m_savedLevels.m_highlight);
    SetMidtone(m_savedLevels.m_midtone);
    SetShadow(m_savedLevels.m_shadow);
    BuildCurves();
}

void CToneAnalyser::RestoreColor(bool keep) {
    if (!m_colorSaved || keep) {
        ResetColor();
        return;
    }
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i) {
        QLColorPoint point = m_savedPoints[i];
        SetPoint(point, i);
    }
    BuildCurves();
}

void CToneAnalyser::ClearLevels() {
    m_levels = {};
    m_dirty = true;
}

void CToneAnalyser::ClearPoints() {
    m_points = {};
    m_dirty = true;
}

void CToneAnalyser::Rebuild() {
    m_dirty = true;
    BuildCurves();
}

bool CToneAnalyser::RemapHistograms() {
    bool complete = true;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        m_work[c].RemapFrom(Table(c), m_hist[c]);
        complete = complete && m_work[c].Size() != 0 && m_hist[c].Size() != 0 && Lut(c);
    }
    return complete;
}

double CToneAnalyser::Spread(const std::array<double, 3>& values) {
    return SquaresAround(values, (values[0] + values[1] + values[2]) / 3.0);
}

double CToneAnalyser::SquaresAround(const std::array<double, 3>& values, double target) {
    double sum = 0.0;
    for (const double value : values)
        sum += (value - target) * (value - target);
    return sum;
}

std::size_t CToneAnalyser::PlaceOf(std::int32_t index) {
    const bool isEnd = index == QL_POINT_WHITE || index == QL_POINT_BLACK;
    return static_cast<std::size_t>(isEnd ? index : QL_POINT_MID);
}

void CToneAnalyser::SetPoint(QLColorPoint& vector, std::int32_t index) {
    LimitToUnit(&vector);
    m_points[PlaceOf(index)] = vector;
    m_dirty = true;
}

void CToneAnalyser::SetLevel(std::int16_t* field, std::int32_t level) {
    *field = static_cast<std::int16_t>(std::clamp(level, -kMostLevel, kMostLevel));
    m_dirty = true;
}

void CToneAnalyser::SetFlag(bool* field, bool value) {
    if (*field != value)
        m_dirty = true;
    *field = value;
}

double CToneAnalyser::CodeToDensity(std::int32_t code) {
    return -std::log10(std::max(code, 1) / 65535.0);
}

// A vector without a length, of which a part is not finite, has no direction either: it is none.
void CToneAnalyser::LimitToUnit(QLColorPoint* vector) {
    const double length = std::sqrt(vector->x * vector->x + vector->y * vector->y);
    if (!std::isfinite(length)) {
        *vector = {};
    } else if (length > 1.0) {
        vector->x /= length;
        vector->y /= length;
    }
}

std::array<double, 3> CToneAnalyser::AxisWeights(const QLColorPoint& vector) {
    return {vector.x, -0.5 * vector.x - kColorAxisY * vector.y,
            -0.5 * vector.x + kColorAxisY * vector.y};
}
