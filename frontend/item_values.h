// What the values of item properties mean, and their units.
#pragma once

#include <limits>

#include "controller/geometry.h"
#include "engine/private_properties.h"
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

// What a scan of a window without a pixel or a line comes to, at validation as at its start.
inline constexpr HRESULT kNothingToScan = MakeResult(0x80040001);

// Does a length in 1/300 inch hold a whole sample at the device's resolution in dots per inch?
constexpr bool HoldsSample(LONG units, LONG resolution) {
    return std::int64_t{units} * resolution >= 300;
}

// A palette of the client's own colours, without any.
inline constexpr HRESULT kNoPaletteColors = MakeResult(0x80040017);

// What a preview from a feeder comes to that lets go of each sheet it has scanned.
inline constexpr HRESULT kSheetNotKept = MakeResult(0x80040016);

// The window as setGeomControl has placed it.
constexpr bool HoldsPixels(const GeomControl& geometry) {
    return HoldsSample(geometry.width, geometry.scanXRes) &&
           HoldsSample(geometry.height, geometry.scanYRes);
}

// The channel that an item keeps when the controller has fitted the one that was asked for. Gray
// stays a wish: which gray the device has for it depends on the resolution of the scan to come. In
// place of a sensor's channel that the device lacks it gives colour, and that is told.
constexpr LONG KeptChannel(DWORD asked, DWORD fitted) {
    return static_cast<LONG>(asked == kChannelNtscGray ? asked : fitted);
}

inline HRESULT ReadItemLong(BYTE* item, PROPID id, LONG* value) {
    return wiasReadPropLong(item, id, value, nullptr, TRUE);
}

// Degrees clockwise by which an item's picture is turned on its way.
inline LONG RotationOf(BYTE* item) {
    LONG degrees = 0;
    return ReadItemLong(item, QL_PROP_ROTATION, &degrees) == S_OK ? degrees : 0;
}
constexpr bool IsQuarterTurn(LONG degrees) {
    return degrees == 90 || degrees == 270;
}
