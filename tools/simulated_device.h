// Simulated scanners, as the program installs them and plays with them.
#pragma once

#include <optional>
#include <string>

#include "service/install.h"

inline constexpr DWORD kButtonByIndex = 1;
inline constexpr DWORD kButtonByMask = 3;

struct CSimulatedButtons {
    std::optional<bool> m_isPolled;  // nothing: as the model does
    DWORD m_subType = kButtonByMask;
};

struct CSimulatedScanner {
    std::string m_name;
    std::string m_port;
    std::size_t m_buttons = 0;
    bool m_isPolled = false;  // its buttons don't come through the pipe
};

// Makes a device of the model, the default one for an empty name, in a folder of its own: the
// model's name, with a number behind it when an installed device, or one of another kind, has that.
ScanStatus MakeSimulatedScanner(const std::string& model, const CSimulatedButtons& buttons,
                                CSimulatedScanner& scanner);

// The folder of an installed device, if it is a simulated one.
ScanStatus SimulatedFolderOf(const InstalledDevice& device, std::string& folder);
