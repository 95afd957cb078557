#include <cstdlib>
#include <filesystem>

#include "platform/event_pipe.h"
#include "service/install.h"

namespace {

namespace fs = std::filesystem;

// Only an absolute path counts.
fs::path PathFrom(const char* variable) {
    const char* value = std::getenv(variable);
    return value && value[0] == '/' ? value : "";
}

fs::path SimulatedDevices() {
    if (fs::path own = PathFrom("NVQ_SIM_DIR"); !own.empty())
        return own;
    fs::path states = PathFrom("XDG_STATE_HOME");
    if (const fs::path home = PathFrom("HOME"); states.empty() && !home.empty())
        states = home / ".local/state";
    return states.empty() ? states : states / "nvqdrv/simulator";
}

}  // namespace

ScanStatus MakeSimulatedPort(const std::string& name, std::string& port) {
    const fs::path devices = SimulatedDevices();
    if (devices.empty())
        return {E_FAIL, "there is no folder for simulated scanners; HOME isn't set"};
    const fs::path folder = devices / name;
    std::error_code error;
    fs::create_directories(folder / "panel", error);
    if (error)
        return {E_FAIL, folder.string() + ": " + error.message()};
    port = (folder / "port").string();
    return MakeEventPipe(port.c_str()) ? ScanStatus{}
                                       : ScanStatus{E_FAIL, port + ": can't be made as a pipe"};
}
