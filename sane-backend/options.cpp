#include "sane-backend/options.h"

#include <sane/saneopts.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "sane-backend/status_map.h"

namespace {

constexpr SANE_Int kDetectable = SANE_CAP_SOFT_DETECT;

bool IsEqual(const SANE_Range& a, const SANE_Range& b) {
    return a.min == b.min && a.max == b.max && a.quant == b.quant;
}

bool IsEqual(const OptionLimits& a, const OptionLimits& b) {
    return std::ranges::equal(a.range, b.range,
                              [](const auto& x, const auto& y) { return IsEqual(x, y); }) &&
           a.words == b.words && a.texts == b.texts;
}

// As programs pass it. A text need not end within its room.
OptionValue ValueFrom(const SANE_Option_Descriptor& descriptor, const void* value) {
    if (descriptor.type != SANE_TYPE_STRING)
        return {*static_cast<const SANE_Word*>(value)};
    const char* text = static_cast<const char*>(value);
    return {0, std::string(text, strnlen(text, static_cast<std::size_t>(descriptor.size)))};
}

void Put(const SANE_Option_Descriptor& descriptor, const OptionValue& from, void* value) {
    if (descriptor.type != SANE_TYPE_STRING) {
        *static_cast<SANE_Word*>(value) = from.word;
        return;
    }
    const std::size_t bytes =
        std::min(from.text.size(), static_cast<std::size_t>(descriptor.size) - 1);
    std::memcpy(value, from.text.data(), bytes);
    static_cast<char*>(value)[bytes] = '\0';
}

// The text of the list that is meant: in any case of letters, and as far as it tells one from the
// others.
const char* Meant(const std::vector<const char*>& texts, const std::string& text) {
    const char* found = nullptr;
    for (const char* known : texts) {
        if (strcasecmp(known, text.c_str()) == 0)
            return known;
        if (strncasecmp(known, text.c_str(), text.size()) != 0)
            continue;
        if (found)
            return nullptr;
        found = known;
    }
    return text.empty() ? nullptr : found;
}

// Numbers get the nearest that is taken. False for a text that isn't in the list, and for a truth
// that is neither.
bool Fit(const OptionLimits& limits, SANE_Value_Type type, OptionValue& value) {
    if (type == SANE_TYPE_BOOL)
        return value.word == SANE_FALSE || value.word == SANE_TRUE;
    if (type == SANE_TYPE_STRING) {
        const char* text = Meant(limits.texts, value.text);
        value.text = text ? text : "";
        return text != nullptr;
    }
    for (const SANE_Range& range : limits.range)
        value.word = std::clamp(value.word, range.min, std::max(range.min, range.max));
    if (!limits.words.empty())
        value.word = *std::ranges::min_element(limits.words, {}, [&](SANE_Word known) {
            return std::llabs(static_cast<long long>(known) - value.word);
        });
    return true;
}

SANE_Int SizeOf(SANE_Value_Type type, const std::vector<const char*>& texts) {
    if (type == SANE_TYPE_GROUP)
        return 0;
    if (type != SANE_TYPE_STRING)
        return sizeof(SANE_Word);
    std::size_t longest = 0;
    for (const char* text : texts)
        longest = std::max(longest, std::strlen(text));
    return static_cast<SANE_Int>(longest + 1);
}

// As SANE has lists: counted ahead of the words, or null behind the texts.
OptionLimits AsListed(OptionLimits limits) {
    if (!limits.words.empty())
        limits.words.insert(limits.words.begin(), static_cast<SANE_Word>(limits.words.size()));
    if (!limits.texts.empty())
        limits.texts.push_back(nullptr);
    return limits;
}

}  // namespace

COptions::COptions(CScannerSettings& settings, CSensors& sensors)
    : m_settings(settings), m_sensors(sensors) {
    m_shown.emplace_back().descriptor = {
        SANE_NAME_NUM_OPTIONS, SANE_TITLE_NUM_OPTIONS, SANE_DESC_NUM_OPTIONS,
        SANE_TYPE_INT,         SANE_UNIT_NONE,         sizeof(SANE_Word),
        kDetectable,           SANE_CONSTRAINT_NONE,   {}};
    for (const OptionRow& row : OptionRows()) {
        if (row.id == 0 || m_settings.Find(row.id))
            AddRow(row);
    }
    if (m_sensors.Count() > 0)
        AddSensors();
    Renew();
}

