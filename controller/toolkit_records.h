// The toolkit's error codes, and the records that cross its boundary, with their exact places.
//
// Units. Resolutions are dots per inch, lengths 1/300 inch unless told otherwise.
#pragma once

#include <cstddef>
#include <span>

#include "platform/types.h"

// ---- Error codes

inline constexpr DWORD OSTREL_NO_ERROR = 0;
inline constexpr DWORD OSTREL_INVALID_SESSION = 1;
inline constexpr DWORD OSTREL_INVALID_PARAMETER = 2;
inline constexpr DWORD OSTREL_NOT_FOUND = 3;
inline constexpr DWORD OSTREL_NOT_LOCKED = 4;
inline constexpr DWORD OSTREL_LOCK_FAILED = 5;
inline constexpr DWORD OSTREL_LAMP_OFF = 6;
inline constexpr DWORD OSTREL_CALIBRATION_FAILED = 7;
inline constexpr DWORD OSTREL_OUT_OF_MEMORY = 8;
inline constexpr DWORD OSTREL_UNKNOWN_ERROR = 9;
inline constexpr DWORD OSTREL_NOT_IMPLEMENTED = 10;
inline constexpr DWORD OSTREL_CARRIAGE_STUCK = 11;
inline constexpr DWORD OSTREL_COMMUNICATION = 12;
inline constexpr DWORD OSTREL_OPEN_FAILED = 13;
inline constexpr DWORD OSTREL_INVALID_HW_PROPERTY = 14;
inline constexpr DWORD OSTREL_END_OF_MEDIA = 15;  // to ReadScan the normal end of a page
inline constexpr DWORD OSTREL_CANCEL_BUTTON = 16;
// The feeder.
inline constexpr DWORD OSTREL_ADF_JAMMED = 100;
inline constexpr DWORD OSTREL_ADF_EMPTY = 101;
inline constexpr DWORD OSTREL_ADF_END_OF_PAGE = 102;  // to ReadScan the same as END_OF_MEDIA
inline constexpr DWORD OSTREL_ADF_HATCH_OPEN = 103;
inline constexpr DWORD OSTREL_APF_JAMMED = 104;
inline constexpr DWORD OSTREL_NO_FIRMWARE_PROFILE = 500;

// One error code: its wording in the log, and the result that the driver gives for it. Codes
// without a wording of their own print "no definition".
struct OstrelError {
    DWORD code;
    const char* text;
    HRESULT result;
};
std::span<const OstrelError> OstrelErrorTable();

// What the state of the driver makes of some codes.
struct OstrelErrorContext {
    bool useXpa = false;        // the adapter is the selected source
    bool sheetFedOnly = false;  // the device has only the feeder
};
// 0 for no error; 0x8004000D for a code without a row.
HRESULT MapOstrelError(DWORD code, const OstrelErrorContext& context);

// ---- Records. Bytes between the named fields are the toolkit's own.

// A field's place, checked: what crosses the boundary has fixed offsets.
#define OSTREL_CHECK_OFFSET(record, field, offset) \
    static_assert(offsetof(record, field) == (offset), #record "::" #field)

inline constexpr std::size_t kOstrelDepths = 8;
inline constexpr std::size_t kOstrelModelChars = 16;

// Of the flatbed, and of the device as a whole.
struct OstrelDeviceCaps {
    char model[kOstrelModelChars];  // zero-terminated
    WORD lampWarmUpFlatbed;         // seconds after the lamp was switched on
    WORD opticalResolution;
    WORD maxXResolution;  // across the scan line
    WORD maxYResolution;  // along the scan
    WORD minResolution;
    WORD unused26;
    DWORD bedWidth;
    DWORD unused32;
    DWORD bedHeight;
    BYTE unused40[8];
    DWORD
    depthFlags;       // bit 1: one channel can have more than one bit, bit 2: there is one-bit data
    DWORD modeFlags;  // bit 0: honours the preview bit, bit 3: one bit by the tone map's threshold
    // Bits 0 to 2: channels 2 to 4, red, green, blue; bit 3: channel 1, the gray of the television
    // norm; bit 4: channel 5, the device's own gray.
    WORD channelFlags;
    WORD wPaperPath;  // 1: only a feeder, no flatbed
    WORD unused60;
    BYTE colorDepths[kOstrelDepths];  // bits a sample, ascending, 8 among them; a zero ends them
    BYTE grayDepths[kOstrelDepths];
    WORD unused78;
    DWORD tonemapLength;    // entries of a tone map, a power of two up to 65536
    DWORD tonemapMaxValue;  // largest entry, one below such a power; an entry has room for it
    WORD tonemapEntrySize;  // bytes of an entry, 1 or 2
    WORD deviceGrayLimit;   // highest resolution of channel 5; 0: no limit
    BYTE unused92[32];
};
static_assert(sizeof(OstrelDeviceCaps) == 124);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, model, 0);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, lampWarmUpFlatbed, 16);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, opticalResolution, 18);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, maxXResolution, 20);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, maxYResolution, 22);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, minResolution, 24);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, bedWidth, 28);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, bedHeight, 36);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, depthFlags, 48);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, modeFlags, 52);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, channelFlags, 56);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, wPaperPath, 58);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, colorDepths, 62);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, grayDepths, 70);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, tonemapLength, 80);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, tonemapMaxValue, 84);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, tonemapEntrySize, 88);
OSTREL_CHECK_OFFSET(OstrelDeviceCaps, deviceGrayLimit, 90);

