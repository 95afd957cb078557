#include "sane-toolkit/scanner_list.h"

#include <algorithm>
#include <cstring>

#include "sane-toolkit/device_turn.h"
#include "sane-toolkit/plain_text.h"

namespace {

constexpr std::size_t kMostScanners = 1000;
constexpr std::size_t kMostName = 1000;  // bytes
constexpr DWORD kPatience = 3000;  // milliseconds; who polls gives a device away within one or two

// A name is handed back to SANE as it came, so one that can't be told in a line is of no use.
bool IsName(const char* name) {
    const std::size_t length = name ? strnlen(name, kMostName + 1) : 0;
    return length > 0 && length <= kMostName &&
           std::none_of(name, name + length,
                        [](unsigned char c) { return c < 0x20 || c == 0x7F; }) &&
           IsForeignName(name);
}

// The list is the library's own, and ends with a null.
DWORD ReadList(bool isLocalOnly, std::vector<ListedScanner>& scanners) {
    const SANE_Device** devices = nullptr;
    if (const SANE_Status status = sane_get_devices(&devices, isLocalOnly ? SANE_TRUE : SANE_FALSE);
        status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    for (std::size_t i = 0; devices && devices[i] && i < kMostScanners; ++i) {
        const SANE_Device& device = *devices[i];
        const auto isSame = [&device](const auto& known) { return known.name == device.name; };
        if (IsName(device.name) && std::ranges::none_of(scanners, isSame))
            scanners.push_back({device.name, PlainText(device.vendor), PlainText(device.model),
                                PlainText(device.type)});
    }
    return OSTREL_NO_ERROR;
}

// The list comes first: some devices can be opened only by back ends that have looked for them.
Attempt Look(const std::string& name, FoundScanner& scanner) {
    const std::lock_guard guard(CSaneLibrary::Lock());
    const auto library = CSaneLibrary::Get();
    if (!library)
        return {OSTREL_NOT_IMPLEMENTED};
    std::vector<ListedScanner> scanners;
    static_cast<void>(ReadList(false, scanners));  // whether the device is there, opening tells
    const auto found = std::ranges::find(scanners, name, &ListedScanner::name);
    if (found != scanners.end())
        scanner.listed = *found;
    std::unique_ptr<CSaneDevice> device;
    const Attempt attempt = CSaneDevice::Open(name, device);
    if (attempt.code == OSTREL_NO_ERROR)
        scanner.buttons = LearnButtons(*device);
    return attempt;
}

// Without the bus and the address of a USB device.
std::string KindOfName(std::string name) {
    constexpr char kUsb[] = "libusb:";
    if (const std::size_t at = name.find(kUsb); at != std::string::npos) {
        const std::size_t from = at + std::strlen(kUsb);
        name.erase(from, name.find_first_not_of("0123456789:", from) - from);
    }
    return name;
}

}  // namespace

DWORD ListScanners(bool isLocalOnly, std::vector<ListedScanner>& scanners) {
    const std::lock_guard guard(CSaneLibrary::Lock());
    scanners.clear();
    const auto library = CSaneLibrary::Get();
    return library ? ReadList(isLocalOnly, scanners) : OSTREL_NOT_IMPLEMENTED;
}

DWORD FindScanner(const std::string& name, FoundScanner& scanner) {
    scanner = {};
    scanner.listed.name = name;
    if (!IsName(name.c_str()))
        return OSTREL_NOT_FOUND;
    return OpenPatiently(name, kPatience, [&] { return Look(name, scanner); });
}

std::string PresentName(const std::string& name) {
    const auto library = CSaneLibrary::Get();
    std::vector<ListedScanner> scanners;
    if (!library || ReadList(false, scanners) != OSTREL_NO_ERROR)
        return {};
    if (std::ranges::find(scanners, name, &ListedScanner::name) != scanners.end())
        return name;
    const std::string kind = KindOfName(name);
    std::erase_if(scanners, [&](const auto& one) { return KindOfName(one.name) != kind; });
    return kind != name && scanners.size() == 1 ? scanners.front().name : std::string();
}
