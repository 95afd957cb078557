// Resolutions and windows, and what a device's properties say of them.
#pragma once

#include <limits>
#include <optional>
#include <string>

#include "service/device_properties.h"

// Dots per inch, across the page and along it.
struct ScanResolution {
    ScanResolution() = default;
    ScanResolution(LONG both) : across(both), along(both) {}
    ScanResolution(LONG x, LONG y) : across(x), along(y) {}
    bool operator==(const ScanResolution&) const = default;

    LONG across = 0;
    LONG along = 0;
};

inline constexpr double kPaperTolerance = 3;  // millimetres

// "300", or "300 x 600".
std::string ResolutionWords(const ScanResolution& dpi);

// A window on the glass, the sheet or in the frame, from the upper left corner. Pixels are those of
// the resolution that was asked for.
struct ScanArea {
    enum class Unit { Pixels, Inches, Millimeters };

    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
    Unit unit = Unit::Millimeters;
    // Of a paper's window its name, for messages. Less than kPaperTolerance of it may lie outside:
    // that is cut, as sheets and glasses that are called alike differ by so much.
    std::string paper = {};

    // The nearest whole number of pixels at a resolution; what LONG can't hold becomes its end.
    LONG Pixels(double length, LONG dpi) const;
};

// Both ways of a page: its properties, of which positions and extents stand in pixels of the
// resolution, and the parts of a window and a resolution.
struct ScanAxis {
    PROPID resolution;
    PROPID position;
    PROPID extent;
    LONG ScanResolution::*dpi;
    double ScanArea::*start;
    double ScanArea::*length;
};
inline constexpr ScanAxis kScanAxes[] = {
    {WIA_IPS_XRES, WIA_IPS_XPOS, WIA_IPS_XEXTENT, &ScanResolution::across, &ScanArea::left,
     &ScanArea::width},
    {WIA_IPS_YRES, WIA_IPS_YPOS, WIA_IPS_YEXTENT, &ScanResolution::along, &ScanArea::top,
     &ScanArea::height}};

// Whether the property has the value among its valid ones; a range is left to the write to judge.
bool TakesValue(const ScanProperty* property, LONG value);

// The least of the valid values of a resolution; of a range that begins lower, the first that shows
// a picture. The present one where there is neither list nor range.
LONG LowestResolution(const ItemState& image, PROPID id);

// What is scanned for `dpi`: itself, or with `reduces` the next higher value that the property has.
// Nothing when there is none.
std::optional<LONG> ScannedResolution(const ScanProperty* property, LONG dpi, bool reduces);
// The values of a list, with commas between them.
std::string NumberList(const ScanProperty& property);

// One way of a window, in pixels of the scan.
struct ScanSpan {
    LONG start = 0;
    LONG length = 0;
    bool isInside = true;  // else it leaves what can be scanned
};
// The window's span on the item, for a page of `resultDpi`. It covers all of each pixel of that
// page, as far as there is something to scan.
ScanSpan SpanOf(const ScanArea& area, const ScanAxis& axis, const ItemState& image, LONG resultDpi);

// All that can be scanned, in millimetres.
struct ScanReach {
    double width = 0;
    double height = 0;
};
ScanReach ReachOf(const ItemState& image);
// The same in words: "215.9 x 297.2 mm (1275 x 1755 pixels at 150 dpi)".
std::string ReachWords(const ItemState& image);
// What lies under the window: "the scanner's glass", "the sheet" or "the adapter's frame".
std::string MediumWords(const CDeviceProperties& properties);
