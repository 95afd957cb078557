// Installing and removing devices: what an installer writes into the registry.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/device_registry.h"

// Class of the driver that this product brings.
inline constexpr CLSID kDriverClass = {
    0x0C3A5327, 0x4FBD, 0x4E6C, {0xBC, 0x58, 0xEF, 0x03, 0xA9, 0xB7, 0xB9, 0x81}};

struct InstallEvent {
    std::string name;
    GUID guid = GUID_NULL;
    std::optional<DWORD> mask;  // or value, for the sub-types that decode by it
};

// The four buttons of the simulated scanner, each with a mask.
std::vector<InstallEvent> DefaultEvents();

// What an installer would ask; the defaults are those of a simulated scanner.
struct InstallOptions {
    std::string name;  // shown to people
    std::string vendor = "Norvane";
    std::string port;  // under which the driver opens the device
    CLSID driverClass = kDriverClass;
    std::string driverModule = "nvqdrv.so";
    std::string toolkitModule = "nvqsim.so";
    // Which of the toolkit module's classes; needed only when it has several.
    std::optional<CLSID> toolkitClass;
    DWORD ioType = 1;             // 1 USB, 2 parallel, 3 SCSI, 4 DOT4, 5 network
    std::string networkDeviceId;  // for I/O type 5, which needs it
    std::string model;            // empty: the driver asks the device
    DWORD capabilities = 1;       // STI_GENCAP_...: events come by themselves
    DWORD subType = 3;            // 1 index, 2 signal only, 3 mask, 4 value
    std::vector<InstallEvent> events = DefaultEvents();
    bool instantLamp = false;  // the lamp setting that a new device gets
};

// What an installer makes before it installs, such as the port, while nobody else does. It gets the
// devices that are there, and may change the options; S_FALSE means that nothing is to be
// installed.
using InstallPreparation =
    std::function<ScanStatus(const std::vector<InstalledDevice>& devices, InstallOptions& options)>;

// Registers driver and toolkit through their modules and writes the device's key. Nothing of the
// device stays in the registry when it fails. A port or a name that another device has is refused,
// and so are a name of several lines, a device in the network without its identifier, and a toolkit
// with the class of another one that a device needs. Programs that install at once wait for each
// other, for a minute at most.
ScanStatus InstallDevice(const InstallOptions& options, InstalledDevice* device = nullptr,
                         const InstallPreparation& prepare = {});

// Removes the device's key, and the modules' registration with the last device that needs it.
// `which` as for FindInstalled, but never empty.
ScanStatus UninstallDevice(const std::string& which);
