#include "service/install.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "platform/named_lock.h"
#include "platform/registry_key.h"
#include "platform/sti.h"
#include "platform/text.h"
#include "service/module_files.h"

namespace {

constexpr unsigned kMaxDevices = 10000;  // numbers have four digits
constexpr DWORD kNetwork = 5;            // an I/O type

// Names the place of the lamp setting, which all devices of this product share.
constexpr GUID kProduct = {
    0x2D753268, 0x9F05, 0x4006, {0xBD, 0x50, 0x23, 0x49, 0x8A, 0x4A, 0x21, 0xA3}};

std::string ProductKey(const std::string& installClass) {
    return "Software\\Norvane\\Lumetra\\" + installClass;
}

// One program at a time installs or removes; others wait for it.
ScanStatus UnderInstallLock(const std::function<ScanStatus()>& operation) {
    return Explained([&]() -> ScanStatus {
        constexpr DWORD kPatience = 60000;  // milliseconds
        const CNamedLock lock("nvqdrv-install", kPatience);
        if (lock.IsFaulty())
            return StatusOf(ResultFromError(static_cast<LONG>(GetLastError())), "installing");
        return lock.IsHeld()
                   ? operation()
                   : ScanStatus{E_FAIL,
                                "another program has been installing a device for a minute"};
    });
}

// ---- Modules

// `file` gets the whole path, also when the registration fails.
ScanStatus RegisterByName(const std::string& name, std::string& file) {
    ScanStatus status = FindModuleFile(name, file);
    return status.Ok() ? RegisterModule(file) : status;
}

// The module has registered its classes just now; one of several must be named.
ScanStatus FindToolkitClass(const InstallOptions& options, const std::string& file, CLSID& clsid) {
    const std::vector<CLSID> classes = ClassesOfModule(file);
    if (options.toolkitClass) {
        clsid = *options.toolkitClass;
        return {};
    }
    if (classes.size() != 1)
        return {REGDB_E_CLASSNOTREG, file + ": has registered " + std::to_string(classes.size()) +
                                         " classes; tell which is the device toolkit"};
    clsid = classes.front();
    return {};
}

// ---- The device's key

// Keeps the first failure.
class CKeyWriter {
  public:
    CKeyWriter(HKEY parent, const std::string& path) { m_error = m_key.Create(parent, path); }

    CKeyWriter& Text(const char* name, const std::string& text) {
        if (m_error == ERROR_SUCCESS)
            m_error = m_key.WriteText(name, text);
        return *this;
    }
    CKeyWriter& TextUnlessEmpty(const char* name, const std::string& text) {
        return text.empty() ? *this : Text(name, text);
    }
    CKeyWriter& Number(const char* name, DWORD number) {
        if (m_error == ERROR_SUCCESS)
            m_error = m_key.WriteNumber(name, number);
        return *this;
    }
    HKEY Key() const { return m_key.Get(); }
    LONG Error() const { return m_error; }