// Bits of the device record.
inline constexpr DWORD OSTREL_DEPTH_FLAG0 = 1;
inline constexpr DWORD OSTREL_DEPTH_SINGLE_CHANNEL = 2;
inline constexpr DWORD OSTREL_DEPTH_ONE_BIT = 4;
inline constexpr DWORD OSTREL_MODE_PREVIEW = 1;
inline constexpr DWORD OSTREL_MODE_TONEMAP_THRESHOLD = 8;
inline constexpr WORD OSTREL_PAPER_PATH_FEEDER_ONLY = 1;

struct OstrelAdfCaps {  // first generation feeder
    BYTE unused0[36];
    DWORD pageLength;  // the longest page
    BYTE unused40[148];
};
static_assert(sizeof(OstrelAdfCaps) == 188);
OSTREL_CHECK_OFFSET(OstrelAdfCaps, pageLength, 36);

// Second generation feeder: what paper it takes and how it scans it.
struct OstrelAdf2Caps {
    BYTE hasADF;  // a feeder is attached
    BYTE unused1[17];
    WORD adfFlags;  // bit 0: sheet-through, see the head of this file
    BYTE adfOption;
    BYTE unused21[3];
    DWORD adfDuplexFlags;  // bit 0: duplex is available
    WORD unused28;
    WORD maxXResolution;
    WORD maxYResolution;
    WORD minResolution;
    DWORD simplexWidth;  // widest page, one side
    DWORD unused40;
    DWORD simplexHeight;  // longest page, one side
    DWORD unused48;
    DWORD duplexWidth;
    DWORD unused56;
    DWORD duplexHeight;
    BYTE unused64[8];
    DWORD modeFlags;  // bit 0: honours the preview bit
    WORD unused76;
    BYTE colorDepths[kOstrelDepths];
    BYTE grayDepths[kOstrelDepths];
    BYTE unused94[94];
};
static_assert(sizeof(OstrelAdf2Caps) == 188);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, hasADF, 0);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, adfFlags, 18);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, adfOption, 20);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, adfDuplexFlags, 24);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, maxXResolution, 30);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, maxYResolution, 32);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, minResolution, 34);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, simplexWidth, 36);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, simplexHeight, 44);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, duplexWidth, 52);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, duplexHeight, 60);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, modeFlags, 72);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, colorDepths, 78);
OSTREL_CHECK_OFFSET(OstrelAdf2Caps, grayDepths, 86);

inline constexpr WORD OSTREL_ADF_SHEET_THROUGH = 1;
inline constexpr DWORD OSTREL_ADF_DUPLEX = 1;

// Third generation: job control and the duplex switch; stands beside the second's record.
struct OstrelAdf3Caps {
    BYTE hasADF;  // the third generation feeder is present
    BYTE unused1[21];
    BYTE hasDuplexSwitch;  // a manual one
    BYTE unused23;
    // Bit 0: software may ask for duplex all the same, bit 1: it can be read, and then decides
    // alone.
    WORD switchFlags;
    WORD unused26;
    DWORD adf3DuplexFlags;  // bit 0: duplex is available
    BYTE unused32[82];
    WORD adf3Value;
    BYTE unused116[76];
};
static_assert(sizeof(OstrelAdf3Caps) == 192);
OSTREL_CHECK_OFFSET(OstrelAdf3Caps, hasADF, 0);
OSTREL_CHECK_OFFSET(OstrelAdf3Caps, hasDuplexSwitch, 22);
OSTREL_CHECK_OFFSET(OstrelAdf3Caps, switchFlags, 24);
OSTREL_CHECK_OFFSET(OstrelAdf3Caps, adf3DuplexFlags, 28);
OSTREL_CHECK_OFFSET(OstrelAdf3Caps, adf3Value, 114);

