#include "tools/sane_scanner.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/terminal.h"
#include "sane-toolkit/scanner_list.h"
#include "tools/console.h"

namespace {

constexpr std::array kPorts = {kAutoPort, kLightPort, kDisplayPort};  // by ESaneSamples
constexpr char kModule[] = "nvqsane.so";

// By its name: a button's event is the same after another installation, and on every scanner that
// calls it so.
GUID EventOf(const std::string& button) {
    constexpr std::uint64_t kStart = 0xCBF29CE484222325;  // FNV-1a
    constexpr std::uint64_t kPrime = 0x100000001B3;

    std::uint64_t hash = kStart;
    for (const char c : button)
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    GUID guid = {0x5A2C1B64, 0x0E8D, 0x4C57, {}};
    for (BYTE& byte : guid.Data4) {
        byte = static_cast<BYTE>(hash);
        hash >>= 8;
    }
    return guid;
}

// A forced one that can't be opened has no buttons.
ScanStatus Look(const CSaneWish& wish, FoundScanner& scanner) {
    const std::string& name = wish.m_name;
    if (!IsForeignName(name))
        return {E_INVALIDARG, name +
                                  ": that is a scanner of this driver, which SANE has from it; "
                                  "'nvqscan devices' lists them"};
    const CSaneWait wait;
    const DWORD code = FindScanner(name, scanner);
    if (code == OSTREL_NO_ERROR || wish.m_isForced)
        return {};
    const std::string fault = '"' + name + "\": " + SaneFaultText(code);
    if (code == OSTREL_NOT_FOUND)
        return {E_INVALIDARG, fault +
                                  "; 'nvqscan find' lists them, and --force installs one that "
                                  "is switched off"};
    return {E_FAIL, fault + "; --force installs it all the same, without its buttons"};
}

}  // namespace

ScanStatus PrepareSaneScanner(const CSaneWish& wish, InstallOptions& install, std::string& model) {
    FoundScanner scanner;
    if (ScanStatus status = Look(wish, scanner); !status.Ok())
        return status;
    model = scanner.listed.model;
    install.port = kPorts.at(wish.m_samples) + wish.m_name;
    install.toolkitModule = kModule;
    install.vendor = wish.m_vendor.value_or(scanner.listed.vendor);
    install.events.clear();
    for (const ScannerButton& button : scanner.buttons)
        install.events.push_back({button.title, EventOf(button.name), std::nullopt});
    install.subType = kButtonIndex;
    install.capabilities = CapabilitiesFor(
        wish.m_events.value_or(scanner.buttons.empty() ? EEvents::None : EEvents::Poll));
    return {};
}

std::string SaneScannerName(const std::string& model, const std::string& port,
                            const std::vector<InstalledDevice>& devices) {
    const std::string first = model.empty() ? "Scanner at " + port : model;
    std::string name = first;
    const auto isTaken = [&name](const InstalledDevice& device) { return Means(device, name); };
    for (int number = 2; std::ranges::any_of(devices, isTaken); ++number)
        name = first + '-' + std::to_string(number);
    return name;
}

bool IsSaneScanner(const InstalledDevice& device, const std::string& name) {
    return std::ranges::any_of(kPorts,
                               [&](const char* port) { return device.port == port + name; });
}

std::string SaneFaultText(DWORD code) {
    switch (code) {
        case OSTREL_NOT_IMPLEMENTED:
            return "SANE's library, libsane.so.1, isn't installed or doesn't start";
        case OSTREL_NOT_FOUND:
            return "SANE has no scanner of this name";
        case OSTREL_LOCK_FAILED:
            return "the scanner is in use by another program";
        case OSTREL_OPEN_FAILED:
            return "SANE isn't allowed to open the scanner";
        case OSTREL_COMMUNICATION:
            return "the scanner doesn't answer SANE";
        default:
            return "SANE can't open the scanner (code " + std::to_string(code) + ")";
    }
}

CSaneWait::CSaneWait() {
    if (IsErrorTerminal())
        ShowPassingLine("asking SANE for its scanners");
}

CSaneWait::~CSaneWait() {
    WipePassingLine();
}
