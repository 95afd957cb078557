// What a device of SANE is like, and its options set for a scan.
#pragma once

#include <string>

#include "controller/toolkit_records.h"
#include "sane-toolkit/frame_reader.h"
#include "sane-toolkit/sane_device.h"

struct ScannerFacts {
    DWORD bedWidth = 0;  // 1/300 inch
    DWORD bedHeight = 0;
    WORD minResolution = 0;
    WORD maxResolution = 0;
    std::string source;  // the flatbed's word; empty: the device has no choice
    std::string color;   // the modes' words; empty: it hasn't that one
    std::string gray;
};

// Chooses the flatbed and learns. OSTREL_NOT_IMPLEMENTED for a device that can't be used: without a
// flatbed, without a window in mm, without a resolution of the driver's ladder, or without a mode
// of continuous tone.
DWORD LearnFacts(CSaneDevice& device, ScannerFacts& facts);

// What a scan takes and gives.
struct ScanPlan {
    PageCut cut;
    OstrelScanSetup setup = {};
};

// Sets the device up for the parameters and tells what it will deliver: what lies in the window
// that the device made of the wanted one. OSTREL_INVALID_PARAMETER for what it can't do.
DWORD PlanScan(CSaneDevice& device, const ScannerFacts& facts, const OstrelScanParams& params,
               ScanPlan& plan);
