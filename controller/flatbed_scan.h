// The scan controller of the flatbed family, with its own rules of geometry.
#pragma once

#include "controller/nv_scan.h"

class CNVFlatbedScan : public CNVScan {
  public:
    using CNVScan::CNVScan;

    HRESULT hasScannerTonemap(bool* has) override;
    // The lists are the family's, whatever table the device has.
    HRESULT getGeomControl(GeomControl* geometry) override;
    HRESULT setGeomControl(GeomControl* geometry, BYTE oversample, bool* overscanned,
                           DWORD* scale) override;
    HRESULT getDefaultResolution(bool xpa, bool adf, DWORD* resolution) override;
    HRESULT createScanAttrib(const char* text, DWORD length) override;
};

// The controller for a toolkit's device; null without memory. `clock` is for tests.
std::unique_ptr<CNVScan> NVScanClassFactory(IOstrelDevice* toolkit,
                                            ScanClock& clock = ScanClock::System());
