#include "tools/plot/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kTitleSize = 15;
constexpr double kTextSize = 11;
constexpr double kGap = 6;
constexpr double kSwatch = 14;
constexpr CPlotColor kInk{0.15, 0.15, 0.15};
constexpr CPlotColor kGrid{0.87, 0.87, 0.87};

void SetColor(cairo_t* context, const CPlotColor& color, double opacity = 1) {
    cairo_set_source_rgba(context, color.m_red, color.m_green, color.m_blue, opacity);
}

double WidthOf(cairo_t* context, const std::string& text) {
    cairo_text_extents_t extents;
    cairo_text_extents(context, text.c_str(), &extents);
    return extents.x_advance;
}

// `share` of the text's width lies left of x: 0 begins there, 1 ends there.
void Write(cairo_t* context, const std::string& text, double x, double y, double share = 0) {
    cairo_move_to(context, x - share * WidthOf(context, text), y);
    cairo_show_text(context, text.c_str());
}

void Line(cairo_t* context, double x0, double y0, double x1, double y1) {
    cairo_move_to(context, x0, y0);
    cairo_line_to(context, x1, y1);
    cairo_stroke(context);
}

double XOf(const CPlotPanel& panel, double value) {
    return kFrameLeft + std::clamp(value / panel.m_x.m_most, 0.0, 1.0) * (kFrameRight - kFrameLeft);
}

double YOf(const CPlotPanel& panel, double value) {
    return kFrameBottom -
           std::clamp(value / panel.m_y.m_most, 0.0, 1.0) * (kFrameBottom - kFrameTop);
}

// The value at place `i` of a series, in x.
double PlaceOf(const CPlotPanel& panel, const CPlotSeries& series, std::size_t i) {
    const std::size_t last = std::max<std::size_t>(series.m_values.size(), 2) - 1;
    return panel.m_x.m_most * static_cast<double>(i) / static_cast<double>(last);
}

// Four digits are more than a tick has; a sum in doubles may have sixteen.
std::string TickText(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.4g", value);
    return text;
}

// Ticks are counted, not added up: the last one is the end of the axis itself.
template <typename Action>
void ForTicks(const CPlotAxis& axis, Action action) {
    constexpr double kTolerance = 1e-9;
    for (int i = 0; i * axis.m_step <= axis.m_most * (1 + kTolerance); ++i)
        action(i * axis.m_step);
}

void DrawAxes(cairo_t* context, const CPlotPanel& panel) {
    cairo_set_font_size(context, kTextSize);
    cairo_set_line_width(context, 0.8);
    ForTicks(panel.m_x, [&](double value) {
        const double x = XOf(panel, value);
        SetColor(context, kGrid);
        Line(context, x, kFrameTop, x, kFrameBottom);
        SetColor(context, kInk);
        Write(context, TickText(value), x, kFrameBottom + kTextSize + kGap, 0.5);
    });
    ForTicks(panel.m_y, [&](double value) {
        const double y = YOf(panel, value);
        SetColor(context, kGrid);
        Line(context, kFrameLeft, y, kFrameRight, y);
        SetColor(context, kInk);
        Write(context, TickText(value), kFrameLeft - kGap, y + kTextSize / 3, 1);
    });
    Write(context, panel.m_x.m_label, (kFrameLeft + kFrameRight) / 2,
          kFrameBottom + 2 * (kTextSize + kGap), 0.5);
    cairo_save(context);
    cairo_translate(context, kTextSize + kGap, (kFrameTop + kFrameBottom) / 2);
    cairo_rotate(context, -M_PI / 2);
    Write(context, panel.m_y.m_label, 0, 0, 0.5);
    cairo_restore(context);
}

void DrawFrame(cairo_t* context) {
    SetColor(context, kInk);
    cairo_set_line_width(context, 1);
    cairo_rectangle(context, kFrameLeft, kFrameTop, kFrameRight - kFrameLeft,
                    kFrameBottom - kFrameTop);
    cairo_stroke(context);
}

void DrawPeaks(cairo_t* context, const CPlotPanel& panel, const CPlotSeries& series) {
    constexpr double kHalf = 3.5;
    for (std::size_t i = 0; i < series.m_values.size(); ++i) {
        if (series.m_values[i] <= panel.m_y.m_most)
            continue;
        const double x = XOf(panel, PlaceOf(panel, series, i));
        cairo_move_to(context, x - kHalf, kFrameTop);
        cairo_line_to(context, x + kHalf, kFrameTop);
        cairo_line_to(context, x, kFrameTop - 1.6 * kHalf);
        cairo_close_path(context);
        cairo_fill(context);
    }
}

