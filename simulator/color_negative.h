// Colour negative film: the light that comes through it, by the light to which it was exposed.
//
// Film multiplies light, so it is reckoned in density, D = -log10(the share that passes):
//
//   h  log10 of the scene's light, white 0, in each of three layers: one for red, green, blue
//   d  density of the dye that the layer forms, by its characteristic curve
//   D  of the film for red, green and blue light: base and orange mask, and all three dyes, each
//      of which takes most of its own colour and a little of the others
//
// The scanner exposes green and blue longer than red, so that the clear film's mask comes near to
// full scale in all three colours; without that, eight bits would hold little of the blue.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulator/light.h"

class CColorNegative {
  public:
    // `scene`: the light to which the film was exposed, of a picture's values.
    explicit CColorNegative(const CLightTables& scene);

    // The light behind `pixels` pixels of the film; red, green and blue.
    void Light(const std::uint8_t* values, std::size_t pixels, std::uint16_t* light) const;

  private:
    // What one layer adds to the film's density for red, green and blue, in the units of m_light.
    using CDye = std::array<std::int32_t, 3>;

    std::array<std::array<CDye, 256>, 3> m_dyes;  // by layer and value
    std::vector<std::uint16_t> m_light;           // by density
};
