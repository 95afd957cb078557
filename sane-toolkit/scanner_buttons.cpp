#include "sane-toolkit/scanner_buttons.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>

#include "sane-toolkit/plain_text.h"

namespace {

// Names that devices give to the keys of their panels.
constexpr std::string_view kButtonNames[] = {
    SANE_NAME_SCAN,   SANE_NAME_EMAIL, SANE_NAME_FAX, SANE_NAME_COPY, SANE_NAME_PDF, "file",
    SANE_NAME_CANCEL, "ocr",           "start",       "stop",         "web",         "extra",
};

// Words in the names of sensors that tell how things stand, not what somebody wants.
constexpr std::string_view kStateWords[] = {
    "loaded",    "open", "opened", "closed", "paper",  "edge",  "calibration",
    "calibrate", "lamp", "warmup", "warm",   "status", "empty", "present",
    "locked",    "save", "adf",    "df",     "hopper", "jam",   "jammed",
    "feed",      "card", "film",   "duplex", "led",    "ready", "sleep",
};

// Sensors of a feeder's tray ahead of those that also see a sheet on its way.
constexpr const char* kPaperSensors[] = {"adf-loaded", "hopper-loaded", "doc-in-adf",
                                         SANE_NAME_PAGE_LOADED};

std::string InSmallLetters(const char* text) {
    std::string small = text ? text : "";
    std::ranges::transform(small, small.begin(), [](unsigned char c) {
        return c < 0x80 ? static_cast<char>(std::tolower(c)) : static_cast<char>(c);
    });
    return small;
}

// What stands between other signs; a plural is its singular.
bool HasWord(std::string_view text, std::string_view word) {
    const auto isSign = [text](std::size_t i) {
        return i >= text.size() || std::isalnum(static_cast<unsigned char>(text[i])) == 0;
    };
    for (std::size_t at = text.find(word); at != std::string_view::npos;
         at = text.find(word, at + 1)) {
        std::size_t end = at + word.size();
        end += end < text.size() && text[end] == 's' ? 1 : 0;
        if ((at == 0 || isSign(at - 1)) && isSign(end))
            return true;
    }
    return false;
}

bool IsSensor(const SANE_Option_Descriptor& option) {
    return (option.cap & (SANE_CAP_SOFT_DETECT | SANE_CAP_SOFT_SELECT)) == SANE_CAP_SOFT_DETECT &&
           (option.type == SANE_TYPE_BOOL || option.type == SANE_TYPE_INT) &&
           option.size == static_cast<SANE_Int>(sizeof(SANE_Word));
}

// A number that has two values.
bool IsYesOrNo(const SANE_Option_Descriptor& option) {
    if (option.type == SANE_TYPE_BOOL)
        return true;
    if (option.constraint_type == SANE_CONSTRAINT_RANGE && option.constraint.range)
        return option.constraint.range->min == 0 && option.constraint.range->max == 1;
    if (option.constraint_type != SANE_CONSTRAINT_WORD_LIST || !option.constraint.word_list)
        return false;
    const SANE_Word* words = option.constraint.word_list;
    return words[0] == 2 && std::min(words[1], words[2]) == 0 && std::max(words[1], words[2]) == 1;
}

// What is called a button is one, also when it tells a number of its own. Others must have two
// values and not be known for a state, and be set by hand (so the interface calls switches and
// buttons of the device), stand among the sensors, or have the name of a key: a reading that never
// changes would be a press for ever.
bool IsButton(const SANE_Option_Descriptor& option, const std::string& group) {
    const std::string name = InSmallLetters(option.name);
    if (HasWord(name, "button") || HasWord(InSmallLetters(option.title), "button"))
        return true;
    const auto isIn = [&name](std::string_view word) { return HasWord(name, word); };
    if (!IsYesOrNo(option) || std::ranges::any_of(kStateWords, isIn))
        return false;
    return (option.cap & SANE_CAP_HARD_SELECT) != 0 || HasWord(group, "sensor") ||
           HasWord(group, "button") ||
           std::ranges::find(kButtonNames, name) != std::end(kButtonNames);
}

std::string TitleOf(const SANE_Option_Descriptor& option) {
    const std::string title = PlainText(option.title);
    return title.empty() ? option.name : title;
}

}  // namespace

std::vector<ScannerButton> LearnButtons(CSaneDevice& device) {
    std::vector<ScannerButton> buttons;
    std::string group;
    device.VisitOptions([&](const SANE_Option_Descriptor& option) {
        if (option.type == SANE_TYPE_GROUP) {
            group = InSmallLetters(option.title);
            return;
        }
        // An option is found by its name, so of several the first one counts.
        const auto isSame = [&](const ScannerButton& known) { return known.name == option.name; };
        if (buttons.size() < kMostScannerButtons && IsSensor(option) && IsButton(option, group) &&
            std::ranges::none_of(buttons, isSame))
            buttons.push_back({option.name, TitleOf(option)});
    });
    return buttons;
}

std::optional<bool> ReadPaperSensor(CSaneDevice& device) {
    std::vector<std::string> sensors;
    device.VisitOptions([&sensors](const SANE_Option_Descriptor& option) {
        if (option.type != SANE_TYPE_GROUP && IsSensor(option))
            sensors.emplace_back(option.name);
    });
    for (const char* name : kPaperSensors) {
        if (std::ranges::find(sensors, name) == sensors.end())
            continue;
        if (const std::optional<double> state = device.Number(name))
            return *state != 0;
    }
    return std::nullopt;
}

std::vector<BYTE> CButtonReader::Read(CSaneDevice& device) {
    std::vector<BYTE> pressed;
    for (std::size_t i = 0; i < m_buttons.size(); ++i) {
        const bool isDown = device.Number(m_buttons[i].name.c_str()).value_or(0) != 0;
        pressed.push_back(isDown && !m_isDown[i] ? 1 : 0);
        m_isDown[i] = isDown;
    }
    return pressed;
}