void COptions::AddRow(const OptionRow& row) {
    Shown& shown = m_shown.emplace_back();
    shown.row = &row;
    shown.descriptor = {
        row.name, row.title, row.desc, row.type, row.unit, 0, 0, SANE_CONSTRAINT_NONE, {}};
}

void COptions::AddSensors() {
    m_shown.emplace_back().descriptor = {SANE_NAME_SENSORS,
                                         SANE_TITLE_SENSORS,
                                         SANE_DESC_SENSORS,
                                         SANE_TYPE_GROUP,
                                         SANE_UNIT_NONE,
                                         0,
                                         0,
                                         SANE_CONSTRAINT_NONE,
                                         {}};
    for (std::size_t i = 0; i < m_sensors.Count(); ++i) {
        const CSensors::Button& button = m_sensors.At(i);
        Shown& shown = m_shown.emplace_back();
        shown.button = i;
        shown.descriptor = {button.name.c_str(),
                            button.title.c_str(),
                            "Whether the button was pressed since it was asked for last.",
                            SANE_TYPE_BOOL,
                            SANE_UNIT_NONE,
                            sizeof(SANE_Word),
                            SANE_CAP_SOFT_DETECT | SANE_CAP_HARD_SELECT,
                            SANE_CONSTRAINT_NONE,
                            {}};
    }
}

void COptions::Renew() {
    for (Shown& shown : m_shown)
        Renew(shown);
}

void COptions::Renew(Shown& shown) {
    if (!shown.row || shown.row->type == SANE_TYPE_GROUP)
        return;
    const OptionRow& row = *shown.row;
    SANE_Option_Descriptor& descriptor = shown.descriptor;
    const bool isActive = !row.isActive || row.isActive(m_settings);
    descriptor.cap = row.cap | (isActive ? 0 : SANE_CAP_INACTIVE);
    const OptionLimits limits = row.limits ? row.limits(row, m_settings) : OptionLimits{};
    descriptor.size = SizeOf(row.type, limits.texts);
    // Programs keep copies of descriptors: what these point to moves only when it changes.
    if (OptionLimits listed = AsListed(limits); !IsEqual(listed, shown.limits)) {
        if (listed.range.size() == shown.limits.range.size())
            std::ranges::copy(listed.range, shown.limits.range.begin());
        else
            shown.limits.range = listed.range;
        shown.limits.words.swap(listed.words);
        shown.limits.texts.swap(listed.texts);
    }
    if (!limits.range.empty()) {
        descriptor.constraint_type = SANE_CONSTRAINT_RANGE;
        descriptor.constraint.range = shown.limits.range.data();
    } else if (!limits.words.empty()) {
        descriptor.constraint_type = SANE_CONSTRAINT_WORD_LIST;
        descriptor.constraint.word_list = shown.limits.words.data();
    } else if (!limits.texts.empty()) {
        descriptor.constraint_type = SANE_CONSTRAINT_STRING_LIST;
        descriptor.constraint.string_list = shown.limits.texts.data();
    } else {
        descriptor.constraint_type = SANE_CONSTRAINT_NONE;
        descriptor.constraint = {};
    }
}

const SANE_Option_Descriptor* COptions::Describe(SANE_Int option) const {
    return option >= 0 && option < Count() ? &m_shown[static_cast<std::size_t>(option)].descriptor
                                           : nullptr;
}

// One that has a value now; null for any other.
const COptions::Shown* COptions::Active(SANE_Int option) const {
    const SANE_Option_Descriptor* descriptor = Describe(option);
    return descriptor && descriptor->type != SANE_TYPE_GROUP &&
                   SANE_OPTION_IS_ACTIVE(descriptor->cap)
               ? &m_shown[static_cast<std::size_t>(option)]
               : nullptr;
}

OptionValue COptions::ValueOf(const Shown& shown) const {
    return shown.row && shown.row->get ? shown.row->get(*shown.row, m_settings) : OptionValue{};
}

