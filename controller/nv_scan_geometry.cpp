// From a window in pixels at a wanted resolution to one in 1/300 inch at the resolutions that the
// device has. Where they differ the front end scales.
#include <algorithm>
#include <cmath>
#include <limits>

#include "controller/nv_scan.h"

namespace {

constexpr double kUnitsPerInch = 300.0;
// Scanning finer than asked, by 1.4, rounded up to a step of the device: it counts as overscanned
// when the step is at least 4/3 of what was asked for.
constexpr double kOversample = 1.4;
constexpr double kOverscanned = 0.75;
// What a request begins with before setGeomControl has placed it.
constexpr LONG kStartResolution = 100;

// Toward zero, and held within the number's range.
LONG TruncToLong(double value) {
    constexpr double kLow = std::numeric_limits<LONG>::min();
    constexpr double kHigh = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(std::clamp(value, kLow, kHigh));
}

// Toward zero, and then what 16 bits hold of it: this wraps. Values come from products of 32-bit
// numbers, so that 64 bits hold them.
std::int16_t WrapToI16(double value) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::int64_t>(value)));
}

// A length that the device tells; one beyond all bounds is as good as the longest.
LONG ToLength(DWORD length) {
    return static_cast<LONG>(std::min<DWORD>(length, std::numeric_limits<LONG>::max()));
}

// Pixels at `resolution` dots per inch as 1/300 inch: (300 pixels + 0.5) / resolution, truncated.
// The half is added ahead of the division: it keeps a whole quotient from falling below itself, and
// rounds nothing. `resolution` is above 0.
LONG ToUnits(LONG pixels, LONG resolution) {
    return TruncToLong((pixels * kUnitsPerInch + 0.5) / resolution);
}

// What is left of `length` from `start` on within `limit`; never below 0.
LONG ClipLength(LONG start, LONG length, LONG limit) {
    const std::int64_t room = std::int64_t{limit} - start;
    return static_cast<LONG>(std::clamp<std::int64_t>(length, 0, std::max<std::int64_t>(room, 0)));
}

// Pixels of `units` 1/300 inch at `resolution`, rounded up. A count that lies within one of the
// exact value stays, so that a caller that rounds otherwise isn't corrected at each validation. The
// difference and the count have 16 bits.
void Adjust(LONG& count, LONG units, LONG resolution) {
    const double exact = units * static_cast<double>(resolution) / kUnitsPerInch;
    if (std::abs(WrapToI16(exact - count)) >= 2)
        count = WrapToI16(std::ceil(exact));
}

// The ascending values of a column of a resolution table.
LONG FillList(const OstrelResolutionTable& table, WORD OstrelResolution::*column,
              LONG (&list)[kGeomResolutions]) {
    std::size_t count = 0;
    for (WORD i = 0; i < table.count && count < kGeomResolutions; ++i) {
        const LONG value = table.entries[i].*column;
        if (count == 0 || value > list[count - 1])
            list[count++] = value;
    }
    return static_cast<LONG>(count);
}

}  // namespace

std::size_t CNVScan::SourceIndex() const {
    if (UsesAdapter())
        return OSTREL_SOURCE_POSITIVE;
    return UsesFeeder() ? OSTREL_SOURCE_FEEDER : OSTREL_SOURCE_FLATBED;
}

// ---- Limits of a source

HRESULT CNVScan::CheckSource(bool xpa, WORD media, bool adf) const {
    if (xpa && adf)
        return E_INVALIDARG;
    return xpa && m_xpaMediaInfo.count != 0 && media >= m_xpaMediaInfo.count ? E_INVALIDARG : S_OK;
}

// Duplex is asked for at each call: until a job is open it follows the switch, and both sides may
// be narrower than one.
HRESULT CNVScan::getMaxWidth(bool xpa, WORD media, bool adf, DWORD* width) {
    if (!width)
        return E_POINTER;
    HRESULT hr = CheckSource(xpa, media, adf);
    if (FAILED(hr))
        return hr;
    if (xpa) {
        *width = m_xpaMediaInfo.count != 0 ? m_pXpaMedia[media].width : m_xpaCaps.xpaWidth;
    } else if (adf) {
        bool duplex = false;
        hr = getDuplexEnabled(&duplex);
        *width = duplex ? m_adf2Caps.duplexWidth : m_adf2Caps.simplexWidth;
    } else {
        *width = m_devCaps.bedWidth;
    }
    return hr;
}

