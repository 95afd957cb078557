// Where the pages of a TIFF file are.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/input_file.h"

// The places of the first `most` pages: each directory of the file leads to the next one. Throws as
// Fail does when it leads nowhere, or in a circle, or to more than kMostTiffPages.
std::vector<std::uint64_t> FindTiffPages(const CInputFile& file, int most);
inline constexpr int kMostTiffPages = 65535;
