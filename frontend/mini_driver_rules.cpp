// Rules that make the properties of the scanned item fit each other: image type, resolution, window
// and the sizes that follow from them. One rule a function; a failed write is kept in the trace,
// and the rule goes on.
//
// Values that a client has written stand in the item already when the first rule runs, whatever
// their order in the call; the context tells which they are and what stood there before. A rule
// changes what its property implies, and leaves alone what the client wrote beside it.
//
// Lengths of windows are pixels at the item's own resolution, those of the bed 1/1000 inch:
//
//     maximum = bed x resolution / 1000, truncated
#include <algorithm>
#include <iterator>
#include <limits>

#include "diag/function_trace.h"
#include "frame/palette_table.h"
#include "frontend/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/validation_call.h"
#include "platform/bitmap_headers.h"

namespace {

constexpr LONG kQualityResolution = 300;  // dots per inch, the least that an intent calls good
constexpr LONG kNoIntent = 8;             // a bit of the image type that means none

// What a data type makes of the format, the master of all else that tells of it. The device
// delivers 8 bits a sample in any case, and the engine makes single bits of them.
struct DataTypeRow {
    LONG key;
    LONG channels;
    LONG bits;  // of a channel; 8 may be 16 where the client has that
    bool selectsChannel;
    bool byTonemap;  // the threshold
};
constexpr DataTypeRow kDataTypes[] = {
    {WIA_DATA_THRESHOLD, 1, 1, true, false},
    {WIA_DATA_DITHER, 1, 1, true, true},
    {WIA_DATA_GRAYSCALE, 1, 8, true, false},
    {WIA_DATA_COLOR, 3, 8, false, false},
};

// The type that is meant by something else that a client writes by itself.
struct MeantTypeRow {
    LONG key;
    LONG dataType;
};
constexpr MeantTypeRow kIntentTypes[] = {
    {WIA_INTENT_IMAGE_TYPE_COLOR, WIA_DATA_COLOR},
    {WIA_INTENT_IMAGE_TYPE_GRAYSCALE, WIA_DATA_GRAYSCALE},
    {WIA_INTENT_IMAGE_TYPE_TEXT, WIA_DATA_THRESHOLD},
};
// Dither has one bit too, and is only reached by its type.
constexpr MeantTypeRow kDepthTypes[] = {
    {1, WIA_DATA_THRESHOLD},
    {8, WIA_DATA_GRAYSCALE},
    {24, WIA_DATA_COLOR},
};
// Bits of a channel: 8 and more are colour, also on a gray item.
constexpr MeantTypeRow kChannelBitsTypes[] = {
    {1, WIA_DATA_THRESHOLD},
    {8, WIA_DATA_COLOR},
    {16, WIA_DATA_COLOR},
};

// Null if the table has no row for it.
template <class Row, std::size_t count>
const Row* FindRow(const Row (&rows)[count], LONG key) {
    const Row* found = std::find_if(std::begin(rows), std::end(rows),
                                    [key](const Row& row) { return row.key == key; });
    return found == std::end(rows) ? nullptr : found;
}

template <std::size_t count>
const DataTypeRow* FindMeantType(const MeantTypeRow (&rows)[count], LONG key) {
    const MeantTypeRow* row = FindRow(rows, key);
    return row ? FindRow(kDataTypes, row->dataType) : nullptr;
}

// Samples of a pixel. Of colour with a palette it is one, which is the number of a colour.
LONG ChannelsOf(BYTE* item, const DataTypeRow& row) {
    LONG palette = 0;
    if (row.key == WIA_DATA_COLOR)
        ReadItemLong(item, QL_PROP_PALETTE, &palette);
    return palette != 0 ? 1 : row.channels;
}

struct NewValue {
    PROPID id;
    LONG value;
};

// The same properties for both directions of a page, in the order of ValidationCall's arrays.
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

// Which property counts an axis of the window: a client is told the sides of the picture that it
// gets, and a page that is turned by a quarter lies on its side.
PROPID CountOf(BYTE* item, std::size_t axis) {
    return kAxes[IsQuarterTurn(RotationOf(item)) ? ValidationCall::kAxes - 1 - axis : axis].count;
}

// From 0; the nominal value is 0 as well, where the item as it is built names the whole bed.
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

// An intent is an image type in its low four bits and a size above them; the size counts only with
// a type. What it writes of the type isn't marked as changed, so that no other rule of the same
// call takes it for the client's word.
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
    const DataTypeRow* row = FindMeantType(kIntentTypes, type);
    if (!row)
        return trace.SetResult(E_INVALIDARG).GetResult();
    const LONG channels = ChannelsOf(item, *row);
    for (const NewValue& made : {NewValue{WIA_IPA_DATATYPE, row->key},
                                 {WIA_IPA_DEPTH, channels * row->bits},
                                 {WIA_IPA_BITS_PER_CHANNEL, row->bits},
                                 {WIA_IPA_CHANNELS_PER_PIXEL, channels}})
        trace.SetResult(wiasWritePropLong(item, made.id, made.value));
    // A channel that was selected before would leave two thirds of the colours out.
    if (!row->selectsChannel)
        trace.SetResult(wiasWritePropLong(item, QL_PROP_SCANNER_CHANNEL, kChannelColor));
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

// The source's own default: 150 dots per inch on the flatbed, 300 in the feeder, 600 for film.
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

// Raises, never lowers, and leaves an axis alone that the client has written itself.
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

// A selected channel means something else to each data type, and so does a palette.
HRESULT CNVwiaMiniDrv::ValidateChannel(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateChannel");
    LONG type = 0;
    if (SUCCEEDED(trace.SetResult(ReadItemLong(item, WIA_IPA_DATATYPE, &type)).GetResult()))
        trace.SetResult(ApplyDataType(item, call, type));
    return trace.GetResult();
}

// The client's own palette is one with colours.
HRESULT CNVwiaMiniDrv::ValidatePalette(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidatePalette");
    LONG palette = 0;
    PaletteRecord colors = {};
    CItemProperties properties;
    trace.SetResult(ReadItemLong(item, QL_PROP_PALETTE, &palette));
    if (palette == QL_PALETTE_USER && SUCCEEDED(properties.Attach(item)))
        trace.SetResult(properties.ReadBin(QL_PROP_PALETTE_COLORS, sizeof(colors),
                                           reinterpret_cast<BYTE*>(&colors)));
    call.lacksColors = palette == QL_PALETTE_USER && colors.m_count == 0;
    return trace.GetResult();
}

// The channel that is written back is the controller's word on what the device has; the format that
// it keeps now is the last preparation's until the next one settles its own.
HRESULT CNVwiaMiniDrv::ApplyDataType(BYTE* item, ValidationCall& call, LONG type) {
    const DataTypeRow* row = FindRow(kDataTypes, type);
    if (!row)
        return E_INVALIDARG;
    CFunctionTrace trace("CNVwiaMiniDrv::ApplyDataType");
    LONG bits = 0;
    LONG channel = 0;
    trace.SetResult(ReadItemLong(item, WIA_IPA_BITS_PER_CHANNEL, &bits));
    trace.SetResult(ReadItemLong(item, QL_PROP_SCANNER_CHANNEL, &channel));
    const LONG channels = ChannelsOf(item, *row);
    if (row->bits == 1 || bits != 16 || channels != row->channels)
        bits = row->bits;
    DataFormat format = {kChannelColor, static_cast<DWORD>(bits), 0};
    if (row->selectsChannel)
        format.channel = static_cast<DWORD>(channel);
    bool byTonemap = false;
    if (row->byTonemap)
        trace.SetResult(m_pScan->isThresholdTonemap(&byTonemap));
    if (byTonemap)
        trace.SetResult(m_pScan->getThresholdValue(&format.threshold));
    const DWORD asked = format.channel;
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    trace.SetResult(
        wiasWritePropLong(item, QL_PROP_SCANNER_CHANNEL, KeptChannel(asked, format.channel)));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_BITS_PER_CHANNEL, bits));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_CHANNELS_PER_PIXEL, channels));
    trace.SetResult(WriteChanged(item, call, WIA_IPA_DEPTH, channels * bits));
    return trace.GetResult();
}

