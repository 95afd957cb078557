#include "sane-toolkit/scanner_facts.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "controller/toolkit_records.h"
#include "platform/told_lines.h"
#include "sane-toolkit/word_choice.h"

namespace {

// The nearest to what the driver takes comes first.
constexpr double kDepths[] = {8, 16, 1};

constexpr const char* kColorParts[] = {"color", "colour", "rgb"};
constexpr const char* kGrayParts[] = {"gray", "grey"};
constexpr const char* kFewTones[] = {"lineart",    "line art", "halftone", "binary",
                                     "dither",     "black",    "b/w",      "bw",
                                     "monochrome", "mono",     "error",    "diffusion"};
// Some have the depth in the word, and some a fourth colour that nobody sees.
constexpr const char* kNotPlain[] = {"lineart", "line art", "halftone",  "binary",
                                     "dither",  "error",    "diffusion", "16",
                                     "48",      "rgbi",     "infrared"};

// A device that has nothing else gives black and white as gray.
bool LearnModes(CSaneDevice& device, ScannerFacts& facts) {
    const auto modes = device.Texts(SANE_NAME_SCAN_MODE);
    const auto choose = [&modes](WordParts parts) {
        const std::string plain = ChooseWord(modes, parts, kNotPlain);
        return plain.empty() ? ChooseWord(modes, parts, kFewTones) : plain;
    };
    facts.color = choose(kColorParts);
    facts.gray = choose(kGrayParts);
    if (facts.color.empty() && facts.gray.empty())
        facts.gray = ChooseWord(modes, kFewTones);
    return modes.empty() || !facts.color.empty() || !facts.gray.empty();
}

// Light is what all modes can give, or none: what tells of it is one profile for the device.
EGamma LearnGamma(CSaneDevice& device, ScannerFacts& facts) {
    std::vector<bool> modes;
    for (const bool takesColor : {true, false}) {
        if (facts.HasMode(takesColor) && ChooseMode(device, facts, takesColor))
            modes.push_back(takesColor);
    }
    for (const bool takesColor : modes) {
        ChooseMode(device, facts, takesColor);
        std::ranges::copy(StraightCurves(device), std::back_inserter(facts.straightCurves));
    }
    std::optional<EGamma> whole;
    for (const bool takesColor : modes) {
        ChooseMode(device, facts, takesColor);
        const EGamma one = MakeLight(device, facts.straightCurves);
        whole = !whole || *whole == one ? one : EGamma::Torn;
    }
    return whole.value_or(EGamma::None);
}

DWORD Refuse(CSaneDevice& device, const char* why) {
    const DWORD code = device.WhyRefused(OSTREL_NOT_IMPLEMENTED);
    if (code == OSTREL_NOT_IMPLEMENTED)
        TellCause(std::string("this driver can't use the scanner: ") + why);
    return code;
}

}  // namespace

bool ChooseMode(CSaneDevice& device, const ScannerFacts& facts, bool takesColor) {
    const std::string& word = takesColor && !facts.color.empty() ? facts.color : facts.gray;
    if (!word.empty() && !device.SetText(SANE_NAME_SCAN_MODE, word))
        return false;
    if (const auto depths = device.Range(SANE_NAME_BIT_DEPTH)) {
        for (const double depth : kDepths) {
            if (depths->Has(depth))
                return !device.IsSettable(SANE_NAME_BIT_DEPTH) ||
                       device.SetNumber(SANE_NAME_BIT_DEPTH, depth);
        }
    }
    return true;
}

DWORD LearnFacts(CSaneDevice& device, ESamples samples, ScannerFacts& facts) {
    facts = {};
    device.WhyRefused(OSTREL_NO_ERROR);
    facts.sources = LearnSources(device);
    if (!facts.sources.Main().IsThere())
        return Refuse(device,
                      "it has neither a flatbed nor a feeder with a window in millimeters and a "
                      "resolution of 150, 300, 600, 1200, 2400 or 4800 dpi");
    if (!LearnModes(device, facts))
        return Refuse(device, "none of its modes is colour, gray or lineart");
    if (samples == ESamples::Auto) {
        const EGamma gamma = LearnGamma(device, facts);
        facts.setsGamma = gamma == EGamma::Light;
        facts.isTorn = gamma == EGamma::Torn;
    }
    facts.isLight = facts.setsGamma || samples == ESamples::Light;
    return OSTREL_NO_ERROR;
}
