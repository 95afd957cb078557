// A page in memory to measure with: a photograph, since tables are read where its samples lie.
#pragma once

#include <cstdint>
#include <vector>

// Blue first, 24 bits a pixel, top line first, no padding; `bits` 8 gives its green as gray. Made
// once for each size and kept.
const std::vector<std::uint8_t>& BenchPage(std::int32_t width, std::int32_t height,
                                           std::int32_t bits);

// The sizes that are measured: a page at 300 dpi, and at 1200.
inline constexpr std::int32_t kPageWidth = 2480;
inline constexpr std::int32_t kPageHeight = 3508;
inline constexpr std::int32_t kLargeFactor = 4;
