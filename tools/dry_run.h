// What a scan would be, told without scanning.
#pragma once

#include "tools/scan_job.h"

// The settings as the device has them by now, in words or, with --json, as one object:
//
//     {"source": "flatbed", "mode": "color", "resolution": {"x": 100, "y": 100},
//      "reducedFrom": {"x": 150, "y": 150}, "window": {"left": 0, "top": 0, "width": 210,
//      "height": 297}, "pixels": {"width": 827, "height": 1169}, "bitsPerPixel": 24,
//      "bytes": 2900289, "pages": 1, "file": "page.png", "format": "png"}
//
// The window stands in millimetres; bytes are those of a page's rows before they are packed; pages
// 0 are all in the feeder, and "file" is the first one.
void PrintDryRun(const ScanCommand& command, const CDeviceProperties& properties, int pages);
