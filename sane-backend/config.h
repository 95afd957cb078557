// nvq.conf: which scanners programs see, and under which names.
//
//     hide Office             # a scanner's number, name or port
//     name 0001 "Room 12"
//     simulated on            # a simulated scanner when none is installed
#pragma once

#include <istream>
#include <string>
#include <utility>
#include <vector>

#include "service/scan_client.h"

struct BackendConfig {
    std::vector<std::string> hidden;
    std::vector<std::pair<std::string, std::string>> names;  // of the same scanner the last counts
    bool simulated = false;

    bool Hides(const ScanDeviceInfo& device) const;
    // The device's own name unless the file has another.
    std::string NameOf(const ScanDeviceInfo& device) const;
};

// What makes no sense is passed over, with a line in the debug output.
BackendConfig ParseConfig(std::istream& file);

// The first nvq.conf in the folders of $SANE_CONFIG_DIR, which are parted by ':'; where it isn't
// set or ends with ':' also in SANE's own, the program's folder and /etc/sane.d. The defaults
// without a file.
BackendConfig ReadConfig();
