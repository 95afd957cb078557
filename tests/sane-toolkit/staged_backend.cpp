// A back end of SANE that acts by a script, for what SANE's own device for tests doesn't do. The
// environment's NVQ_STAGED_SCRIPT names the script, which is read when a device is opened or
// listed; what has happened so far (calls, sheets, the unplugging) is forgotten when it has another
// text.
//
// A line is one of these; a word with spaces stands "in quotes":
//   device NAME VENDOR MODEL TYPE     null: a null pointer
//   option NAME TYPE SETTING=...      type: bool int fixed string button group
//   when OPTION=VALUE OTHER SETTING=...   the other option's settings while this one has that
//   value;
//                                     "always" for the first word: at all times
//   fail CALL STATUS [FROM [TO]]      these calls of its kind, counted from 1, have that status.
//   Kinds:
//                                     devices open parameters start read line get:OPTION set:OPTION
//   KEY VALUE                         see kKeys
// Starts, cancels and closings are added to the file of the script's name and ".trace".
// An option's settings:
//   value=V unit=mm|pixel|dpi caps=select,detect,inactive,... range=LOW,HIGH,STEP list=A,B,...
//   entries=N     a table, which begins as a ramp up to the range's end
//   round=STEP    what is written is rounded to it
//   sensor=KIND   held: 1 while there is a file of the script's name and ".OPTION"; latched:
//   reading
//                 it takes that file away; paper: sheets are left
//   range=null and list=null are constraints without their pointer, name=null, type= and size=
//   lies; with gone=1 it isn't there, nor are those behind it
#include <sane/sane.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/sane-toolkit/staged_picture.h"

