// The tone curve of a device of SANE.
#pragma once

#include <string>
#include <vector>

#include "sane-toolkit/sane_device.h"

enum class EGamma {
    Light,  // samples are light in proportion
    None,   // the device has no curve that can be set; nothing was changed
    Torn,   // some of it could be set, but not all
};

using OptionNames = std::vector<std::string>;

// The options of the curve that are a straight line before anybody has set them. They tell nothing:
// a curve that is laid over values for a screen begins so too.
OptionNames StraightCurves(CSaneDevice& device);

// Sets the curve to a straight line, by whatever options of its the device has at its present
// settings: tables, a number, or one of several words. Light takes one that tells.
EGamma MakeLight(CSaneDevice& device, const OptionNames& untelling);
