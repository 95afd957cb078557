// What a device of SANE is like.
#pragma once

#include <string>

#include "sane-toolkit/device_gamma.h"
#include "sane-toolkit/scanner_sources.h"

// What samples are taken for.
enum class ESamples {
    Auto,     // light, where the device's curve can be made a straight line; else as for a screen
    Light,    // light as they are
    Display,  // values for a screen as they are
};

struct ScannerFacts {
    ScannerSources sources;
    // The modes' words; both are empty when the device has no choice.
    std::string color;
    std::string gray;
    bool isLight = false;
    bool setsGamma = false;      // ahead of each scan, so that samples are light
    OptionNames straightCurves;  // by themselves
    bool isTorn = false;         // trying the curve has left the device with half of another

    bool HasMode(bool takesColor) const {
        return takesColor ? !color.empty() || gray.empty() : !gray.empty();
    }
};

// Chooses colour or gray, and of the depths the one that is nearest to 8 bits. A device without
// colour gives gray for it. False when the device doesn't take it.
bool ChooseMode(CSaneDevice& device, const ScannerFacts& facts, bool takesColor);

// Tries the device's options out. OSTREL_NOT_IMPLEMENTED for a device that can't be used, with its
// cause told in words: with neither flatbed nor feeder, or with modes of which none is known. The
// device's own code for one that fails meanwhile.
DWORD LearnFacts(CSaneDevice& device, ESamples samples, ScannerFacts& facts);
