#include "simulator/scan_plan.h"

#include <algorithm>

#include "simulator/sim_failure.h"

namespace {

[[noreturn]] void Refuse(const std::string& what) {
    throw CSimFailure(OSTREL_INVALID_PARAMETER, what);
}

// What a source offers.
struct CSourceLimits {
    std::uint32_t width;
    std::uint32_t height;
    WORD minResolution;
    WORD maxXResolution;
    WORD maxYResolution;
    DWORD modeFlags;
    const BYTE* colorDepths;
    const BYTE* grayDepths;
};

// A frame of a template may be larger than the adapter says of itself: the largest of all counts.
CSourceLimits AdapterLimits(const CSettings& settings) {
    const OstrelXpaCaps& xpa = settings.m_numbers.m_xpa;
    CSourceLimits limits = {xpa.xpaWidth,       xpa.xpaHeight,      xpa.minResolution,
                            xpa.maxXResolution, xpa.maxYResolution, xpa.modeFlags,
                            xpa.depths,         xpa.depths};
    for (const OstrelMedia& media : settings.m_media) {
        limits.width = std::max(limits.width, media.width);
        limits.height = std::max(limits.height, media.height);
    }
    return limits;
}

// A source that the device hasn't got is refused here, ahead of any number.
CSourceLimits LimitsOf(const CSettings& settings, ESource source) {
    const OstrelDeviceCaps& device = settings.m_numbers.m_device;
    const OstrelAdf2Caps& adf = settings.m_numbers.m_adf2;
    switch (source) {
        case kFlatbed:
            if (device.wPaperPath == OSTREL_PAPER_PATH_FEEDER_ONLY)
                Refuse("the device has no flatbed");
            return {device.bedWidth,       device.bedHeight,      device.minResolution,
                    device.maxXResolution, device.maxYResolution, device.modeFlags,
                    device.colorDepths,    device.grayDepths};
        case kFeeder:
            if (!settings.Has(kFacetAdf2) || adf.hasADF == 0)
                Refuse("the device has no feeder");
            return {std::max(adf.simplexWidth, adf.duplexWidth),
                    std::max(adf.simplexHeight, adf.duplexHeight),
                    adf.minResolution,
                    adf.maxXResolution,
                    adf.maxYResolution,
                    adf.modeFlags,
                    adf.colorDepths,
                    adf.grayDepths};
        default:
            if (!settings.Has(kFacetXpa) || settings.m_numbers.m_xpa.hasXPA == 0)
                Refuse("the device has no adapter");
            return AdapterLimits(settings);
    }
}

void CheckRange(const char* what, std::uint32_t value, std::uint32_t least, std::uint32_t most) {
    if (value < least || value > most)
        Refuse(std::string(what) + " is " + std::to_string(value) + ", and may be " +
               std::to_string(least) + " to " + std::to_string(most));
}

// Differences are taken only of what was checked to be no smaller, so that none wraps.
void CheckWindow(const OstrelScanParams& params, const CSourceLimits& limits) {
    CheckRange("xResolution", params.xResolution, limits.minResolution, limits.maxXResolution);
    CheckRange("yResolution", params.yResolution, limits.minResolution, limits.maxYResolution);
    CheckRange("left", params.left, 0, limits.width);
    CheckRange("top", params.top, 0, limits.height);
    CheckRange("width", params.width, 0, limits.width - params.left);
    CheckRange("height", params.height, 0, limits.height - params.top);
}

// The mask of the parameters and the flag of the record have the same bits.
struct CChannelRow {
    WORD mask;
    WORD flag;  // of channelFlags
    EChannel channel;
};
constexpr CChannelRow kChannels[] = {
    {8, 8, EChannel::Ntsc}, {1, 1, EChannel::Red},          {2, 2, EChannel::Green},
    {4, 4, EChannel::Blue}, {16, 16, EChannel::DeviceGray},
};

// The device's own gray may end at a resolution below that of the colours.
EChannel ChannelOf(const OstrelDeviceCaps& device, const OstrelScanParams& params) {
    const auto* row =
        std::find_if(std::begin(kChannels), std::end(kChannels),
                     [&](const CChannelRow& c) { return c.mask == params.channelMask; });
    if (row == std::end(kChannels) || (device.channelFlags & row->flag) == 0)
        Refuse("channelMask " + std::to_string(params.channelMask) +
               " is no channel of the device");
    if (row->channel == EChannel::DeviceGray && device.deviceGrayLimit != 0 &&
        std::max(params.xResolution, params.yResolution) > device.deviceGrayLimit)
        Refuse("the device's own gray ends at " + std::to_string(device.deviceGrayLimit) + " dpi");
    return row->channel;
}

bool Lists(const BYTE* depths, BYTE bits) {
    return bits != 0 && std::find(depths, depths + kOstrelDepths, bits) != depths + kOstrelDepths;
}

void CheckDepth(const OstrelDeviceCaps& device, const OstrelScanParams& params,
                const CSourceLimits& limits) {
    bool fits = false;
    switch (params.colorMode) {
        case OSTREL_COLOR:
            fits = Lists(limits.colorDepths, params.bitsPerSample);
            break;
        case OSTREL_ONE_CHANNEL:
            fits = Lists(limits.grayDepths, params.bitsPerSample) &&
                   (device.depthFlags & OSTREL_DEPTH_SINGLE_CHANNEL) != 0;
            break;
        case OSTREL_ONE_BIT:
            fits = params.bitsPerSample == 1 && (device.depthFlags & OSTREL_DEPTH_ONE_BIT) != 0;
            break;
        default:
            Refuse("colorMode " + std::to_string(params.colorMode) + " is none");
    }
    if (!fits)
        Refuse("bitsPerSample " + std::to_string(params.bitsPerSample) +
               " can't be had in colorMode " + std::to_string(params.colorMode));
}

// A flag that the record doesn't announce is a mistake of the program, not one to be passed over.
void CheckFlags(const OstrelDeviceCaps& device, const OstrelScanParams& params,
                const CSourceLimits& limits) {
    DWORD known = 0;
    if ((limits.modeFlags & OSTREL_MODE_PREVIEW) != 0)
        known |= OSTREL_SCAN_PREVIEW;
    if ((device.modeFlags & OSTREL_MODE_TONEMAP_THRESHOLD) != 0 &&
        params.colorMode == OSTREL_ONE_BIT)
        known |= OSTREL_SCAN_TONEMAP_THRESHOLD;
    if ((params.scanFlags & ~known) != 0)
        Refuse("scanFlags " + std::to_string(params.scanFlags) + " aren't known here");
}

// 1/300 inch x dots per inch / 300, truncated: as the driver reckons too.
std::uint32_t Dots(DWORD length, WORD resolution) {
    return static_cast<std::uint32_t>(std::uint64_t{length} * resolution / 300);
}

}  // namespace

