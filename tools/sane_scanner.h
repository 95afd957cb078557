// Scanners of SANE, as the program finds and installs them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/install.h"
#include "tools/simulated_device.h"

// What the program takes a device's samples for.
enum ESaneSamples : DWORD { kSamplesAuto, kSamplesLight, kSamplesDisplay };

// What an installation asks; what isn't told goes by the scanner.
struct CSaneWish {
    std::string m_name;  // SANE's own
    ESaneSamples m_samples = kSamplesAuto;
    bool m_isForced = false;  // also one that can't be opened now
    std::optional<std::string> m_vendor;
    std::optional<EEvents> m_events;
};

// Looks for the scanner, which may take seconds, and says what is installed for it: port, module,
// maker and events in `install`, and in `model` what it calls itself, which may be empty.
ScanStatus PrepareSaneScanner(const CSaneWish& wish, InstallOptions& install, std::string& model);

// The model, or with a number behind it when that means another device; of a scanner without a
// model its port.
std::string SaneScannerName(const std::string& model, const std::string& port,
                            const std::vector<InstalledDevice>& devices);

// Whether the installed device is SANE's scanner of that name.
bool IsSaneScanner(const InstalledDevice& device, const std::string& name);

// Why SANE can't be asked, by the codes of scanner_list.h.
std::string SaneFaultText(DWORD code);

// While it lives, a terminal says what is waited for.
class CSaneWait {
  public:
    CSaneWait();
    ~CSaneWait();
    CSaneWait(const CSaneWait&) = delete;
    CSaneWait& operator=(const CSaneWait&) = delete;
};
