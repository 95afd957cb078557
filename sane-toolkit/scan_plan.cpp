#include "sane-toolkit/scan_plan.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr double kUnitsPerInch = 300;
constexpr double kMillimetresPerInch = 25.4;
constexpr double kUnitsPerMillimetre = kUnitsPerInch / kMillimetresPerInch;
constexpr DWORD kBits = 8;
// Lines that may come below the window.
constexpr DWORD kMostBelow = 2000;
// Of a pixel; fixed numbers have 16 bits behind the point.
constexpr double kPixelError = 0.01;

const SourceFacts& SourceFor(const ScannerSources& sources, WORD source, bool isDuplex) {
    switch (source) {
        case OSTREL_SOURCE_FLATBED:
            return sources.flatbed;
        case OSTREL_SOURCE_FEEDER:
            return isDuplex ? sources.duplex : sources.feeder;
        default:
            return sources.adapter;
    }
}

bool IsPossible(const ScannerFacts& facts, const SourceFacts& source,
                const OstrelScanParams& params) {
    const bool isColor = params.colorMode == OSTREL_COLOR;
    const bool isGray = params.colorMode == OSTREL_ONE_CHANNEL && facts.HasMode(false);
    return source.IsThere() && (isColor || isGray) && params.bitsPerSample == kBits &&
           params.left <= source.width && params.width <= source.width - params.left &&
           params.top <= source.height && params.height <= source.height - params.top &&
           params.xResolution >= source.minResolution &&
           params.xResolution <= source.maxResolution && params.yResolution == params.xResolution;
}

