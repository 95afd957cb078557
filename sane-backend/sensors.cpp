#include "sane-backend/sensors.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "sane-backend/debug.h"
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

}  // namespace

CSensors::CSensors(std::string number) : m_number(std::move(number)) {
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
