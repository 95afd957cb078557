// What lies on the simulated scanner: a picture from a file, or a built-in one.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "simulator/settings.h"

// The light that the sensor measures for a picture's values: red, green and blue, full scale 65535.
using CLightTables = std::array<std::array<std::uint16_t, 256>, 3>;

// An 8-bit value that is the light itself.
constexpr std::uint16_t LightOf(std::uint8_t value) {
    return static_cast<std::uint16_t>(value * 257);
}

// The other way: light / 257, rounded.
constexpr std::uint8_t Light8Of(std::uint32_t light) {
    return static_cast<std::uint8_t>((light + 128) / 257);
}

// Resolutions are dots per inch; where the medium lies is the placing's business.
class CMedium {
  public:
    virtual ~CMedium() = default;
    CMedium(const CMedium&) = delete;
    CMedium& operator=(const CMedium&) = delete;

    std::int32_t Width() const { return m_width; }    // pixels
    std::int32_t Height() const { return m_height; }  // lines
    std::uint32_t XDpi() const { return m_xDpi; }
    std::uint32_t YDpi() const { return m_yDpi; }
    // Null when the values are the light.
    const CLightTables* Light() const { return m_light.get(); }

    // Line `y`, 0 to Height() - 1: red, green, blue, 8 bits each. The lines are asked for from the
    // top down; some may be left out, none comes twice. Throws CSimFailure.
    virtual void ReadLine(std::int32_t y, std::uint8_t* rgb) = 0;

  protected:
    CMedium() = default;

    std::int32_t m_width = 0;
    std::int32_t m_height = 0;
    std::uint32_t m_xDpi = 0;
    std::uint32_t m_yDpi = 0;
    std::unique_ptr<CLightTables> m_light;
};

// A picture from a file; resolution and encoding as the placing says. Throws CSimFailure.
std::unique_ptr<CMedium> OpenPictureMedium(const std::string& path, const CPlacing& placing);

// The values of a display-encoded picture as light, and of the colour negative of one.
CLightTables SrgbLight();
CLightTables NegativeLight(const CLightTables& positive);
