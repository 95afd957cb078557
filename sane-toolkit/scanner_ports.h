// Ports of the devices of SANE: one of these and the device's name.
#pragma once

inline constexpr char kAutoPort[] = "sane:";
inline constexpr char kLightPort[] = "sane-light:";      // samples are light
inline constexpr char kDisplayPort[] = "sane-display:";  // samples are values for a screen
