// The standard properties of the item that is scanned, made for the source that is chosen. They are
// made anew with each change of the source.
#include "diag/function_trace.h"
#include "engine/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/property_rows.h"

namespace {

// An empty feeder, of a device that has nothing else.
constexpr HRESULT kFeederOnlyEmpty = MakeResult(0x80040012);

// What the build works out, in pixels.
enum TopNumber { kPixels, kLines, kTopNumbers };

constexpr RowNumber Of(TopNumber place) {
    return RowNumber::Computed(place);
}

constexpr LONG kReadAndWrite = 3;
constexpr LONG kMinBufferBytes = 0x40000;
constexpr LONG kDefaultThreshold = 55;
constexpr LONG kMaxThreshold = 128;
constexpr LONG kFullExposure = 1000;
constexpr LONG kIntents = WIA_INTENT_IMAGE_TYPE_COLOR | WIA_INTENT_IMAGE_TYPE_GRAYSCALE |
                          WIA_INTENT_IMAGE_TYPE_TEXT | WIA_INTENT_MINIMIZE_SIZE |
                          WIA_INTENT_MAXIMIZE_QUALITY;

constexpr LONG kDataTypes[] = {WIA_DATA_THRESHOLD, WIA_DATA_DITHER, WIA_DATA_GRAYSCALE,
                               WIA_DATA_COLOR};
constexpr LONG kDepths[] = {1, 8, 16, 24};
constexpr LONG kChannelBits[] = {1, 8};
constexpr LONG kChannels[] = {1, 3};
constexpr LONG kMedia[] = {TYMED_CALLBACK, TYMED_FILE};
constexpr GUID kFormats[] = {WiaImgFmt_MEMORYBMP, WiaImgFmt_BMP};
constexpr GUID kPreferredFormat[] = {WiaImgFmt_MEMORYBMP};
constexpr ULONG kProfileAccess = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_NONE | WIA_PROP_LIST;

// Behind the two resolutions, whose lists are the device's.
// clang-format off
constexpr PropertyRow kTopRows[] = {
    RangeRow(WIA_IPS_XEXTENT, u"Horizontal Extent", Of(kPixels), 0, Of(kPixels)),
    RangeRow(WIA_IPS_YEXTENT, u"Vertical Extent", Of(kLines), 0, Of(kLines)),
    LongRow(WIA_IPA_PIXELS_PER_LINE, u"Pixels Per Line", Of(kPixels)),
    LongRow(WIA_IPA_NUMBER_OF_LINES, u"Number of Lines", Of(kLines)),
    RangeRow(WIA_IPS_XPOS, u"Horizontal Start Position", 0, 0, Of(kPixels)),
    RangeRow(WIA_IPS_YPOS, u"Vertical Start Position", 0, 0, Of(kLines)),
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
    GuidListRow(WIA_IPA_FORMAT, u"Format", kFormats),
    GuidRow(WIA_IPA_PREFERRED_FORMAT, u"Preferred Format", kPreferredFormat),
    TextRow(WIA_IPA_ICM_PROFILE_NAME, u"Color Profile Name", kProfileAccess, kColorProfileName),
    LongRow(WIA_IPA_ITEM_SIZE, u"Item Size", 0),
    LongRow(WIA_IPA_PLANAR, u"Planar", 0),
    ListRow(WIA_IPA_TYMED, u"Media Type", kReadWriteList, TYMED_CALLBACK, kMedia),
    LongRow(WIA_IPA_ACCESS_RIGHTS, u"Access Rights", kReadAndWrite),
    LongRow(WIA_IPS_PHOTOMETRIC_INTERP, u"Photometric Interpretation", 0),
    LongRow(WIA_IPA_BYTES_PER_LINE, u"Bytes Per Line", 0),
};
// clang-format on

std::span<const LONG> ListOf(const LONG (&list)[kGeomResolutions], LONG count) {
    return {list, static_cast<std::size_t>(Clamp(count, 0, kGeomResolutions))};
}

}  // namespace

HRESULT CNVwiaMiniDrv::BuildTopItemProperties(BYTE* pWiasContext) {
    CFunctionTrace trace("CNVwiaMiniDrv::BuildTopItemProperties");
    m_topProps.ClearError();
    if (FAILED(trace.SetResult(BuildRootFirst(pWiasContext)).GetResult()))
        return trace.GetResult();
    constexpr LONG kFlatbedUnlessTold = 0;
    const ScanSource source = ResolveSource(pWiasContext, kFlatbedUnlessTold);
    GeomControl geometry = {};
    if (FAILED(trace.SetResult(ChooseForProperties(source)).GetResult()) ||
        FAILED(trace.SetResult(m_pScan->getGeomControl(&geometry)).GetResult()))
        return trace.GetResult();
    m_lBedWidth = ThousandthsOf(geometry.maxWidth);
    m_lBedHeight = ThousandthsOf(geometry.maxHeight);
    trace.SetResult(m_pScan->getDefaultResolution(source.useXPA, source.useADF, &m_defaultRes));
    m_pLog->Format(kLogInformation,
                   "BuildTopItemProp m_defaultRes hr %d: bUseResList %d:useADF %d useTMA %d "
                   "useDuplex %d",
                   m_defaultRes, 0, source.useADF, source.useXPA, source.duplex);
    // The new properties say colour.
    DataFormat format;
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    AddTopProperties(geometry);
    m_bTopBuilt = true;
    if (FAILED(trace.SetResult(m_topProps.GetError()).GetResult()))
        return trace.GetResult();
    return trace.SetResult(m_topProps.Commit(pWiasContext)).GetResult();
}

HRESULT CNVwiaMiniDrv::BuildRootFirst(BYTE* pWiasContext) {
    if (m_bRootBuilt)
        return S_OK;
    BYTE* root = nullptr;
    const HRESULT hr = wiasGetRootItem(pWiasContext, &root);
    return FAILED(hr) ? hr : BuildRootItemProperties(root);
}

// A device that has nothing but its feeder shows what that can do also while it is empty.
HRESULT CNVwiaMiniDrv::ChooseForProperties(const ScanSource& source) {
    const HRESULT hr = m_pScan->firstScanInit(&source);
    if (hr == kFeederOnlyEmpty) {
        m_pScan->releaseScanner();
        return S_OK;
    }
    if (FAILED(hr))
        m_pLog->Format(kLogInformation, "BuildTopItemProperties: firstScanInit failed hr %d", hr);
    return hr;
}

void CNVwiaMiniDrv::AddTopProperties(const GeomControl& geometry) {
    const auto resolution = static_cast<LONG>(m_defaultRes);
    m_topProps.AddList(WIA_IPS_XRES, u"Horizontal Resolution", kReadWriteList, resolution,
                       resolution, ListOf(geometry.xResList, geometry.xResCount));
    m_topProps.AddList(WIA_IPS_YRES, u"Vertical Resolution", kReadWriteList, resolution, resolution,
                       ListOf(geometry.yResList, geometry.yResCount));
    LONG numbers[kTopNumbers] = {};
    numbers[kPixels] = PixelsOf(m_lBedWidth, resolution);
    numbers[kLines] = PixelsOf(m_lBedHeight, resolution);
    AddRows(m_topProps, kTopRows, numbers);
}