  private:
    CRegistryKey m_key;
    LONG m_error;
};

// The order is that of the buttons: "Index" counts from 0, the keys' names from 1.
LONG WriteEvents(HKEY device, const std::vector<InstallEvent>& events) {
    for (std::size_t i = 0; i < events.size(); ++i) {
        const InstallEvent& event = events[i];
        CKeyWriter key(device, "Events\\Button" + std::to_string(i + 1));
        key.Text(nullptr, event.name)
            .Number("Index", static_cast<DWORD>(i))
            .Text("GUID", GuidText(event.guid));
        if (event.mask)
            key.Number("Mask", *event.mask);
        if (key.Error() != ERROR_SUCCESS)
            return key.Error();
    }
    return ERROR_SUCCESS;
}

// The driver's first start adds what it learns from the hardware to DeviceData.
LONG WriteDevice(const std::string& number, const InstallOptions& options,
                 const std::string& toolkitFile, REFCLSID toolkitClass) {
    CKeyWriter device(HKEY_LOCAL_MACHINE, DeviceKeyPath(number));
    device.Text("DriverDesc", options.name)
        .Text("ProviderName", options.vendor)
        .Text("USDClass", GuidText(options.driverClass))
        .Text("CreateFileName", options.port)
        .Number("Capabilities", options.capabilities)
        .Number("DeviceSubType", options.subType);
    if (device.Error() != ERROR_SUCCESS)
        return device.Error();
    CKeyWriter data(device.Key(), "DeviceData");
    data.Text("OstrelCLSID", GuidText(toolkitClass))
        .Text("OstrelDriver", toolkitFile)
        .Number("OstrelIOType", options.ioType)
        .Text("InstallCLSID", GuidText(kProduct))
        .TextUnlessEmpty("NetworkDeviceID", options.networkDeviceId)
        .TextUnlessEmpty("ModelString", options.model);
    if (data.Error() != ERROR_SUCCESS)
        return data.Error();
    CKeyWriter product(HKEY_LOCAL_MACHINE, ProductKey(GuidText(kProduct)));
    product.Text("InstantLampWarmUp", options.instantLamp ? "1" : "0");
    return product.Error() == ERROR_SUCCESS ? WriteEvents(device.Key(), options.events)
                                            : product.Error();
}

// The lowest that no device has; empty when all are taken.
std::string FreeNumber(const std::vector<InstalledDevice>& devices) {
    for (unsigned i = 0; i < kMaxDevices; ++i) {
        char number[8];
        std::snprintf(number, sizeof(number), "%04u", i);
        if (std::none_of(devices.begin(), devices.end(),
                         [&](const auto& device) { return device.number == number; }))
            return number;
    }
    return {};
}

// Lists show it in one line. Control characters stand below the blank and from 0x7F to 0x9F.
bool IsOneLine(const std::string& text) {
    constexpr char16_t kLineSeparator = 0x2028;
    constexpr char16_t kParagraphSeparator = 0x2029;
    const std::u16string wide = WideFromText(text);
    return std::none_of(wide.begin(), wide.end(), [](char16_t c) {
        return c < u' ' || (c >= 0x7F && c <= 0x9F) || c == kLineSeparator ||
               c == kParagraphSeparator;
    });
}

// At an end a blank doesn't show, and makes another name of the same looks.
bool HasBlankEnd(const std::string& name) {
    return name.starts_with(' ') || name.ends_with(' ');
}

// What can be refused before anything is made for the device, its name too if it has one already.
ScanStatus CheckWish(const InstallOptions& options, const std::vector<InstalledDevice>& devices) {
    // The driver asks the toolkit for it by that identifier, at every start.
    if (options.ioType == kNetwork && options.networkDeviceId.empty())
        return {E_INVALIDARG, "a scanner in the network needs its network identifier"};
    if (!IsOneLine(options.name) || !IsOneLine(options.port) || !IsOneLine(options.vendor))
        return {E_INVALIDARG,
                "a device's name, maker and port are one line each, without control characters"};
    if (HasBlankEnd(options.name))
        return {E_INVALIDARG, "a device's name begins and ends with no blank"};
    for (const InstalledDevice& known : devices) {
        if (!options.name.empty() && Means(known, options.name))
            return {E_INVALIDARG, '"' + options.name + "\" means " + known.name + " (" +
                                      known.number + ") already; tell another name"};
        if (!options.port.empty() && known.port == options.port)
            return {E_INVALIDARG, known.name + " (" + known.number + ") is installed at the port " +
                                      options.port + " already"};
    }
    return {};
}

// Before anything is written or registered.
ScanStatus CheckOptions(const InstallOptions& options,
                        const std::vector<InstalledDevice>& devices) {
    if (options.name.empty() || options.port.empty())
        return {E_INVALIDARG, "a device needs a name and a port"};
    return CheckWish(options, devices);
}

// ---- Removal

// Of a class that no device needs any more. A module that is gone can't take itself out.
void DropClass(REFCLSID clsid) {
    if (clsid == GUID_NULL)
        return;
    const std::string path = "CLSID\\" + GuidText(clsid);
    const std::string file = RegisteredModule(clsid);
    if (file.empty() || !UnregisterModule(file).Ok())
        RegDeleteTreeA(HKEY_CLASSES_ROOT, path.c_str());
    PruneEmptyKeys(HKEY_CLASSES_ROOT, path);
    // A module takes its own type library out, and leaves the key for all of them.
    PruneEmptyKeys(HKEY_CLASSES_ROOT, "TypeLib");
}

// Empty for a device whose installation broke off.
std::string InstallClassOf(const std::string& number) {
    CRegistryKey data;
    if (data.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath(number) + "\\DeviceData") != ERROR_SUCCESS)
        return {};
    return data.ReadText("InstallCLSID").value_or("");
}

