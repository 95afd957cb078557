// A scan of the program, from the settings on: previews, pages into files, and how it ended.
#pragma once

#include <string>
#include <vector>

#include "service/scan_settings.h"
#include "tools/job_options.h"
#include "tools/mode_option.h"
#include "tools/output_options.h"
#include "tools/process/analysis.h"
#include "tools/process/tone_files.h"

// The command line of `scan`.
struct ScanCommand {
    std::string m_device;
    COutputOptions m_output;
    std::optional<std::string> m_area;
    std::optional<std::string> m_paper;
    std::optional<std::string> m_resolution;
    std::vector<std::string> m_sets;  // NAME=VALUE
    CModeOptions m_mode;
    ScanSettings m_settings;
    AutoWish m_auto;
    CToneFiles m_plots;
    bool m_isAdaptive = false;  // the palette is made from a preview
    bool m_isExact = false;     // at no other resolution than was asked for
    bool m_isDryRun = false;    // what would be scanned is told
    JobOptions m_job;
};

// What the command line alone shows of the output is tried, so that a scanner isn't opened for
// nothing. False with one line in `error`.
bool ProveCommand(const ScanCommand& command, std::string* error);

// Scans with the settings that the device has by now, and gives the program's exit code. What
// can't come out well is told before anything is scanned.
int RunScanJob(CScanDevice& device, const ScanCommand& command,
               const CDeviceProperties& properties);
