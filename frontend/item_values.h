// What the values of item properties mean, and their units.
#pragma once

#include <limits>

#include "controller/geometry.h"
#include "frame/fixed_point.h"
#include "platform/wia.h"

// Answers of CNVScan::isSheetFedOnly.
inline constexpr DWORD kHasFlatbed = 0;
inline constexpr DWORD kSheetFedOnly = 1;

// The scale that setGeomControl tells; the scan software may look at it.
inline constexpr PROPID kScaleProperty = 71711;

inline constexpr LPCOLESTR kColorProfileName = u"sRGB Color Space Profile";

// Does WIA_DPS_DOCUMENT_HANDLING_SELECT mean the feeder?
constexpr bool IsFeederChosen(LONG select) {
    return select == FEEDER || select == DUPLEX;
}

// From 1/300 inch, in which the device measures, to 1/1000 inch, truncated.
constexpr LONG ThousandthsOf(std::int64_t units) {
    return Clamp(units * 1000 / 300, 0, std::numeric_limits<LONG>::max());
}

// From 1/1000 inch to pixels at a resolution in dots per inch, truncated.
constexpr LONG PixelsOf(LONG thousandths, LONG resolution) {
    return Clamp(std::int64_t{thousandths} * resolution / 1000, 0,
                 std::numeric_limits<LONG>::max());
}

inline HRESULT ReadItemLong(BYTE* item, PROPID id, LONG* value) {
    return wiasReadPropLong(item, id, value, nullptr, TRUE);
}
