#include "analysis/slide_analyser.h"

#include <limits>

#include "frame/fixed_point.h"

CSlideToneAnalyser::CSlideToneAnalyser(QLAttribTree* tree) : CLevelToneAnalyser(tree) {
    m_gain[QL_POINT_WHITE] = 0.22;
}

void CSlideToneAnalyser::BuildCurves() {
    if (m_exposeFlag)
        CLevelToneAnalyser::BuildCurves();
    if (!m_dirty)
        return;
    SettleCodes();
    for (CQLLut& lut : m_lut)
        lut.SetIdentity();
    ComposeMidColor();
    // Either the input's black or the output's is raised, never both.
    if (m_blackCode != 0) {
        m_temporary.BuildClipRamp(m_blackCode, kSampleMax);
        ComposeAll(m_lut);
    }
    if (m_outBlack != 0) {
        m_temporary.DrawSegment(0, m_outBlack, kSampleMax, kSampleMax, true);
        ComposeAll(m_lut);
    }
    m_dirty = false;
}

// The colour that stood before takes part in the first build: a slide's points are kept.
void CSlideToneAnalyser::StartExposed() {
    m_gain = {1.3, 0.5, 0.1};
    ClearLevels();
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i)
        PointToRgb(i, {});
    BuildCurves();
}

void CSlideToneAnalyser::SearchColor(QLColorPoint* point, double step) {
    SearchColorWithin(point, step, std::numeric_limits<std::int64_t>::max());
}

// One trial upwards; downwards as long as it gets no worse.
void CSlideToneAnalyser::SearchExposedMidtone(double* level, double step) {
    const std::int32_t entry = Midtone();
    double best = MidtoneCost(*level);
    const auto stays = [&](double trial) {
        const double cost = MidtoneCost(trial);
        if (cost > best)
            return false;
        best = cost;
        *level = trial;
        return true;
    };
    stays(*level + step);
    while (stays(*level - step) && *level > -kMostLevel + 2.0 * step) {
    }
    SetMidtone(entry);
}
