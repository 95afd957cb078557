#include "sane-backend/sensors.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "platform/sti.h"
#include "sane-backend/debug.h"
#include "sane-backend/signals_blocked.h"
#include "sane-backend/status_map.h"
#include "service/device_registry.h"

namespace {

// "E-mail button" is "email", as programs know it.
std::string OptionName(const std::string& title) {
    std::string name;
    for (const char c : title.substr(0, title.find(" button"))) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    constexpr const char* kKnown[] = {"scan", "email", "fax", "copy", "pdf", "cancel", "file"};
    return std::ranges::find(kKnown, name) != std::end(kKnown) ? name : "button-" + name;
}

// It may, where that can't be found out.
bool TellsOfButtons(const std::string& number) {
    std::vector<InstalledDevice> devices;
    if (const ScanStatus status = ListInstalled(devices); !status.Ok()) {
        Debug(EDebug::Notes, status.text);
        return true;
    }
    const auto device = std::ranges::find(devices, number, &InstalledDevice::number);
    return device != devices.end() && (device->capabilities & STI_GENCAP_NOTIFICATIONS) != 0;
}

}  // namespace

CSensors::CSensors(std::string number) : m_number(std::move(number)) {
    if (!TellsOfButtons(m_number))
        return;
    for (const DeviceEvent& event : ListEvents(m_number)) {
        std::string name = OptionName(event.name);
        if (name == "button-" ||
            std::ranges::find(m_buttons, name, &Button::name) != m_buttons.end())
            name = "button-" + std::to_string(m_buttons.size() + 1);
        Button& button = m_buttons.emplace_back();
        button.name = name;
        button.title = event.name;
        button.guid = event.guid;
    }
}

bool CSensors::Take(std::size_t button) {
    if (!m_isListening) {
        const CSignalsBlocked blocked;
        const ScanStatus status = CScanClient().Subscribe(
            m_number,
            [this](const ScanEvent& event) {
                for (Button& known : m_buttons) {
                    if (known.guid == event.guid)
                        known.isPressed = true;
                }
            },
            m_subscription);
        if (!status.Ok())
            Debug(EDebug::Notes, status.text);
        m_isListening = SaneStatusOf(status.code) != SANE_STATUS_NO_MEM;
    }
    return m_buttons[button].isPressed.exchange(false);
}
