// nvqscan options: what a scanner can be asked for, source by source, by the options of
// `nvqscan scan`.
//
// The form for programs:
//
//     {"device": "Simulated scanner SIM300A", "default": "flatbed", "sources": [
//          {"source": "flatbed", "available": true, "options": [
//              {"option": "--mode", "values": ["color", "gray"], "default": "color"},
//              {"option": "--brightness", "min": -1000, "max": 1000, "default": 0}]},
//          {"source": "duplex", "available": false, "why": "the scanner has no ...",
//           "options": []}]}
//
// "note" tells that a feeder is empty. Lengths are millimetres; an option without a default leaves
// out what it does.

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <span>

#include <CLI/CLI.hpp>

#include "engine/private_properties.h"
#include "service/scan_settings.h"
#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/geometry_text.h"
#include "tools/json_text.h"
#include "tools/page_report.h"
#include "tools/text_table.h"
#include "tools/text_values.h"

namespace {

struct OptionsOptions {
    std::string m_device;
    bool m_isJson = false;
};

// What one option takes: for people and for programs.
struct CChoice {
    std::string m_option;
    std::string m_text;
    CJson m_json;
};

struct CSourceChoices {
    const char* m_source;
    std::string m_lack;  // why it can't be had; empty if it can
    std::string m_note;  // what else is to be known of it
    std::vector<CChoice> m_choices;
};

constexpr std::pair<const char*, ScanSource> kSources[] = {{"flatbed", ScanSource::Flatbed},
                                                           {"feeder", ScanSource::Feeder},
                                                           {"duplex", ScanSource::Duplex},
                                                           {"slide", ScanSource::Slide},
                                                           {"negative", ScanSource::Negative}};

// ---- Properties as options

struct CValueWord {
    LONG value;
    const char* word;
};
constexpr CValueWord kModes[] = {{WIA_DATA_COLOR, "color"},
                                 {WIA_DATA_GRAYSCALE, "gray"},
                                 {WIA_DATA_THRESHOLD, "lineart"},
                                 {WIA_DATA_DITHER, "dither"}};
constexpr CValueWord kPalettes[] = {{QL_PALETTE_SYSTEM, "system"},
                                    {QL_PALETTE_CUBE, "cube"},
                                    {QL_PALETTE_USER, "gray"},
                                    {QL_PALETTE_USER, "adaptive"},
                                    {QL_PALETTE_USER, "FILE.gpl"}};
constexpr CValueWord kTurns[] = {{90, "90"}, {180, "180"}, {270, "270"}};
constexpr CValueWord kSmoothing[] = {{0, "off"}, {1, "light"}, {2, "strong"}};
constexpr CValueWord kStreaks[] = {{0, "off"}, {1, "1"}, {2, "2"}};
constexpr CValueWord kStreakDetail[] = {{1, "red"}, {2, "green"}, {3, "blue"}};
constexpr CValueWord kMedia[] = {{TYMED_CALLBACK, "callback"}, {TYMED_FILE, "file"}};

// A property's values are numbers where it has no words.
struct COptionRow {
    const char* option;
    PROPID id;
    std::span<const CValueWord> words;
};
const COptionRow kOptions[] = {
    {"--mode", WIA_IPA_DATATYPE, kModes},
    {"--palette", QL_PROP_PALETTE, kPalettes},
    {"--brightness", WIA_IPS_BRIGHTNESS, {}},
    {"--contrast", WIA_IPS_CONTRAST, {}},
    {"--threshold", WIA_IPS_THRESHOLD, {}},
    {"--sharpen", QL_PROP_SHARPEN_LEVEL, {}},
    {"--smooth", QL_PROP_SMOOTHING, kSmoothing},
    {"--streaks", QL_PROP_STREAKS, kStreaks},
    {"--streak-detail", QL_PROP_STREAK_DETAIL, kStreakDetail},
    {"--rotate", QL_PROP_ROTATION, kTurns},
    {"--medium", WIA_IPA_TYMED, kMedia},
};

bool HasValue(const ScanProperty& property, LONG value) {
    const ValidValues& valid = property.valid;
    return valid.kind == ValidKind::Range ? value >= valid.min && value <= valid.max
                                          : TakesValue(&property, value);
}

// The words, commas between them, and the default behind.
CChoice WordChoice(const char* option, const std::vector<std::string>& words,
                   const std::string& fallback) {
    CChoice choice{option, {}, {{"option", option}, {"values", words}}};
    for (const std::string& word : words)
        choice.m_text += (choice.m_text.empty() ? "" : ", ") + word;
    if (!fallback.empty()) {
        choice.m_text += " (" + fallback + ')';
        choice.m_json["default"] = fallback;
    }
    return choice;
}

CChoice RangeChoice(const char* option, const ScanProperty& property, LONG fallback) {
    const ValidValues& valid = property.valid;
    return {option,
            std::to_string(valid.min) + " to " + std::to_string(valid.max) + " (" +
                std::to_string(fallback) + ')',
            {{"option", option}, {"min", valid.min}, {"max", valid.max}, {"default", fallback}}};
}

// The palette of indexed pictures, which need one, isn't the item's own default.
CChoice ChoiceOf(const COptionRow& row, const ScanProperty& property, const ItemState& image) {
    const LONG* value = std::get_if<LONG>(&property.value);
    if (row.words.empty())
        return RangeChoice(row.option, property, value ? *value : 0);
    std::vector<std::string> words;
    std::string fallback;
    for (const CValueWord& word : row.words) {
        if (HasValue(property, word.value))
            words.emplace_back(word.word);
        if (value && *value == word.value)
            fallback = word.word;
    }
    const ScanProperty* palette = CDeviceProperties::Find(image, QL_PROP_PALETTE);
    if (row.id == QL_PROP_PALETTE)
        fallback = "system";
    if (row.id == WIA_IPA_DATATYPE && TakesValue(palette, QL_PALETTE_SYSTEM))
        words.emplace_back("indexed");
    return WordChoice(row.option, words, fallback);
}

// ---- Resolution and window

std::vector<LONG> Numbers(const ScanProperty* property) {
    std::vector<LONG> numbers;
    for (const PropertyValue& value :
         property ? property->valid.list : std::vector<PropertyValue>()) {
        if (const LONG* number = std::get_if<LONG>(&value))
            numbers.push_back(*number);
    }
    return numbers;
}

// Those across, and what there is besides along the page.
CChoice ResolutionChoice(const ItemState& image) {
    const ScanProperty* xProperty = CDeviceProperties::Find(image, WIA_IPS_XRES);
    const ScanProperty* yProperty = CDeviceProperties::Find(image, WIA_IPS_YRES);
    if (xProperty && xProperty->valid.kind == ValidKind::Range)
        return RangeChoice("--resolution", *xProperty,
                           CDeviceProperties::Number(image, WIA_IPS_XRES).value_or(0));
    const std::vector<LONG> across = Numbers(xProperty);
    const std::vector<LONG> along = Numbers(yProperty);
    std::vector<std::string> words;
    for (const LONG dpi : across)
        words.push_back(std::to_string(dpi));
    const LONG fallback = CDeviceProperties::Number(image, WIA_IPS_XRES).value_or(0);
    CChoice choice = WordChoice("--resolution", words, std::to_string(fallback));
    choice.m_json = {{"option", "--resolution"},
                     {"values", across},
                     {"valuesAlong", along},
                     {"default", fallback}};
    std::string more;
    for (const LONG dpi : along) {
        if (std::ranges::find(across, dpi) == across.end())
            more += (more.empty() ? "" : ", ") + std::to_string(dpi);
    }
    if (!more.empty())
        choice.m_text += "; along the page also " + more;
    return choice;
}

// What can be scanned, and the papers that lie in it.
void AddWindow(const ItemState& image, std::vector<CChoice>& choices) {
    const auto [width, height] = ReachOf(image);
    const auto tenths = [](double length) { return std::round(length * 10) / 10; };
    choices.push_back(
        {"--area",
         "up to " + ToText(tenths(width)) + " x " + ToText(tenths(height)) + " mm (all of it)",
         {{"option", "--area"}, {"width", tenths(width)}, {"height", tenths(height)}}});
    if (const auto papers = PapersWithin(width, height); !papers.empty())
        choices.push_back(WordChoice("--paper", papers, {}));
}

std::vector<CChoice> ChoicesOf(const CDeviceProperties& properties) {
    const ItemState& image = properties.Image();
    std::vector<CChoice> choices = {ResolutionChoice(image)};
    AddWindow(image, choices);
    for (const COptionRow& row : kOptions) {
        if (const ScanProperty* property = CDeviceProperties::Find(image, row.id))
            choices.push_back(ChoiceOf(row, *property, image));
    }
    return choices;
}

// ---- The device

// Each source from a session of its own, so that nothing is left of the one before it.
ScanStatus ReadSources(const std::string& which, std::vector<CSourceChoices>& sources,
                       CDeviceProperties& first) {
    for (const auto& [name, source] : kSources) {
        CScanDevice device;
        ScanStatus status = OpenScanner(which, device);
        if (status.Ok() && sources.empty())
            status = CDeviceProperties::Read(device, first);
        if (!status.Ok())
            return status;
        ScanSettings settings;
        settings.source = source;
        CDeviceProperties properties;
        status = ApplySettings(device, settings, properties);
        sources.push_back({name, status.text, {}, {}});
        if (status.Ok()) {
            sources.back().m_note = FeederLack(properties);
            sources.back().m_choices = ChoicesOf(properties);
        }
    }
    return {};
}

std::string TextOf(const CSourceChoices& source, const std::string& option) {
    for (const CChoice& choice : source.m_choices) {
        if (choice.m_option == option)
            return choice.m_text;
    }
    return {};
}

// What all sources have alike stands once, at the top.
void PrintForPeople(const std::string& device, const std::string& fallback,
                    const std::vector<CSourceChoices>& sources) {
    std::vector<CSourceChoices> had;
    std::vector<std::string> names;
    for (const CSourceChoices& source : sources) {
        if (!source.m_lack.empty())
            continue;
        had.push_back(source);
        names.emplace_back(source.m_source);
    }
    const auto isCommon = [&](const CChoice& choice) {
        return std::ranges::all_of(had, [&](const CSourceChoices& source) {
            return TextOf(source, choice.m_option) == choice.m_text;
        });
    };
    const auto print = [&](const CSourceChoices& source, bool common, const std::string& indent,
                           std::vector<std::vector<std::string>> rows) {
        for (const CChoice& choice : source.m_choices) {
            if (isCommon(choice) == common)
                rows.push_back({choice.m_option, choice.m_text});
        }
        PrintColumns(std::cout, rows, indent);
    };
    std::cout << device << '\n';
    if (!had.empty())
        print(had.front(), true, "  ", {{"--source", WordChoice("", names, fallback).m_text}});
    for (const CSourceChoices& source : sources) {
        if (source.m_lack.empty() && source.m_note.empty() &&
            std::ranges::all_of(source.m_choices, isCommon))
            continue;
        const std::string& words = source.m_lack.empty() ? source.m_note : source.m_lack;
        std::cout << '\n' << source.m_source << (words.empty() ? "" : ": " + words) << '\n';
        print(source, false, "  ", {});
    }
}

void PrintForPrograms(const std::string& device, const std::string& fallback,
                      const std::vector<CSourceChoices>& sources) {
    CJson list = CJson::array();
    for (const CSourceChoices& source : sources) {
        CJson json = {{"source", source.m_source}, {"available", source.m_lack.empty()}};
        if (!source.m_lack.empty())
            json["why"] = source.m_lack;
        if (!source.m_note.empty())
            json["note"] = source.m_note;
        json["options"] = CJson::array();
        for (const CChoice& choice : source.m_choices)
            json["options"].push_back(choice.m_json);
        list.push_back(json);
    }
    PrintJson(std::cout, {{"device", device}, {"default", fallback}, {"sources", list}});
}

int Run(const OptionsOptions& options) {
    std::vector<CSourceChoices> sources;
    CDeviceProperties first;
    if (const ScanStatus status = ReadSources(options.m_device, sources, first); !status.Ok())
        return Complain(status);
    const ScanProperty* name = CDeviceProperties::Find(first.Root(), WIA_DIP_DEV_NAME);
    const auto* text = name ? std::get_if<std::string>(&name->value) : nullptr;
    (options.m_isJson ? PrintForPrograms : PrintForPeople)(text ? *text : "",
                                                           OriginOf(first).source, sources);
    return kExitDone;
}

}  // namespace

void AddOptionsCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<OptionsOptions>();
    CLI::App* sub = app.add_subcommand(
        "options", "Show what a scanner can be asked for: sources, modes, resolutions, ranges");
    AddDevice(*sub, options->m_device)->default_str("the first one");
    sub->add_flag("--json", options->m_isJson, "Print JSON, for programs");
    commands.push_back({sub, [options] { return Run(*options); }});
}
