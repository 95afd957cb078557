// What a picture is to be made of: options that scans and `process` have alike.
#pragma once

#include <optional>
#include <string>

#include "service/scan_settings.h"
#include "tools/choice_option.h"
#include "tools/palette_choice.h"

// As they stand on the command line.
struct CModeOptions {
    ScanMode m_mode = ScanMode::Unchanged;
    std::string m_palette;
};

inline void AddModeOptions(CLI::App& app, CModeOptions& options) {
    // Both spellings of colour and gray are taken; the first is told.
    static const CWords<ScanMode> kNames = {
        {"color", ScanMode::Color},     {"colour", ScanMode::Color},
        {"gray", ScanMode::Gray},       {"grey", ScanMode::Gray},
        {"lineart", ScanMode::LineArt}, {"dither", ScanMode::Dithered},
        {"indexed", ScanMode::Indexed}};
    TakesWordOf(app.add_option("--mode", options.m_mode,
                               "color, gray, lineart, dither (black and white dots) or indexed "
                               "(colours of a palette)")
                    ->default_str("color"),
                kNames);
    CLI::Option* palette =
        app.add_option(
               "--palette", options.m_palette,
               "Colours of --mode indexed, which it asks for by itself: system, cube, gray, "
               "adaptive (made from the picture) or a GIMP palette file")
            ->type_name(kWordOrFileValue)
            ->default_str("system");
    Suggests(palette, {"system", "cube", "gray", "adaptive"});
}

// The palette, or nothing where the mode has none. False with one line in `error` when it can't be
// had, or is asked for beside another mode. By itself it asks for the mode.
inline bool TakePalette(CModeOptions& options, std::optional<CPaletteChoice>* palette,
                        std::string* error) {
    if (options.m_mode == ScanMode::Unchanged && !options.m_palette.empty())
        options.m_mode = ScanMode::Indexed;
    if (options.m_mode != ScanMode::Indexed) {
        if (options.m_palette.empty())
            return true;
        *error = "--palette goes with --mode indexed";
        return false;
    }
    *palette = ParsePalette(options.m_palette.empty() ? "system" : options.m_palette, error);
    return palette->has_value();
}
