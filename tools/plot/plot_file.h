// A plot as a file.
#pragma once

#include <span>
#include <string>

#include "tools/plot/plot.h"

// .png, .pdf or .svg; else false with one line in `error` that begins with the path.
bool IsPlotFile(const std::string& path, std::string* error);

// The file appears when it is whole, in place of one that was there. False with one line in `error`
// that begins with the path.
bool WritePlot(const std::string& path, std::span<const CPlotPanel> panels, std::string* error);
