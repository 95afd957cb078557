#include "tools/plot/tone_plots.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kWhite = 255;
constexpr double kLevelStep = 51;  // fifths of the scale
constexpr double kPercent = 100;

struct CChannelLook {
    const char* m_name;
    CPlotColor m_color;
};
constexpr CChannelLook kColors[] = {{"red", kPlotRed}, {"green", kPlotGreen}, {"blue", kPlotBlue}};
constexpr CChannelLook kGray = {"gray", kPlotGray};

const CChannelLook& LookOf(std::size_t channel, std::size_t channels) {
    return channels == std::size(kColors) ? kColors[channel] : kGray;
}

std::string Rounded(const char* form, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), form, value);
    return text;
}

std::vector<double> Shares(const CToneCounts::Levels& levels) {
    const double total = std::max(static_cast<double>(CToneCounts::Total(levels)), 1.0);
    std::vector<double> shares;
    for (const std::uint64_t count : levels)
        shares.push_back(static_cast<double>(count) * kPercent / total);
    return shares;
}

// Up to the share that 98 of 100 levels that occur don't exceed, and a little air above it.
double TopOf(const std::vector<CPlotSeries>& series) {
    constexpr double kKept = 0.98;
    constexpr double kAir = 1.1;
    std::vector<double> shares;
    for (const CPlotSeries& one : series)
        std::ranges::copy_if(one.m_values, std::back_inserter(shares),
                             [](double share) { return share > 0; });
    if (shares.empty())
        return kPercent;
    std::ranges::sort(shares);
    const auto count = static_cast<double>(shares.size());
    const auto kept = static_cast<std::size_t>(std::ceil(count * kKept)) - 1;
    return std::min(shares[kept] * kAir, kPercent);
}

// The curve of screens: linear light to levels, both from 0 to 1.
double Encoded(double light) {
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

CPlotSeries ScreenCurve(bool isEncoded) {
    CPlotSeries series{"without corrections", {0.1, 0.1, 0.1}, {}, CPlotSeries::Look::Dashes};
    for (std::size_t i = 0; i < kToneLevels; ++i) {
        const double input = static_cast<double>(i) / kWhite;
        series.m_values.push_back(kWhite * (isEncoded ? input : Encoded(input)));
    }
    return series;
}

}  // namespace

CPlotPanel HistogramPanel(std::string title, std::string xLabel, const CToneCounts& counts) {
    CPlotPanel panel{std::move(title), {}, {std::move(xLabel), kWhite, kLevelStep}, {}, {}};
    double highest = 0;
    for (std::size_t c = 0; c < counts.m_channels.size(); ++c) {
        const CChannelLook& look = LookOf(c, counts.m_channels.size());
        panel.m_series.push_back(
            {look.m_name + Rounded(", mean %.0f", CToneCounts::Mean(counts.m_channels[c])),
             look.m_color, Shares(counts.m_channels[c]), CPlotSeries::Look::Area});
        highest = std::max(highest, std::ranges::max(panel.m_series.back().m_values));
    }
    panel.m_y = AxisUpTo(TopOf(panel.m_series), "share of the pixels, %");
    if (highest > panel.m_y.m_most)
        panel.m_note = Rounded("peaks beyond the top: up to %.3g %%", highest);
    return panel;
}

CPlotPanel CurvePanel(std::string title, const CToneCurves& curves) {
    CPlotPanel panel{
        std::move(title),
        {},
        {curves.m_isEncoded ? "level of the original, 0 to 255"
                            : "light of the original, % of full scale",
         curves.m_isEncoded ? kWhite : kPercent, curves.m_isEncoded ? kLevelStep : kPercent / 10},
        {"level of the result, 0 to 255", kWhite, kLevelStep},
        {}};
    for (std::size_t c = 0; c < curves.m_channels.size(); ++c) {
        const CChannelLook& look = LookOf(c, curves.m_channels.size());
        panel.m_series.push_back({look.m_name,
                                  look.m_color,
                                  {curves.m_channels[c].begin(), curves.m_channels[c].end()},
                                  CPlotSeries::Look::Line});
    }
    panel.m_series.push_back(ScreenCurve(curves.m_isEncoded));
    return panel;
}