// With the last device of the product, for they share the setting.
void DropProduct(const std::string& installClass) {
    GUID guid = GUID_NULL;
    if (!GuidFromText(installClass, guid))  // it becomes part of a path
        return;
    const std::string path = ProductKey(installClass);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str());
    PruneEmptyKeys(HKEY_LOCAL_MACHINE, path);
}

// The key goes first: what others still need is counted by the devices that are left.
ScanStatus RemoveDevice(const InstalledDevice& device) {
    const std::string installClass = InstallClassOf(device.number);
    const std::string path = DeviceKeyPath(device.number);
    if (const LONG error = RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str()); error != ERROR_SUCCESS)
        return StatusOf(ResultFromError(error), "the device's key");
    PruneEmptyKeys(HKEY_LOCAL_MACHINE, path);

    std::vector<InstalledDevice> left;
    if (ScanStatus status = ListInstalled(left); !status.Ok())
        return status;
    const auto isUsed = [&](auto needs) { return std::any_of(left.begin(), left.end(), needs); };
    if (!isUsed([&](const auto& other) { return other.driverClass == device.driverClass; }))
        DropClass(device.driverClass);
    if (!isUsed([&](const auto& other) { return other.toolkitClass == device.toolkitClass; }))
        DropClass(device.toolkitClass);
    if (!isUsed([&](const auto& other) { return InstallClassOf(other.number) == installClass; }))
        DropProduct(installClass);
    return {};
}

// The modules of driver and toolkit, once they are registered.
struct InstalledModules {
    std::string driverFile;
    std::string toolkitFile;
    CLSID toolkitClass = GUID_NULL;
};

// Another build of a module has its name.
bool IsOtherModule(const std::string& known, const std::string& file) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    return fs::path(known).filename() != fs::path(file).filename() && fs::exists(known, ignored);
}

// A copy of a module that has kept its class identifier would take the other one's scanners over.
ScanStatus RegisterToolkit(const InstallOptions& options,
                           const std::vector<InstalledDevice>& devices, InstalledModules& modules) {
    std::vector<std::string> files;
    for (const InstalledDevice& device : devices)
        files.push_back(RegisteredModule(device.toolkitClass));
    ScanStatus status = RegisterByName(options.toolkitModule, modules.toolkitFile);
    if (status.Ok())
        status = FindToolkitClass(options, modules.toolkitFile, modules.toolkitClass);
    for (std::size_t i = 0; i < devices.size() && status.Ok(); ++i) {
        if (devices[i].toolkitClass != modules.toolkitClass ||
            !IsOtherModule(files[i], modules.toolkitFile))
            continue;
        static_cast<void>(RegisterModule(files[i]));
        status = {E_INVALIDARG, modules.toolkitFile + ": has the class " +
                                    GuidText(modules.toolkitClass) + " of " + files[i] +
                                    ", with which " + devices[i].name + " (" + devices[i].number +
                                    ") is installed; a module needs a class of its own"};
    }
    return status;
}

