#include "tools/simulated_device.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "simulator/model_store.h"
#include "simulator/panel.h"

namespace {

namespace fs = std::filesystem;

bool IsInstalled(const std::vector<InstalledDevice>& devices, const std::string& port) {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const InstalledDevice& device) { return device.port == port; });
}

// A folder that is there already keeps its settings, and does if they are of the wanted model.
bool IsOfModel(const std::string& folder, const std::string& model) {
    try {
        return LoadDeviceSettings(folder).m_model == model;
    } catch (const std::exception&) {
        return false;  // its settings are faulty
    }
}

ScanStatus FindFolder(const std::string& model, CSimulatedScanner& scanner, std::string& folder) {
    constexpr int kMostDevices = 1000;

    std::vector<InstalledDevice> devices;
    if (ScanStatus status = ListInstalled(devices); !status.Ok())
        return status;
    for (int i = 1; i < kMostDevices; ++i) {
        scanner.m_name = i == 1 ? model : model + '-' + std::to_string(i);
        folder = SimulatedDeviceFolder(scanner.m_name);
        scanner.m_port = SimulatedPort(folder);
        const bool isThere = fs::exists(folder);
        if (!IsInstalled(devices, scanner.m_port) && (!isThere || IsOfModel(folder, model)))
            return {};
    }
    return {E_FAIL, folder + ": there are too many simulated scanners"};
}

// How it reports its buttons, where the driver is to take them otherwise than the model has it.
std::string ButtonLines(const CSimulatedButtons& buttons) {
    std::string lines;
    if (buttons.m_isPolled)
        lines += *buttons.m_isPolled ? "report=poll\n" : "report=pipe\n";
    if (buttons.m_subType == kButtonByIndex)
        lines += "bytes=0,1,2,3,4,5,6,7\n";
    return lines.empty() ? lines : "\n[buttons]\n" + lines;
}

}  // namespace

ScanStatus MakeSimulatedScanner(const std::string& modelName, const CSimulatedButtons& buttons,
                                CSimulatedScanner& scanner) {
    const std::string model = modelName.empty() ? kDefaultModel : modelName;
    if (SimulatorFolder().empty())
        return {E_FAIL, "there is no folder for simulated scanners; HOME isn't set"};
    std::string folder;
    if (ScanStatus status = FindFolder(model, scanner, folder); !status.Ok())
        return status;
    const bool isNew = !fs::exists(folder);
    std::string error;
    if (!MakeSimulatedDevice(folder, model, &error))
        return {E_INVALIDARG, error};
    if (isNew) {
        std::ofstream ini(folder + "/device.ini", std::ios::app);
        ini << ButtonLines(buttons);
        if (!ini.flush())
            return {E_FAIL, folder + "/device.ini: can't be written"};
    }
    try {
        const CNumbers numbers = LoadDeviceSettings(folder).m_numbers;
        scanner.m_buttons = numbers.m_buttons;
        scanner.m_isPolled = numbers.m_report == kReportPoll;
    } catch (const std::exception& failure) {
        return {E_FAIL, failure.what()};
    }
    return {};
}

ScanStatus SimulatedFolderOf(const InstalledDevice& device, std::string& folder) {
    folder = fs::path(device.port).parent_path().string();
    if (folder.empty() || SimulatedPort(folder) != device.port ||
        !fs::is_directory(folder + "/panel"))
        return {E_INVALIDARG, device.name + " is no simulated scanner"};
    return {};
}
