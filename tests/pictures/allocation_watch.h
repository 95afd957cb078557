// Watches every allocation of the test program.
#pragma once

#include <cstddef>

// The largest size that was asked for since the last call.
std::size_t TakeLargestAllocation();
