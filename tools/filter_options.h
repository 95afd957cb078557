// Options that choose how an image is sharpened and what is filtered out of it, alike for all
// commands that make one.
#pragma once

#include <CLI/CLI.hpp>

#include "service/scan_settings.h"

void AddFilterOptions(CLI::App& sub, ScanFilters& filters);
