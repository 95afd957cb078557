// The imaging devices that are installed, as the registry has them.
//
// Each has a numbered key, "0000" and on, below the key of the class of imaging devices:
//
//     DriverDesc       text     the device's name
//     ProviderName     text     its maker
//     USDClass         text     class identifier of its driver
//     CreateFileName   text     the port: the name under which the driver opens it
//     Capabilities     number   generic capabilities, STI_GENCAP_...
//     DeviceSubType    number   how its events come
//     DeviceData\      what driver and installer know of the hardware
//     Events\          one subkey for each event: name as the default value, "Index", "GUID",
//     "Mask"
#pragma once

#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/registry_key.h"
#include "platform/types.h"
#include "service/scan_status.h"

inline constexpr const char* kDevicesKey =
    "System\\CurrentControlSet\\Control\\Class\\{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";

struct InstalledDevice {
    std::string number;  // "0000"
    std::string id;      // "{6BDD1FC6-...}\0000"
    std::string name;
    std::string vendor;
    std::string port;
    CLSID driverClass = GUID_NULL;
    CLSID toolkitClass = GUID_NULL;
    DWORD capabilities = 0;
    DWORD subType = 1;
    // Why it can't be used: a class identifier that is missing or none. Empty if it can.
    std::string fault;
};

struct DeviceEvent {
    std::string name;
    GUID guid = GUID_NULL;
};

// The device's key below HKEY_LOCAL_MACHINE.
std::string DeviceKeyPath(const std::string& number);

// In the order of their numbers. No devices is no failure.
ScanStatus ListInstalled(std::vector<InstalledDevice>& devices);

// The one that `which` means: its number, identifier, port or name; the first of all for an empty
// text. Where none is written so, numbers without their zeros and names in other letters count. It
// must mean one device alone.
ScanStatus FindInstalled(const std::vector<InstalledDevice>& devices, const std::string& which,
                         InstalledDevice& device);

// Whether FindInstalled could mean it by that.
bool Means(const InstalledDevice& device, const std::string& which);

// The events that have an identifier, in the order of the registry.
std::vector<DeviceEvent> ListEvents(const std::string& number);

// The module that the registry names for a class; empty if it names none.
std::string RegisteredModule(REFCLSID clsid);
