// Line kernels of the stages at the ends of the chain.
#pragma once

#include <cstddef>
#include <cstdint>

// The second of each pixel's three samples.
void TakeGreen(const std::uint16_t* pixels, std::uint16_t* gray, std::size_t count);

// Every bit turned round, in place.
void ComplementBytes(std::uint8_t* bytes, std::size_t count);