namespace {

using Words = std::vector<std::string>;
using Settings = std::map<std::string, std::string>;

const Words kKeys = {"device", "option", "when", "fail",
                     "shared",        // 1: a device can be opened more than once
                     "count",         // of options, as it is told
                     "sheets",        // in the feeder
                     "sheet-height",  // mm
                     "order",         // of a colour picture in three frames: RGB in any order
                     "gamma",         // of the samples, where there is no option for it
                     "pad",           // bytes behind the pixels of a line
                     "extra-lines",   // behind those of the window; below 0: missing ones
                     "extra-bytes",   // the same behind the last line
                     "unplug",        // at this line, counted from 1: nothing works from then on
                     "slow",          // milliseconds that a line and a start take
                     "read-most",     // bytes of a read
                     "read-empty",    // so many reads ahead of each line give nothing
                     "read-length",  // that a read tells: VALUE, or +VALUE more than were asked for
                     // What is told ahead of the start, and behind it.
                     "before-format", "before-pixels", "before-bytes", "before-lines",
                     "before-depth", "after-format", "after-pixels", "after-bytes", "after-lines",
                     "after-depth"};
const Words kSettings = {"type",    "value", "unit",   "caps", "range", "list",
                         "entries", "round", "sensor", "name", "size",  "gone"};
// By SANE's numbers.
const Words kTypes = {"bool", "int", "fixed", "string", "button", "group"};
const Words kUnits = {"none", "pixel", "bit", "mm", "dpi"};
const Words kCaps = {"select", "hard", "detect", "emulated", "automatic", "inactive", "advanced"};

// A word that isn't there would make a test that tests nothing.
int Index(const Words& words, const std::string& word) {
    const auto found = std::ranges::find(words, word);
    if (found == words.end()) {
        std::cerr << "the staged scanner's script has an unknown word: " << word << '\n';
        std::abort();
    }
    return static_cast<int>(found - words.begin());
}

struct Script {
    std::string text;
    std::map<std::string, std::vector<Words>> lines;  // by the first word
    std::map<std::string, int> calls;                 // so far
    int sheetsTaken = 0;
    bool isUnplugged = false;
} g_script;

std::string Path() {
    const char* path = std::getenv("NVQ_STAGED_SCRIPT");
    return path ? path : "";
}

void ReadScript() {
    std::stringstream text;
    text << std::ifstream(Path()).rdbuf();
    if (text.str() == g_script.text)
        return;
    g_script = {text.str(), {}, {}};
    for (std::string line; std::getline(text, line);) {
        std::istringstream in(line);
        Words words;
        for (std::string word; in >> std::quoted(word);)
            words.push_back(word);
        if (words.empty() || words[0].starts_with('#'))
            continue;
        Index(kKeys, words[0]);
        g_script.lines[words[0]].emplace_back(words.begin() + 1, words.end());
    }
}

std::string Text(const std::string& key) {
    const auto& lines = g_script.lines[key];
    return lines.empty() ? "" : lines.back().at(0);
}
int Number(const std::string& key, int otherwise = 0) {
    const std::string text = Text(key);
    return text.empty() ? otherwise : std::stoi(text);
}

void Trace(const char* call) {
    std::ofstream(Path() + ".trace", std::ios::app) << call << '\n';
}

void BeSlow() {
    std::this_thread::sleep_for(std::chrono::milliseconds(Number("slow")));
}

// Counts the call.
SANE_Status StatusOf(const std::string& call) {
    const int number = ++g_script.calls[call];
    for (Words fail : g_script.lines["fail"]) {
        fail.resize(4);
        if (fail[0] == call && number >= std::atoi(fail[2].c_str()) &&
            (fail[3].empty() || number <= std::stoi(fail[3])))
            return static_cast<SANE_Status>(std::stoi(fail[1]));
    }
    return g_script.isUnplugged ? SANE_STATUS_IO_ERROR : SANE_STATUS_GOOD;
}

Words Split(const std::string& list) {
    Words parts;
    std::istringstream in(list);
    for (std::string part; std::getline(in, part, ',');)
        parts.push_back(part);
    return parts;
}

// What is told points into it.
struct Option {
    bool IsText() const { return told.type == SANE_TYPE_STRING; }
    bool IsActive() const { return !settings.contains("gone") && SANE_OPTION_IS_ACTIVE(told.cap); }
    double Scale() const { return told.type == SANE_TYPE_FIXED ? 65536 : 1; }
    SANE_Word ToWord(const std::string& number) const {
        return static_cast<SANE_Word>(std::lround(std::stod(number) * Scale()));
    }
    double Value(std::size_t entry = 0) const { return words[entry] / Scale(); }
    void Describe();
    void Assign(const std::string& value);
    void Constrain(SANE_Word& word) const;

