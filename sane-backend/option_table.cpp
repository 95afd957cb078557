#include "sane-backend/option_table.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

namespace {

// ---- Words

struct SourceName {
    ScanSource source;
    const char* name;
};
constexpr SourceName kSourceNames[] = {{ScanSource::Flatbed, "Flatbed"},
                                       {ScanSource::Feeder, "ADF"},
                                       {ScanSource::Duplex, "ADF Duplex"},
                                       {ScanSource::Slide, "Slide"},
                                       {ScanSource::Negative, "Negative"}};

struct ModeName {
    ScanMode mode;
    const char* name;
};
constexpr ModeName kModeNames[] = {{ScanMode::Color, SANE_VALUE_SCAN_MODE_COLOR},
                                   {ScanMode::Gray, SANE_VALUE_SCAN_MODE_GRAY},
                                   {ScanMode::LineArt, SANE_VALUE_SCAN_MODE_LINEART},
                                   {ScanMode::Dithered, SANE_VALUE_SCAN_MODE_HALFTONE}};

// By what the tones of a scan go.
enum ETone { kByBrightness, kByLevels, kAutomatic };
constexpr const char* kToneNames[] = {"Brightness", "Levels", "Automatic"};

// ---- Source and mode

OptionValue GetSource(const OptionRow&, const CScannerSettings& settings) {
    const auto* row = std::ranges::find(kSourceNames, settings.Source(), &SourceName::source);
    return {0, row == std::end(kSourceNames) ? "" : row->name};
}
ScanStatus SetSource(const OptionRow&, CScannerSettings& settings, const OptionValue& value) {
    const auto* row = std::ranges::find(kSourceNames, value.text, &SourceName::name);
    return settings.SetSource(row->source);
}
OptionLimits Sources(const OptionRow&, const CScannerSettings& settings) {
    OptionLimits limits;
    for (const ScanSource source : settings.Sources()) {
        const auto* row = std::ranges::find(kSourceNames, source, &SourceName::source);
        if (row != std::end(kSourceNames))
            limits.texts.push_back(row->name);
    }
    return limits;
}

OptionValue GetMode(const OptionRow&, const CScannerSettings& settings) {
    const auto* row = std::ranges::find(kModeNames, settings.Mode(), &ModeName::mode);
    return {0, row == std::end(kModeNames) ? "" : row->name};
}
ScanStatus SetMode(const OptionRow&, CScannerSettings& settings, const OptionValue& value) {
    const auto* row = std::ranges::find(kModeNames, value.text, &ModeName::name);
    return settings.SetMode(row->mode);
}
OptionLimits Modes(const OptionRow& option, const CScannerSettings& settings) {
    OptionLimits limits;
    const ScanProperty* types = settings.Find(option.id);
    for (const ModeName& row : kModeNames) {
        if (types && std::ranges::find(types->valid.list, PropertyValue(DataTypeOf(row.mode))) !=
                         types->valid.list.end())
            limits.texts.push_back(row.name);
    }
    return limits;
}

bool IsColor(const CScannerSettings& settings) {
    return settings.Mode() == ScanMode::Color;
}
bool IsLineArt(const CScannerSettings& settings) {
    return settings.Mode() == ScanMode::LineArt;
}
bool IsBlackAndWhite(const CScannerSettings& settings) {
    return IsLineArt(settings) || settings.Mode() == ScanMode::Dithered;
}

// The depth follows from the mode.
OptionValue GetDepth(const OptionRow&, const CScannerSettings& settings) {
    return {IsBlackAndWhite(settings) ? 1 : 8};
}
ScanStatus SetDepth(const OptionRow&, CScannerSettings&, const OptionValue&) {
    return {};
}
OptionLimits Depths(const OptionRow& row, const CScannerSettings& settings) {
    return {.words = {GetDepth(row, settings).word}};
}

// ---- Resolution: both ways at once, or one of them

enum EResolution { kBothWays, kAcross, kAlong };

OptionValue GetResolution(const OptionRow& row, const CScannerSettings& settings) {
    return {settings.Value(row.id)};
}
ScanStatus SetResolution(const OptionRow& row, CScannerSettings& settings,
                         const OptionValue& value) {
    return settings.SetResolution(row.part == kAlong ? settings.Value(WIA_IPS_XRES) : value.word,
                                  row.part == kAcross ? settings.Value(WIA_IPS_YRES) : value.word);
}
std::vector<SANE_Word> WordsOf(const ScanProperty* property) {
    std::vector<SANE_Word> words;
    for (const PropertyValue& value : property ? property->valid.list : ValidValues{}.list) {
        if (const LONG* number = std::get_if<LONG>(&value))
            words.push_back(*number);
    }
    return words;
}
OptionLimits Resolutions(const OptionRow& row, const CScannerSettings& settings) {
    OptionLimits limits{.words = WordsOf(settings.Find(row.id))};
    const std::vector<SANE_Word> along = WordsOf(settings.Find(WIA_IPS_YRES));
    if (row.part == kBothWays)
        std::erase_if(limits.words,
                      [&](SANE_Word dpi) { return std::ranges::find(along, dpi) == along.end(); });
    return limits;
}

// ---- The window

CScannerSettings::Side SideOf(const OptionRow& row) {
    return static_cast<CScannerSettings::Side>(row.part);
}
OptionValue GetSide(const OptionRow& row, const CScannerSettings& settings) {
    return {SANE_FIX(settings.SideAt(SideOf(row)))};
}
ScanStatus SetSide(const OptionRow& row, CScannerSettings& settings, const OptionValue& value) {
    return settings.SetSide(SideOf(row), SANE_UNFIX(value.word));
}
OptionLimits Sides(const OptionRow& row, const CScannerSettings& settings) {
    return {.range = {{0, SANE_FIX(settings.Reach(SideOf(row))), 0}}};
}

// ---- Numbers of properties, whole ones or in steps

OptionValue GetNumber(const OptionRow& row, const CScannerSettings& settings) {
    const LONG value = settings.Value(row.id);
    return {row.type == SANE_TYPE_FIXED ? SANE_FIX(static_cast<double>(value) / row.step) : value};
}
ScanStatus SetNumber(const OptionRow& row, CScannerSettings& settings, const OptionValue& value) {
    return settings.SetValue(row.id,
                             row.type == SANE_TYPE_FIXED
                                 ? static_cast<LONG>(std::lround(SANE_UNFIX(value.word) * row.step))
                                 : value.word);
}
OptionLimits Numbers(const OptionRow& row, const CScannerSettings& settings) {
    const ScanProperty* property = settings.Find(row.id);
    if (!property || property->valid.kind != ValidKind::Range)
        return {};
    const ValidValues& valid = property->valid;
    if (row.type == SANE_TYPE_INT)
        return {.range = {{valid.min, valid.max, valid.step}}};
    return {.range = {{SANE_FIX(static_cast<double>(valid.min) / row.step),
                       SANE_FIX(static_cast<double>(valid.max) / row.step), 0}}};
}

// The driver counts from the weakest, 0, and has its off behind the strongest.
constexpr LONG kDriverSharpenOff = 5;
OptionValue GetSharpness(const OptionRow& row, const CScannerSettings& settings) {
    const LONG level = settings.Value(row.id);
    return {level == kDriverSharpenOff ? 0 : level + 1};
}
ScanStatus SetSharpness(const OptionRow& row, CScannerSettings& settings,
                        const OptionValue& value) {
    return settings.SetValue(row.id, value.word == 0 ? kDriverSharpenOff : value.word - 1);
}
OptionLimits Sharpnesses(const OptionRow&, const CScannerSettings&) {
    return {.range = {{0, kDriverSharpenOff, 1}}};
}

// ---- Tone and colour

ETone ToneOf(const CScannerSettings& settings) {
    return settings.Automatic().tone                      ? kAutomatic
           : settings.Value(QL_PROP_EXPOSURE_METHOD) != 0 ? kByLevels
                                                          : kByBrightness;
}
OptionValue GetTone(const OptionRow&, const CScannerSettings& settings) {
    return {0, kToneNames[ToneOf(settings)]};
}
ScanStatus SetTone(const OptionRow& row, CScannerSettings& settings, const OptionValue& value) {
    AutoWish automatic = settings.Automatic();
    automatic.tone = value.text == kToneNames[kAutomatic];
    ScanStatus status;
    if (!automatic.tone)
        status = settings.SetValue(row.id, value.text == kToneNames[kByLevels]);
    if (status.Ok())
        settings.SetAutomatic(automatic);
    return status;
}
OptionLimits Tones(const OptionRow&, const CScannerSettings&) {
    return {.texts = {std::begin(kToneNames), std::end(kToneNames)}};
}
bool HasTones(const CScannerSettings& settings) {
    return !IsLineArt(settings);
}
bool IsByBrightness(const CScannerSettings& settings) {
    return HasTones(settings) && ToneOf(settings) == kByBrightness;
}
bool IsByLevels(const CScannerSettings& settings) {
    return HasTones(settings) && ToneOf(settings) == kByLevels;
}

OptionValue GetAutoColor(const OptionRow&, const CScannerSettings& settings) {
    return {settings.Automatic().color};
}
ScanStatus SetAutoColor(const OptionRow&, CScannerSettings& settings, const OptionValue& value) {
    AutoWish automatic = settings.Automatic();
    automatic.color = value.word != 0;
    settings.SetAutomatic(automatic);
    return {};
}

// ---- The feeder

bool UsesFeeder(const CScannerSettings& settings) {
    return settings.UsesFeeder();
}
OptionValue GetPages(const OptionRow&, const CScannerSettings& settings) {
    return {settings.Pages()};
}
ScanStatus SetPages(const OptionRow&, CScannerSettings& settings, const OptionValue& value) {
    settings.SetPages(value.word);
    return {};
}
OptionLimits PageCounts(const OptionRow&, const CScannerSettings&) {
    constexpr SANE_Word kMostPages = 10000;
    return {.range = {{0, kMostPages, 1}}};
}

constexpr SANE_Int kAdvanced = SANE_CAP_SOFT_SELECT | SANE_CAP_SOFT_DETECT | SANE_CAP_ADVANCED;

// clang-format off
constexpr OptionRow kRows[] = {
    {.name = SANE_NAME_STANDARD, .title = SANE_TITLE_STANDARD, .desc = SANE_DESC_STANDARD},
    {.name = SANE_NAME_SCAN_SOURCE, .title = SANE_TITLE_SCAN_SOURCE, .desc = SANE_DESC_SCAN_SOURCE, .type = SANE_TYPE_STRING,
     .get = GetSource, .set = SetSource, .limits = Sources},
    {.name = SANE_NAME_SCAN_MODE, .title = SANE_TITLE_SCAN_MODE, .desc = SANE_DESC_SCAN_MODE, .type = SANE_TYPE_STRING,
     .get = GetMode, .set = SetMode, .limits = Modes, .id = WIA_IPA_DATATYPE},
    {.name = SANE_NAME_BIT_DEPTH, .title = SANE_TITLE_BIT_DEPTH, .desc = SANE_DESC_BIT_DEPTH, .type = SANE_TYPE_INT, .unit = SANE_UNIT_BIT,
     .get = GetDepth, .set = SetDepth, .limits = Depths},
    {.name = SANE_NAME_SCAN_RESOLUTION, .title = SANE_TITLE_SCAN_RESOLUTION, .desc = SANE_DESC_SCAN_RESOLUTION, .type = SANE_TYPE_INT, .unit = SANE_UNIT_DPI,
     .get = GetResolution, .set = SetResolution, .limits = Resolutions, .id = WIA_IPS_XRES, .part = kBothWays},
    {.name = SANE_NAME_SCAN_X_RESOLUTION, .title = SANE_TITLE_SCAN_X_RESOLUTION, .desc = SANE_DESC_SCAN_X_RESOLUTION, .type = SANE_TYPE_INT, .unit = SANE_UNIT_DPI, .cap = kAdvanced,
     .get = GetResolution, .set = SetResolution, .limits = Resolutions, .id = WIA_IPS_XRES, .part = kAcross},
    {.name = SANE_NAME_SCAN_Y_RESOLUTION, .title = SANE_TITLE_SCAN_Y_RESOLUTION, .desc = SANE_DESC_SCAN_Y_RESOLUTION, .type = SANE_TYPE_INT, .unit = SANE_UNIT_DPI, .cap = kAdvanced,
     .get = GetResolution, .set = SetResolution, .limits = Resolutions, .id = WIA_IPS_YRES, .part = kAlong},
    {.name = SANE_NAME_PREVIEW, .title = SANE_TITLE_PREVIEW, .desc = "A look ahead of the scan: a feeder keeps its sheet for that.", .type = SANE_TYPE_BOOL,
     .get = GetNumber, .set = SetNumber, .id = WIA_DPS_PREVIEW},
    {.name = "pages", .title = "Pages", .desc = "Pages, a side each, behind which the feeder counts as empty; 0: all that are there.", .type = SANE_TYPE_INT,
     .get = GetPages, .set = SetPages, .limits = PageCounts, .isActive = UsesFeeder},

    {.name = SANE_NAME_GEOMETRY, .title = SANE_TITLE_GEOMETRY, .desc = SANE_DESC_GEOMETRY},
    {.name = SANE_NAME_SCAN_TL_X, .title = SANE_TITLE_SCAN_TL_X, .desc = SANE_DESC_SCAN_TL_X, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_MM,
     .get = GetSide, .set = SetSide, .limits = Sides, .id = WIA_IPS_XPOS, .part = CScannerSettings::kLeft},
    {.name = SANE_NAME_SCAN_TL_Y, .title = SANE_TITLE_SCAN_TL_Y, .desc = SANE_DESC_SCAN_TL_Y, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_MM,
     .get = GetSide, .set = SetSide, .limits = Sides, .id = WIA_IPS_YPOS, .part = CScannerSettings::kTop},
    {.name = SANE_NAME_SCAN_BR_X, .title = SANE_TITLE_SCAN_BR_X, .desc = SANE_DESC_SCAN_BR_X, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_MM,
     .get = GetSide, .set = SetSide, .limits = Sides, .id = WIA_IPS_XPOS, .part = CScannerSettings::kRight},
    {.name = SANE_NAME_SCAN_BR_Y, .title = SANE_TITLE_SCAN_BR_Y, .desc = SANE_DESC_SCAN_BR_Y, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_MM,
     .get = GetSide, .set = SetSide, .limits = Sides, .id = WIA_IPS_YPOS, .part = CScannerSettings::kBottom},

    {.name = SANE_NAME_ENHANCEMENT, .title = SANE_TITLE_ENHANCEMENT, .desc = SANE_DESC_ENHANCEMENT},
    {.name = "tone", .title = "Tone", .desc = "What settles light and dark: brightness and contrast, three levels, or a quick look at the original ahead of the scan.", .type = SANE_TYPE_STRING,
     .get = GetTone, .set = SetTone, .limits = Tones, .isActive = HasTones, .id = QL_PROP_EXPOSURE_METHOD},
    {.name = SANE_NAME_BRIGHTNESS, .title = SANE_TITLE_BRIGHTNESS, .desc = SANE_DESC_BRIGHTNESS, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_PERCENT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsByBrightness, .id = WIA_IPS_BRIGHTNESS, .step = 10},
    {.name = SANE_NAME_CONTRAST, .title = SANE_TITLE_CONTRAST, .desc = SANE_DESC_CONTRAST, .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_PERCENT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsByBrightness, .id = WIA_IPS_CONTRAST, .step = 10},
    {.name = SANE_NAME_HIGHLIGHT, .title = SANE_TITLE_HIGHLIGHT, .desc = "Level of the lights.", .type = SANE_TYPE_INT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsByLevels, .id = QL_PROP_HIGHLIGHT_LEVEL},
    {.name = "midtone", .title = "Midtone", .desc = "Level of the tones between.", .type = SANE_TYPE_INT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsByLevels, .id = QL_PROP_MIDTONE_LEVEL},
    {.name = SANE_NAME_SHADOW, .title = SANE_TITLE_SHADOW, .desc = "Level of the shadows.", .type = SANE_TYPE_INT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsByLevels, .id = QL_PROP_SHADOW_LEVEL},
    {.name = SANE_NAME_THRESHOLD, .title = SANE_TITLE_THRESHOLD, .desc = SANE_DESC_THRESHOLD, .type = SANE_TYPE_INT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsLineArt, .id = WIA_IPS_THRESHOLD},
    {.name = "auto-color", .title = "Automatic colour", .desc = "A quick look at the original ahead of the scan takes a cast away.", .type = SANE_TYPE_BOOL,
     .get = GetAutoColor, .set = SetAutoColor, .isActive = IsColor, .id = QL_PROP_HUE_X},
    {.name = SANE_NAME_SATURATION, .title = SANE_TITLE_SATURATION, .desc = "Strength of the colours; 100 leaves them as they are.", .type = SANE_TYPE_FIXED, .unit = SANE_UNIT_PERCENT,
     .get = GetNumber, .set = SetNumber, .limits = Numbers, .isActive = IsColor, .id = QL_PROP_SATURATION, .step = 10},
    {.name = "sharpness", .title = "Sharpness", .desc = "0: off; 1 to 5: the higher the sharper.", .type = SANE_TYPE_INT,
     .get = GetSharpness, .set = SetSharpness, .limits = Sharpnesses, .id = QL_PROP_SHARPEN_LEVEL},
};
// clang-format on

}  // namespace

std::span<const OptionRow> OptionRows() {
    return kRows;
}