// Sizes are a guess ahead of the start, but the kind of frame is none: one that can't be used is
// refused before anything moves. A device without a choice of modes gives colour or gray as it
// likes, and colour is made of either.
DWORD CheckKind(CSaneDevice& device, const ScannerFacts& facts, bool wantsColor, bool& fromColor) {
    SANE_Parameters parameters = {};
    if (const SANE_Status status = sane_get_parameters(device.Handle(), &parameters);
        status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    const DWORD code = CheckFrameKind(parameters);
    if (code != OSTREL_NO_ERROR)
        return code;
    fromColor = parameters.format != SANE_FRAME_GRAY;
    const bool isAsAsked = facts.color.empty() ? wantsColor || !fromColor : wantsColor == fromColor;
    return isAsAsked ? OSTREL_NO_ERROR : OSTREL_NOT_IMPLEMENTED;
}

// The pixels of one side: those left out ahead of the wanted ones, and how many of these there are.
struct SideCut {
    DWORD there = 0;  // on the device's window
    DWORD skipped = 0;
    DWORD pixels = 0;
};
SideCut CutSide(DWORD start, DWORD length, double origin, double madeLow, double madeHigh,
                DWORD resolution) {
    const double perMillimetre = resolution / kMillimetresPerInch;
    const double ahead = start * resolution / kUnitsPerInch - (madeLow - origin) * perMillimetre;
    // Devices give the whole pixels of a window at least.
    const double there = std::floor((madeHigh - madeLow) * perMillimetre + kPixelError);
    SideCut cut;
    cut.there = static_cast<DWORD>(std::max(there, 0.0));
    cut.skipped = static_cast<DWORD>(std::max(0L, std::lround(ahead)));
    const double wanted = std::floor(length * resolution / kUnitsPerInch);
    cut.pixels = static_cast<DWORD>(std::clamp(there - cut.skipped, 0.0, wanted));
    return cut;
}

DWORD PlanWindow(CSaneDevice& device, const OstrelScanParams& params, ScanPlan& plan) {
    const auto x = device.Range(SANE_NAME_SCAN_TL_X);
    const auto y = device.Range(SANE_NAME_SCAN_TL_Y);
    if (!x || !y)
        return OSTREL_INVALID_PARAMETER;
    SaneWindow wanted;
    wanted.left = x->low + params.left / kUnitsPerMillimetre;
    wanted.top = y->low + params.top / kUnitsPerMillimetre;
    // One pixel more, which the window's beginning may have lost by rounding: what was asked for
    // comes whole, and isn't a pixel less each time that it is asked for again.
    const double pixel = kMillimetresPerInch / params.xResolution;
    wanted.right = wanted.left + params.width / kUnitsPerMillimetre + pixel;
    wanted.bottom = wanted.top + params.height / kUnitsPerMillimetre + pixel;
    SaneWindow made;
    if (const DWORD code = device.SetWindow(wanted, made); code != OSTREL_NO_ERROR)
        return code;
    const SideCut across =
        CutSide(params.left, params.width, x->low, made.left, made.right, params.xResolution);
    const SideCut along =
        CutSide(params.top, params.height, y->low, made.top, made.bottom, params.yResolution);
    plan.cut.left = across.skipped;
    plan.cut.top = along.skipped;
    plan.cut.width = across.pixels;
    plan.cut.height = along.pixels;
    plan.cut.isColor = params.colorMode == OSTREL_COLOR;
    plan.cut.madeWidth = across.there;
    plan.cut.madeHeight = along.there;
    plan.cut.isSheet = params.source == OSTREL_SOURCE_FEEDER;
    plan.cut.mostBelow =
        kMostBelow + along.there - std::min(along.there, along.skipped + along.pixels);
    plan.setup = {};
    plan.setup.pixelsPerLine = across.pixels;
    plan.setup.lines = along.pixels;
    return across.pixels > 0 && along.pixels > 0 ? OSTREL_NO_ERROR : OSTREL_INVALID_PARAMETER;
}

// Both ways, where the device has an option for each.
bool ChooseResolution(CSaneDevice& device, WORD resolution) {
    constexpr double kNear = 0.5;
    for (const char* name : {SANE_NAME_SCAN_RESOLUTION, SANE_NAME_SCAN_Y_RESOLUTION}) {
        if (device.Entries(name) == 0 && std::strcmp(name, SANE_NAME_SCAN_Y_RESOLUTION) == 0)
            continue;
        device.SetNumber(name, resolution);
        const auto made = device.Number(name);
        if (!made || std::abs(*made - resolution) > kNear)
            return false;
    }
    return true;
}

DWORD SetUp(CSaneDevice& device, const ScannerFacts& facts, const OstrelScanParams& params,
            const SourceFacts& source, ScanPlan& plan) {
    const bool isColor = params.colorMode == OSTREL_COLOR;
    if (!ChooseSource(device, source) || !ChooseMode(device, facts, isColor))
        return OSTREL_INVALID_PARAMETER;
    device.SetNumber(SANE_NAME_PREVIEW, SANE_FALSE);
    if (!ChooseResolution(device, params.xResolution))
        return OSTREL_INVALID_PARAMETER;
    if (facts.setsGamma && MakeLight(device, facts.straightCurves) != EGamma::Light)
        return OSTREL_NOT_IMPLEMENTED;
    if (const DWORD code = CheckKind(device, facts, isColor, plan.cut.fromColor);
        code != OSTREL_NO_ERROR)
        return code;
    if (const DWORD code = PlanWindow(device, params, plan); code != OSTREL_NO_ERROR)
        return code;
    // A sheet that is longer than the window comes to its end below it.
    if (plan.cut.isSheet)
        plan.cut.mostBelow +=
            source.height * params.yResolution / static_cast<DWORD>(kUnitsPerInch);
    return OSTREL_NO_ERROR;
}

}  // namespace

DWORD PlanScan(CSaneDevice& device, const ScannerFacts& facts, const OstrelScanParams& params,
               bool isDuplex, ScanPlan& plan) {
    const SourceFacts& source = SourceFor(facts.sources, params.source, isDuplex);
    if (!IsPossible(facts, source, params))
        return OSTREL_INVALID_PARAMETER;
    device.WhyRefused(OSTREL_NO_ERROR);
    const DWORD code = SetUp(device, facts, params, source, plan);
    return code == OSTREL_NO_ERROR ? code : device.WhyRefused(code);
}