ScanStatus RegisterModules(const InstallOptions& options,
                           const std::vector<InstalledDevice>& devices, InstalledModules& modules) {
    ScanStatus status = RegisterByName(options.driverModule, modules.driverFile);
    if (status.Ok())
        status = RegisterToolkit(options, devices, modules);
    if (status.Ok() && RegisteredModule(options.driverClass).empty())
        status = {REGDB_E_CLASSNOTREG, modules.driverFile +
                                           ": has not registered the driver's class " +
                                           GuidText(options.driverClass)};
    return status;
}

// After a failure: what was registered and no device needs.
void DropUnusedModules(const InstallOptions& options, const InstalledModules& modules,
                       const std::vector<InstalledDevice>& devices) {
    std::vector<CLSID> classes = {options.driverClass};
    for (const std::string& file : {modules.driverFile, modules.toolkitFile}) {
        if (!file.empty()) {
            const std::vector<CLSID> more = ClassesOfModule(file);
            classes.insert(classes.end(), more.begin(), more.end());
        }
    }
    for (const CLSID& clsid : classes) {
        const bool isUsed = std::any_of(devices.begin(), devices.end(), [&](const auto& device) {
            return device.driverClass == clsid || device.toolkitClass == clsid;
        });
        if (!isUsed && !RegisteredModule(clsid).empty())
            DropClass(clsid);
    }
}

// Under the lock. A device that can't be written whole is taken out again.
ScanStatus Install(InstallOptions options, InstalledDevice* installed,
                   const InstallPreparation& prepare) {
    std::vector<InstalledDevice> devices;
    ScanStatus status = ListInstalled(devices);
    if (status.Ok())
        status = CheckWish(options, devices);
    if (status.Ok() && prepare)
        status = prepare(devices, options);
    if (status.code == S_OK)
        status = CheckOptions(options, devices);
    if (status.code != S_OK)
        return status;
    InstalledModules modules;
    status = RegisterModules(options, devices, modules);
    const std::string number = FreeNumber(devices);
    if (status.Ok()) {
        const LONG error = WriteDevice(number, options, modules.toolkitFile, modules.toolkitClass);
        status = StatusOf(ResultFromError(error), "the registry");
        if (!status.Ok()) {
            InstalledDevice half;
            half.number = number;
            static_cast<void>(RemoveDevice(half));
        }
    }
    if (!status.Ok()) {
        DropUnusedModules(options, modules, devices);
        return status;
    }
    status = ListInstalled(devices);
    return status.Ok() && installed ? FindInstalled(devices, number, *installed) : status;
}

}  // namespace

std::vector<InstallEvent> DefaultEvents() {
    return {
        {"Scan button",
         {0x96623854, 0x1FFF, 0x424C, {0xBE, 0x1D, 0xDC, 0x8D, 0x28, 0xD7, 0xEB, 0xCF}},
         1},
        {"Copy button",
         {0xD493B727, 0x5ABC, 0x49EB, {0x95, 0x21, 0xF3, 0x2F, 0xFC, 0xFD, 0x72, 0x25}},
         2},
        {"E-mail button",
         {0x7B904D98, 0xDFC4, 0x4DA9, {0x81, 0xDF, 0xA3, 0x85, 0x96, 0xFD, 0x76, 0x96}},
         4},
        {"File button",
         {0xBB67964E, 0x56CF, 0x46C2, {0xB4, 0xCC, 0x11, 0x5D, 0xCB, 0xF4, 0xDB, 0x65}},
         8},
    };
}

ScanStatus InstallDevice(const InstallOptions& options, InstalledDevice* device,
                         const InstallPreparation& prepare) {
    return UnderInstallLock([&] { return Install(options, device, prepare); });
}

ScanStatus UninstallDevice(const std::string& which) {
    return UnderInstallLock([&] {
        std::vector<InstalledDevice> devices;
        ScanStatus status = ListInstalled(devices);
        InstalledDevice device;
        if (status.Ok())
            status = which.empty() ? ScanStatus{E_INVALIDARG, "tell which device is to be removed"}
                                   : FindInstalled(devices, which, device);
        return status.Ok() ? RemoveDevice(device) : status;
    });
}
