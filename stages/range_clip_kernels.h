// Line kernels of the range clip: samples from 65280 up become 0 with `high`, samples below 256
// become 65535 with `low`.
#pragma once

#include <cstddef>
#include <cstdint>

void MarkGrayEnds(std::uint16_t* samples, std::size_t pixels, bool high, bool low);
// Three samples a pixel: one of them marks it whole, and the high end goes first.
void MarkColorEnds(std::uint16_t* samples, std::size_t pixels, bool high, bool low);
