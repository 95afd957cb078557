// nvqscan devices, install, uninstall.
//
// The form for programs:
//
//     {"devices": [{"number": "0000", "id": "{6BDD1FC6-...}\\0000", "name": "...", "vendor": "...",
//                   "port": "...", "driver": "/.../nvqdrv.so", "fault": ""}]}
//
// "fault" tells why a device can't be used.

#include <filesystem>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "platform/text.h"
#include "simulator/panel.h"
#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/json_text.h"
#include "tools/sane_scanner.h"
#include "tools/simulated_device.h"
#include "tools/text_table.h"

namespace {

// ---- devices

struct ListOptions {
    bool m_isJson = false;
    bool m_isNames = false;
};

// A device that can't be used is listed with the others; why, stands below the table.
void PrintDevices(const std::vector<ScanDeviceInfo>& devices) {
    std::vector<std::vector<std::string>> rows = {{"NUMBER", "NAME", "MAKER", "PORT", "DRIVER"}};
    for (const ScanDeviceInfo& device : devices)
        rows.push_back(
            {device.number, device.name, device.vendor, device.port, device.driverModule});
    PrintColumns(std::cout, rows);
    for (const ScanDeviceInfo& device : devices) {
        if (!device.fault.empty())
            std::cout << device.number << " can't be used: " << device.fault << '\n';
    }
}

CJson JsonOf(const ScanDeviceInfo& device) {
    return {{"number", device.number}, {"id", device.id},     {"name", device.name},
            {"vendor", device.vendor}, {"port", device.port}, {"driver", device.driverModule},
            {"fault", device.fault}};
}

// For the shell's completion: what is there, one name a line, and nothing is installed for it.
int PrintNames() {
    std::vector<InstalledDevice> devices;
    if (const ScanStatus status = ListInstalled(devices); !status.Ok())
        return Complain(status);
    for (const InstalledDevice& device : devices)
        std::cout << device.number << '\n' << device.name << '\n';
    return kExitDone;
}

int ListDevices(const ListOptions& options) {
    if (options.m_isNames)
        return PrintNames();
    std::vector<ScanDeviceInfo> devices;
    CScanClient client;
    ScanStatus status = MakeClient(client);
    if (status.Ok())
        status = client.ListDevices(devices);
    if (!status.Ok())
        return Complain(status);
    if (!options.m_isJson) {
        PrintDevices(devices);
        return kExitDone;
    }
    CJson list = CJson::array();
    for (const ScanDeviceInfo& device : devices)
        list.push_back(JsonOf(device));
    PrintJson(std::cout, {{"devices", list}});
    return kExitDone;
}

// ---- install and uninstall

// The command line of `install`.
struct InstallCommand {
    InstallOptions m_install;
    std::string m_model;
    std::string m_toolkitClass;
    CButtonWish m_buttons;
    std::optional<std::string> m_vendor;
    std::optional<std::string> m_saneName;
    ESaneSamples m_samples = kSamplesAuto;
    bool m_isForced = false;
};

// Words of the command line for numbers of the registry.
const CWords<DWORD> kIoTypes = {
    {"usb", 1}, {"parallel", 2}, {"scsi", 3}, {"dot4", 4}, {"network", 5}};
const CWords<DWORD> kSubTypes = {{"index", kButtonIndex},
                                 {"signal", kButtonSignal},
                                 {"mask", kButtonMask},
                                 {"value", kButtonValue}};
const CWords<EEvents> kEvents = {
    {"pipe", EEvents::Pipe}, {"poll", EEvents::Poll}, {"none", EEvents::None}};

const CWords<ESaneSamples> kSamples = {
    {"auto", kSamplesAuto}, {"light", kSamplesLight}, {"display", kSamplesDisplay}};

// A port that is a path must be there: the one that is told wrongly would show at the first scan,
// as a scanner that isn't found. The simulator has more to say of its own.
ScanStatus CheckPort(const InstallOptions& install) {
    const std::string& port = install.port;
    const bool isSimulated =
        std::filesystem::path(install.toolkitModule).filename() == InstallOptions().toolkitModule;
    std::error_code error;
    const bool isThere = port.front() != '/' || std::filesystem::exists(port, error);
    if (isThere && (!isSimulated || IsSimulatedPort(port)))
        return {};
    return {
        E_INVALIDARG,
        port + (isThere ? ": is no simulated scanner's port; --toolkit names the module for a "
                          "scanner of another kind"
                        : ": there is no such port; --force installs a scanner that is switched "
                          "off or not connected")};
}

// Without a port it is a simulated scanner, whose folder says how its buttons come.
ScanStatus Prepare(const InstallCommand& command, const std::vector<InstalledDevice>& devices,
                   InstallOptions& install) {
    if (install.port.empty())
        return MakeSimulatedScanner(command.m_model, command.m_buttons, devices, install);
    install.subType = command.m_buttons.m_subType.value_or(kButtonMask);
    install.capabilities = CapabilitiesFor(command.m_buttons.m_events.value_or(EEvents::Pipe));
    if (install.name.empty())
        install.name = "Scanner at " + install.port;
    return command.m_isForced ? ScanStatus{} : CheckPort(install);
}

// SANE may take its time, or start something that installs too: that is over before the
// installation, which keeps others waiting.
ScanStatus InstallSane(InstallCommand& command, InstalledDevice& device) {
    std::string model;
    const CSaneWish wish = {*command.m_saneName, command.m_samples, command.m_isForced,
                            command.m_vendor, command.m_buttons.m_events};
    if (ScanStatus status = PrepareSaneScanner(wish, command.m_install, model); !status.Ok())
        return status;
    return InstallDevice(command.m_install, &device, [&](const auto& devices, auto& made) {
        if (made.name.empty())
            made.name = SaneScannerName(model, made.port, devices);
        return ScanStatus{};
    });
}

ScanStatus InstallKind(InstallCommand& command, InstalledDevice& device) {
    if (command.m_saneName)
        return InstallSane(command, device);
    InstallOptions& install = command.m_install;
    install.vendor = command.m_vendor.value_or(install.vendor);
    return InstallDevice(install, &device, [&command](const auto& devices, InstallOptions& made) {
        return Prepare(command, devices, made);
    });
}

int Install(InstallCommand& command) {
    InstallOptions& install = command.m_install;
    if (!command.m_toolkitClass.empty()) {
        CLSID clsid = GUID_NULL;
        if (!GuidFromText(command.m_toolkitClass, clsid))
            return Complain(command.m_toolkitClass + " is no class identifier", kExitUsage);
        install.toolkitClass = clsid;
    }
    if (!install.port.empty() && !command.m_model.empty())
        return Complain("--model is for a simulated scanner, which brings its own port",
                        kExitUsage);
    if (command.m_saneName && command.m_buttons.m_events == EEvents::Pipe)
        return Complain("--events pipe: a scanner of SANE has no pipe, its buttons are polled",
                        kExitUsage);
    InstalledDevice device;
    if (const ScanStatus status = InstallKind(command, device); !status.Ok())
        return Complain(status);
    std::cout << device.number << "  " << device.name << " at " << device.port << '\n';
    return kExitDone;
}

int Uninstall(const std::string& which) {
    const ScanStatus status = UninstallDevice(which);
    return status.Ok() ? kExitDone : Complain(status);
}

void AddInstall(CLI::App& app, CCommandList& commands) {
    const auto command = std::make_shared<InstallCommand>();
    InstallOptions& install = command->m_install;
    CLI::App* sub = app.add_subcommand(
        "install", "Install a scanner: one of SANE, at a port, or else a simulated one");
    sub->add_option("--name", install.name, "Its name, for people")
        ->default_str("by its model or port");
    sub->add_option("--vendor", command->m_vendor, "Its maker, for people")
        ->default_str(install.vendor + ", of a scanner of SANE as that has it");
    CLI::Option* sane =
        sub->add_option("--sane", command->m_saneName,
                        "A scanner of SANE, by the name that 'nvqscan find' lists; its maker and "
                        "its buttons are asked for")
            ->type_name("NAME");
    TakesWordOf(sub->add_option("--samples", command->m_samples,
                                "What its samples are: light, values for display on a screen, or "
                                "auto: light where its gamma can be set so, else for display")
                    ->default_str("auto")
                    ->needs(sane),
                kSamples);
    sub->add_option("--port", install.port, "Where it is: the driver opens this")
        ->type_name(kFileValue)
        ->default_str("that of a simulated scanner, which is made")
        ->excludes(sane);
    sub->add_flag("--force", command->m_isForced,
                  "Install also a scanner that isn't there, such as one that is switched off");
    Suggests(sub->add_option("--model", command->m_model,
                             "Model of the simulated scanner: SIM300A, SIM100F, SIM200S, SIM500D, "
                             "or one of the user's own")
                 ->type_name("MODEL")
                 ->default_str("SIM300A")
                 ->excludes(sane),
             {"SIM300A", "SIM100F", "SIM200S", "SIM500D"});
    sub->add_option("--driver", install.driverModule, "Module of the driver")
        ->type_name(kFileValue)
        ->capture_default_str();
    sub->add_option("--toolkit", install.toolkitModule, "Module that speaks to the device")
        ->type_name(kFileValue)
        ->capture_default_str()
        ->excludes(sane);
    sub->add_option("--toolkit-class", command->m_toolkitClass,
                    "Which of that module's classes, if it has several")
        ->type_name("ID")
        ->excludes(sane);
    TakesWordOf(sub->add_option("--io", install.ioType,
                                "How it is connected: usb, parallel, scsi, dot4 or network")
                    ->default_str("usb"),
                kIoTypes);
    sub->add_option("--network-id", install.networkDeviceId,
                    "Identifier of a device in the network, which needs one");
    sub->add_option("--model-string", install.model,
                    "Its model, which the driver then doesn't ask of the device");
    TakesWordOf(sub->add_option("--events", command->m_buttons.m_events,
                                "How presses of buttons come: pipe (the device's interrupt pipe), "
                                "poll (the driver is asked each second) or none")
                    ->default_str("pipe; of a simulated scanner as it is, of one of SANE poll if "
                                  "it has buttons"),
                kEvents);
    TakesWordOf(sub->add_option("--sub-type", command->m_buttons.m_subType,
                                "What comes through the pipe: the button's index, a bare signal, "
                                "a mask or a value")
                    ->default_str("mask; of a simulated scanner as it is")
                    ->excludes(sane),
                kSubTypes);
    sub->add_flag("--instant-lamp", install.instantLamp, "The lamp needs no warm-up");
    commands.push_back({sub, [command] { return Install(*command); }});
}

}  // namespace

void AddDeviceCommands(CLI::App& app, CCommandList& commands) {
    const auto list = std::make_shared<ListOptions>();
    CLI::App* devices = app.add_subcommand("devices", "List the scanners that are installed");
    devices->add_flag("--json", list->m_isJson, "Print JSON, for programs");
    devices->add_flag("--names", list->m_isNames,
                      "Print numbers and names alone, one a line; installs no scanner");
    commands.push_back({devices, [list] { return ListDevices(*list); }});

    AddInstall(app, commands);

    const auto which = std::make_shared<std::string>();
    CLI::App* uninstall = app.add_subcommand("uninstall", "Remove a scanner");
    AddDevice(*uninstall, *which)->required();
    commands.push_back({uninstall, [which] { return Uninstall(*which); }});
}