inline constexpr WORD OSTREL_SWITCH_REQUESTABLE = 1;
inline constexpr WORD OSTREL_SWITCH_READABLE = 2;

// The transparent media adapter and its lamp.
struct OstrelXpaCaps {
    BYTE hasXPA;  // an adapter is attached
    BYTE unused1[17];
    WORD lampWarmUpXPA;  // seconds
    WORD unused20;
    WORD maxXResolution;
    WORD maxYResolution;
    WORD minResolution;
    DWORD xpaWidth;  // used when there is no media list
    DWORD unused32;
    DWORD xpaHeight;
    BYTE unused40[8];
    DWORD modeFlags;  // bit 0: honours the preview bit
    DWORD unused52;
    BYTE depths[kOstrelDepths];
    BYTE unused64[18];
    WORD xpaMediaType;
    BYTE unused84[32];
};
static_assert(sizeof(OstrelXpaCaps) == 116);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, hasXPA, 0);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, lampWarmUpXPA, 18);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, maxXResolution, 22);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, maxYResolution, 24);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, minResolution, 26);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, xpaWidth, 28);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, xpaHeight, 36);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, modeFlags, 48);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, depths, 56);
OSTREL_CHECK_OFFSET(OstrelXpaCaps, xpaMediaType, 82);

// How many frames of film the adapter has templates for.
struct OstrelMediaList {
    BYTE unused0[22];
    WORD count;  // media templates
    BYTE unused24[40];
};
static_assert(sizeof(OstrelMediaList) == 64);
OSTREL_CHECK_OFFSET(OstrelMediaList, count, 22);

struct OstrelMedia {
    DWORD unused0;
    DWORD width;
    DWORD unused8;
    DWORD height;
    DWORD unused16;
    WORD type;
    BYTE unused22[42];
};
static_assert(sizeof(OstrelMedia) == 64);
OSTREL_CHECK_OFFSET(OstrelMedia, width, 4);
OSTREL_CHECK_OFFSET(OstrelMedia, height, 12);
OSTREL_CHECK_OFFSET(OstrelMedia, type, 20);

// Which numbered values the device keeps.
struct OstrelNvramInfo {
    DWORD unused0;
    DWORD items;  // bit 0: item 1 exists, bit 3: item 8 exists
    DWORD unused8;
};
static_assert(sizeof(OstrelNvramInfo) == 12);
OSTREL_CHECK_OFFSET(OstrelNvramInfo, items, 4);

inline constexpr DWORD OSTREL_NVRAM_HAS_SCAN_COUNT = 1;
inline constexpr DWORD OSTREL_NVRAM_HAS_FIRST_USE = 8;
inline constexpr DWORD OSTREL_NVRAM_SCAN_COUNT = 1;  // 0xFFFFFFFF: never set
inline constexpr DWORD OSTREL_NVRAM_FIRST_USE = 8;   // year << 16 | day << 8 | month

// How the stream of a scan can be compressed. Quality factors have the device's own scale.
struct OstrelCompressionCaps {
    DWORD supportedTypes;  // bits: 1 uncompressed, 4 JPEG
    DWORD defaultType;
    DWORD unused8;
    DWORD minQFactor;
    DWORD maxQFactor;
    DWORD unused20;
    WORD maxResolution;  // above it along the scan the stream goes uncompressed; 0: no limit
    WORD unused26;
    DWORD colorFlags;    // bit 2: no JPEG for colour
    DWORD grayFlags;     // bit 2: no JPEG for 8-bit data
    DWORD lineArtFlags;  // bit 2: no JPEG for 1-bit data
    BYTE unused40[28];
};
static_assert(sizeof(OstrelCompressionCaps) == 68);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, supportedTypes, 0);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, defaultType, 4);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, minQFactor, 12);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, maxQFactor, 16);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, maxResolution, 24);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, colorFlags, 28);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, grayFlags, 32);
OSTREL_CHECK_OFFSET(OstrelCompressionCaps, lineArtFlags, 36);

