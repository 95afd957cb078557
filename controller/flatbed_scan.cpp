#include "controller/flatbed_scan.h"

#include <algorithm>
#include <new>

#include "platform/types.h"
#include "profile/folder_names.h"

namespace {

// The steps across the scan line, of which the device has its maximum and those below; along the
// scan there is one more.
constexpr LONG kResolutions[] = {150, 300, 600, 1200, 2400, 4800, 9600};
constexpr std::size_t kStepsAlong = std::size(kResolutions);
constexpr std::size_t kStepsAcross = kStepsAlong - 1;
constexpr LONG kHighestAcross = kResolutions[kStepsAcross - 1];
constexpr LONG kHighestAlong = kResolutions[kStepsAlong - 1];

// Resolutions that the front end is told of as a scale, 1 and 2, because the item keeps it.
constexpr LONG kHalfScale = 2400;  // resolutions with a scale of their own
constexpr LONG kFullScale = 4800;

// Resolutions that a page begins with, by source: film is small, and text from the feeder is meant
// to be read.
constexpr DWORD kAdapterDefault = 600;
constexpr DWORD kFeederDefault = 300;
constexpr DWORD kFlatbedDefault = 150;

// The step at or above, unless the source doesn't reach so far.
LONG Step(LONG resolution, LONG highest) {
    const LONG* const end = kResolutions + kStepsAcross;
    const LONG* step = std::lower_bound(kResolutions, end - 1, resolution);
    while (step != kResolutions && *step > highest)
        --step;
    return *step;
}

}  // namespace

// This family maps tones at every depth; the base asks the format.
HRESULT CNVFlatbedScan::hasScannerTonemap(bool* has) {
    if (!has)
        return E_POINTER;
    *has = true;
    return S_OK;
}

// A resolution that is offered here and that the device lacks is rounded to one that it has by
// setGeomControl, and the front end scales.
HRESULT CNVFlatbedScan::getGeomControl(GeomControl* geometry) {
    const HRESULT hr = CNVScan::getGeomControl(geometry);
    if (FAILED(hr))
        return hr;
    geometry->xResCount = static_cast<LONG>(kStepsAcross);
    std::copy_n(kResolutions, kStepsAcross, geometry->xResList);
    geometry->yResCount = static_cast<LONG>(kStepsAlong);
    std::copy_n(kResolutions, kStepsAlong, geometry->yResList);
    return S_OK;
}

HRESULT CNVFlatbedScan::setGeomControl(GeomControl* geometry, BYTE oversample, bool* overscanned,
                                       DWORD* scale) {
    const HRESULT hr = BeginGeometry(geometry, overscanned, scale);
    if (FAILED(hr))
        return hr;
    PlaceWindow(*geometry);
    LimitResolution(*geometry, oversample);
    // Both directions scan at the same step, so that pixels stay square, except for the one that
    // exists along the scan alone.
    geometry->scanXRes = Step(geometry->scanXRes, geometry->maxResolution);
    geometry->scanYRes = geometry->scanXRes;
    if (m_devCaps.maxYResolution == kHighestAlong && geometry->yRes > kHighestAcross)
        geometry->scanYRes = kHighestAlong;
    *overscanned = IsOverscanned(*geometry, oversample);
    *scale = geometry->scanXRes == kHalfScale ? 1 : geometry->scanXRes == kFullScale ? 2 : 0;
    AcceptGeometry(*geometry);
    return S_OK;
}

HRESULT CNVFlatbedScan::getDefaultResolution(bool xpa, bool adf, DWORD* resolution) {
    return TellLimit(xpa, adf, resolution, kAdapterDefault, kFeederDefault, kFlatbedDefault);
}

HRESULT CNVFlatbedScan::createScanAttrib(const char* text, DWORD length) {
    // A name of sixteen letters fills its field and has no zero behind it.
    char model[kOstrelModelChars + 1] = {};
    std::copy_n(m_devCaps.model, kOstrelModelChars, model);
    const FolderNames names = CurrentFolderNames();
    m_pAttrib.reset(new (std::nothrow) CScanAttrib(model, "", text, length, names.Folders()));
    return m_pAttrib ? S_OK : E_OUTOFMEMORY;
}

std::unique_ptr<CNVScan> NVScanClassFactory(IOstrelDevice* toolkit, ScanClock& clock) {
    // The one place that meets an exception: whatever the construction throws, there is no
    // controller.
    try {
        return std::make_unique<CNVFlatbedScan>(toolkit, clock);
    } catch (...) {
        return nullptr;
    }
}
