#include "frontend/item_tables.h"

#include <cstring>
#include <type_traits>

#include "controller/nv_scan.h"
#include "engine/item_properties.h"
#include "frame/palette_table.h"
#include "frontend/item_values.h"
#include "profile/scan_attrib.h"

namespace {

// ---- Access, as most properties of a kind have it. Without limits there is nothing to choose.

constexpr ULONG kReadOnly = kRecordAccess;
constexpr ULONG kReadWriteRange = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_RANGE;
constexpr ULONG kReadWriteList = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_LIST;
constexpr ULONG kReadWriteFlag = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_FLAG;

// ---- Rows by kind: what a row of the tables has to say of itself, and no more

using Kind = PropertyRow::Kind;

constexpr PropertyRow LongRow(PROPID id, LPCOLESTR name, RowNumber value) {
    return {.kind = Kind::Long, .id = id, .name = name, .access = kReadOnly, .value = value};
}
constexpr PropertyRow FlagRow(PROPID id, LPCOLESTR name, ULONG access, RowNumber value,
                              RowNumber bits) {
    return {
        .kind = Kind::Flag, .id = id, .name = name, .access = access, .value = value, .low = bits};
}
constexpr PropertyRow RangeRow(PROPID id, LPCOLESTR name, RowNumber value, RowNumber low,
                               RowNumber high) {
    return {.kind = Kind::Range,
            .id = id,
            .name = name,
            .access = kReadWriteRange,
            .value = value,
            .low = low,
            .high = high};
}
constexpr PropertyRow ListRow(PROPID id, LPCOLESTR name, ULONG access, RowNumber value,
                              RowList list) {
    return {
        .kind = Kind::List, .id = id, .name = name, .access = access, .value = value, .list = list};
}
constexpr PropertyRow TextRow(PROPID id, LPCOLESTR name, ULONG access, LPCOLESTR text) {
    return {.kind = Kind::Text, .id = id, .name = name, .access = access, .text = text};
}
constexpr PropertyRow GuidRow(Kind kind, PROPID id, LPCOLESTR name, ULONG access,
                              std::span<const GUID> guids) {
    return {.kind = kind, .id = id, .name = name, .access = access, .guids = guids};
}

// ---- Values

constexpr LONG kReadAndWrite = 3;  // the rights of an item
constexpr LONG kOffOn[] = {0, 1};

constexpr LONG kMaxScanTime = 500000;  // milliseconds
constexpr LONG kMaxPages = 50;
// The same on every device; the select's valid bits tell what this one has.
constexpr LONG kDocumentHandling =
    FEED | FLAT | DUP | DETECT_FEED | DETECT_FEED_AVAIL | DETECT_DUP_AVAIL;

// Two colour lines of 8.6 inches at 4800 dots per inch. Clients may have larger buffers.
constexpr LONG kMinBufferBytes = 0x40000;
// A step is 512 of the engine's 65536 steps of light.
constexpr LONG kDefaultThreshold = 55;
constexpr LONG kMaxThreshold = 128;
// Brightness and contrast in thousandths; the engine has 128 steps for them.
constexpr LONG kFullExposure = 1000;
constexpr LONG kIntents = WIA_INTENT_IMAGE_TYPE_COLOR | WIA_INTENT_IMAGE_TYPE_GRAYSCALE |
                          WIA_INTENT_IMAGE_TYPE_TEXT | WIA_INTENT_MINIMIZE_SIZE |
                          WIA_INTENT_MAXIMIZE_QUALITY;
constexpr LONG kDataTypes[] = {WIA_DATA_THRESHOLD, WIA_DATA_DITHER, WIA_DATA_GRAYSCALE,
                               WIA_DATA_COLOR};
// Those that a data type has; 16 bits a pixel would be none.
constexpr LONG kDepths[] = {1, 8, 24};
constexpr LONG kChannelBits[] = {1, 8};
constexpr LONG kChannels[] = {1, 3};
// A bitmap without its file's header goes through the callback, one with it into a file.
constexpr LONG kMedia[] = {TYMED_CALLBACK, TYMED_FILE};
constexpr GUID kFormats[] = {WiaImgFmt_MEMORYBMP, WiaImgFmt_BMP};
constexpr GUID kPreferredFormat[] = {WiaImgFmt_MEMORYBMP};
// Written as a list of one: without valid values to hold against, the driver's rule compares.
constexpr ULONG kProfileAccess = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_NONE | WIA_PROP_LIST;

// All three colours, one of the sensors, the gray of the television norm, the device's own gray.
constexpr LONG kScannerChannels[] = {0, 2, 3, 4, 1, 5};
// Of tone levels in both directions, and of hues, which are vectors in hundredths.
constexpr LONG kFullLevel = 100;
constexpr LONG kDefaultGamma = 2200;  // thousandths
constexpr LONG kMaxGamma = 4000;
constexpr LONG kDefaultSharpen = 2;
constexpr LONG kMaxSharpen = 5;
constexpr LONG kFullSaturation = 1000;  // thousandths
constexpr LONG kMaxSaturation = 1500;

// None, the two fixed ones, and the client's own; one made from the image takes a pass of its own,
// for which a scanner's lines don't come twice.
constexpr LONG kPalettes[] = {0, QL_PALETTE_SYSTEM, QL_PALETTE_CUBE, QL_PALETTE_USER};

constexpr LPCOLESTR kPrivateName = u"Private Property";

// ---- The items

// clang-format off
constexpr PropertyRow kRootRows[] = {
    LongRow(WIA_DPS_HORIZONTAL_BED_SIZE, u"Horizontal Bed Size", kBedWidth),
    LongRow(WIA_DPS_VERTICAL_BED_SIZE, u"Vertical Bed Size", kBedHeight),
    LongRow(WIA_DPS_HORIZONTAL_SHEET_FEED_SIZE, u"Horizontal Sheet Feed Size", kSheetWidth),
    LongRow(WIA_DPS_VERTICAL_SHEET_FEED_SIZE, u"Vertical Sheet Feed Size", kSheetHeight),
    LongRow(WIA_IPA_ACCESS_RIGHTS, u"Access Rights", kReadAndWrite),
    LongRow(WIA_DPS_OPTICAL_XRES, u"Horizontal Optical Resolution", kOptical),
    LongRow(WIA_DPS_OPTICAL_YRES, u"Vertical Optical Resolution", kOptical),
    TextRow(WIA_DPA_FIRMWARE_VERSION, u"Firmware Version", kReadOnly, nullptr),
    LongRow(WIA_DPS_MAX_SCAN_TIME, u"Max Scan Time", kMaxScanTime),
    ListRow(WIA_DPS_PREVIEW, u"Preview", kReadWriteList, 0, kOffOn),
    LongRow(WIA_DPS_SHOW_PREVIEW_CONTROL, u"Show preview control", kHasFeeder),
    LongRow(WIA_DPS_SHEET_FEEDER_REGISTRATION, u"Sheet Feeder Registration", 0),
    LongRow(WIA_DPS_VERTICAL_BED_REGISTRATION, u"Vertical Bed Registration", 0),
    LongRow(WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, u"Document Handling Capabilities", kDocumentHandling),
    FlagRow(WIA_DPS_DOCUMENT_HANDLING_SELECT, u"Document Handling Select", kReadWriteFlag, kSelect, kSelectBits),
    LongRow(WIA_DPS_DOCUMENT_HANDLING_STATUS, u"Document Handling Status", kStatus),
    RangeRow(WIA_DPS_PAGES, u"Pages", 1, 0, kMaxPages),
    ListRow(QL_PROP_TMA_SELECT, u"TMA Select", kReadWriteList, kAdapterChosen, kOffOn),
    LongRow(QL_PROP_PAGE_RESULT, u"Page Result", S_OK),
};

constexpr PropertyRow kTopRows[] = {
    ListRow(WIA_IPS_XRES, u"Horizontal Resolution", kReadWriteList, kDefaultResolution, kResolutionsAcross),
    ListRow(WIA_IPS_YRES, u"Vertical Resolution", kReadWriteList, kDefaultResolution, kResolutionsAlong),
    RangeRow(WIA_IPS_XEXTENT, u"Horizontal Extent", kPixels, 0, kPixels),
    RangeRow(WIA_IPS_YEXTENT, u"Vertical Extent", kLines, 0, kLines),
    LongRow(WIA_IPA_PIXELS_PER_LINE, u"Pixels Per Line", kPixels),
    LongRow(WIA_IPA_NUMBER_OF_LINES, u"Number of Lines", kLines),
    RangeRow(WIA_IPS_XPOS, u"Horizontal Start Position", 0, 0, kPixels),
    RangeRow(WIA_IPS_YPOS, u"Vertical Start Position", 0, 0, kLines),
    RangeRow(WIA_IPS_BRIGHTNESS, u"Brightness", 0, -kFullExposure, kFullExposure),
    RangeRow(WIA_IPS_CONTRAST, u"Contrast", 0, -kFullExposure, kFullExposure),
    FlagRow(WIA_IPS_CUR_INTENT, u"Current Intent", kReadWriteFlag, WIA_INTENT_NONE, kIntents),
    ListRow(WIA_IPA_DATATYPE, u"Data Type", kReadWriteList, WIA_DATA_COLOR, kDataTypes),
    ListRow(WIA_IPA_DEPTH, u"Bits Per Pixel", kReadWriteList, 24, kDepths),
    LongRow(WIA_IPA_MIN_BUFFER_SIZE, u"Minimum Buffer Size", kMinBufferBytes),
    ListRow(WIA_IPA_BITS_PER_CHANNEL, u"Bits Per Channel", kReadWriteList, 8, kChannelBits),
    ListRow(WIA_IPA_CHANNELS_PER_PIXEL, u"Channels Per Pixel", kReadOnly, 3, kChannels),
    RangeRow(WIA_IPS_THRESHOLD, u"Threshold", kDefaultThreshold, 0, kMaxThreshold),
    LongRow(WIA_IPA_COMPRESSION, u"Compression", 0),
    TextRow(WIA_IPA_FILENAME_EXTENSION, u"Filename extension", kReadOnly, u"BMP"),
    GuidRow(Kind::GuidList, WIA_IPA_FORMAT, u"Format", kReadWriteList, kFormats),
    GuidRow(Kind::Guid, WIA_IPA_PREFERRED_FORMAT, u"Preferred Format", kReadOnly, kPreferredFormat),
    TextRow(WIA_IPA_ICM_PROFILE_NAME, u"Color Profile Name", kProfileAccess, kColorProfileName),
    LongRow(WIA_IPA_ITEM_SIZE, u"Item Size", 0),
    LongRow(WIA_IPA_PLANAR, u"Planar", 0),
    ListRow(WIA_IPA_TYMED, u"Media Type", kReadWriteList, TYMED_CALLBACK, kMedia),
    LongRow(WIA_IPA_ACCESS_RIGHTS, u"Access Rights", kReadAndWrite),
    LongRow(WIA_IPS_PHOTOMETRIC_INTERP, u"Photometric Interpretation", 0),
    LongRow(WIA_IPA_BYTES_PER_LINE, u"Bytes Per Line", 0),
};

constexpr PropertyRow kUserRows[] = {
    ListRow(QL_PROP_SCANNER_CHANNEL, u"Scanner Channel", kReadWriteList, 0, kScannerChannels),
    ListRow(QL_PROP_EXPOSURE_METHOD, u"Exposure Method", kReadWriteList, 0, kOffOn),
    ListRow(QL_PROP_TMA_METHOD, u"TMA Method", kReadWriteList, 0, kOffOn),
    RangeRow(QL_PROP_HIGHLIGHT_LEVEL, u"Highlight Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_MIDTONE_LEVEL, u"Midtone Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_SHADOW_LEVEL, u"Shadow Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_GAMMA, u"Gamma", kDefaultGamma, 0, kMaxGamma),
    RangeRow(QL_PROP_HUE_X, u"Hue X", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_HUE_Y, u"Hue Y", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_SHARPEN_LEVEL, u"Sharpen Level", kDefaultSharpen, 0, kMaxSharpen),
    RangeRow(QL_PROP_SATURATION, u"Saturation", kFullSaturation, 0, kMaxSaturation),
    ListRow(QL_PROP_ROTATION, u"Rotation", kReadWriteList, 0, QL_TURNS),
    ListRow(QL_PROP_MIRROR, u"Mirror", kReadWriteList, 0, kOffOn),
    RangeRow(QL_PROP_SMOOTHING, u"Smoothing", 1, 0, 2),
    RangeRow(QL_PROP_STREAKS, u"Streak Removal", 0, 0, QL_MOST_STREAK_REMOVAL),
    RangeRow(QL_PROP_STREAK_DETAIL, u"Streak Detail Channel", 0, 0, QL_STREAK_CHANNELS),
    ListRow(QL_PROP_PALETTE, u"Palette", kReadWriteList, 0, kPalettes),
};

// What setGeomControl says of the scan to come; nobody in the driver reads it.
constexpr PropertyRow kScaleRows[] = {
    FlagRow(kScaleProperty, kPrivateName, kReadOnly, 0, 0),
};
// clang-format on

// ---- The records
//
// Their padding is part of what goes out, and always 0.

// From the controller of an open device.
template <class Record, HRESULT (CNVScan::*getter)(Record*)>
HRESULT FromScan(CNVScan& scan, BYTE* bytes) {
    static_assert(sizeof(Record) <= kLargestRecord && std::is_trivially_copyable_v<Record>);
    Record record;
    std::memset(&record, 0, sizeof(record));
    const HRESULT hr = (scan.*getter)(&record);
    if (SUCCEEDED(hr))
        std::memcpy(bytes, &record, sizeof(record));
    return hr;
}

// From a model's tables without a device; that can't fail.
template <class Record, void (CScanAttrib::*getter)(Record&) const>
void FromAttrib(const CScanAttrib& attrib, BYTE* bytes) {
    Record record;
    std::memset(&record, 0, sizeof(record));
    (attrib.*getter)(record);
    std::memcpy(bytes, &record, sizeof(record));
}

template <class Record, HRESULT (CNVScan::*ofScan)(Record*),
          void (CScanAttrib::*ofAttrib)(Record&) const>
constexpr RecordRow Row(PROPID id, LPCOLESTR name, const char* content, ScanTable table) {
    return {id,
            name,
            content,
            table,
            sizeof(Record),
            &FromScan<Record, ofScan>,
            &FromAttrib<Record, ofAttrib>};
}

// The controller's getter has the name of the model's, which it forwards to. Profiles have one
// table for both records of slides.
#define NVQ_RECORD(Record, getter) Row<Record, &CNVScan::getter, &CScanAttrib::getter>
// clang-format off
constexpr RecordRow kRecordRows[] = {
    NVQ_RECORD(DefaultsRecord, getDefaults)(QL_PROP_DEFAULTS, u"Private Defaults", "defaults", ScanTable::Defaults),
    NVQ_RECORD(ScanMatrix, getFlatbedMatrix)(QL_PROP_FLATBED_MATRIX, kPrivateName, "flatbed matrix", ScanTable::Flatbed),
    NVQ_RECORD(ScanMatrix, getSlideMatrix)(QL_PROP_SLIDE_MATRIX, kPrivateName, "slide matrix", ScanTable::Slide),
    NVQ_RECORD(ScanMatrix, getAdfMatrix)(QL_PROP_FEEDER_MATRIX, kPrivateName, "feeder matrix", ScanTable::Adf),
    NVQ_RECORD(NegMatrix, getNegMatrix)(QL_PROP_DENSITY_MATRIX, kPrivateName, "negative matrix", ScanTable::Neg6x3),
    NVQ_RECORD(ScanMatrix, getPostMatrix)(QL_PROP_POST_MATRIX, kPrivateName, "post matrix", ScanTable::Post),
    NVQ_RECORD(CoeffRecord, getFlatbedCoeffs)(QL_PROP_FLATBED_COEFFS, kPrivateName, "flatbed coefficients", ScanTable::FlatbedCoeffs2),
    NVQ_RECORD(CoeffRecord, getAdfCoeffs)(QL_PROP_FEEDER_COEFFS, kPrivateName, "feeder coefficients", ScanTable::AdfCoeffs),
    NVQ_RECORD(CoeffRecord, getSlideCoeffs)(QL_PROP_SLIDE_COEFFS, kPrivateName, "slide coefficients", ScanTable::SlideCoeffs),
    NVQ_RECORD(CoeffRecord, getSlideCoeffsAlias)(QL_PROP_SLIDE_COEFFS_B, kPrivateName, "second slide coefficients", ScanTable::SlideCoeffs),
    NVQ_RECORD(CoeffRecord, getNegCoeffs)(QL_PROP_NEG_COEFFS, kPrivateName, "negative coefficients", ScanTable::NegCoeffs),
    NVQ_RECORD(GrayRecord, getGrayTable)(QL_PROP_GRAY, kPrivateName, "gray weights and curve", ScanTable::Gray),
};
// clang-format on
#undef NVQ_RECORD

}  // namespace

std::span<const PropertyRow> RootRows() {
    return kRootRows;
}

std::span<const PropertyRow> TopRows() {
    return kTopRows;
}

std::span<const PropertyRow> UserRows() {
    return kUserRows;
}

std::span<const PropertyRow> ScaleRows() {
    return kScaleRows;
}

std::span<const RecordRow> RecordRows() {
    return kRecordRows;
}
