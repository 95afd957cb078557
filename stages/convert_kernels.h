// Line kernels at both ends of the internal form: pixels of three samples whose colour order turns.
#pragma once

#include <cstddef>
#include <cstdint>

// Blue first in 8 bits to red first in 16, each sample moved up by 8 bits.
void WidenBlueFirst(const std::uint8_t* source, std::uint16_t* target, std::size_t pixels);

// Red first in 16 bits to blue first in 8: the high bytes.
void NarrowBlueFirst(const std::uint16_t* source, std::uint8_t* target, std::size_t pixels);