// Text that was written before has left a point behind.
void TracePath(cairo_t* context, const CPlotPanel& panel, const CPlotSeries& series) {
    cairo_new_path(context);
    for (std::size_t i = 0; i < series.m_values.size(); ++i)
        cairo_line_to(context, XOf(panel, PlaceOf(panel, series, i)),
                      YOf(panel, series.m_values[i]));
}

// `behind`: how many series are drawn later. Lines that lie on each other are seen all the same, as
// each is thinner than the one before it.
void DrawSeries(cairo_t* context, const CPlotPanel& panel, const CPlotSeries& series,
                std::size_t behind) {
    using Look = CPlotSeries::Look;
    constexpr double kThinLine = 1.2;
    constexpr double kThicker = 1.5;
    if (series.m_values.empty())
        return;
    if (series.m_look == Look::Area) {
        constexpr double kVeil = 0.22;  // through which other series and the grid are seen
        TracePath(context, panel, series);
        cairo_line_to(context, kFrameRight, kFrameBottom);
        cairo_line_to(context, kFrameLeft, kFrameBottom);
        cairo_close_path(context);
        SetColor(context, series.m_color, kVeil);
        cairo_fill(context);
    }
    SetColor(context, series.m_color);
    cairo_save(context);
    constexpr double kDash = 5;
    if (series.m_look == Look::Dashes)
        cairo_set_dash(context, &kDash, 1, 0);
    cairo_set_line_width(context, series.m_look == Look::Line
                                      ? kThinLine + kThicker * static_cast<double>(behind)
                                      : kThinLine);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    TracePath(context, panel, series);
    cairo_stroke(context);
    cairo_restore(context);
    if (series.m_look == Look::Area)
        DrawPeaks(context, panel, series);
}

// From the right end to the left, in the order of the series.
void DrawLegend(cairo_t* context, const CPlotPanel& panel) {
    const double y = kFrameTop - 2 * kTextSize - kGap;
    double x = kFrameRight;
    cairo_set_font_size(context, kTextSize);
    for (auto series = panel.m_series.rbegin(); series != panel.m_series.rend(); ++series) {
        x -= WidthOf(context, series->m_name);
        SetColor(context, kInk);
        Write(context, series->m_name, x, y);
        x -= kSwatch + kGap;
        SetColor(context, series->m_color);
        cairo_set_line_width(context, 4);
        Line(context, x, y - kTextSize / 3, x + kSwatch, y - kTextSize / 3);
        x -= 2 * kGap;
    }
    SetColor(context, kInk);
    Write(context, panel.m_note, kFrameRight, y + kTextSize + kGap / 2, 1);
}

void DrawPanel(cairo_t* context, const CPlotPanel& panel) {
    SetColor(context, kInk);
    cairo_set_font_size(context, kTitleSize);
    Write(context, panel.m_title, kFrameLeft, kFrameTop - 2 * kTextSize - kGap);
    DrawLegend(context, panel);
    DrawAxes(context, panel);
    for (std::size_t i = 0; i < panel.m_series.size(); ++i)
        DrawSeries(context, panel, panel.m_series[i], panel.m_series.size() - 1 - i);
    DrawFrame(context);
}

}  // namespace

CPlotAxis AxisUpTo(double most, std::string label) {
    constexpr double kMostSteps = 10;
    if (!(most > 0))
        return {std::move(label), 1, 1};
    double step = std::pow(10, std::floor(std::log10(most / kMostSteps)));
    for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (most / (factor * step) <= kMostSteps) {
            step *= factor;
            break;
        }
    }
    return {std::move(label), step * std::ceil(most / step), step};
}

void DrawPanels(cairo_t* context, std::span<const CPlotPanel> panels) {
    cairo_set_source_rgb(context, 1, 1, 1);
    cairo_paint(context);
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           CAIRO_FONT_WEIGHT_NORMAL);
    for (const CPlotPanel& panel : panels) {
        DrawPanel(context, panel);
        cairo_translate(context, 0, kPanelHeight);
    }
}