HRESULT CNVScan::getMaxHeight(bool xpa, WORD media, bool adf, DWORD* height) {
    if (!height)
        return E_POINTER;
    HRESULT hr = CheckSource(xpa, media, adf);
    if (FAILED(hr))
        return hr;
    if (xpa) {
        *height = m_xpaMediaInfo.count != 0 ? m_pXpaMedia[media].height : m_xpaCaps.xpaHeight;
    } else if (adf) {
        bool duplex = false;
        hr = getDuplexEnabled(&duplex);
        *height = duplex ? m_adf2Caps.duplexHeight : m_adf2Caps.simplexHeight;
        // A page that was measured ends where it ends.
        if (m_pageLength != 0)
            *height = m_pageLength;
    } else {
        *height = m_devCaps.bedHeight;
    }
    return hr;
}

HRESULT CNVScan::TellLimit(bool xpa, bool adf, DWORD* out, DWORD ofAdapter, DWORD ofFeeder,
                           DWORD ofFlatbed) {
    if (!out)
        return E_POINTER;
    if (xpa && adf)
        return E_INVALIDARG;
    *out = xpa ? ofAdapter : adf ? ofFeeder : ofFlatbed;
    return S_OK;
}

HRESULT CNVScan::getMinResolution(bool xpa, bool adf, DWORD* resolution) {
    return TellLimit(xpa, adf, resolution, m_xpaCaps.minResolution, m_adf2Caps.minResolution,
                     m_devCaps.minResolution);
}

HRESULT CNVScan::getMaxResolution(bool xpa, bool adf, DWORD* resolution) {
    return TellLimit(xpa, adf, resolution, m_xpaCaps.maxXResolution, m_adf2Caps.maxXResolution,
                     m_devCaps.maxXResolution);
}

HRESULT CNVScan::getMaxVertResolution(bool xpa, bool adf, DWORD* resolution) {
    return TellLimit(xpa, adf, resolution, m_xpaCaps.maxYResolution, m_adf2Caps.maxYResolution,
                     m_devCaps.maxYResolution);
}

// The lists come from the device's table, if it has one, without what doesn't ascend: a column may
// hold the same resolution several times.
HRESULT CNVScan::getGeomControl(GeomControl* geometry) {
    if (!geometry)
        return E_POINTER;
    if (!m_bInitialized || !m_source.valid)
        return E_FAIL;
    geometry->left = 0;
    geometry->top = 0;
    const bool xpa = UsesAdapter();
    const bool adf = UsesFeeder();
    if (m_pLog)
        m_pLog->Format(kLogInformation, "CNVScan::getGeomControl  useXPA %d useADF %d", xpa, adf);
    DWORD width = 0;
    DWORD height = 0;
    DWORD lowest = 0;
    DWORD highest = 0;
    DWORD highestAlong = 0;
    HRESULT hr = getMaxWidth(xpa, 0, adf, &width);
    if (SUCCEEDED(hr))
        hr = getMaxHeight(xpa, 0, adf, &height);
    if (SUCCEEDED(hr))
        hr = getMinResolution(xpa, adf, &lowest);
    if (SUCCEEDED(hr))
        hr = getMaxResolution(xpa, adf, &highest);
    if (SUCCEEDED(hr))
        hr = getMaxVertResolution(xpa, adf, &highestAlong);
    if (FAILED(hr))
        return hr;
    geometry->width = geometry->maxWidth = ToLength(width);
    geometry->height = geometry->maxHeight = ToLength(height);
    geometry->minResolution = geometry->minResolution2 = ToLength(lowest);
    geometry->maxResolution = ToLength(highest);
    geometry->maxVertResolution = ToLength(highestAlong);
    geometry->scanXRes = geometry->scanYRes = kStartResolution;
    geometry->xResCount = 0;
    geometry->yResCount = 0;
    if (m_spResolutions) {
        const OstrelResolutionTable& table = m_resTables[SourceIndex()];
        geometry->xResCount = FillList(table, &OstrelResolution::x, geometry->xResList);
        geometry->yResCount = FillList(table, &OstrelResolution::y, geometry->yResList);
    }
    return S_OK;
}

