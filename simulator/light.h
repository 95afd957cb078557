// The light that the sensor measures: 16 bits, full scale 65535.
#pragma once

#include <array>
#include <cstdint>

// Of a picture's values: red, green and blue.
using CLightTables = std::array<std::array<std::uint16_t, 256>, 3>;

// An 8-bit value that is the light itself.
constexpr std::uint16_t LightOf(std::uint8_t value) {
    return static_cast<std::uint16_t>(value * 257);
}

// The other way: light / 257, rounded.
constexpr std::uint8_t Light8Of(std::uint32_t light) {
    return static_cast<std::uint8_t>((light + 128) / 257);
}
