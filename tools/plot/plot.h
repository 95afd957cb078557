// Plots for a person's glance: axes with ticks and units, a grid, a legend, one colour a series.
// Data in, picture out; nothing here knows what the numbers are of.
#pragma once

#include <cairo.h>

#include <span>
#include <string>
#include <vector>

struct CPlotColor {
    double m_red = 0;  // 0 to 1, as the next two
    double m_green = 0;
    double m_blue = 0;
};

inline constexpr CPlotColor kPlotRed{0.84, 0.15, 0.12};
inline constexpr CPlotColor kPlotGreen{0.10, 0.58, 0.20};
inline constexpr CPlotColor kPlotBlue{0.12, 0.35, 0.85};
inline constexpr CPlotColor kPlotGray{0.25, 0.25, 0.25};

// From 0 to `m_most`, with a tick and a line of the grid at each `m_step`.
struct CPlotAxis {
    std::string m_label;  // with the unit
    double m_most = 1;
    double m_step = 1;
};

struct CPlotSeries {
    enum class Look { Line, Area, Dashes };

    std::string m_name;  // in the legend
    CPlotColor m_color;
    std::vector<double> m_values;  // at even distances from 0 to the end of x
    Look m_look = Look::Line;
};

struct CPlotPanel {
    std::string m_title;
    std::string m_note;  // small, below the legend
    CPlotAxis m_x;
    CPlotAxis m_y;
    std::vector<CPlotSeries> m_series;
};

// An axis that ends at the first whole step of 1, 2 or 5 times a power of ten at or behind `most`;
// four to ten steps.
CPlotAxis AxisUpTo(double most, std::string label);

// Units of a drawing: points in files of vectors, more than one pixel in those of pixels.
inline constexpr double kPlotWidth = 720;
inline constexpr double kPanelHeight = 330;
// The frame of the first panel: data at (0, 0) lie at its lower left corner, the ends of both axes
// at its upper right one.
inline constexpr double kFrameLeft = 64;
inline constexpr double kFrameRight = kPlotWidth - 24;
inline constexpr double kFrameTop = 52;
inline constexpr double kFrameBottom = kPanelHeight - 52;

// The panels below each other, on white. Values beyond an axis are held at the frame, with a small
// triangle where an area goes over the top.
void DrawPanels(cairo_t* context, std::span<const CPlotPanel> panels);
