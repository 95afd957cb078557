// The buttons of a scanner's panel, as programs ask for them.
#pragma once

#include <atomic>
#include <deque>
#include <string>

#include "service/scan_client.h"

class CSensors {
  public:
    struct Button {
        std::string name;  // of the option
        std::string title;
        GUID guid = GUID_NULL;
        std::atomic<bool> isPressed = false;
    };

    // The buttons that are installed for the device, if it tells of any; their presses come as soon
    // as somebody has asked for one: until then they are for other programs.
    explicit CSensors(std::string number);

    std::size_t Count() const { return m_buttons.size(); }
    const Button& At(std::size_t button) const { return m_buttons[button]; }
    // Whether it was pressed since the last time.
    bool Take(std::size_t button);

  private:
    const std::string m_number;
    std::deque<Button> m_buttons;
    bool m_isListening = false;
    CScanSubscription m_subscription;  // ends ahead of the buttons
};