    std::string name;
    Settings settings;
    SANE_Option_Descriptor told = {};
    Words strings;
    std::vector<const SANE_Char*> pointers;
    std::vector<SANE_Word> list;
    SANE_Range range = {};
    std::vector<SANE_Word> words;  // the value
    std::string text;
};

void Option::Assign(const std::string& value) {
    text = value;
    words[0] = IsText() ? 0 : ToWord(value);
}

// As the settings are; the value stays.
void Option::Describe() {
    const auto setting = [this](const char* key, const char* otherwise) {
        return settings.contains(key) ? settings[key] : otherwise;
    };
    const char* const text_of = name.c_str();
    told = {settings.contains("name") ? nullptr : text_of, text_of, text_of, {}, {}, 0, 0, {}, {}};
    told.type = static_cast<SANE_Value_Type>(Index(kTypes, setting("type", "int")));
    told.unit = static_cast<SANE_Unit>(Index(kUnits, setting("unit", "none")));
    const bool isSensor = settings.contains("sensor");
    for (const std::string& part : Split(setting("caps", isSensor ? "detect" : "select,detect")))
        told.cap |= 1 << Index(kCaps, part);
    const std::size_t entries = std::stoul(setting("entries", "1"));
    told.size = std::stoi(
        setting("size", IsText() ? "64" : std::to_string(entries * sizeof(SANE_Word)).c_str()));
    if (settings.contains("range")) {
        told.constraint_type = SANE_CONSTRAINT_RANGE;
        Words parts = Split(settings["range"]);
        parts.resize(3, "0");
        if (parts[0] != "null") {
            range = {ToWord(parts[0]), ToWord(parts[1]), ToWord(parts[2])};
            told.constraint.range = &range;
        }
    } else if (settings.contains("list")) {
        told.constraint_type = IsText() ? SANE_CONSTRAINT_STRING_LIST : SANE_CONSTRAINT_WORD_LIST;
        strings = Split(settings["list"]);
        pointers.clear();
        list = {static_cast<SANE_Word>(strings.size())};
        for (const std::string& string : strings) {
            pointers.push_back(string.c_str());
            list.push_back(IsText() || string == "null" ? 0 : ToWord(string));
        }
        pointers.push_back(nullptr);
        if (IsText() && strings[0] != "null")
            told.constraint.string_list = pointers.data();
        else if (strings[0] != "null")
            told.constraint.word_list = list.data();
    }
    if (words.empty()) {
        words.resize(entries);
        for (std::size_t i = 1; i < entries; ++i)
            words[i] = static_cast<SANE_Word>(
                std::lround(range.max * static_cast<double>(i) / static_cast<double>(entries - 1)));
        if (entries == 1)
            Assign(setting("value", "0"));
    }
    Constrain(words[0]);
}

void Option::Constrain(SANE_Word& word) const {
    if (const auto step = settings.find("round"); step != settings.end())
        word = static_cast<SANE_Word>(std::round(word / Scale() / std::stod(step->second)) *
                                      std::stod(step->second) * Scale());
    if (told.constraint_type == SANE_CONSTRAINT_RANGE && told.constraint.range) {
        word = std::clamp(word, range.min, range.max);
        if (range.quant > 0)
            word = range.min + (word - range.min + range.quant / 2) / range.quant * range.quant;
    } else if (told.constraint_type == SANE_CONSTRAINT_WORD_LIST && told.constraint.word_list) {
        word = *std::ranges::min_element(list.begin() + 1, list.end(), {},
                                         [word](double one) { return std::abs(one - word); });
    }
}

// An open one.
class Device {
  public:
    Device();
    ~Device() { close(m_lock); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // Another program may have it too.
    bool Lock(const std::string& name) {
        m_lock = open((Path() + '.' + name + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        return Number("shared") != 0 || flock(m_lock, LOCK_EX | LOCK_NB) == 0;
    }
    const SANE_Option_Descriptor* Describe(SANE_Int number) const;
    SANE_Status Control(SANE_Int number, bool isSet, void* value, SANE_Int* info);
    SANE_Parameters Told() const;
    SANE_Status Start();
    SANE_Status Read(SANE_Byte* data, SANE_Int most, SANE_Int& length);
    void Cancel() {
        m_isStarted = m_isReading = m_isBackDue = false;
        m_pass = 0;
    }

  private:
    void Arrange();
    Option& At(const std::string& name);
    const Option* Active(const std::string& name) const;
    double Value(const std::string& name, double otherwise) const;
    bool IsSource(const Words& parts) const;
    SANE_Word Sense(const Option& option) const;
    SANE_Parameters Real() const;
    double Encode(double light, int color) const;
    void Render(std::size_t line);

    int m_lock = -1;
    std::vector<Option> m_options;
    SANE_Int m_count = 0;
    bool m_isStarted = false;  // until a cancel
    bool m_isReading = false;  // until the frame's end
    bool m_isBackDue = false;
    int m_side = 0;
    std::size_t m_pass = 0;
    SANE_Parameters m_frame = {};
    std::vector<SANE_Byte> m_line;
    std::size_t m_at = 0;  // bytes of the frame
    std::size_t m_size = 0;
    int m_emptyReads = 0;
};

Device::Device() : m_options(g_script.lines["option"].size()) {
    for (std::size_t i = 0; i < m_options.size(); ++i)
        m_options[i].name = g_script.lines["option"][i].at(0);
    Arrange();
}

Option& Device::At(const std::string& name) {
    Words names;
    for (const Option& option : m_options)
        names.push_back(option.name);
    return m_options[static_cast<std::size_t>(Index(names, name))];
}
// Null when it isn't there now.
const Option* Device::Active(const std::string& name) const {
    const auto found = std::ranges::find(m_options, name, &Option::name);
    return found != m_options.end() && found->IsActive() ? &*found : nullptr;
}
double Device::Value(const std::string& name, double otherwise) const {
    const Option* option = Active(name);
    return option ? option->Value() : otherwise;
}

// The options as they are with the present values.
void Device::Arrange() {
    const auto add = [](Option& option, const Words& words) {
        for (std::size_t i = 2; i < words.size(); ++i) {
            const std::size_t equals = words[i].find('=');
            const std::string& key =
                kSettings[static_cast<std::size_t>(Index(kSettings, words[i].substr(0, equals)))];
            option.settings[key] = words[i].substr(equals + 1);
        }
    };
    for (std::size_t i = 0; i < m_options.size(); ++i) {
        const Words& words = g_script.lines["option"][i];
        m_options[i].settings = {{"type", words.at(1)}};
        add(m_options[i], words);
        m_options[i].Describe();
    }
    for (const Words& when : g_script.lines["when"]) {
        Option& other = At(when.at(1));
        if (when[0] != "always") {
            const std::size_t equals = when[0].find('=');
            const std::string value = when[0].substr(equals + 1);
            const Option& decides = At(when[0].substr(0, equals));
            if (decides.IsText() ? decides.text != value : decides.Value() != std::stod(value))
                continue;
        }
        add(other, when);
        other.Describe();
        if (std::ranges::any_of(when, [](auto& word) { return word.starts_with("value="); }))
            other.Assign(other.settings["value"]);
    }
    const auto isGone = [](const Option& option) { return option.settings.contains("gone"); };
    m_count =
        static_cast<SANE_Int>(std::ranges::find_if(m_options, isGone) - m_options.begin()) + 1;
}

const SANE_Option_Descriptor* Device::Describe(SANE_Int number) const {
    static const SANE_Option_Descriptor kCount = {
        "", "", "", SANE_TYPE_INT, {}, sizeof(SANE_Word), SANE_CAP_SOFT_DETECT, {}, {}};
    if (number <= 0 || number >= m_count)
        return number == 0 ? &kCount : nullptr;
    return &m_options[static_cast<std::size_t>(number - 1)].told;
}

SANE_Word Device::Sense(const Option& option) const {
    const std::string& sensor = option.settings.at("sensor");
    const std::string file = Path() + '.' + option.name;
    if (sensor == "paper")
        return g_script.sheetsTaken < Number("sheets");
    return sensor == "latched" ? std::filesystem::remove(file) : std::filesystem::exists(file);
}

SANE_Status Device::Control(SANE_Int number, bool isSet, void* value, SANE_Int* info) {
    if (number == 0) {
        *static_cast<SANE_Word*>(value) = Number("count", m_count);
        return isSet ? SANE_STATUS_INVAL : StatusOf("get:");
    }
    if (!Describe(number))
        return SANE_STATUS_INVAL;
    Option& option = m_options[static_cast<std::size_t>(number - 1)];
    const SANE_Status status = StatusOf((isSet ? "set:" : "get:") + option.name);
    if (status != SANE_STATUS_GOOD)
        return status;
    if (!option.IsActive() || (isSet && !SANE_OPTION_IS_SETTABLE(option.told.cap)))
        return SANE_STATUS_INVAL;
    if (isSet && m_isReading)
        return SANE_STATUS_DEVICE_BUSY;
    const std::size_t bytes = option.words.size() * sizeof(SANE_Word);
    if (!isSet && option.settings.contains("sensor"))
        option.words[0] = Sense(option);
    if (!isSet && option.IsText())
        std::strcpy(static_cast<char*>(value), option.text.c_str());
    else if (!isSet)
        std::memcpy(value, option.words.data(), bytes);
    if (!isSet)
        return SANE_STATUS_GOOD;
    SANE_Int changes = SANE_INFO_RELOAD_OPTIONS | SANE_INFO_RELOAD_PARAMS;
    if (option.IsText()) {
        const std::string text = static_cast<const char*>(value);
        if (!option.strings.empty() && std::ranges::count(option.strings, text) == 0)
            return SANE_STATUS_INVAL;
        option.text = text;
    } else {
        std::memcpy(option.words.data(), value, bytes);
        std::ranges::for_each(option.words, [&](SANE_Word& word) { option.Constrain(word); });
        if (std::memcmp(option.words.data(), value, bytes) != 0)
            changes |= SANE_INFO_INEXACT;
        std::memcpy(value, option.words.data(), bytes);
    }
    Arrange();
    if (info)
        *info = changes;
    return SANE_STATUS_GOOD;
}

// Whether such a part stands in the text of an option that chooses where pages come from.
bool Device::IsSource(const Words& parts) const {
    for (const char* name : {"source", "adf-mode"}) {
        const Option* option = Active(name);
        for (const std::string& part : parts) {
            if (option && option->text.find(part) != std::string::npos)
                return true;
        }
    }
    return false;
}

SANE_Parameters Device::Real() const {
    const Option* option = Active("mode");
    const std::string mode = option ? option->text : "Gray";
    const bool isColor = mode.find("olor") != std::string::npos;
    const std::string order = isColor ? Text("order") : "";
    const double per_mm = Value("resolution", 300) / 25.4;
    double height = Value("br-y", 297) - Value("tl-y", 0);
    if (IsSource({"ADF", "Feeder"}))
        height = std::min(height, Number("sheet-height", 10000) - Value("tl-y", 0));
    SANE_Parameters frame = {};
    frame.format = isColor ? SANE_FRAME_RGB : SANE_FRAME_GRAY;
    if (!order.empty())
        frame.format = static_cast<SANE_Frame>(
            SANE_FRAME_RED + static_cast<int>(std::string("RGB").find(order[m_pass])));
    frame.last_frame = order.empty() || m_pass + 1 == order.size();
    frame.depth = mode == "Lineart" ? 1 : static_cast<SANE_Int>(Value("depth", 8));
    frame.pixels_per_line = static_cast<SANE_Int>(
        std::lround(std::max(0.0, Value("br-x", 216) - Value("tl-x", 0)) * per_mm));
    frame.lines = static_cast<SANE_Int>(std::lround(std::max(0.0, height) * per_mm));
    const SANE_Int samples = frame.pixels_per_line * (frame.format == SANE_FRAME_RGB ? 3 : 1);
    frame.bytes_per_line = (samples * frame.depth + 7) / 8 + Number("pad");
    return frame;
}

SANE_Parameters Device::Told() const {
    SANE_Parameters told = m_isStarted ? m_frame : Real();
    const std::string moment = m_isStarted ? "after-" : "before-";
    told.format = static_cast<SANE_Frame>(Number(moment + "format", told.format));
    told.pixels_per_line = Number(moment + "pixels", told.pixels_per_line);
    told.bytes_per_line = Number(moment + "bytes", told.bytes_per_line);
    told.lines = Number(moment + "lines", told.lines);
    told.depth = Number(moment + "depth", told.depth);
    return told;
}

// A cancel ends a sheet: its back isn't there any more.
SANE_Status Device::Start() {
    if (m_isReading)
        return SANE_STATUS_DEVICE_BUSY;
    if (!IsSource({"ADF", "Feeder"})) {
        m_side = IsSource({"TPU", "Trans", "Slide", "Negative"}) ? kStagedFilm : kStagedGlass;
    } else if (m_isBackDue && m_pass == 0) {
        m_side = StagedSide(g_script.sheetsTaken - 1, true);
        m_isBackDue = false;
    } else if (m_pass == 0) {
        if (g_script.sheetsTaken >= Number("sheets"))
            return SANE_STATUS_NO_DOCS;
        m_side = StagedSide(g_script.sheetsTaken++, false);
        m_isBackDue = IsSource({"Duplex"}) || Value("duplex", 0) != 0;
    }
    m_frame = Real();
    m_size = static_cast<std::size_t>(std::max(
        0,
        (m_frame.lines + Number("extra-lines")) * m_frame.bytes_per_line + Number("extra-bytes")));
    m_at = 0;
    m_isStarted = m_isReading = true;
    return SANE_STATUS_GOOD;
}

// A sample from 0 to 1: by the device's tables where these are on, else by its gamma.
double Device::Encode(double light, int color) const {
    const Words names = {"red-gamma-table", "green-gamma-table", "blue-gamma-table"};
    for (const std::string& name :
         {names[static_cast<std::size_t>(color)], std::string("gamma-table")}) {
        if (const Option* table = Active(name); table && Value("custom-gamma", 1) != 0)
            return table->Value(static_cast<std::size_t>(
                       std::lround(light * static_cast<double>(table->words.size() - 1)))) /
                   table->range.max;
    }
    return std::pow(light, 1 / Value("gamma", std::stod("0" + Text("gamma")) + !Number("gamma")));
}

void Device::Render(std::size_t line) {
    constexpr SANE_Byte kPadding = 0xA5;
    const double pixel = 25.4 / Value("resolution", 300);
    const double y = Value("tl-y", 0) + (static_cast<double>(line) + 0.5) * pixel;
    const int colors = m_frame.format == SANE_FRAME_RGB ? 3 : 1;
    m_line.assign(static_cast<std::size_t>(m_frame.bytes_per_line), kPadding);
    for (int i = 0; i < m_frame.pixels_per_line * colors; ++i) {
        const int color = colors == 3                         ? i % 3
                          : m_frame.format == SANE_FRAME_GRAY ? 1
                                                              : m_frame.format - SANE_FRAME_RED;
        const double light =
            StagedLight(Value("tl-x", 0) + (i / colors + 0.5) * pixel, y, color, m_side);
        const double sample = Encode(light, color);
        const auto at = static_cast<std::size_t>(i);
        if (m_frame.depth == 1) {  // 1 is black
            const int bit = 0x80 >> i % 8;
            m_line[at / 8] =
                static_cast<SANE_Byte>((m_line[at / 8] & ~bit) | (light < 0.5 ? bit : 0));
        } else if (m_frame.depth == 8) {
            m_line[at] = static_cast<SANE_Byte>(std::lround(sample * 255));
        } else {
            const auto wide = static_cast<std::uint16_t>(std::lround(sample * 65535));
            std::memcpy(&m_line[2 * at], &wide, sizeof wide);
        }
    }
}

// No read goes over a line's end.
SANE_Status Device::Read(SANE_Byte* data, SANE_Int most, SANE_Int& length) {
    length = 0;
    SANE_Status status = StatusOf("read");
    if (status != SANE_STATUS_GOOD || !m_isStarted)
        return m_isStarted ? status : SANE_STATUS_CANCELLED;
    if (m_isReading && m_at >= m_size)
        m_pass = m_frame.last_frame ? 0 : m_pass + 1;
    m_isReading = m_isReading && m_at < m_size;
    if (!m_isReading)
        return SANE_STATUS_EOF;
    const auto line_bytes = static_cast<std::size_t>(m_frame.bytes_per_line);
    const std::size_t within = m_at % line_bytes;
    if (within == 0) {
        if (m_emptyReads++ < Number("read-empty"))
            return SANE_STATUS_GOOD;
        m_emptyReads = 0;
        g_script.isUnplugged = g_script.calls["line"] + 1 == Number("unplug");
        status = StatusOf("line");
        if (status != SANE_STATUS_GOOD)
            return status;
        BeSlow();
        Render(m_at / line_bytes);
    }
    const std::size_t given =
        std::min({static_cast<std::size_t>(most), line_bytes - within, m_size - m_at,
                  static_cast<std::size_t>(Number("read-most", 1 << 30))});
    std::memcpy(data, m_line.data() + within, given);
    m_at += given;
    length = Number("read-length", static_cast<SANE_Int>(given)) +
             (Text("read-length").starts_with('+') ? most : 0);
    return SANE_STATUS_GOOD;
}

Device& Of(SANE_Handle handle) {
    return *static_cast<Device*>(handle);
}

std::vector<SANE_Device> g_devices;
std::vector<const SANE_Device*> g_rows;

}  // namespace

extern "C" {

SANE_Status sane_staged_init(SANE_Int* version, SANE_Auth_Callback) {
    *version = SANE_VERSION_CODE(1, 0, 1);
    return SANE_STATUS_GOOD;
}
void sane_staged_exit() {}

SANE_Status sane_staged_get_devices(const SANE_Device*** list, SANE_Bool) {
    ReadScript();
    g_devices.clear();
    g_rows.clear();
    for (const Words& words : g_script.lines["device"]) {
        const auto text = [&words](std::size_t i) {
            return words.at(i) == "null" ? nullptr : words[i].c_str();
        };
        g_devices.push_back({text(0), text(1), text(2), text(3)});
    }
    for (const SANE_Device& device : g_devices)
        g_rows.push_back(&device);
    g_rows.push_back(nullptr);
    *list = g_rows.data();
    return StatusOf("devices");
}

SANE_Status sane_staged_open(SANE_String_Const name, SANE_Handle* handle) {
    ReadScript();
    Words names;
    for (const Words& words : g_script.lines["device"])
        names.push_back(words.at(0));
    const std::string wanted = !*name && !names.empty() ? names[0] : name;
    SANE_Status status = StatusOf("open");
    if (std::ranges::count(names, wanted) == 0)
        status = SANE_STATUS_INVAL;
    if (status != SANE_STATUS_GOOD)
        return status;
    auto device = std::make_unique<Device>();
    if (!device->Lock(wanted))
        return SANE_STATUS_DEVICE_BUSY;
    *handle = device.release();
    return SANE_STATUS_GOOD;
}
void sane_staged_close(SANE_Handle handle) {
    Trace("close");
    delete &Of(handle);
}

const SANE_Option_Descriptor* sane_staged_get_option_descriptor(SANE_Handle handle,
                                                                SANE_Int number) {
    return Of(handle).Describe(number);
}
SANE_Status sane_staged_control_option(SANE_Handle handle, SANE_Int number, SANE_Action action,
                                       void* value, SANE_Int* info) {
    if (action == SANE_ACTION_SET_AUTO)
        return SANE_STATUS_UNSUPPORTED;
    return Of(handle).Control(number, action == SANE_ACTION_SET_VALUE, value, info);
}
SANE_Status sane_staged_get_parameters(SANE_Handle handle, SANE_Parameters* parameters) {
    *parameters = Of(handle).Told();
    return StatusOf("parameters");
}
SANE_Status sane_staged_start(SANE_Handle handle) {
    const SANE_Status status = StatusOf("start");
    Trace("start");
    BeSlow();
    return status == SANE_STATUS_GOOD ? Of(handle).Start() : status;
}
SANE_Status sane_staged_read(SANE_Handle handle, SANE_Byte* data, SANE_Int most, SANE_Int* length) {
    return Of(handle).Read(data, most, *length);
}
void sane_staged_cancel(SANE_Handle handle) {
    Trace("cancel");
    Of(handle).Cancel();
}
SANE_Status sane_staged_set_io_mode(SANE_Handle, SANE_Bool isNonBlocking) {
    return isNonBlocking ? SANE_STATUS_UNSUPPORTED : SANE_STATUS_GOOD;
}
SANE_Status sane_staged_get_select_fd(SANE_Handle, SANE_Int*) {
    return SANE_STATUS_UNSUPPORTED;
}

}  // extern "C"
