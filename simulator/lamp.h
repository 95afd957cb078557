// The two lamps, of which one burns at a time.
#pragma once

#include <cstdint>

#include "simulator/device_state.h"
#include "simulator/settings.h"

enum ELamp : std::uint64_t { kNoLamp, kFlatbedLamp, kAdapterLamp };

// The lamp that burns at `now`: one that hasn't been touched for the time-out has gone off.
ELamp BurningLamp(const CDeviceState& state, std::uint64_t now);

// Lights the lamp and puts the other one out, or starts its time-out anew. True when it was dark.
bool LightLamp(CDeviceState& state, ELamp lamp, std::uint64_t now);

// When the burning lamp is warm.
std::uint64_t WarmAt(const CSettings& settings, const CDeviceState& state);
