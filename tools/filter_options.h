// Options that choose what is filtered out of an image, alike for all commands that make one.
#pragma once

#include <CLI/CLI.hpp>

#include "service/scan_settings.h"

void AddFilterOptions(CLI::App& sub, ScanFilters& filters);
