// Rules that make the properties of the scanned item fit each other: image type, resolution, window
// and the sizes that follow from them. One rule a function; a failed write is kept in the trace,
// and the rule goes on.
#include <algorithm>
#include <iterator>
#include <limits>

#include "diag/function_trace.h"
#include "engine/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/validation_call.h"
#include "platform/bitmap_headers.h"

namespace {

constexpr LONG kQualityResolution = 300;
constexpr LONG kNoIntent = 8;  // a bit of the image type that means none

struct NewValue {
    PROPID id;
    LONG value;
};

// What an intent makes of the image type. A channel that was selected before would leave two thirds
// of the colours out.
struct IntentRow {
    LONG key;
    NewValue values[5];
};
constexpr IntentRow kIntentTypes[] = {
    {WIA_INTENT_IMAGE_TYPE_COLOR,
     {{WIA_IPA_DATATYPE, WIA_DATA_COLOR},
      {WIA_IPA_DEPTH, 24},
      {WIA_IPA_BITS_PER_CHANNEL, 8},
      {WIA_IPA_CHANNELS_PER_PIXEL, 3},
      {QL_PROP_SCANNER_CHANNEL, kChannelColor}}},
    {WIA_INTENT_IMAGE_TYPE_GRAYSCALE,
     {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE},
      {WIA_IPA_DEPTH, 8},
      {WIA_IPA_BITS_PER_CHANNEL, 8},
      {WIA_IPA_CHANNELS_PER_PIXEL, 1}}},
    {WIA_INTENT_IMAGE_TYPE_TEXT,
     {{WIA_IPA_DATATYPE, WIA_DATA_THRESHOLD},
      {WIA_IPA_DEPTH, 1},
      {WIA_IPA_BITS_PER_CHANNEL, 1},
      {WIA_IPA_CHANNELS_PER_PIXEL, 1}}},
};

// Depths are channels x bits.
constexpr LONG kAsTheyAre = 0;  // 8 or 16 bits
struct DataTypeRow {
    LONG key;
    LONG channels;
    LONG bits;
    bool selectsChannel;
    bool byTonemap;  // the threshold
};
constexpr DataTypeRow kDataTypes[] = {
    {WIA_DATA_THRESHOLD, 1, 1, true, false},
    {WIA_DATA_DITHER, 1, 1, true, true},
    {WIA_DATA_GRAYSCALE, 1, kAsTheyAre, true, false},
    {WIA_DATA_COLOR, 3, kAsTheyAre, false, false},
};

struct ChannelBitsRow {
    LONG key;
    LONG dataType;
    LONG channels;
};
constexpr ChannelBitsRow kChannelBits[] = {
    {1, WIA_DATA_THRESHOLD, 1},
    {8, WIA_DATA_COLOR, 3},
    {16, WIA_DATA_COLOR, 3},
};

// Null if the table has no row for it.
template <class Row, std::size_t count>
const Row* FindRow(const Row (&rows)[count], LONG key) {
    const Row* found = std::find_if(std::begin(rows), std::end(rows),
                                    [key](const Row& row) { return row.key == key; });
    return found == std::end(rows) ? nullptr : found;
}

struct Axis {
    PROPID resolution;
    PROPID position;
    PROPID extent;
    PROPID count;
};
constexpr Axis kAxes[ValidationCall::kAxes] = {
    {WIA_IPS_XRES, WIA_IPS_XPOS, WIA_IPS_XEXTENT, WIA_IPA_PIXELS_PER_LINE},
    {WIA_IPS_YRES, WIA_IPS_YPOS, WIA_IPS_YEXTENT, WIA_IPA_NUMBER_OF_LINES},
};

constexpr LONG kRangeStep = 1;

HRESULT SetRange(BYTE* item, PROPID id, LONG maximum) {
    return wiasSetValidRangeLong(item, id, 0, 0, maximum, kRangeStep);
}

