#include "service/device_registry.h"

#include <algorithm>
#include <iterator>

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
    if (data.Find(key.Get(), "DeviceData"))
        device.toolkitClass = ReadClass(data, "OstrelCLSID", ignored);
    return device;
}

// As somebody writes a number by hand: "0" or "00000" for "0000".
bool IsNumber(const std::string& text, const std::string& number) {
    const auto significant = [](const std::string& digits) {
        const std::size_t first = digits.find_first_not_of('0');
        return first == std::string::npos ? std::string() : digits.substr(first);
    };
    return text.find_first_not_of("0123456789") == std::string::npos &&
           significant(text) == significant(number);
}

// Ways in which a text may mean a device; the first counts in which it means any. Numbers and
// identifiers belong to one device; a name or port may be several devices'.
constexpr bool (*kWaysToMean[])(const InstalledDevice& device, const std::string& which) = {
    [](const InstalledDevice& device, const std::string& which) {
        return device.number == which || device.id == which;
    },
    [](const InstalledDevice& device, const std::string& which) {
        return device.name == which || device.port == which;
    },
    [](const InstalledDevice& device, const std::string& which) {
        return IsNumber(which, device.number) || EqualNoCase(device.name, which) ||
               EqualNoCase(device.id, which);
    },
};

}  // namespace

std::string DeviceKeyPath(const std::string& number) {
    return std::string(kDevicesKey) + '\\' + number;
}

ScanStatus ListInstalled(std::vector<InstalledDevice>& devices) {
    devices.clear();
    CRegistryKey all;
    LONG error = ERROR_SUCCESS;
    ScanStatus status = Explained([&]() -> ScanStatus {
        error = all.Open(HKEY_LOCAL_MACHINE, kDevicesKey);
        return error == ERROR_FILE_NOT_FOUND
                   ? ScanStatus{}
                   : StatusOf(ResultFromError(error), "the list of devices");
    });
    if (error != ERROR_SUCCESS)
        return status;
    std::vector<std::string> numbers = all.Subkeys();
    std::sort(numbers.begin(), numbers.end());
    for (const std::string& number : numbers) {
        CRegistryKey key;
        // Another program may have removed it meanwhile.
        if (IsDeviceNumber(number) && key.Find(all.Get(), number))
            devices.push_back(ReadDevice(key, number));
    }
    return {};
}

ScanStatus FindInstalled(const std::vector<InstalledDevice>& devices, const std::string& which,
                         InstalledDevice& device) {
    if (devices.empty())
        return {MakeResult(0x80070103u), "no device is installed"};
    if (which.empty()) {
        device = devices.front();
        return {};
    }
    for (const auto means : kWaysToMean) {
        std::vector<const InstalledDevice*> meant;
        for (const InstalledDevice& known : devices) {
            if (means(known, which))
                meant.push_back(&known);
        }
        if (meant.size() == 1) {
            device = *meant.front();
            return {};
        }
        if (!meant.empty())
            return {E_INVALIDARG,
                    "several devices are called \"" + which + "\"; tell the number of one"};
    }
    return {E_INVALIDARG, "there is no device \"" + which + '"'};
}

bool Means(const InstalledDevice& device, const std::string& which) {
    return std::any_of(std::begin(kWaysToMean), std::end(kWaysToMean),
                       [&](const auto means) { return means(device, which); });
}

std::vector<DeviceEvent> ListEvents(const std::string& number) {
    std::vector<DeviceEvent> events;
    CRegistryKey all;
    if (!all.Find(HKEY_LOCAL_MACHINE, DeviceKeyPath(number) + "\\Events"))
        return events;
    for (const std::string& name : all.Subkeys()) {
        CRegistryKey key;
        DeviceEvent event;
        if (!key.Find(all.Get(), name) ||
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
    if (!server.Find(HKEY_CLASSES_ROOT, path))
        return {};
    return server.ReadText(nullptr).value_or("");
}
