// The tone curve of a device of SANE.
#pragma once

#include "sane-toolkit/sane_device.h"

enum class EGamma {
    Light,  // samples are light in proportion
    None,   // the device has no curve that can be set; nothing was changed
    Torn,   // some of it could be set, but not all
};

// Sets the curve to a straight line, by whatever options of its the device has at its present
// settings: tables, a number, or one of several words.
EGamma MakeLight(CSaneDevice& device);
