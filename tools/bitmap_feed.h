// A bitmap file that the driver has written, into a writer of another kind of file.
#pragma once

#include <string>

#include "pictures/picture_writer.h"

// Begins the writer and feeds it all rows; band by band. False with a line to stand behind the
// path, unless it is the writer that failed. `info` gets the picture's header.
bool FeedBitmapFile(const std::string& path, CPictureWriter& writer, BITMAPINFOHEADER& info,
                    std::string* error);
