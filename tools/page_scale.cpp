#include "tools/page_scale.h"

#include <utility>

#include "engine/private_properties.h"
#include "platform/bitmap_headers.h"

CSizeRatio CPageScale::Across(LONG width) const {
    return m_scanned.across == m_result.across
               ? CSizeRatio()
               : CSizeRatio(m_scanned.across, m_result.across, width);
}

CSizeRatio CPageScale::Along(LONG height) const {
    return m_scanned.along == m_result.along ? CSizeRatio()
                                             : CSizeRatio(m_scanned.along, m_result.along, height);
}

// A device without resolutions has its own word in the header.
BITMAPINFOHEADER CPageScale::HeaderOf(const BITMAPINFOHEADER& scanned) const {
    BITMAPINFOHEADER info = scanned;
    info.biWidth = Across(scanned.biWidth).Of(scanned.biWidth);
    info.biHeight = Along(scanned.biHeight).Of(scanned.biHeight);
    info.biSizeImage = BitmapSizeField(BitmapImageBytes(info));
    if (m_result.across > 0 && m_result.along > 0) {
        info.biXPelsPerMeter = PelsPerMeter(m_result.across);
        info.biYPelsPerMeter = PelsPerMeter(m_result.along);
    }
    return info;
}

CPageScale ScaleOf(const CDeviceProperties& properties, const ScanSettings& settings) {
    const ItemState& image = properties.Image();
    const auto number = [&](PROPID id) { return CDeviceProperties::Number(image, id).value_or(0); };
    CPageScale scale = {{number(WIA_IPS_XRES), number(WIA_IPS_YRES)},
                        ResultResolution(properties, settings)};
    if (number(QL_PROP_ROTATION) % 180 != 0) {
        for (ScanResolution* dpi : {&scale.m_scanned, &scale.m_result})
            std::swap(dpi->across, dpi->along);
    }
    return scale;
}

// Pixels and lines are told of the page as it lies behind a turn. A palette makes one byte of what
// the depth tells as three.
BITMAPINFOHEADER PageHeader(const CDeviceProperties& properties, const CPageScale& scale) {
    const ItemState& image = properties.Image();
    const auto number = [&](PROPID id) { return CDeviceProperties::Number(image, id).value_or(0); };
    return scale.HeaderOf(MakeInfoHeader(number(WIA_IPA_PIXELS_PER_LINE),
                                         number(WIA_IPA_NUMBER_OF_LINES), number(WIA_IPA_DEPTH)));
}
