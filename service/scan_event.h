// Events of a device: as a rule, buttons that were pressed.
#pragma once

#include <functional>
#include <string>

#include "platform/types.h"

struct ScanEvent {
    std::string device;  // identifier
    GUID guid = GUID_NULL;
    std::string name;  // from the registry; the identifier's text for one that isn't there
};

// Called on a thread of the service, one event at a time. It must not throw.
using EventHandler = std::function<void(const ScanEvent& event)>;
