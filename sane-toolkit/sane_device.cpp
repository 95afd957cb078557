#include "sane-toolkit/sane_device.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace {

constexpr SANE_Int kMostOptions = 10000;
constexpr SANE_Int kMostText = 1 << 16;
// Fixed numbers have 16 bits behind the point.
constexpr double kFixedError = 1e-3;

constexpr SANE_Int kMostEntries = 1 << 16;

// Of both kinds of numbers that SANE has.
std::size_t EntriesOf(const SANE_Option_Descriptor& option) {
    constexpr auto kBytes = static_cast<SANE_Int>(sizeof(SANE_Word));
    const bool isNumber = option.type == SANE_TYPE_INT || option.type == SANE_TYPE_FIXED ||
                          option.type == SANE_TYPE_BOOL;
    if (!isNumber || option.size < kBytes || option.size / kBytes > kMostEntries)
        return 0;
    return static_cast<std::size_t>(option.size / kBytes);
}
bool IsNumber(const SANE_Option_Descriptor& option) {
    return EntriesOf(option) == 1;
}
double FromWord(const SANE_Option_Descriptor& option, SANE_Word word) {
    return option.type == SANE_TYPE_FIXED ? SANE_UNFIX(word) : word;
}
SANE_Word ToWord(const SANE_Option_Descriptor& option, double value) {
    const double scaled = option.type == SANE_TYPE_FIXED ? value * 65536.0 : value;
    return static_cast<SANE_Word>(std::lround(std::clamp(scaled, -2147483648.0, 2147483647.0)));
}

constexpr DWORD kCodes[] = {
    OSTREL_NO_ERROR,           // GOOD
    OSTREL_NOT_IMPLEMENTED,    // UNSUPPORTED
    OSTREL_CANCEL_BUTTON,      // CANCELLED
    OSTREL_LOCK_FAILED,        // DEVICE_BUSY
    OSTREL_INVALID_PARAMETER,  // INVAL
    OSTREL_END_OF_MEDIA,       // EOF
    OSTREL_ADF_JAMMED,         // JAMMED
    OSTREL_ADF_EMPTY,          // NO_DOCS
    OSTREL_ADF_HATCH_OPEN,     // COVER_OPEN
    OSTREL_COMMUNICATION,      // IO_ERROR
    OSTREL_OUT_OF_MEMORY,      // NO_MEM
    OSTREL_OPEN_FAILED,        // ACCESS_DENIED
};

std::weak_ptr<CSaneLibrary> g_library;  // under the lock

}  // namespace

DWORD CodeOfSane(SANE_Status status) {
    const auto row = static_cast<std::size_t>(status);
    return row < std::size(kCodes) ? kCodes[row] : OSTREL_UNKNOWN_ERROR;
}

bool IsForeignName(const std::string& name) {
    return (":" + name + ":").find(":nvq:") == std::string::npos;
}

std::mutex& CSaneLibrary::Lock() {
    static std::mutex lock;
    return lock;
}

std::shared_ptr<CSaneLibrary> CSaneLibrary::Get() {
    std::shared_ptr<CSaneLibrary> library = g_library.lock();
    if (!library && sane_init(nullptr, nullptr) == SANE_STATUS_GOOD) {
        library.reset(new CSaneLibrary);
        g_library = library;
    }
    return library;
}

CSaneLibrary::~CSaneLibrary() {
    sane_exit();
}

bool SaneRange::Has(double value) const {
    const auto isSame = [value](double other) { return std::abs(other - value) < kFixedError; };
    if (!list.empty())
        return std::ranges::any_of(list, isSame);
    if (value < low - kFixedError || value > high + kFixedError)
        return false;
    return step <= 0 || isSame(low + std::round((value - low) / step) * step);
}

