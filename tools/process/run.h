// Pictures through the whole imaging engine, from file to file.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "pictures/picture_options.h"
#include "service/exposure.h"
#include "service/scan_settings.h"
#include "tools/palette_choice.h"
#include "tools/process/tone_files.h"

// What the command line asks for.
struct CProcessJob {
    std::string m_input;   // "-": standard input
    std::string m_output;  // "-": standard output; "%d" in it stands for the page
    int m_page = 0;        // of a file of several pages; 0: all
    CPictureOptions m_picture;
    bool m_fromFile = false;  // through the engine's own file reader instead of the input stream
    bool m_analyse = false;   // an analysis pass first; only from a file
    bool m_mirror = false;
    int m_rotate = 0;        // degrees clockwise, 0, 90, 180 or 270, behind the mirror
    bool m_encoded = false;  // the picture's samples are encoded for a screen, not linear
    ScanMode m_mode = ScanMode::Unchanged;  // what the picture is to be made of
    std::optional<CPaletteChoice> m_palette;
    std::int32_t m_bandLines = 20;
    CToneFiles m_plots;
    AutoWish m_auto;  // what an analysis pass of its own settles first, on both roads
    ScanFilters m_filters;
    std::vector<std::string> m_properties;  // NAME_OR_ID=VALUE
    std::vector<std::string> m_attributes;  // NAME=VALUE, in their order
    // Each may be empty. What --auto has found, or that it found nothing: one line.
    std::function<void(const std::string& line)> m_notice;
    std::function<void(unsigned percent)> m_progress;
    std::function<bool()> m_cancelled;
};

// How a run ended. The values are the program's exit codes.
enum class CProcessResult : int {
    Done = 0,
    Failed = 1,    // the run itself
    BadInput = 2,  // the picture, a property or an attribute
    Cancelled = 130,
};

// Each page has an engine of its own. The properties are in the item before the engine reads its
// settings; the attributes are written then, in their order; then the image runs. No output file is
// left by anything but success, except those of pages before the one that failed, where each page
// has its own. `error` gets one line when the result is Failed or BadInput. Plots are those of the
// first page.
CProcessResult RunProcess(const CProcessJob& job, std::string* error);
