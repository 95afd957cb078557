// The format of the data: what was wanted, fitted to what the source can give.
#include <algorithm>
#include <span>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"

namespace {

// Bits a sample of the deepest data; only the adapter is asked for exactly these.
constexpr DWORD kHighDepth = 16;

// Bits of the device record's channel flags, by channel.
constexpr DWORD kChannelBits[] = {0, 8, 1, 2, 4, 16};

using Depths = std::span<const BYTE, kOstrelDepths>;

// The entries of a list that hasn't eight end with a zero.
DWORD LargestDepth(Depths depths) {
    const auto end = std::find(depths.begin(), depths.end(), 0);
    return end == depths.begin() ? 0 : *std::max_element(depths.begin(), end);
}

// All eight entries count here, also those behind a zero.
DWORD LargestEntry(Depths depths) {
    return *std::max_element(depths.begin(), depths.end());
}

// The first entry that isn't below. There is one: `bits` is at most the largest.
DWORD RaiseTo(Depths depths, DWORD bits) {
    const auto found =
        std::find_if(depths.begin(), depths.end(), [bits](BYTE depth) { return depth >= bits; });
    return found == depths.end() ? bits : *found;
}

}  // namespace

HRESULT CNVScan::getMaxBitDepth(bool xpa, bool adf, DWORD* bits) {
    if (!bits)
        return E_POINTER;
    if (xpa && adf)
        return E_INVALIDARG;
    const BYTE(&depths)[kOstrelDepths] = xpa   ? m_xpaCaps.depths
                                         : adf ? m_adf2Caps.colorDepths
                                               : m_devCaps.colorDepths;
    *bits = LargestDepth(depths);
    return S_OK;
}

// The adapter has one list for both.
CNVScan::DepthLists CNVScan::SourceDepths() const {
    if (UsesAdapter())
        return {m_xpaCaps.depths, m_xpaCaps.depths};
    if (UsesFeeder())
        return {m_adf2Caps.colorDepths, m_adf2Caps.grayDepths};
    return {m_devCaps.colorDepths, m_devCaps.grayDepths};
}

// The limit is held against what the device will scan at, not against what was asked for: the
// geometry comes first.
bool CNVScan::DeviceGrayFits() const {
    const LONG limit = m_devCaps.deviceGrayLimit;
    return (m_devCaps.channelFlags & kChannelBits[kChannelDeviceGray]) &&
           (limit == 0 || (m_geometry.scanXRes <= limit && m_geometry.scanYRes <= limit));
}

// A channel that the device has; colour in place of one that it lacks. The device's own gray is
// taken for the gray of the television norm where it can be had.
DWORD CNVScan::FitChannel(DWORD channel) const {
    if (channel == kChannelNtscGray && DeviceGrayFits())
        return kChannelDeviceGray;
    if (channel == kChannelColor || channel >= kChannelDeviceGray)
        return channel;
    return m_devCaps.channelFlags & kChannelBits[channel] ? channel : kChannelColor;
}

// On the adapter high depth means 16-bit colour or nothing; all else is fitted to the lists.
HRESULT CNVScan::resolveDataFormat(DataFormat* format) {
    CFunctionTrace trace("CNVScan::resolveDataFormat", m_dwSession);
    if (!format)
        return trace.SetResult(E_POINTER).GetResult();
    DWORD maxDepth = 0;
    trace.SetResult(getMaxBitDepth(UsesAdapter(), UsesFeeder(), &maxDepth));
    if (FAILED(trace.GetResult()))
        return trace.GetResult();
    if (!UsesAdapter() || !m_source.request.highDepth)
        FitFormat(*format);
    else if (maxDepth == kHighDepth)
        *format = {.channel = kChannelColor, .bits = kHighDepth, .threshold = 0};
    if (format->bits != 1)
        format->threshold = 0;
    m_depth = format->bits;
    m_channel = format->channel;
    m_lineArtThreshold = format->threshold;
    return trace.GetResult();
}

// The order of these steps is part of the result.
void CNVScan::FitFormat(DataFormat& format) const {
    const DepthLists lists = SourceDepths();
    const Depths color(lists.color, kOstrelDepths);
    const Depths gray(lists.gray, kOstrelDepths);
    DWORD& bits = format.bits;
    DWORD& channel = format.channel;
    // Line art that the device can't give comes as its shallowest gray, and the front end makes one
    // bit of it.
    if (bits == 1 && !(m_devCaps.depthFlags & OSTREL_DEPTH_ONE_BIT))
        bits = gray[0];
    if (bits == 1 && format.threshold != 0 &&
        !(m_devCaps.modeFlags & OSTREL_MODE_TONEMAP_THRESHOLD))
        bits = gray[0];
    // One that can't give a single channel gives colour, of which the front end takes a channel.
    if (bits > 1 && channel != kChannelColor &&
        !(m_devCaps.depthFlags & OSTREL_DEPTH_SINGLE_CHANNEL)) {
        bits = color[0];
        channel = kChannelColor;
    }
    channel = FitChannel(channel);
    // No less than the source's shallowest.
    if (channel == kChannelColor && bits < color[0])
        bits = color[0];
    else if (bits > 1 && bits < gray[0])
        bits = gray[0];
    const DWORD maxGray = LargestEntry(gray);
    const DWORD maxColor = LargestEntry(color);
    const bool highDepth = m_source.request.highDepth != 0;
    if (channel != kChannelColor && bits > 1) {
        // Gray that isn't deep enough is taken out of deeper colour where there is such.
        if (!highDepth && bits <= maxGray) {
            bits = RaiseTo(gray, bits);
        } else if (maxColor <= maxGray) {
            bits = maxGray;
        } else {
            bits = maxColor;
            channel = kChannelColor;
        }
    }
    if (channel == kChannelColor)
        bits = !highDepth && bits <= maxColor ? RaiseTo(color, bits) : maxColor;
}
