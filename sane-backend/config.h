// nvq.conf: which scanners programs see, and under which names.
//
//     hide Office             # a scanner's number, name or port
//     name 0001 "Room 12"
//     simulated on            # a simulated scanner when none is installed
#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

#include "service/scan_client.h"

struct BackendConfig {
    std::vector<std::string> hidden;
    std::map<std::string, std::string> names;
    bool simulated = false;

    bool Hides(const ScanDeviceInfo& device) const;
    // The device's own name unless the file has another.
    std::string NameOf(const ScanDeviceInfo& device) const;
};

// What makes no sense is passed over, with a line in the debug output.
BackendConfig ParseConfig(std::istream& file);

// The first nvq.conf in the folders of $SANE_CONFIG_DIR, which are parted by ':'; in /etc/sane.d
// when it isn't set or ends with ':'. The defaults without a file.
BackendConfig ReadConfig();
