#include "sane-toolkit/device_gamma.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr const char* kTables[] = {SANE_NAME_GAMMA_VECTOR, SANE_NAME_GAMMA_VECTOR_R,
                                   SANE_NAME_GAMMA_VECTOR_G, SANE_NAME_GAMMA_VECTOR_B};
// By which back ends call it; the interface has no word for a number.
constexpr const char* kNumbers[] = {"gamma", "analog-gamma", "gamma-r", "gamma-g", "gamma-b"};
constexpr char kWords[] = "gamma-correction";
constexpr double kLinear = 1;
constexpr double kTolerance = 0.01;

// What became of the options so far.
struct Outcome {
    bool isSet = false;
    bool isFailed = false;

    void Add(bool succeeded) {
        isSet = isSet || succeeded;
        isFailed = isFailed || !succeeded;
    }
};

bool SetLine(CSaneDevice& device, const char* name, const SaneRange& range, std::size_t entries) {
    std::vector<double> line(entries);
    for (std::size_t i = 0; i < entries; ++i)
        line[i] = std::round(range.low + (range.high - range.low) * static_cast<double>(i) /
                                             static_cast<double>(entries - 1));
    return device.SetNumbers(name, line);
}

void SetTables(CSaneDevice& device, Outcome& outcome) {
    for (const char* name : kTables) {
        const auto range = device.Range(name);
        const std::size_t entries = device.Entries(name);
        if (range && range->list.empty() && entries > 1 && device.IsSettable(name))
            outcome.Add(SetLine(device, name, *range, entries));
    }
}

void SetCurveNumbers(CSaneDevice& device, Outcome& outcome) {
    for (const char* name : kNumbers) {
        const auto range = device.Range(name);
        if (!range || device.Entries(name) != 1 || !device.IsSettable(name))
            continue;
        device.SetNumber(name, kLinear);
        const auto made = device.Number(name);
        outcome.Add(made && std::abs(*made - kLinear) < kTolerance);
    }
}

void SetWords(CSaneDevice& device, Outcome& outcome) {
    const auto words = device.Texts(kWords);
    const auto linear = std::ranges::find_if(
        words, [](const std::string& word) { return word.find("1.0") != std::string::npos; });
    if (linear != words.end())
        outcome.Add(device.SetText(kWords, *linear));
}

}  // namespace

EGamma MakeLight(CSaneDevice& device) {
    // Tables are there only while the device's own curve is off.
    const bool isCustom = device.SetNumber(SANE_NAME_CUSTOM_GAMMA, SANE_TRUE);
    Outcome outcome;
    SetTables(device, outcome);
    SetCurveNumbers(device, outcome);
    if (!outcome.isSet && !outcome.isFailed)
        SetWords(device, outcome);
    if (outcome.isFailed || (isCustom && !outcome.isSet))
        return EGamma::Torn;
    return outcome.isSet ? EGamma::Light : EGamma::None;
}
