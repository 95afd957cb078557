#include "service/device_registry.h"

#include <algorithm>

#include "platform/text.h"

namespace {

constexpr std::size_t kNumberDigits = 4;

// Other keys there are the class's own, such as "Properties".
bool IsDeviceNumber(const std::string& name) {
    return name.size() == kNumberDigits &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// `fault` is left alone when it can be read.
CLSID ReadClass(const CRegistryKey& key, const char* name, std::string& fault) {
    const auto text = key.ReadText(name);
    CLSID clsid = GUID_NULL;
    if (!text)
        fault = std::string("the registry has no \"") + name + "\" for it";
    else if (!GuidFromText(*text, clsid))
        fault =
            std::string("\"") + name + "\" in the registry, " + *text + ", is no class identifier";
    return clsid;
}

// A device whose key lacks something is listed all the same: it must be possible to remove it.
InstalledDevice ReadDevice(const CRegistryKey& key, const std::string& number) {
    InstalledDevice device;
    const std::string devices = kDevicesKey;
    device.number = number;
    device.id = devices.substr(devices.rfind('\\') + 1) + '\\' + number;
    device.name = key.ReadText("DriverDesc").value_or("Scanner " + number);
    device.vendor = key.ReadText("ProviderName").value_or("");
    device.port = key.ReadText("CreateFileName").value_or("");
    device.capabilities = key.ReadNumber("Capabilities").value_or(device.capabilities);
    device.subType = key.ReadNumber("DeviceSubType").value_or(device.subType);
    device.driverClass = ReadClass(key, "USDClass", device.fault);
    CRegistryKey data;
    std::string ignored;
    if (data.Open(key.Get(), "DeviceData") == ERROR_SUCCESS)
        device.toolkitClass = ReadClass(data, "OstrelCLSID", ignored);
    return device;
}

}  // namespace

std::string DeviceKeyPath(const std::string& number) {
    return std::string(kDevicesKey) + '\\' + number;
}

ScanStatus ListInstalled(std::vector<InstalledDevice>& devices) {
    devices.clear();
    CRegistryKey all;
    LONG error = all.Open(HKEY_LOCAL_MACHINE, kDevicesKey);
    if (error == ERROR_FILE_NOT_FOUND)
        return {};
    if (error != ERROR_SUCCESS)
        return StatusOf(ResultFromError(error), "the list of devices");
    std::vector<std::string> numbers = all.Subkeys();
    std::sort(numbers.begin(), numbers.end());
    for (const std::string& number : numbers) {
        CRegistryKey key;
        // Another program may have removed it meanwhile.
        if (IsDeviceNumber(number) && key.Open(all.Get(), number) == ERROR_SUCCESS)
            devices.push_back(ReadDevice(key, number));
    }
    return {};
}

// Numbers and identifiers belong to one device; a name or port may be several devices'.
ScanStatus FindInstalled(const std::vector<InstalledDevice>& devices, const std::string& which,
                         InstalledDevice& device) {
    if (devices.empty())
        return {MakeResult(0x80070103u), "no device is installed"};
    if (which.empty()) {
        device = devices.front();
        return {};
    }
    std::vector<const InstalledDevice*> named;
    for (const InstalledDevice& known : devices) {
        if (known.number == which || known.id == which) {
            device = known;
            return {};
        }
        if (known.name == which || known.port == which)
            named.push_back(&known);
    }
    if (named.size() == 1) {
        device = *named.front();
        return {};
    }
    return {E_INVALIDARG,
            named.empty() ? "there is no device \"" + which + '"'
                          : "several devices are called \"" + which + "\"; tell the number of one"};
}

std::vector<DeviceEvent> ListEvents(const std::string& number) {
    std::vector<DeviceEvent> events;
    CRegistryKey all;
    if (all.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath(number) + "\\Events") != ERROR_SUCCESS)
        return events;
    for (const std::string& name : all.Subkeys()) {
        CRegistryKey key;
        DeviceEvent event;
        if (key.Open(all.Get(), name) != ERROR_SUCCESS ||
            !GuidFromText(key.ReadText("GUID").value_or(""), event.guid))
            continue;
        event.name = key.ReadText(nullptr).value_or(name);
        events.push_back(std::move(event));
    }
    return events;
}

std::string RegisteredModule(REFCLSID clsid) {
    CRegistryKey server;
    const std::string path = "CLSID\\" + GuidText(clsid) + "\\InprocServer32";
    if (server.Open(HKEY_CLASSES_ROOT, path) != ERROR_SUCCESS)
        return {};
    return server.ReadText(nullptr).value_or("");
}
