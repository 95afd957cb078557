// Line kernels of the inversion.
#pragma once

#include <cstddef>
#include <cstdint>

// Every bit turned round, in place.
void ComplementBytes(std::uint8_t* bytes, std::size_t count);