// A value that counts as changed from now on. The mark's own result means nothing: a context that
// couldn't be made has no marks.
HRESULT WriteChanged(BYTE* item, ValidationCall& call, PROPID id, LONG value) {
    const HRESULT hr = wiasWritePropLong(item, id, value);
    wiasSetPropChanged(id, &call.context, TRUE);
    return hr;
}

}  // namespace

// ---- Image type

HRESULT CNVwiaMiniDrv::ValidateIntent(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateIntent");
    WIAS_CHANGED_VALUE_INFO intent = {};
    trace.SetResult(
        wiasGetChangedValueLong(item, &call.context, FALSE, WIA_IPS_CUR_INTENT, &intent));
    if (FAILED(trace.GetResult()) || !intent.bChanged)
        return trace.GetResult();
    const LONG type = intent.Current.lVal & WIA_INTENT_IMAGE_TYPE_MASK;
    if (type == WIA_INTENT_NONE || type == kNoIntent)
        return trace.GetResult();
    const IntentRow* row = FindRow(kIntentTypes, type);
    if (!row)
        return trace.SetResult(E_INVALIDARG).GetResult();
    for (const NewValue& made : row->values) {
        if (made.id != 0)
            trace.SetResult(wiasWritePropLong(item, made.id, made.value));
    }
    switch (intent.Current.lVal & WIA_INTENT_SIZE_MASK) {
        case WIA_INTENT_MINIMIZE_SIZE:
            trace.SetResult(MinimizeSize(item, call));
            break;
        case WIA_INTENT_MAXIMIZE_QUALITY:
            trace.SetResult(MaximizeQuality(item, call));
            break;
        default:
            break;
    }
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::MinimizeSize(BYTE* item, ValidationCall& call) {
    constexpr LONG kFlatbedUnlessTold = 0;
    const ScanSource source = ResolveSource(item, kFlatbedUnlessTold);
    DWORD resolution = 0;
    HRESULT hr = m_pScan->getDefaultResolution(source.useXPA, source.useADF, &resolution);
    if (FAILED(hr))
        return hr;
    for (const Axis& axis : kAxes)
        hr = WriteChanged(item, call, axis.resolution, static_cast<LONG>(resolution));
    return hr;
}

HRESULT CNVwiaMiniDrv::MaximizeQuality(BYTE* item, ValidationCall& call) {
    HRESULT hr = S_OK;
    for (const Axis& axis : kAxes) {
        LONG resolution = 0;
        if (call.Wrote(axis.resolution))
            continue;
        hr = ReadItemLong(item, axis.resolution, &resolution);
        if (SUCCEEDED(hr) && resolution < kQualityResolution)
            hr = WriteChanged(item, call, axis.resolution, kQualityResolution);
    }
    return hr;
}

HRESULT CNVwiaMiniDrv::ValidateDataType(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateDataType");
    WIAS_CHANGED_VALUE_INFO type = {};
    trace.SetResult(wiasGetChangedValueLong(item, &call.context, TRUE, WIA_IPA_DATATYPE, &type));
    if (SUCCEEDED(trace.GetResult()) && type.bChanged)
        trace.SetResult(ApplyDataType(item, call, type.Current.lVal));
    return trace.GetResult();
}

// A selected channel means something else to each data type.
HRESULT CNVwiaMiniDrv::ValidateChannel(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateChannel");
    LONG type = 0;
    if (SUCCEEDED(trace.SetResult(ReadItemLong(item, WIA_IPA_DATATYPE, &type)).GetResult()))
        trace.SetResult(ApplyDataType(item, call, type));
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::ApplyDataType(BYTE* item, ValidationCall& call, LONG type) {
    const DataTypeRow* row = FindRow(kDataTypes, type);
    if (!row)
        return E_INVALIDARG;
    CFunctionTrace trace("CNVwiaMiniDrv::ApplyDataType");
    LONG bits = 0;
    LONG channel = 0;
    trace.SetResult(ReadItemLong(item, WIA_IPA_BITS_PER_CHANNEL, &bits));
    trace.SetResult(ReadItemLong(item, QL_PROP_SCANNER_CHANNEL, &channel));
    if (row->bits != kAsTheyAre)
        bits = row->bits;
    else if (bits != 16)
        bits = 8;
    DataFormat format = {kChannelColor, static_cast<DWORD>(bits), 0};
    if (row->selectsChannel)
        format.channel = static_cast<DWORD>(channel);
    bool byTonemap = false;
    if (row->byTonemap)
        trace.SetResult(m_pScan->isThresholdTonemap(&byTonemap));
    if (byTonemap)
        trace.SetResult(m_pScan->getThresholdValue(&format.threshold));
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    trace.SetResult(
        wiasWritePropLong(item, QL_PROP_SCANNER_CHANNEL, static_cast<LONG>(format.channel)));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_BITS_PER_CHANNEL, bits));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_CHANNELS_PER_PIXEL, row->channels));
    trace.SetResult(WriteChanged(item, call, WIA_IPA_DEPTH, row->channels * bits));
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::ValidateBPC(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateBPC");
    WIAS_CHANGED_VALUE_INFO bits = {};
    trace.SetResult(
        wiasGetChangedValueLong(item, &call.context, TRUE, WIA_IPA_BITS_PER_CHANNEL, &bits));
    if (FAILED(trace.GetResult()) || !bits.bChanged)
        return trace.GetResult();
    const LONG value = bits.Current.lVal;
    const ChannelBitsRow* row = FindRow(kChannelBits, value);
    if (!row)
        return trace.SetResult(E_INVALIDARG).GetResult();
    // A client that has chosen the type as well gets what that makes of the bits.
    if (call.Wrote(WIA_IPA_DATATYPE))
        return trace.GetResult();
    DataFormat format = {kChannelColor, static_cast<DWORD>(value), 0};
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_DATATYPE, row->dataType));
    trace.SetResult(
        wiasWritePropLong(item, QL_PROP_SCANNER_CHANNEL, static_cast<LONG>(format.channel)));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_CHANNELS_PER_PIXEL, row->channels));
    trace.SetResult(WriteChanged(item, call, WIA_IPA_DEPTH, row->channels * value));
    return trace.GetResult();
}

