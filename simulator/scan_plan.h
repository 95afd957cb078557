// What a scan's parameters ask for, checked against what the device can do.
#pragma once

#include "simulator/page_scan.h"
#include "simulator/settings.h"

struct CScanPlan {
    ESource m_source = kFlatbed;
    bool m_negative = false;  // the adapter is told that negatives come
    bool m_preview = false;
    bool m_thresholdByToneMap = false;
    EChannel m_channel = EChannel::Color;
    std::uint32_t m_bits = 8;
    CScanWindow m_window;  // may have no pixels or lines
};

// Pixels are width x xResolution / 300, truncated; lines alike. Throws CSimFailure with
// OSTREL_INVALID_PARAMETER and what is wrong.
CScanPlan PlanScan(const CSettings& settings, const OstrelScanParams& params);
