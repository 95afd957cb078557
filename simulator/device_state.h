// What a device remembers between calls, sessions and programs: a small text file in its folder.
#pragma once

#include <cstdint>
#include <string>

// All numbers, by their names in the file. Times are milliseconds on the device's clock.
// A new number is a line here and a default of 0; whatever else it should be, FreshState says.
#define NVQ_SIM_STATE(X) \
    X(lamp)              \
    X(lampLit)           \
    X(lampTouched)       \
    X(lampTimeout)       \
    X(instantLamp)       \
    X(sheetsInTray)      \
    X(nextSheet)         \
    X(sheetAtHead)       \
    X(backDue)           \
    X(feederMode)        \
    X(jobOpen)           \
    X(duplexSwitch)      \
    X(hatchOpen)         \
    X(jammed)            \
    X(film)              \
    X(buttonsPending)    \
    X(buttonsPressed)    \
    X(cancelPressed)     \
    X(pendingTask)       \
    X(nvramScanCount)    \
    X(nvramFirstUse)     \
    X(opens)             \
    X(scans)             \
    X(feeds)             \
    X(calibrations)      \
    X(warmUpWaits)       \
    X(tasksRun)          \
    X(closedLocked)      \
    X(violations)

struct CDeviceState {
#define NVQ_SIM_FIELD(name) std::uint64_t name = 0;
    NVQ_SIM_STATE(NVQ_SIM_FIELD)
#undef NVQ_SIM_FIELD
    std::string owner;      // the session that had the lock last
    std::string panelText;  // what the panel shows
    std::string lastViolation;

    bool operator==(const CDeviceState&) const = default;
};

// A fresh state if the file isn't there. A line that means nothing is passed over: a state is never
// the reason why a device can't be used. Nothing is printed.
CDeviceState LoadState(const std::string& path, const CDeviceState& fresh);

// Beside the file and renamed, so that readers see it before or after. Throws CSimFailure.
void SaveState(const std::string& path, const CDeviceState& state);