// ---- Resolution and window

// The window keeps its place and reaches to the far edge, counted from where it was before the
// call. It follows once to a resolution, however many of the written properties ask for it.
HRESULT CNVwiaMiniDrv::ValidateResolution(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateResolution");
    const LONG beds[] = {m_lBedWidth, m_lBedHeight};
    for (std::size_t i = 0; i < ValidationCall::kAxes; ++i) {
        const Axis& axis = kAxes[i];
        WIAS_CHANGED_VALUE_INFO resolution = {};
        trace.SetResult(
            wiasGetChangedValueLong(item, &call.context, TRUE, axis.resolution, &resolution));
        const LONG current = resolution.Current.lVal;
        // An intent may name the resolution that was there.
        const bool changed =
            resolution.bChanged && (call.Wrote(axis.resolution) || current != resolution.Old.lVal);
        if (FAILED(trace.GetResult()) || !changed || current == call.followed[i])
            continue;
        call.followed[i] = current;
        const LONG maximum = PixelsOf(beds[i], current);
        LONG position = 0;
        LONG positionBefore = 0;
        LONG extent = 0;
        trace.SetResult(wiasReadPropLong(item, axis.position, &position, &positionBefore, TRUE));
        trace.SetResult(ReadItemLong(item, axis.extent, &extent));
        // What the client wrote is meant for the new resolution.
        if (!call.Wrote(axis.position) && resolution.Old.lVal > 0) {
            const double ratio = static_cast<double>(current) / resolution.Old.lVal;
            position = TruncToI32(positionBefore * ratio);
        }
        if (!call.Wrote(axis.extent))
            extent = Clamp(std::int64_t{maximum} - position, 0, maximum);
        call.shortened[i] = false;
        trace.SetResult(SetRange(item, axis.extent, maximum));
        trace.SetResult(SetRange(item, axis.position, maximum));
        trace.SetResult(WriteChanged(item, call, axis.count, extent));
        trace.SetResult(WriteChanged(item, call, axis.position, position));
        trace.SetResult(WriteChanged(item, call, axis.extent, extent));
    }
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::ValidateExtents(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateExtents");
    const LONG beds[] = {m_lBedWidth, m_lBedHeight};
    LONG extents[ValidationCall::kAxes] = {};
    for (std::size_t i = 0; i < ValidationCall::kAxes; ++i) {
        const Axis& axis = kAxes[i];
        WIAS_CHANGED_VALUE_INFO position = {};
        WIAS_CHANGED_VALUE_INFO extent = {};
        LONG resolution = 0;
        trace.SetResult(
            wiasGetChangedValueLong(item, &call.context, TRUE, axis.position, &position));
        trace.SetResult(wiasGetChangedValueLong(item, &call.context, TRUE, axis.extent, &extent));
        trace.SetResult(ReadItemLong(item, axis.resolution, &resolution));
        const LONG maximum = PixelsOf(beds[i], resolution);
        const LONG room = Clamp(std::int64_t{maximum} - position.Current.lVal, 0, maximum);
        extents[i] = position.Current.lVal > maximum ? 0 : Clamp(extent.Current.lVal, 0, maximum);
        if (std::int64_t{position.Current.lVal} + extents[i] > maximum) {
            extents[i] = room;
            call.shortened[i] = true;
            trace.SetResult(SetRange(item, axis.extent, room));
        } else if (call.Wrote(axis.position) && !call.shortened[i]) {
            // A window that was moved back may grow again.
            trace.SetResult(SetRange(item, axis.extent, maximum));
        }
    }
    for (std::size_t i = 0; i < ValidationCall::kAxes; ++i) {
        trace.SetResult(WriteChanged(item, call, kAxes[i].extent, extents[i]));
        trace.SetResult(WriteChanged(item, call, kAxes[i].count, extents[i]));
    }
    return trace.GetResult();
}

// The device's exact counts hold where it scans at the wanted resolution; otherwise the scaler
// delivers the window.
HRESULT CNVwiaMiniDrv::ValidateImageSize(BYTE* item, ValidationCall&) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateImageSize");
    GeomControl geometry = {};
    DWORD scanPixelWidth = 0;
    DWORD scanLines = 0;
    trace.SetResult(ValidateWidthHeight(item, geometry, scanPixelWidth, scanLines));
    if (FAILED(trace.GetResult())) {
        m_pLog->Format(kLogInformation, "ValidateWidthHeight failed hr %d", trace.GetResult());
        return trace.GetResult();
    }
    const LONG pixels =
        geometry.xRes == geometry.scanXRes ? static_cast<LONG>(scanPixelWidth) : geometry.xExtent2;
    const LONG lines =
        geometry.yRes == geometry.scanYRes ? static_cast<LONG>(scanLines) : geometry.yExtent2;
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_PIXELS_PER_LINE, pixels));
    trace.SetResult(wiasWritePropLong(item, WIA_IPS_XEXTENT, pixels));
    LONG depth = 0;
    trace.SetResult(ReadItemLong(item, WIA_IPA_DEPTH, &depth));
    const std::int64_t stride = BitmapStride(std::max(pixels, LONG{0}), std::max(depth, LONG{0}));
    trace.SetResult(wiasWritePropLong(
        item, WIA_IPA_BYTES_PER_LINE,
        static_cast<LONG>(std::min<std::int64_t>(stride, std::numeric_limits<LONG>::max()))));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_NUMBER_OF_LINES, lines));
    trace.SetResult(wiasWritePropLong(item, WIA_IPS_YEXTENT, lines));
    return trace.GetResult();
}
