#include "sane-toolkit/scanner_facts.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <span>

namespace {

constexpr double kUnitsPerInch = 300;
constexpr double kMillimetresPerInch = 25.4;
constexpr double kUnitsPerMillimetre = kUnitsPerInch / kMillimetresPerInch;
constexpr double kMostBed = 65535;  // 1/300 inch
constexpr double kBits = 8;
// What the driver asks for.
constexpr WORD kLadder[] = {150, 300, 600, 1200, 2400, 4800};

std::string Lower(std::string text) {
    for (char& letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

// The well-known word, else the first that has a part by which back ends call it, and none by
// which they call something else.
std::string ChooseWord(const std::vector<std::string>& words, const char* known,
                       std::span<const char* const> parts, std::span<const char* const> not_parts) {
    if (std::ranges::find(words, known) != words.end())
        return known;
    for (const std::string& word : words) {
        const auto isIn = [lower = Lower(word)](const char* part) {
            return lower.find(part) != std::string::npos;
        };
        if (std::ranges::any_of(parts, isIn) && std::ranges::none_of(not_parts, isIn))
            return word;
    }
    return {};
}

DWORD LearnWords(CSaneDevice& device, ScannerFacts& facts) {
    constexpr const char* kFlatbed[] = {"flatbed", "platen", "normal"};
    constexpr const char* kOther[] = {"transparency", "negative", "slide", "adf", "feeder"};
    constexpr const char* kColor[] = {"color", "colour", "rgb"};
    constexpr const char* kGray[] = {"gray", "grey"};
    constexpr const char* kFewTones[] = {"lineart", "halftone", "binary", "dither"};
    const auto sources = device.Texts(SANE_NAME_SCAN_SOURCE);
    facts.source = ChooseWord(sources, "Flatbed", kFlatbed, kOther);
    if (!sources.empty() &&
        (facts.source.empty() || !device.SetText(SANE_NAME_SCAN_SOURCE, facts.source)))
        return OSTREL_NOT_IMPLEMENTED;
    const auto modes = device.Texts(SANE_NAME_SCAN_MODE);
    facts.color = ChooseWord(modes, SANE_VALUE_SCAN_MODE_COLOR, kColor, kFewTones);
    facts.gray = ChooseWord(modes, SANE_VALUE_SCAN_MODE_GRAY, kGray, kFewTones);
    return facts.color.empty() && facts.gray.empty() ? OSTREL_NOT_IMPLEMENTED : OSTREL_NO_ERROR;
}

// The driver takes every step from the least to the largest for granted.
DWORD LearnResolutions(CSaneDevice& device, ScannerFacts& facts) {
    const auto range = device.Range(SANE_NAME_SCAN_RESOLUTION);
    if (!range)
        return OSTREL_NOT_IMPLEMENTED;
    for (const WORD step : kLadder) {
        if (range->Has(step)) {
            facts.minResolution = facts.minResolution == 0 ? step : facts.minResolution;
            facts.maxResolution = step;
        } else if (facts.maxResolution != 0) {
            break;
        }
    }
    return facts.maxResolution != 0 ? OSTREL_NO_ERROR : OSTREL_NOT_IMPLEMENTED;
}

// From the far edge to the near one; a device whose bed doesn't begin at 0 is shifted.
DWORD LearnSide(CSaneDevice& device, const char* near, const char* far, DWORD& side) {
    const auto from = device.Range(near);
    const auto to = device.Range(far);
    if (!from || !to || !device.IsInMillimetres(near) || !device.IsInMillimetres(far))
        return OSTREL_NOT_IMPLEMENTED;
    const double units = (to->high - from->low) * kUnitsPerMillimetre;
    if (!(units >= 1))
        return OSTREL_NOT_IMPLEMENTED;
    side = static_cast<DWORD>(std::min(units, kMostBed));
    return OSTREL_NO_ERROR;
}

bool IsPossible(const ScannerFacts& facts, const OstrelScanParams& params) {
    const bool isColor = params.colorMode == OSTREL_COLOR;
    const bool isGray = params.colorMode == OSTREL_ONE_CHANNEL && !facts.gray.empty();
    return (isColor || isGray) && params.bitsPerSample == kBits &&
           params.source == OSTREL_SOURCE_FLATBED && params.left <= facts.bedWidth &&
           params.width <= facts.bedWidth - params.left && params.top <= facts.bedHeight &&
           params.height <= facts.bedHeight - params.top &&
           params.xResolution >= facts.minResolution && params.xResolution <= facts.maxResolution &&
           params.yResolution == params.xResolution;
}

// The pixels of one side: those left out ahead of the wanted ones, and how many there are.
struct SideCut {
    DWORD skipped = 0;
    DWORD pixels = 0;
};
SideCut CutSide(DWORD start, DWORD length, double origin, double madeLow, double madeHigh,
                DWORD resolution) {
    const double perMillimetre = resolution / kMillimetresPerInch;
    const double ahead = start * resolution / kUnitsPerInch - (madeLow - origin) * perMillimetre;
    const double there = (madeHigh - madeLow) * perMillimetre;
    SideCut cut;
    cut.skipped = static_cast<DWORD>(std::max(0L, std::lround(ahead)));
    const double wanted = std::floor(length * resolution / kUnitsPerInch);
    cut.pixels = static_cast<DWORD>(std::clamp(std::round(there) - cut.skipped, 0.0, wanted));
    return cut;
}

}  // namespace

DWORD LearnFacts(CSaneDevice& device, ScannerFacts& facts) {
    facts = {};
    DWORD code = LearnWords(device, facts);
    if (code == OSTREL_NO_ERROR)
        code = LearnResolutions(device, facts);
    if (code == OSTREL_NO_ERROR)
        code = LearnSide(device, SANE_NAME_SCAN_TL_X, SANE_NAME_SCAN_BR_X, facts.bedWidth);
    if (code == OSTREL_NO_ERROR)
        code = LearnSide(device, SANE_NAME_SCAN_TL_Y, SANE_NAME_SCAN_BR_Y, facts.bedHeight);
    return code;
}

DWORD PlanScan(CSaneDevice& device, const ScannerFacts& facts, const OstrelScanParams& params,
               ScanPlan& plan) {
    if (!IsPossible(facts, params))
        return OSTREL_INVALID_PARAMETER;
    const bool takesColor = params.colorMode == OSTREL_COLOR && !facts.color.empty();
    if (!facts.source.empty() && !device.SetText(SANE_NAME_SCAN_SOURCE, facts.source))
        return OSTREL_INVALID_PARAMETER;
    if (!device.SetText(SANE_NAME_SCAN_MODE, takesColor ? facts.color : facts.gray))
        return OSTREL_INVALID_PARAMETER;
    device.SetNumber(SANE_NAME_PREVIEW, SANE_FALSE);
    // A device without a choice may have 8 bits all the same.
    device.SetNumber(SANE_NAME_BIT_DEPTH, kBits);
    device.SetNumber(SANE_NAME_SCAN_RESOLUTION, params.xResolution);
    if (const auto made = device.Number(SANE_NAME_SCAN_RESOLUTION);
        !made || std::abs(*made - params.xResolution) > 0.5)
        return OSTREL_INVALID_PARAMETER;
    // Sizes are a guess ahead of the start, but the kind of frame is none: one that can't be used
    // is refused before anything moves.
    SANE_Parameters parameters = {};
    if (const SANE_Status status = sane_get_parameters(device.Handle(), &parameters);
        status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    parameters.pixels_per_line = parameters.bytes_per_line = 1;
    if (const DWORD code = CheckFrame(parameters, params.colorMode == OSTREL_COLOR);
        code != OSTREL_NO_ERROR)
        return code;
    const auto x = device.Range(SANE_NAME_SCAN_TL_X);
    const auto y = device.Range(SANE_NAME_SCAN_TL_Y);
    if (!x || !y)
        return OSTREL_INVALID_PARAMETER;
    SaneWindow wanted;
    wanted.left = x->low + params.left / kUnitsPerMillimetre;
    wanted.top = y->low + params.top / kUnitsPerMillimetre;
    wanted.right = wanted.left + params.width / kUnitsPerMillimetre;
    wanted.bottom = wanted.top + params.height / kUnitsPerMillimetre;
    SaneWindow made;
    if (const DWORD code = device.SetWindow(wanted, made); code != OSTREL_NO_ERROR)
        return code;
    const SideCut across =
        CutSide(params.left, params.width, x->low, made.left, made.right, params.xResolution);
    const SideCut along =
        CutSide(params.top, params.height, y->low, made.top, made.bottom, params.yResolution);
    plan.cut = {across.skipped, along.skipped, across.pixels, params.colorMode == OSTREL_COLOR};
    plan.setup = {};
    plan.setup.pixelsPerLine = across.pixels;
    plan.setup.lines = along.pixels;
    return across.pixels > 0 && along.pixels > 0 ? OSTREL_NO_ERROR : OSTREL_INVALID_PARAMETER;
}
