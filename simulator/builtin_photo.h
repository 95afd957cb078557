// A photograph, drawn at build time: what a sensor measures of it, red, green, blue, 8 bits each.
#pragma once

#include <cstdint>

inline constexpr std::int32_t kPhotoWidth = 1700;
inline constexpr std::int32_t kPhotoHeight = 1134;

extern "C" const std::uint8_t nvq_builtin_photo[];
