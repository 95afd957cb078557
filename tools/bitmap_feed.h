// A bitmap file of the driver's, row by row.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "platform/types.h"

// Who gets it, the top line first. An answer of false ends the reading, without a failure.
struct BitmapTaker {
    // biHeight is positive.
    std::function<bool(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette)> begin;
    std::function<bool(const BYTE* row, std::size_t bytes)> row;
};

// Uses the file up: its name goes as soon as it is open, so that nothing is left however the
// program ends.
//
// `mayBeShort`: a file that ends within its rows is taken too, with white ones for what is missing.
// False with one line in `error`, to stand behind the file's name, when it can't be read.
bool FeedBitmapFile(const std::string& path, bool mayBeShort, const BitmapTaker& taker,
                    std::string* error);
