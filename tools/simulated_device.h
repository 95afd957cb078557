// Simulated scanners, as the program installs them and plays with them.
#pragma once

#include <optional>
#include <string>

#include "service/install.h"

// How presses of buttons come: by an interrupt pipe, by polling, or not at all.
enum class EEvents { Pipe, Poll, None };

// DeviceSubType: what the byte in the pipe says. With a signal, the driver asks which button it
// was.
enum EButtonByte : DWORD {
    kButtonIndex = 1,
    kButtonSignal = 2,
    kButtonMask = 3,
    kButtonValue = 4,
};

// What the user asks of a device's buttons; nothing: as the device has it.
struct CButtonWish {
    std::optional<EEvents> m_events;
    std::optional<DWORD> m_subType;
};

// STI_GENCAP_... bits of a device.
DWORD CapabilitiesFor(EEvents events);

// For InstallDevice, which is to prepare with it: makes a device of the model, the default one for
// an empty name, in a folder of its own: the model's name, with a number behind it when an
// installed device, or one of another kind, has that. A folder that is there is taken over with its
// settings, but for the buttons: what is asked for is written into its device.ini. Port, events and
// their ways in `install`, and a name if it has none, are then those of the device.
ScanStatus MakeSimulatedScanner(const std::string& model, const CButtonWish& buttons,
                                const std::vector<InstalledDevice>& devices,
                                InstallOptions& install);

// When no scanner is installed, installs a simulated one of the default model, with a notice.
ScanStatus ProvideScanner(const Notice& notice);

// The folder of an installed device, if it is a simulated one.
ScanStatus SimulatedFolderOf(const InstalledDevice& device, std::string& folder);
