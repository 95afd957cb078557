// A tone curve in density that keeps the hue: only the channel of the lowest density goes through
// it, the other two move by as much.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/lut.h"
#include "stages/density_tables.h"

class CDensityBalance {
  public:
    virtual ~CDensityBalance() = default;

    // False when there is no memory for the density tables. True before any of those below.
    bool Ready() { return m_tables.Ready(); }
    // The tables, ready when this is.
    const CDensityTables& Tables() const { return m_tables; }

    // Linear codes of what counts as white: their densities are taken off before the curve. A code
    // of 0 or less counts as 1; one above 65535 has a density below 0.
    void SetOffsets(std::int32_t r, std::int32_t g, std::int32_t b);
    // One pixel, in place. `curve` lies on the density axis and has 65536 entries.
    void Apply(const CQLLut& curve, std::uint16_t* r, std::uint16_t* g, std::uint16_t* b) const;
    // Pixels of three samples, red first, in place.
    void ApplyPixels(const CQLLut& curve, std::uint16_t* samples, std::size_t pixels) const;

  private:
    CDensityTables m_tables;
    // Density codes, red first. At the start all light counts as white.
    std::int32_t m_offsets[3] = {65535, 65535, 65535};
};
