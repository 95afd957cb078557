// Records that pass between the front end and the scan controller: the source of a scan, its
// window, and the format of its data.
#pragma once

#include <cstddef>

#include "platform/types.h"

// Where a scan comes from. A byte that isn't 0 says yes.
struct ScanSource {
    BYTE preview = 0;    // the sheet stays in the feeder for the final scan
    BYTE useXPA = 0;     // through the transparent media adapter
    BYTE useADF = 0;     // from the feeder
    BYTE negative = 0;   // with useXPA: film negatives
    BYTE highDepth = 0;  // the deepest data that the device gives
    BYTE duplex = 0;     // with useADF: both sides of a sheet
};
static_assert(sizeof(ScanSource) == 6);

// Channels: 0 colour, 1 the gray of the television norm, 2 to 4 one of the sensor's, 5 the device's
// own gray.
inline constexpr DWORD kChannelColor = 0;
inline constexpr DWORD kChannelNtscGray = 1;
inline constexpr DWORD kChannelDeviceGray = 5;

struct DataFormat {
    DWORD channel = kChannelColor;
    DWORD bits = 8;       // a sample
    DWORD threshold = 0;  // of one-bit data; 0: none
};
static_assert(sizeof(DataFormat) == 12);

inline constexpr std::size_t kGeomResolutions = 25;

// A window as it is wanted, in pixels, and as the device scans it, in 1/300 inch, with the limits
// of the source. Resolutions are dots per inch.
struct GeomControl {
    // The request: the front end's.
    LONG xPos;  // pixels at xRes, as xExtent
    LONG yPos;
    LONG xExtent;
    LONG yExtent;
    LONG xExtent2;  // the same again
    LONG yExtent2;
    LONG xRes;  // across the scan line
    LONG yRes;  // along the scan
    // The device's window, by setGeomControl.
    LONG left;
    LONG top;
    LONG width;
    LONG height;
    LONG adjustX;  // pixels of a line and lines that the window gives at the device's resolution
    LONG adjustY;
    LONG scanXRes;  // at which the device really scans; the front end scales where it differs
    LONG scanYRes;
    // Limits of the source, by getGeomControl.
    LONG maxWidth;
    LONG maxHeight;
    LONG minResolution;
    LONG maxResolution;
    LONG minResolution2;  // the same again
    LONG maxVertResolution;
    LONG unused88;
    LONG xResCount;
    LONG xResList[kGeomResolutions];
    LONG yResCount;
    LONG yResList[kGeomResolutions];
    BYTE flag;
};
// Callers share the record by these places.
static_assert(sizeof(GeomControl) == 304);
static_assert(offsetof(GeomControl, xPos) == 0);
static_assert(offsetof(GeomControl, yPos) == 4);
static_assert(offsetof(GeomControl, xExtent) == 8);
static_assert(offsetof(GeomControl, yExtent) == 12);
static_assert(offsetof(GeomControl, xExtent2) == 16);
static_assert(offsetof(GeomControl, yExtent2) == 20);
static_assert(offsetof(GeomControl, xRes) == 24);
static_assert(offsetof(GeomControl, yRes) == 28);
static_assert(offsetof(GeomControl, left) == 32);
static_assert(offsetof(GeomControl, top) == 36);
static_assert(offsetof(GeomControl, width) == 40);
static_assert(offsetof(GeomControl, height) == 44);
static_assert(offsetof(GeomControl, adjustX) == 48);
static_assert(offsetof(GeomControl, adjustY) == 52);
static_assert(offsetof(GeomControl, scanXRes) == 56);
static_assert(offsetof(GeomControl, scanYRes) == 60);
static_assert(offsetof(GeomControl, maxWidth) == 64);
static_assert(offsetof(GeomControl, maxHeight) == 68);
static_assert(offsetof(GeomControl, minResolution) == 72);
static_assert(offsetof(GeomControl, maxResolution) == 76);
static_assert(offsetof(GeomControl, minResolution2) == 80);
static_assert(offsetof(GeomControl, maxVertResolution) == 84);
static_assert(offsetof(GeomControl, xResCount) == 92);
static_assert(offsetof(GeomControl, xResList) == 96);
static_assert(offsetof(GeomControl, yResCount) == 196);
static_assert(offsetof(GeomControl, yResList) == 200);
static_assert(offsetof(GeomControl, flag) == 300);