// Everything is checked that a real device would refuse, or worse, wouldn't: a driver shows its
// mistakes here.
CScanPlan PlanScan(const CSettings& settings, const OstrelScanParams& params) {
    constexpr ESource kSourceOf[] = {kFlatbed, kFeeder, kAdapter, kAdapter};
    CheckRange("source", params.source, OSTREL_SOURCE_FLATBED, OSTREL_SOURCE_NEGATIVE);
    CScanPlan plan;
    plan.m_source = kSourceOf[params.source];
    plan.m_negative = params.source == OSTREL_SOURCE_NEGATIVE;
    const OstrelDeviceCaps& device = settings.m_numbers.m_device;
    const CSourceLimits limits = LimitsOf(settings, plan.m_source);
    CheckWindow(params, limits);
    CheckDepth(device, params, limits);
    CheckFlags(device, params, limits);
    if (params.colorMode != OSTREL_COLOR)
        plan.m_channel = ChannelOf(device, params);
    else if (params.channelMask != 0)
        Refuse("channelMask must be 0 in colour");
    plan.m_bits = params.bitsPerSample;
    plan.m_preview = (params.scanFlags & OSTREL_SCAN_PREVIEW) != 0;
    plan.m_thresholdByToneMap = (params.scanFlags & OSTREL_SCAN_TONEMAP_THRESHOLD) != 0;
    plan.m_window = {params.left,
                     params.top,
                     Dots(params.width, params.xResolution),
                     Dots(params.height, params.yResolution),
                     params.xResolution,
                     params.yResolution};
    return plan;
}
