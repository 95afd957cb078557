#include "sane-backend/device_list.h"

#include <algorithm>

#include "sane-backend/debug.h"
#include "sane-backend/status_map.h"
#include "tools/simulated_device.h"

namespace {

// SANE's word for it.
constexpr const char* kNoVendor = "Noname";

// Scanners that the driver itself reaches through SANE. A program of SANE has them at first hand,
// and the library that it runs in can't be begun a second time.
bool IsSane(const ScanDeviceInfo& device) {
    return device.port.starts_with("sane:") || device.port.starts_with("sane-light:") ||
           device.port.starts_with("sane-display:");
}

void Note(const std::string& line) {
    Debug(EDebug::Notes, line);
}

}  // namespace

SANE_Status CDeviceList::Renew() {
    const BackendConfig config = ReadConfig();
    if (config.simulated) {
        if (const ScanStatus status = ProvideScanner(Note); !status.Ok())
            Debug(EDebug::Failures, "no simulated scanner: ", status.text);
    }
    std::vector<ScanDeviceInfo> devices;
    if (const ScanStatus status = CScanClient().ListDevices(devices); !status.Ok())
        return Told(status);
    std::deque<Entry> entries;
    std::vector<const SANE_Device*> rows;
    for (const ScanDeviceInfo& device : devices) {
        if (!device.fault.empty())
            Debug(EDebug::Failures, device.name, ": ", device.fault);
        if (!device.fault.empty() || IsSane(device) || config.Hides(device))
            continue;
        Entry& entry = entries.emplace_back(Entry{device.number,
                                                  device.vendor.empty() ? kNoVendor : device.vendor,
                                                  config.NameOf(device), SANE_Device{}});
        // What kind it is would take opening it; every one of SANE's words but this is narrower.
        entry.device = {entry.number.c_str(), entry.vendor.c_str(), entry.model.c_str(),
                        "flatbed scanner"};
        rows.push_back(&entry.device);
    }
    rows.push_back(nullptr);
    m_entries.swap(entries);
    m_rows.swap(rows);
    return SANE_STATUS_GOOD;
}

std::string CDeviceList::Find(const std::string& name) const {
    // Another one may be shown under a number.
    auto found = std::ranges::find(m_entries, name, &Entry::number);
    if (found == m_entries.end())
        found = std::ranges::find_if(
            m_entries, [&](const Entry& entry) { return name.empty() || name == entry.model; });
    return found == m_entries.end() ? std::string() : found->number;
}