HRESULT CNVScan::getGeometry(GeomControl* geometry) {
    if (!geometry)
        return E_POINTER;
    if (!m_bInitialized)
        return E_FAIL;
    *geometry = m_geometry;
    return S_OK;
}

// ---- The window

// Resolutions below 1 would be divided by.
HRESULT CNVScan::BeginGeometry(const GeomControl* geometry, bool* overscanned, DWORD* scale) const {
    if (!geometry || !overscanned || !scale)
        return E_POINTER;
    if (!m_bInitialized)
        return E_FAIL;
    *overscanned = false;
    *scale = 0;
    return geometry->xRes < 1 || geometry->yRes < 1 ? E_INVALIDARG : S_OK;
}

// A window that lies behind the limits or has a negative length gets length 0, and one that begins
// left of the origin is cut when it goes to the device.
void CNVScan::PlaceWindow(GeomControl& geometry) {
    geometry.left = ToUnits(geometry.xPos, geometry.xRes);
    geometry.top = ToUnits(geometry.yPos, geometry.yRes);
    geometry.width =
        ClipLength(geometry.left, ToUnits(geometry.xExtent, geometry.xRes), geometry.maxWidth);
    geometry.height =
        ClipLength(geometry.top, ToUnits(geometry.yExtent, geometry.yRes), geometry.maxHeight);
}

// Along the scan nothing is limited: the device's steps decide there.
void CNVScan::LimitResolution(GeomControl& geometry, BYTE oversample) {
    geometry.scanXRes = geometry.xRes;
    if (oversample != 0)
        geometry.scanXRes = TruncToLong(geometry.xRes * kOversample);
    geometry.scanYRes = geometry.yRes;
    geometry.scanXRes =
        std::min(std::max(geometry.scanXRes, geometry.minResolution), geometry.maxResolution);
}

bool CNVScan::IsOverscanned(const GeomControl& geometry, BYTE oversample) {
    return oversample != 0 && geometry.scanXRes * kOverscanned >= geometry.xRes;
}

void CNVScan::AcceptGeometry(GeomControl& geometry) {
    Adjust(geometry.adjustX, geometry.width, geometry.scanXRes);
    Adjust(geometry.adjustY, geometry.height, geometry.scanYRes);
    m_geometry = geometry;
    m_bGeometryValid = true;
}

// For a device that has a table of its resolutions.
HRESULT CNVScan::setGeomControl(GeomControl* geometry, BYTE oversample, bool* overscanned,
                                DWORD* scale) {
    const HRESULT hr = BeginGeometry(geometry, overscanned, scale);
    if (FAILED(hr))
        return hr;
    PlaceWindow(*geometry);
    if (m_pageLength != 0)
        geometry->height = ClipLength(geometry->top, geometry->height, ToLength(m_pageLength));
    LimitResolution(*geometry, oversample);
    const OstrelResolutionTable& table = m_resTables[SourceIndex()];
    if (m_spResolutions && table.count != 0) {
        // The first entry that is fine enough in both directions; the last one, if none is.
        const OstrelResolution* last = table.entries + table.count - 1;
        const OstrelResolution* entry =
            std::find_if(table.entries, last, [geometry](const OstrelResolution& e) {
                return e.x >= geometry->scanXRes && e.y >= geometry->scanYRes;
            });
        geometry->scanXRes = entry->x;
        geometry->scanYRes = entry->y;
        *scale = entry->scale == 2 ? 1 : entry->scale == 4 ? 2 : 0;
    }
    *overscanned = IsOverscanned(*geometry, oversample);
    AcceptGeometry(*geometry);
    return S_OK;
}

HRESULT CNVScan::calcGeometry(GeomControl* geometry, BYTE oversample, bool* overscanned,
                              bool* scaled) {
    if (!scaled)
        return E_POINTER;
    DWORD scale = 0;
    const HRESULT hr = setGeomControl(geometry, oversample, overscanned, &scale);
    *scaled = scale == 1;
    return hr;
}