inline constexpr DWORD OSTREL_UNCOMPRESSED = 1;
inline constexpr DWORD OSTREL_JPEG = 4;
inline constexpr DWORD OSTREL_NO_JPEG = 4;

struct OstrelPanelCaps {
    BYTE unused0[8];
    DWORD flags;  // bit 0: shows text
    BYTE unused12[132];
    DWORD buttons;
    BYTE unused148[44];
};
static_assert(sizeof(OstrelPanelCaps) == 192);
OSTREL_CHECK_OFFSET(OstrelPanelCaps, flags, 8);
OSTREL_CHECK_OFFSET(OstrelPanelCaps, buttons, 144);

struct OstrelColorMatrixCaps {
    BYTE unused0[3];
    BYTE hasMatrix;  // the device takes a colour matrix
    BYTE unused4[40];
};
static_assert(sizeof(OstrelColorMatrixCaps) == 44);
OSTREL_CHECK_OFFSET(OstrelColorMatrixCaps, hasMatrix, 3);

// A pair that the device can scan at.
struct OstrelResolution {
    WORD x;
    WORD y;
    BYTE scale;  // 2 or 4
    BYTE unused5;
};
static_assert(sizeof(OstrelResolution) == 6);
OSTREL_CHECK_OFFSET(OstrelResolution, y, 2);
OSTREL_CHECK_OFFSET(OstrelResolution, scale, 4);

inline constexpr std::size_t kOstrelMaxResolutions = 86;

struct OstrelResolutionTable {
    WORD count;
    WORD unused2;
    OstrelResolution entries[kOstrelMaxResolutions];
    BYTE unused520[4];
};
static_assert(sizeof(OstrelResolutionTable) == 524);
OSTREL_CHECK_OFFSET(OstrelResolutionTable, entries, 4);

// What a scan is to be: given to GetScanSetup, and the same again to StartScan. Left out fields are
// zero.
struct OstrelScanParams {
    DWORD left;  // 1/300 inch, as top, width and height
    DWORD top;
    DWORD width;
    DWORD height;
    DWORD colorMode;
    DWORD scanFlags;
    BYTE bitsPerSample;
    BYTE unused25;
    WORD xResolution;
    WORD yResolution;
    WORD channelMask;  // channel 1: 8, 2: 1, 3: 2, 4: 4, 5: 16; 0 in colour
    WORD source;
    BYTE unused34[50];
};
static_assert(sizeof(OstrelScanParams) == 84);
OSTREL_CHECK_OFFSET(OstrelScanParams, top, 4);
OSTREL_CHECK_OFFSET(OstrelScanParams, width, 8);
OSTREL_CHECK_OFFSET(OstrelScanParams, height, 12);
OSTREL_CHECK_OFFSET(OstrelScanParams, colorMode, 16);
OSTREL_CHECK_OFFSET(OstrelScanParams, scanFlags, 20);
OSTREL_CHECK_OFFSET(OstrelScanParams, bitsPerSample, 24);
OSTREL_CHECK_OFFSET(OstrelScanParams, xResolution, 26);
OSTREL_CHECK_OFFSET(OstrelScanParams, yResolution, 28);
OSTREL_CHECK_OFFSET(OstrelScanParams, channelMask, 30);
OSTREL_CHECK_OFFSET(OstrelScanParams, source, 32);

inline constexpr DWORD OSTREL_COLOR = 1;
inline constexpr DWORD OSTREL_ONE_CHANNEL = 2;
inline constexpr DWORD OSTREL_ONE_BIT = 4;
inline constexpr DWORD OSTREL_SCAN_PREVIEW = 1;
inline constexpr DWORD OSTREL_SCAN_TONEMAP_THRESHOLD = 8;
inline constexpr WORD OSTREL_SOURCE_FLATBED = 0;
inline constexpr WORD OSTREL_SOURCE_FEEDER = 1;
inline constexpr WORD OSTREL_SOURCE_POSITIVE = 2;  // through the adapter
inline constexpr WORD OSTREL_SOURCE_NEGATIVE = 3;

// What the device will deliver for it.
struct OstrelScanSetup {
    DWORD pixelsPerLine;
    DWORD lines;
    BYTE unused8[44];
};
static_assert(sizeof(OstrelScanSetup) == 52);
OSTREL_CHECK_OFFSET(OstrelScanSetup, lines, 4);

#undef OSTREL_CHECK_OFFSET
