// Line kernels of the table stages.
#pragma once

#include <cstddef>
#include <cstdint>

// Every sample through one table of 65536 entries, in place.
void MapSamples(std::uint16_t* samples, std::size_t count, const std::uint16_t* table);

// Pixels of three samples, each sample through the table of its channel, in place.
void MapPixels(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* red,
               const std::uint16_t* green, const std::uint16_t* blue);

// Draws pixels of three samples whose weighted mean (r + 2g + b) / 4 lies below `limit` towards
// that mean: fully at black, not at all at the limit.
void PullDarkPixels(std::uint16_t* samples, std::size_t pixels, std::int32_t limit);
