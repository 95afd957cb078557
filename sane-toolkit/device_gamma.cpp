#include "sane-toolkit/device_gamma.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr const char* kTables[] = {SANE_NAME_GAMMA_VECTOR, SANE_NAME_GAMMA_VECTOR_R,
                                   SANE_NAME_GAMMA_VECTOR_G, SANE_NAME_GAMMA_VECTOR_B};
// By which back ends call it; the interface has no word for a number.
constexpr const char* kNumbers[] = {"gamma",          "analog-gamma",  "gamma-r",
                                    "gamma-g",        "gamma-b",       "analog-gamma-r",
                                    "analog-gamma-g", "analog-gamma-b"};
constexpr char kWords[] = "gamma-correction";
constexpr double kLinear = 1;
constexpr double kTolerance = 0.01;

// What became of the options so far.
class Outcome {
  public:
    explicit Outcome(const OptionNames& untelling) : m_untelling(untelling) {}

    void Add(const char* name, bool succeeded) {
        m_isSet = m_isSet || (succeeded && std::ranges::count(m_untelling, name) == 0);
        m_isFailed = m_isFailed || !succeeded;
    }
    bool IsSet() const { return m_isSet; }
    bool IsFailed() const { return m_isFailed; }

  private:
    const OptionNames& m_untelling;
    bool m_isSet = false;
    bool m_isFailed = false;
};

// Empty for what is no table.
std::vector<double> LineOf(CSaneDevice& device, const char* name) {
    const auto range = device.Range(name);
    const std::size_t entries = device.Entries(name);
    if (!range || !range->list.empty() || entries <= 1 || !device.IsSettable(name))
        return {};
    std::vector<double> line(entries);
    for (std::size_t i = 0; i < entries; ++i)
        line[i] = std::round(range->low + (range->high - range->low) * static_cast<double>(i) /
                                              static_cast<double>(entries - 1));
    return line;
}
bool IsNumber(CSaneDevice& device, const char* name) {
    return device.Range(name) && device.Entries(name) == 1 && device.IsSettable(name);
}
bool IsLinear(CSaneDevice& device, const char* name) {
    const auto number = device.Number(name);
    return number && std::abs(*number - kLinear) < kTolerance;
}
// Also a line that ends a step below the range's end, such as 256 entries of 16 bits by shifting.
bool IsSameLine(const std::vector<double>& line, const std::vector<double>& other) {
    if (line.size() != other.size())
        return false;
    const double step = (line.back() - line.front()) / static_cast<double>(line.size() - 1);
    return std::ranges::equal(
        line, other, [step](double a, double b) { return std::abs(a - b) <= std::max(1.0, step); });
}

void SetTables(CSaneDevice& device, Outcome& outcome) {
    for (const char* name : kTables) {
        if (const auto line = LineOf(device, name); !line.empty())
            outcome.Add(name, device.SetNumbers(name, line));
    }
}

void SetCurveNumbers(CSaneDevice& device, Outcome& outcome) {
    for (const char* name : kNumbers) {
        if (!IsNumber(device, name))
            continue;
        device.SetNumber(name, kLinear);
        outcome.Add(name, IsLinear(device, name));
    }
}

void SetWords(CSaneDevice& device, Outcome& outcome) {
    const auto words = device.Texts(kWords);
    const auto linear = std::ranges::find_if(
        words, [](const std::string& word) { return word.find("1.0") != std::string::npos; });
    if (linear != words.end())
        outcome.Add(kWords, device.SetText(kWords, *linear));
}

}  // namespace

OptionNames StraightCurves(CSaneDevice& device) {
    OptionNames names;
    for (const char* name : kNumbers) {
        if (IsNumber(device, name) && IsLinear(device, name))
            names.emplace_back(name);
    }
    // Where a switch takes the device's own curve away, a straight line is one.
    if (device.IsSettable(SANE_NAME_CUSTOM_GAMMA))
        return names;
    for (const char* name : kTables) {
        if (const auto line = LineOf(device, name);
            !line.empty() && IsSameLine(line, device.Numbers(name)))
            names.emplace_back(name);
    }
    return names;
}

EGamma MakeLight(CSaneDevice& device, const OptionNames& untelling) {
    // Tables are there only while the device's own curve is off.
    const bool isCustom = device.SetNumber(SANE_NAME_CUSTOM_GAMMA, SANE_TRUE);
    Outcome outcome(untelling);
    SetTables(device, outcome);
    SetCurveNumbers(device, outcome);
    if (!outcome.IsSet() && !outcome.IsFailed())
        SetWords(device, outcome);
    if (outcome.IsFailed() || (isCustom && !outcome.IsSet()))
        return EGamma::Torn;
    return outcome.IsSet() ? EGamma::Light : EGamma::None;
}
