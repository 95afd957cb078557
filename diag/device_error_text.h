// What a device error number of the toolkit means, in words for the log.
#pragma once

#include "platform/types.h"

// "no definition" for a number that isn't known; never null.
const char* DeviceErrorText(DWORD error);
