// What the plots of tones show, as panels.
#pragma once

#include "tools/plot/plot.h"
#include "tools/plot/tone_counts.h"

// The share of the pixels at each level. The top of y leaves out peaks that would flatten all the
// rest, and a note tells how high they are.
CPlotPanel HistogramPanel(std::string title, std::string xLabel, const CToneCounts& counts);

// What becomes of neutral light: for each channel of the result the level that comes of a level of
// the input.
struct CToneCurves {
    using Curve = std::array<std::uint8_t, kToneLevels>;

    std::vector<Curve> m_channels;  // red, green, blue; or one of gray
    bool m_isEncoded = false;       // the input is encoded for screens, else linear light
};
CPlotPanel CurvePanel(std::string title, const CToneCurves& curves);
