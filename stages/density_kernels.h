// Line kernels in density. Both density tables have 65536 entries (density_tables.h).
#pragma once

#include <cstddef>
#include <cstdint>

// Fixed point with 1024 as one.
struct QLDensityFactors {
    std::int32_t m_density[18];  // six for each output channel: red, green, blue
    std::int32_t m_post[9];      // by rows
};

// Colour correction of pixels of three samples, in place.
//
// For each channel with density x and the densities y, z of the other two, in the order red, green,
// blue, and its six factors c: each difference changes x by its own factor for each sign,
//
//     x > y:       x += ((x - y) c0) >> 10        else x -= ((y - x) c1) >> 10
//     x > z:       x += ((x - z) c2) >> 10        else x -= ((z - x) c3) >> 10
//     2x > y + z:  x += ((2x - y - z) c4) >> 10   else x -= ((y + z - 2x) c5) >> 10
//
// with the x of before in all of them, so that a neutral pixel stays as it is. Back in light the
// matrix follows, held at 0 and 65535. Products and sums wrap in 32 bits.
void CorrectDensity(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* toDensity,
                    const std::uint16_t* fromDensity, const QLDensityFactors& factors);

// A curve on the density axis, in place on pixels of three samples: the channel of the lowest
// density (less its offset, held at 0 and 65535) goes through the curve of 65536 entries, the
// others move by as much. So the differences between channels, and with them the hue, stay.
void BalanceDensity(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* toDensity,
                    const std::uint16_t* fromDensity, const std::uint16_t* curve,
                    const std::int32_t* offsets);