// A depth by itself chooses the type that has it. One that the item has already leaves the type:
// line art and dither have the same. The bits of a channel follow in both cases.
HRESULT CNVwiaMiniDrv::ValidateDepth(BYTE* item, ValidationCall& call) {
    if (call.Wrote(WIA_IPA_DATATYPE))
        return ValidateDataType(item, call);
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateDepth");
    WIAS_CHANGED_VALUE_INFO depth = {};
    LONG type = 0;
    trace.SetResult(wiasGetChangedValueLong(item, &call.context, TRUE, WIA_IPA_DEPTH, &depth));
    if (FAILED(trace.GetResult()) ||
        FAILED(trace.SetResult(ReadItemLong(item, WIA_IPA_DATATYPE, &type)).GetResult()))
        return trace.GetResult();
    if (depth.Current.lVal != depth.Old.lVal) {
        const DataTypeRow* row = FindMeantType(kDepthTypes, depth.Current.lVal);
        if (!row)
            return trace.SetResult(E_INVALIDARG).GetResult();
        type = row->key;
        // The depth of pixels that are numbers of colours is 8: whoever wants more wants no
        // palette.
        if (depth.Current.lVal == 24 && !call.Wrote(QL_PROP_PALETTE))
            trace.SetResult(WriteChanged(item, call, QL_PROP_PALETTE, 0));
        trace.SetResult(WriteChanged(item, call, WIA_IPA_DATATYPE, type));
    }
    return trace.SetResult(ApplyDataType(item, call, type)).GetResult();
}

