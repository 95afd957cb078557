#include "service/scan_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "engine/private_properties.h"

namespace {

constexpr double kMillimetersPerInch = 25.4;

// Pixels that can be scanned. A position may be anywhere up to the far edge, so its greatest value
// is the size.
LONG MostOf(const ItemState& image, const ScanAxis& axis) {
    const ScanProperty* position = CDeviceProperties::Find(image, axis.position);
    return position ? position->valid.max : std::numeric_limits<LONG>::max();
}

}  // namespace

// Inches and millimetres by the resolution; pixels are taken as they are.
LONG ScanArea::Pixels(double length, LONG dpi) const {
    const double pixels = unit == Unit::Pixels   ? length
                          : unit == Unit::Inches ? length * dpi
                                                 : length * dpi / kMillimetersPerInch;
    constexpr double kMost = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(std::lround(std::clamp(pixels, 0.0, kMost)));
}

bool TakesValue(const ScanProperty* property, LONG value) {
    if (!property)
        return false;
    const ValidValues& valid = property->valid;
    return valid.kind == ValidKind::Flags  ? (valid.bits & value) == value
           : valid.kind == ValidKind::List ? std::find(valid.list.begin(), valid.list.end(),
                                                       PropertyValue(value)) != valid.list.end()
                                           : true;
}

std::string NumberList(const ScanProperty& property) {
    std::string text;
    for (const PropertyValue& value : property.valid.list)
        text += (text.empty() ? "" : ", ") + std::to_string(std::get<LONG>(value));
    return text;
}

// What a device without the property, or with a range of it, makes of the value, its write tells.
std::optional<LONG> ScannedResolution(const ScanProperty* property, LONG dpi, bool reduces) {
    if (!property || TakesValue(property, dpi))
        return dpi;
    std::optional<LONG> next;
    for (const PropertyValue& value : property->valid.list) {
        const LONG known = std::get<LONG>(value);
        if (reduces && known > dpi && (!next || known < *next))
            next = known;
    }
    return next;
}

// The pixels of the page that is to come out are counted first.
ScanSpan SpanOf(const ScanArea& area, const ScanAxis& axis, const ItemState& image,
                LONG resultDpi) {
    constexpr double kForgiven = kPaperTolerance / kMillimetersPerInch;
    constexpr double kRounding = 1e-6;  // whole numbers stay what they are

    const double end = MostOf(image, axis);
    const LONG dpi = CDeviceProperties::Number(image, axis.resolution).value_or(0);
    const double ratio = resultDpi > 0 ? double{1} * dpi / resultDpi : 1;
    // Other units go by the scan's own resolution.
    const double scale = area.unit == ScanArea::Unit::Pixels ? ratio : 1;
    ScanSpan span{area.Pixels(area.*axis.start * scale, dpi)};
    const LONG nearest = area.Pixels(area.*axis.length * scale, dpi);
    const double excess = double{1} * span.start + nearest - end;
    span.isInside = excess <= 0 || (!area.paper.empty() && excess < kForgiven * dpi);
    const double wanted = std::ceil(area.Pixels(area.*axis.length, resultDpi) * ratio - kRounding);
    span.length = static_cast<LONG>(std::clamp(end - span.start, 0.0, wanted));
    return span;
}

ScanReach ReachOf(const ItemState& image) {
    const auto length = [&](const ScanAxis& axis) {
        const LONG dpi = CDeviceProperties::Number(image, axis.resolution).value_or(0);
        return dpi < 1 ? 0.0 : MostOf(image, axis) * kMillimetersPerInch / dpi;
    };
    return {length(kScanAxes[0]), length(kScanAxes[1])};
}

// "215.9 x 297.2 mm (1275 x 1755 pixels at 150 dpi)".
std::string ReachWords(const ItemState& image) {
    const ScanReach reach = ReachOf(image);
    char lengths[64];
    std::snprintf(lengths, sizeof(lengths), "%.1f x %.1f mm", reach.width, reach.height);
    const LONG xDpi = CDeviceProperties::Number(image, WIA_IPS_XRES).value_or(0);
    const LONG yDpi = CDeviceProperties::Number(image, WIA_IPS_YRES).value_or(0);
    return std::string(lengths) + " (" + std::to_string(MostOf(image, kScanAxes[0])) + " x " +
           std::to_string(MostOf(image, kScanAxes[1])) + " pixels at " +
           ResolutionWords({xDpi, yDpi}) + " dpi)";
}

std::string ResolutionWords(const ScanResolution& dpi) {
    return std::to_string(dpi.across) +
           (dpi.across == dpi.along ? "" : " x " + std::to_string(dpi.along));
}

LONG LowestResolution(const ItemState& image, PROPID id) {
    constexpr std::int64_t kCoarsest = 75;
    const ScanProperty* property = CDeviceProperties::Find(image, id);
    LONG lowest = CDeviceProperties::Number(image, id).value_or(0);
    if (!property)
        return lowest;
    const ValidValues& valid = property->valid;
    if (valid.kind == ValidKind::List) {
        for (const PropertyValue& value : valid.list)
            lowest = std::min(lowest, std::get<LONG>(value));
    } else if (valid.kind == ValidKind::Range) {
        const std::int64_t step = std::max<LONG>(valid.step, 1);
        const std::int64_t steps =
            std::max<std::int64_t>(kCoarsest - valid.min + step - 1, 0) / step;
        lowest = static_cast<LONG>(std::min<std::int64_t>(lowest, valid.min + steps * step));
    }
    return lowest;
}

std::string MediumWords(const CDeviceProperties& properties) {
    const ItemState& root = properties.Root();
    const LONG select =
        CDeviceProperties::Number(root, WIA_DPS_DOCUMENT_HANDLING_SELECT).value_or(FLATBED);
    return CDeviceProperties::Number(root, QL_PROP_TMA_SELECT) == 1 ? "the adapter's frame"
           : (select & (FEEDER | DUPLEX)) != 0                      ? "the sheet"
                                                                    : "the scanner's glass";
}
