// Buttons and paper sensors of a device of SANE: options that the device sets and software reads.
//
// Who uses them holds CSaneLibrary::Lock().
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sane-toolkit/sane_device.h"

struct ScannerButton {
    std::string name;   // the option's
    std::string title;  // for people: one line, never empty
};

inline constexpr std::size_t kMostScannerButtons = 32;

// In the device's order. Sensors that tell a state, such as an open cover, are none, and neither
// are readings that nobody can change at the device.
std::vector<ScannerButton> LearnButtons(CSaneDevice& device);

// Whether paper lies in the feeder, as its sensor has it now; nothing without a sensor.
std::optional<bool> ReadPaperSensor(CSaneDevice& device);

// Which buttons were pressed from one read to the next. A press counts once, however long the
// button is held. A button that reads as pressed at first counts too: many devices keep a press
// until they are asked.
class CButtonReader {
  public:
    explicit CButtonReader(std::vector<ScannerButton> buttons)
        : m_buttons(std::move(buttons)), m_isDown(m_buttons.size()) {}

    std::size_t Count() const { return m_buttons.size(); }
    // One byte a button, 1 for a press. A button that can't be read isn't pressed.
    std::vector<BYTE> Read(CSaneDevice& device);

  private:
    std::vector<ScannerButton> m_buttons;
    std::vector<bool> m_isDown;
};
