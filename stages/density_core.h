// Colour correction of film in density, with a matrix in light behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "frame/attrib_store.h"
#include "stages/density_kernels.h"
#include "stages/density_tables.h"

class CDensityColorCore {
  public:
    // Reads QL_ATTR_DENSITY_MATRIX (18 real numbers, six for each output channel) and
    // QL_ATTR_POST_MATRIX (nine, by rows) once: what they become later doesn't reach this object.
    // Where one of them has nobody who answers, both are neutral.
    explicit CDensityColorCore(CQLAttribStore& attribs);

    // False when there is no memory for the density tables. True before any of those below.
    bool Ready();
    // One pixel, in place.
    void Apply(std::uint16_t* r, std::uint16_t* g, std::uint16_t* b) const;
    // Pixels of three samples, red first, in place.
    void ApplyPixels(std::uint16_t* samples, std::size_t pixels) const;

  private:
    static constexpr QLDensityFactors kNeutral = {{}, {1024, 0, 0, 0, 1024, 0, 0, 0, 1024}};

    bool IsNeutral() const;

    CDensityTables m_tables;
    QLDensityFactors m_factors = kNeutral;
    // The way through both density tables, which is all that neutral factors leave; null for
    // others.
    std::unique_ptr<std::uint16_t[]> m_roundTrip;
};
