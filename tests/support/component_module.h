// What the tests know of the component in component_module.cpp.
#pragma once

#include "platform/com.h"

inline constexpr CLSID CLSID_TestComponent = {
    0xF2A1C0DE, 0x1234, 0x4567, {0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67}};
