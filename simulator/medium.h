// What lies on the simulated scanner: a picture from a file, or a built-in one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "simulator/color_negative.h"
#include "simulator/light.h"
#include "simulator/settings.h"

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
    // Null when the values are the light, or the film's business.
    const CLightTables* Light() const { return m_light.get(); }
    // Null unless the medium is the negative of what its values say.
    const CColorNegative* Film() const { return m_film.get(); }

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
    std::unique_ptr<CColorNegative> m_film;
};

// A picture from a file; resolution and encoding as the placing says. Throws CSimFailure.
std::unique_ptr<CMedium> OpenPictureMedium(const std::string& path, const CPlacing& placing);

// The values of a display-encoded picture as light.
CLightTables SrgbLight();
