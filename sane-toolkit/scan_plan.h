// A device of SANE set up for a scan.
#pragma once

#include "controller/toolkit_records.h"
#include "sane-toolkit/frame_reader.h"
#include "sane-toolkit/scanner_facts.h"

// What a scan takes of what the device gives.
struct ScanPlan {
    PageCut cut;
    OstrelScanSetup setup = {};
};

// Sets the device up for the parameters and tells what it will deliver: what lies in the window
// that the device made of the wanted one. OSTREL_INVALID_PARAMETER for what it can't do, and the
// device's own code where it fails.
DWORD PlanScan(CSaneDevice& device, const ScannerFacts& facts, const OstrelScanParams& params,
               bool isDuplex, ScanPlan& plan);
