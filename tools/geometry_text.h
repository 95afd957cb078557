// Windows, papers and resolutions as a person writes them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/scan_geometry.h"

// "X,Y,W,H" and mm, cm, in or px, with blanks where one likes, or a paper. Nothing with one line in
// `error`.
std::optional<ScanArea> ParseArea(const std::string& text, std::string* error);

// A paper in the upper left corner: "a4", "letter landscape", "a5-landscape".
std::optional<ScanArea> ParsePaper(const std::string& text, std::string* error);
// The papers' names, with commas between them.
std::string PaperNames();
// Those that lie upright in that many millimetres.
std::vector<std::string> PapersWithin(double width, double height);

// "300", or "300x600" for different ones across and along.
std::optional<ScanResolution> ParseResolution(const std::string& text, std::string* error);