Attempt CSaneDevice::Open(const std::string& name, std::unique_ptr<CSaneDevice>& device) {
    if (name.empty() || !IsForeignName(name))
        return {OSTREL_NOT_FOUND};
    auto library = CSaneLibrary::Get();
    if (!library)
        return {OSTREL_OPEN_FAILED};
    std::unique_ptr<CSaneDevice> made(new CSaneDevice(std::move(library)));
    if (const DWORD code = made->m_turn.Take(name); code != OSTREL_NO_ERROR)
        return {code};
    SANE_Handle handle = nullptr;
    const SANE_Status status = sane_open(name.c_str(), &handle);
    // A name that no back end knows is an invalid one.
    if (status == SANE_STATUS_INVAL)
        return {OSTREL_NOT_FOUND};
    if (status != SANE_STATUS_GOOD)
        return {CodeOfSane(status), status == SANE_STATUS_DEVICE_BUSY};
    if (!handle)
        return {OSTREL_OPEN_FAILED};
    made->m_handle = handle;
    device = std::move(made);
    return {OSTREL_NO_ERROR};
}

CSaneDevice::~CSaneDevice() {
    if (m_stop)
        Cancel();
    if (m_handle)
        sane_close(m_handle);
}

SANE_Status CSaneDevice::Start() {
    if (IsToStop())
        return SANE_STATUS_CANCELLED;
    if (!m_stop) {
        m_stop = std::make_shared<CScanStop>(m_handle);
        m_work.emplace([stop = m_stop] { stop->Halt(); });
    }
    return sane_start(m_handle);
}

void CSaneDevice::Cancel() {
    if (m_stop)
        m_stop->End();
    sane_cancel(m_handle);
    m_work.reset();
    m_stop.reset();
}

SANE_Int CSaneDevice::OptionCount() const {
    SANE_Int count = 0;
    const SANE_Status status =
        sane_control_option(m_handle, 0, SANE_ACTION_GET_VALUE, &count, nullptr);
    Note(status);
    return status == SANE_STATUS_GOOD ? std::min(count, kMostOptions) : 0;
}

void CSaneDevice::VisitOptions(
    const std::function<void(const SANE_Option_Descriptor&)>& visit) const {
    const SANE_Int count = OptionCount();
    for (SANE_Int number = 1; number < count; ++number) {
        const SANE_Option_Descriptor* option = sane_get_option_descriptor(m_handle, number);
        if (option && (option->type == SANE_TYPE_GROUP || (option->name && *option->name != '\0' &&
                                                           SANE_OPTION_IS_ACTIVE(option->cap))))
            visit(*option);
    }
}

const SANE_Option_Descriptor* CSaneDevice::Find(const char* name, SANE_Int& number) const {
    const SANE_Int count = OptionCount();
    for (number = 1; number < count; ++number) {
        const SANE_Option_Descriptor* option = sane_get_option_descriptor(m_handle, number);
        if (option && option->name && std::strcmp(option->name, name) == 0)
            return SANE_OPTION_IS_ACTIVE(option->cap) ? option : nullptr;
    }
    return nullptr;
}

bool CSaneDevice::Control(SANE_Int number, SANE_Action action, void* value) {
    SANE_Int info = 0;  // what else changed is looked up anew in any case
    const SANE_Status status = sane_control_option(m_handle, number, action, value, &info);
    Note(status);
    return status == SANE_STATUS_GOOD;
}

// A value that isn't taken says nothing of the device.
void CSaneDevice::Note(SANE_Status status) const {
    if (status != SANE_STATUS_GOOD && status != SANE_STATUS_INVAL &&
        status != SANE_STATUS_UNSUPPORTED)
        m_trouble = CodeOfSane(status);
}

DWORD CSaneDevice::WhyRefused(DWORD otherwise) {
    const DWORD trouble = std::exchange(m_trouble, OSTREL_NO_ERROR);
    return trouble != OSTREL_NO_ERROR ? trouble : otherwise;
}

bool CSaneDevice::HasText(SANE_Int number, const SANE_Option_Descriptor& option,
                          const std::string& value) {
    std::vector<char> text(static_cast<std::size_t>(option.size) + 1);
    return Control(number, SANE_ACTION_GET_VALUE, text.data()) && value == text.data();
}

