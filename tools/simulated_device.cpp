#include "tools/simulated_device.h"

#include <algorithm>
#include <filesystem>

#include "platform/sti.h"
#include "simulator/model_store.h"
#include "simulator/panel.h"

namespace {

namespace fs = std::filesystem;

// The events that are installed have masks of one bit each, in a byte.
constexpr std::size_t kMostMasks = 8;

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

// By model and number: "SIM300A", "SIM300A-2" and so on.
ScanStatus FindFolder(const std::string& model, const std::vector<InstalledDevice>& devices,
                      std::string& folder, std::string& name) {
    constexpr int kMostDevices = 1000;

    for (int i = 1; i < kMostDevices; ++i) {
        name = i == 1 ? model : model + '-' + std::to_string(i);
        folder = SimulatedDeviceFolder(name);
        const bool isThere = fs::exists(folder);
        if (!IsInstalled(devices, SimulatedPort(folder)) && (!isThere || IsOfModel(folder, model)))
            return {};
    }
    return {E_FAIL, folder + ": there are too many simulated scanners"};
}

// ---- Buttons: the device sends what the driver is told to expect

// Button 0 sends 0 by index, else its mask or value, which are the same bits.
unsigned ByteOf(std::size_t button, DWORD subType) {
    return subType == kButtonIndex ? static_cast<unsigned>(button) : 1u << button;
}

bool SendsBytesOf(const CNumbers& numbers, DWORD subType) {
    for (std::size_t i = 0; i < std::min<std::size_t>(numbers.m_buttons, kMostMasks); ++i) {
        if (numbers.m_buttonBytes[i] != ByteOf(i, subType))
            return false;
    }
    return true;
}

std::string BytesOf(DWORD subType) {
    std::string bytes;
    for (std::size_t i = 0; i < kMostMasks; ++i)
        bytes += (i == 0 ? "" : ",") + std::to_string(ByteOf(i, subType));
    return bytes;
}

// Of a folder that nothing is asked of: bytes that fit both count as masks.
DWORD SubTypeOf(const CNumbers& numbers) {
    const bool isIndex = SendsBytesOf(numbers, kButtonIndex) && !SendsBytesOf(numbers, kButtonMask);
    return isIndex ? kButtonIndex : kButtonMask;
}

// A signal says no more than that there is a button; which, is asked for as in a poll.
EReport ReportFor(EEvents events, DWORD subType) {
    return events == EEvents::Poll    ? kReportPoll
           : subType == kButtonSignal ? kReportBoth
                                      : kReportPipe;
}

// Settles how the buttons come, and has the device do so. Into its device.ini goes what isn't so
// already; where nothing is asked for and the device serves as it is, nothing:
//
//     events   sub-type       report   bytes
//     pipe     index          pipe     0,1,2,...
//     pipe     mask, value    pipe     1,2,4,...
//     pipe     signal         both     left: the driver asks which button it was
//     poll     any            poll     by the sub-type
//     none     any            left     left
void SettleButtons(const std::string& folder, const CButtonWish& wish, InstallOptions& install) {
    constexpr const char* kWords[] = {"", "poll", "pipe", "both"};  // by EReport

    const CNumbers numbers = LoadDeviceSettings(folder).m_numbers;
    const EEvents own = numbers.m_report == kReportPoll ? EEvents::Poll : EEvents::Pipe;
    const EEvents events = wish.m_events.value_or(own);
    install.subType = wish.m_subType.value_or(SubTypeOf(numbers));
    install.capabilities = CapabilitiesFor(events);
    if (install.events.size() > numbers.m_buttons)
        install.events.resize(numbers.m_buttons);
    if (events == EEvents::None)
        return;
    const EReport needed = ReportFor(events, install.subType);
    const bool reports =
        wish.m_events ? numbers.m_report == needed : (numbers.m_report & needed) == needed;
    if (!reports)
        SetDeviceValue(folder, "buttons", "report", kWords[needed]);
    // A signal has no byte that means anything.
    if (install.subType != kButtonSignal && wish.m_subType &&
        !SendsBytesOf(numbers, install.subType))
        SetDeviceValue(folder, "buttons", "bytes", BytesOf(install.subType));
}

}  // namespace

DWORD CapabilitiesFor(EEvents events) {
    return events == EEvents::None   ? 0
           : events == EEvents::Pipe ? STI_GENCAP_NOTIFICATIONS
                                     : STI_GENCAP_NOTIFICATIONS | STI_GENCAP_POLLING_NEEDED;
}

ScanStatus MakeSimulatedScanner(const std::string& modelName, const CButtonWish& buttons,
                                const std::vector<InstalledDevice>& devices,
                                InstallOptions& install) {
    const std::string model = modelName.empty() ? kDefaultModel : modelName;
    if (SimulatorFolder().empty())
        return {
            E_FAIL,
            "there is no place for simulated scanners: HOME isn't set, and neither is NVQ_SIM_DIR"};
    std::string folder;
    std::string name;
    if (ScanStatus status = FindFolder(model, devices, folder, name); !status.Ok())
        return status;
    std::string error;
    if (!MakeSimulatedDevice(folder, model, &error))
        return {E_INVALIDARG, error};
    try {
        SettleButtons(folder, buttons, install);
    } catch (const std::exception& failure) {
        return {E_FAIL, failure.what()};
    }
    install.port = SimulatedPort(folder);
    if (install.name.empty())
        install.name = "Simulated scanner " + name;
    return {};
}

ScanStatus ProvideScanner(const Notice& notice) {
    std::vector<InstalledDevice> devices;
    ScanStatus status = ListInstalled(devices);
    if (!status.Ok() || !devices.empty())
        return status;
    InstalledDevice made;
    status = InstallDevice({}, &made, [](const auto& others, InstallOptions& install) {
        // Another program may have been faster.
        return others.empty() ? MakeSimulatedScanner({}, {}, others, install)
                              : ScanStatus{S_FALSE, {}};
    });
    if (status.code == S_OK)
        notice("No scanner is installed. A simulated one has been installed for you: " + made.name);
    return status;
}

// By its shape: the port is a pipe beside a panel.
ScanStatus SimulatedFolderOf(const InstalledDevice& device, std::string& folder) {
    folder = fs::path(device.port).parent_path().string();
    if (folder.empty() || SimulatedPort(folder) != device.port ||
        !fs::is_directory(folder + "/panel"))
        return {E_INVALIDARG, device.name + " is no simulated scanner"};
    return {};
}
