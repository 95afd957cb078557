// The class of the simulated toolkit. Its class object offers IClassFactory and
// IOstrelModelFactory.
#pragma once

#include "platform/types.h"

inline constexpr CLSID CLSID_OstrelSimulator = {
    0xD6BFBF47, 0xFD1B, 0x4C29, {0xB0, 0x30, 0x31, 0x70, 0xBC, 0x6C, 0xA6, 0x43}};