// Bits by themselves choose a type as well, and let go of a selected channel.
HRESULT CNVwiaMiniDrv::ValidateBPC(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateBPC");
    WIAS_CHANGED_VALUE_INFO bits = {};
    trace.SetResult(
        wiasGetChangedValueLong(item, &call.context, TRUE, WIA_IPA_BITS_PER_CHANNEL, &bits));
    if (FAILED(trace.GetResult()) || !bits.bChanged)
        return trace.GetResult();
    const LONG value = bits.Current.lVal;
    const DataTypeRow* row = FindMeantType(kChannelBitsTypes, value);
    if (!row)
        return trace.SetResult(E_INVALIDARG).GetResult();
    // A client that has chosen the type as well gets what that makes of the bits.
    if (call.Wrote(WIA_IPA_DATATYPE) || call.Wrote(WIA_IPA_DEPTH))
        return trace.GetResult();
    DataFormat format = {kChannelColor, static_cast<DWORD>(value), 0};
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_DATATYPE, row->key));
    trace.SetResult(
        wiasWritePropLong(item, QL_PROP_SCANNER_CHANNEL, static_cast<LONG>(format.channel)));
    const LONG channels = ChannelsOf(item, *row);
    trace.SetResult(wiasWritePropLong(item, WIA_IPA_CHANNELS_PER_PIXEL, channels));
    trace.SetResult(WriteChanged(item, call, WIA_IPA_DEPTH, channels * value));
    return trace.GetResult();
}

// ---- Resolution and window

// The window keeps its place and reaches to the far edge, counted from where it was before the
// call. It follows once to a resolution, however many of the written properties ask for it.
//
//     position = position before x resolution / resolution before, truncated
//     extent   = maximum - position
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
        trace.SetResult(WriteChanged(item, call, CountOf(item, i), extent));
        trace.SetResult(WriteChanged(item, call, axis.position, position));
        trace.SetResult(WriteChanged(item, call, axis.extent, extent));
    }
    return trace.GetResult();
}

// Keeps the window within the bed: what sticks out is cut off, and the range of the extent becomes
// what lies behind the position, so that a client can't ask for more than there is.
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
        trace.SetResult(WriteChanged(item, call, CountOf(item, i), extents[i]));
    }
    return trace.GetResult();
}

// Takes the scanner through a scan's preparation, so that the sizes are those of the scan to come.
// The device's exact counts hold where it scans at the wanted resolution; otherwise the scaler
// delivers the window. A line takes (pixels x depth + 7) / 8 bytes, rounded up to a multiple of 4.
HRESULT CNVwiaMiniDrv::ValidateImageSize(BYTE* item, ValidationCall& call) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateImageSize");
    GeomControl geometry = {};
    DWORD scanPixelWidth = 0;
    DWORD scanLines = 0;
    trace.SetResult(ValidateWidthHeight(item, geometry, scanPixelWidth, scanLines));
    call.emptyWindow = trace.GetResult() == kNothingToScan && !HoldsPixels(geometry);
    if (FAILED(trace.GetResult())) {
        m_pLog->Format(kLogInformation, "ValidateWidthHeight failed hr %d", trace.GetResult());
        return trace.GetResult();
    }
    const LONG pixels =
        geometry.xRes == geometry.scanXRes ? static_cast<LONG>(scanPixelWidth) : geometry.xExtent2;
    const LONG lines =
        geometry.yRes == geometry.scanYRes ? static_cast<LONG>(scanLines) : geometry.yExtent2;
    trace.SetResult(wiasWritePropLong(item, CountOf(item, 0), pixels));
    trace.SetResult(wiasWritePropLong(item, WIA_IPS_XEXTENT, pixels));
    LONG depth = 0;
    trace.SetResult(ReadItemLong(item, WIA_IPA_DEPTH, &depth));
    const LONG width = IsQuarterTurn(RotationOf(item)) ? lines : pixels;
    const std::int64_t stride = BitmapStride(std::max(width, LONG{0}), std::max(depth, LONG{0}));
    trace.SetResult(wiasWritePropLong(
        item, WIA_IPA_BYTES_PER_LINE,
        static_cast<LONG>(std::min<std::int64_t>(stride, std::numeric_limits<LONG>::max()))));
    trace.SetResult(wiasWritePropLong(item, CountOf(item, 1), lines));
    trace.SetResult(wiasWritePropLong(item, WIA_IPS_YEXTENT, lines));
    return trace.GetResult();
}
