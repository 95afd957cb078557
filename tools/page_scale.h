// The resolution at which a page is scanned, and the one that it gets.
#pragma once

#include <optional>

#include "platform/types.h"
#include "service/scan_settings.h"
#include "tools/area_mean.h"

// As the page lies: a quarter turn has changed across and along.
struct CPageScale {
    ScanResolution m_scanned;
    ScanResolution m_result;  // none of it is higher

    bool Reduces() const { return m_scanned != m_result; }
    CSizeRatio Across(LONG width) const;
    CSizeRatio Along(LONG height) const;
    // Of the page as it goes into the file: its size, and both resolutions, of which the driver's
    // header knows one.
    BITMAPINFOHEADER HeaderOf(const BITMAPINFOHEADER& scanned) const;
    // Of a page that is made smaller, what it was scanned at.
    std::optional<ScanResolution> ReducedFrom() const {
        return Reduces() ? std::optional(m_scanned) : std::nullopt;
    }
};

// Behind ApplySettings.
CPageScale ScaleOf(const CDeviceProperties& properties, const ScanSettings& settings);
// The page that will come, as it goes into the file.
BITMAPINFOHEADER PageHeader(const CDeviceProperties& properties, const CPageScale& scale);