bool CSaneDevice::SetText(const char* name, const std::string& value) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    if (!option || option->type != SANE_TYPE_STRING || option->size < 0 || option->size > kMostText)
        return false;
    if (!SANE_OPTION_IS_SETTABLE(option->cap))
        return HasText(number, *option, value);
    // The device may write its own word over it.
    std::vector<char> text(std::max(value.size() + 1, static_cast<std::size_t>(option->size)));
    std::ranges::copy(value, text.begin());
    return Control(number, SANE_ACTION_SET_VALUE, text.data());
}

bool CSaneDevice::Set(const char* name, const std::string& value) {
    if (Entries(name) == 1)
        return SetNumber(name, std::strtod(value.c_str(), nullptr));
    return SetText(name, value);
}

bool CSaneDevice::SetNumber(const char* name, double value) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    if (!option || !IsNumber(*option))
        return false;
    SANE_Word word = ToWord(*option, value);
    if (!SANE_OPTION_IS_SETTABLE(option->cap)) {
        SANE_Word present = 0;
        return Control(number, SANE_ACTION_GET_VALUE, &present) && present == word;
    }
    return Control(number, SANE_ACTION_SET_VALUE, &word);
}

bool CSaneDevice::SetNumbers(const char* name, const std::vector<double>& values) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    if (!option || values.empty() || EntriesOf(*option) != values.size() ||
        !SANE_OPTION_IS_SETTABLE(option->cap))
        return false;
    std::vector<SANE_Word> words(values.size());
    std::ranges::transform(values, words.begin(),
                           [option](double value) { return ToWord(*option, value); });
    return Control(number, SANE_ACTION_SET_VALUE, words.data());
}

std::size_t CSaneDevice::Entries(const char* name) const {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    return option ? EntriesOf(*option) : 0;
}

bool CSaneDevice::IsSettable(const char* name) const {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    return option && SANE_OPTION_IS_SETTABLE(option->cap);
}

std::optional<double> CSaneDevice::Number(const char* name) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    SANE_Word word = 0;
    if (!option || !IsNumber(*option) || !Control(number, SANE_ACTION_GET_VALUE, &word))
        return std::nullopt;
    return FromWord(*option, word);
}

std::vector<double> CSaneDevice::Numbers(const char* name) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    std::vector<SANE_Word> words(option ? EntriesOf(*option) : 0);
    if (words.empty() || !Control(number, SANE_ACTION_GET_VALUE, words.data()))
        return {};
    std::vector<double> numbers(words.size());
    std::ranges::transform(words, numbers.begin(),
                           [option](SANE_Word word) { return FromWord(*option, word); });
    return numbers;
}

std::vector<std::string> CSaneDevice::Texts(const char* name) const {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    std::vector<std::string> texts;
    if (!option || option->constraint_type != SANE_CONSTRAINT_STRING_LIST ||
        !option->constraint.string_list)
        return texts;
    const auto* list = option->constraint.string_list;
    for (SANE_Int i = 0; i < kMostOptions && list[i]; ++i)
        texts.emplace_back(list[i], strnlen(list[i], kMostText));
    return texts;
}

std::optional<SaneRange> CSaneDevice::Range(const char* name) {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    if (!option || EntriesOf(*option) == 0)
        return std::nullopt;
    SaneRange range;
    if (option->constraint_type == SANE_CONSTRAINT_RANGE && option->constraint.range) {
        const SANE_Range& told = *option->constraint.range;
        range.low = FromWord(*option, told.min);
        range.high = FromWord(*option, told.max);
        range.step = FromWord(*option, told.quant);
        return range.low <= range.high ? std::optional(range) : std::nullopt;
    }
    const SANE_Word* words = option->constraint_type == SANE_CONSTRAINT_WORD_LIST
                                 ? option->constraint.word_list
                                 : nullptr;
    for (SANE_Int i = 1; words && i <= std::min(words[0], kMostOptions); ++i)
        range.list.push_back(FromWord(*option, words[i]));
    if (range.list.empty()) {
        const std::optional<double> present = Number(name);
        if (!present)
            return std::nullopt;
        range.list.push_back(*present);  // one that takes anything is left as it is
    }
    const auto [low, high] = std::ranges::minmax(range.list);
    range.low = low;
    range.high = high;
    return range;
}

