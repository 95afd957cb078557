// Options that choose how an image is sharpened and what is filtered out of it, alike for all
// commands that make one.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "service/scan_settings.h"

void AddFilterOptions(CLI::App& sub, ScanFilters& filters);
// False with one line in `error` for an option that would count for nothing.
bool CheckFilters(const ScanFilters& filters, std::string* error);
