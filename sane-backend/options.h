// The options of an open scanner: their descriptors, and what programs do to them.
#pragma once

#include <deque>
#include <optional>

#include "sane-backend/option_table.h"
#include "sane-backend/sensors.h"

class COptions {
  public:
    // The options stay the same ones as long as the scanner is open.
    COptions(CScannerSettings& settings, CSensors& sensors);

    SANE_Int Count() const { return static_cast<SANE_Int>(m_shown.size()); }
    // Null for a number that there isn't. It stays where it is; what it says may change with a
    // write.
    const SANE_Option_Descriptor* Describe(SANE_Int option) const;
    SANE_Status Get(SANE_Int option, void* value);
    // Whether the value can be written, and isn't the option's already.
    SANE_Status Check(SANE_Int option, const void* value, bool& isNews) const;
    // Behind a check: leaves the option as it is, and tells what that is, as Set does.
    SANE_Status Keep(SANE_Int option, void* value, SANE_Int& info) const;
    // What isn't in the limits is made fit where it can be; `value` gets what was made of it, and
    // `info` the SANE_INFO_ bits.
    SANE_Status Set(SANE_Int option, void* value, SANE_Int& info);
    // After changes that came another way.
    void Renew();

    // The settings as they would be scanned.
    SANE_Parameters Parameters() const;

  private:
    // The descriptor, and what it points to.
    struct Shown {
        SANE_Option_Descriptor descriptor = {};
        const OptionRow* row = nullptr;  // null for the count and the sensors
        std::size_t button = 0;
        OptionLimits limits;
    };

    const Shown* Active(SANE_Int option) const;
    std::optional<OptionValue> Fitting(SANE_Int option, const void* value) const;
    void AddRow(const OptionRow& row);
    void AddSensors();
    void Renew(Shown& shown);
    OptionValue ValueOf(const Shown& shown) const;
    // Of all options, and which of them are active with which limits.
    std::vector<std::pair<OptionValue, OptionLimits>> Look() const;

    CScannerSettings& m_settings;
    CSensors& m_sensors;
    std::deque<Shown> m_shown;
};