bool CSaneDevice::IsInMillimetres(const char* name) const {
    SANE_Int number = 0;
    const SANE_Option_Descriptor* option = Find(name, number);
    return option && option->unit == SANE_UNIT_MM && IsNumber(*option);
}

namespace {

// The value at or outside of `value`, seen from the window, that the option can have.
double Outward(const SaneRange& range, double value, bool isLowEnd) {
    const double end = isLowEnd ? range.low : range.high;
    if (!range.list.empty()) {
        double best = end;
        for (const double one : range.list) {
            if (isLowEnd ? one <= value && one > best : one >= value && one < best)
                best = one;
        }
        return best;
    }
    if (range.step > 0) {
        const double steps = (value - range.low) / range.step;
        value = range.low + range.step * (isLowEnd ? std::floor(steps + kFixedError)
                                                   : std::ceil(steps - kFixedError));
    }
    return std::clamp(value, range.low, range.high);
}

}  // namespace

// A device that rounds inward, to steps of which it doesn't tell, is asked for more.
bool CSaneDevice::SetOutward(const char* name, const SaneRange& range, double wanted,
                             bool isLowEnd) {
    constexpr int kMostTries = 10;
    double asked = wanted;
    for (int i = 0; i < kMostTries; ++i) {
        if (!SetNumber(name, Outward(range, asked, isLowEnd)))
            return false;
        const std::optional<double> made = Number(name);
        if (!made)
            return false;
        const double missing = isLowEnd ? *made - wanted : wanted - *made;
        const bool isAtEnd = isLowEnd ? asked <= range.low : asked >= range.high;
        if (missing <= kFixedError || isAtEnd)
            break;
        asked = wanted + (isLowEnd ? -1 : 1) * missing * std::exp2(i);
    }
    return true;
}

DWORD CSaneDevice::SetWindow(const SaneWindow& wanted, SaneWindow& made) {
    struct Edge {
        const char* name;
        double SaneWindow::*place;
        bool isLowEnd;
    };
    // The far edges first go to the end: a device may refuse a window that is inside out.
    constexpr Edge kEdges[] = {{SANE_NAME_SCAN_TL_X, &SaneWindow::left, true},
                               {SANE_NAME_SCAN_TL_Y, &SaneWindow::top, true},
                               {SANE_NAME_SCAN_BR_X, &SaneWindow::right, false},
                               {SANE_NAME_SCAN_BR_Y, &SaneWindow::bottom, false}};
    std::optional<SaneRange> ranges[std::size(kEdges)];
    for (std::size_t i = 0; i < std::size(kEdges); ++i) {
        ranges[i] = Range(kEdges[i].name);
        if (!ranges[i])
            return OSTREL_NOT_IMPLEMENTED;
        if (!kEdges[i].isLowEnd)
            SetNumber(kEdges[i].name, ranges[i]->high);
    }
    for (std::size_t i = 0; i < std::size(kEdges); ++i) {
        const Edge& edge = kEdges[i];
        if (!SetOutward(edge.name, *ranges[i], wanted.*edge.place, edge.isLowEnd))
            return OSTREL_INVALID_PARAMETER;
    }
    // All at the end: a later one may have moved an earlier one.
    for (const Edge& edge : kEdges) {
        const std::optional<double> value = Number(edge.name);
        if (!value)
            return OSTREL_INVALID_PARAMETER;
        made.*edge.place = *value;
    }
    return OSTREL_NO_ERROR;
}
