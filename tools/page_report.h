// What is told of a page when it is in its file.
#pragma once

#include <optional>
#include <string>

#include "service/scan_geometry.h"

struct PageReport {
    std::string file;  // as people are told of it
    int page = 1;
    BITMAPINFOHEADER info = {};  // of the picture, with both its resolutions
    HRESULT result = S_OK;       // why it is incomplete, if it is
    // The resolution of the scan, of a page that was made smaller.
    std::optional<ScanResolution> reducedFrom = {};
};

// Where pages come from and what they are made of, in the words of the command line.
struct PageOrigin {
    std::string source;
    std::string mode;
};
PageOrigin OriginOf(const CDeviceProperties& properties);

// What pages of the feeder will be shows with a sheet only: the words for a selected feeder that
// tells that it has none, else empty.
std::string FeederLack(const CDeviceProperties& properties);

// "scan.png: page 1, gray, 1275 x 1755 pixels at 150 dpi".
std::string PageLine(const PageReport& report, const PageOrigin& origin);
// An object on one line.
std::string PageJson(const PageReport& report, const PageOrigin& origin);
