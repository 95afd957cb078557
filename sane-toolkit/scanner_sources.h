// From where a device of SANE scans.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/types.h"
#include "sane-toolkit/sane_device.h"

struct SourceFacts {
    // Options by name and their words, in the order in which they choose the source.
    std::vector<std::pair<std::string, std::string>> choice;
    DWORD width = 0;  // 1/300 inch; 0: the device hasn't this source
    DWORD height = 0;
    WORD minResolution = 0;
    WORD maxResolution = 0;

    bool IsThere() const { return width != 0; }
};

// A source counts as there when it has a window in mm and a resolution of the driver's ladder.
struct ScannerSources {
    SourceFacts flatbed;
    SourceFacts feeder;
    SourceFacts duplex;  // only beside the feeder
    SourceFacts adapter;

    // What the device record tells of.
    const SourceFacts& Main() const { return flatbed.IsThere() ? flatbed : feeder; }
};

// False when the device doesn't take it.
bool ChooseSource(CSaneDevice& device, const SourceFacts& source);

// Tries the sources out, and leaves the device at the main one.
ScannerSources LearnSources(CSaneDevice& device);