SANE_Status COptions::Get(SANE_Int option, void* value) {
    const Shown* shown = Active(option);
    if (!shown || !value)
        return SANE_STATUS_INVAL;
    OptionValue got = ValueOf(*shown);
    if (option == 0)
        got.word = Count();
    else if (!shown->row)
        got.word = m_sensors.Take(shown->button);
    Put(shown->descriptor, got, value);
    return SANE_STATUS_GOOD;
}

std::vector<std::pair<OptionValue, OptionLimits>> COptions::Look() const {
    std::vector<std::pair<OptionValue, OptionLimits>> look;
    for (const Shown& shown : m_shown) {
        const bool isActive = SANE_OPTION_IS_ACTIVE(shown.descriptor.cap);
        look.emplace_back(isActive ? ValueOf(shown) : OptionValue{-1, "inactive"}, shown.limits);
    }
    return look;
}

// What a write of the option would set, made fit; nothing for one that can't be written.
std::optional<OptionValue> COptions::Fitting(SANE_Int option, const void* value) const {
    const Shown* shown = Active(option);
    if (!shown || !value || !SANE_OPTION_IS_SETTABLE(shown->descriptor.cap))
        return {};
    const OptionRow& row = *shown->row;
    OptionValue fitting = ValueFrom(shown->descriptor, value);
    return Fit(row.limits ? row.limits(row, m_settings) : OptionLimits{}, row.type, fitting)
               ? std::optional(fitting)
               : std::nullopt;
}

SANE_Status COptions::Check(SANE_Int option, const void* value, bool& isNews) const {
    const std::optional<OptionValue> fitting = Fitting(option, value);
    isNews = fitting && !(*fitting == ValueOf(*Active(option)));
    return fitting ? SANE_STATUS_GOOD : SANE_STATUS_INVAL;
}

// Programs pass texts that can't be written to, and mean them as they are.
SANE_Status COptions::Keep(SANE_Int option, void* value, SANE_Int& info) const {
    const Shown& shown = m_shown[static_cast<std::size_t>(option)];
    const OptionValue made = ValueOf(shown);
    if (made == ValueFrom(shown.descriptor, value))
        return SANE_STATUS_GOOD;
    info |= SANE_INFO_INEXACT;
    Put(shown.descriptor, made, value);
    return SANE_STATUS_GOOD;
}

SANE_Status COptions::Set(SANE_Int option, void* value, SANE_Int& info) {
    info = 0;
    const std::optional<OptionValue> fitting = Fitting(option, value);
    if (!fitting)
        return SANE_STATUS_INVAL;
    const OptionRow& row = *Active(option)->row;
    const SANE_Parameters before = Parameters();
    auto look = Look();
    const SANE_Status status = Told(row.set(row, m_settings, *fitting));
    Renew();
    auto now = Look();
    const auto at = static_cast<std::size_t>(option);
    // Its own value is no news to the program.
    look[at].first = now[at].first;
    if (!std::ranges::equal(look, now, [](const auto& a, const auto& b) {
            return a.first == b.first && IsEqual(a.second, b.second);
        }))
        info |= SANE_INFO_RELOAD_OPTIONS;
    const SANE_Parameters after = Parameters();
    if (std::memcmp(&before, &after, sizeof(before)) != 0)
        info |= SANE_INFO_RELOAD_PARAMS;
    return status == SANE_STATUS_GOOD ? Keep(option, value, info) : status;
}

SANE_Parameters COptions::Parameters() const {
    constexpr SANE_Int kColorBits = 24;
    SANE_Parameters parameters = {};
    const ScanMode mode = m_settings.Mode();
    const bool isBlackAndWhite = mode == ScanMode::LineArt || mode == ScanMode::Dithered;
    const SANE_Int bits = mode == ScanMode::Color ? kColorBits : isBlackAndWhite ? 1 : 8;
    parameters.format = mode == ScanMode::Color ? SANE_FRAME_RGB : SANE_FRAME_GRAY;
    parameters.last_frame = SANE_TRUE;
    parameters.pixels_per_line = m_settings.Value(WIA_IPA_PIXELS_PER_LINE);
    parameters.lines = m_settings.Value(WIA_IPA_NUMBER_OF_LINES);
    parameters.depth = isBlackAndWhite ? 1 : 8;
    parameters.bytes_per_line =
        static_cast<SANE_Int>((static_cast<long long>(parameters.pixels_per_line) * bits + 7) / 8);
    return parameters;
}
