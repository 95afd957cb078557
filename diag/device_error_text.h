// What a device error number of the toolkit means, in words for the log.
#pragma once

#include "diag/log.h"
#include "platform/types.h"

// "no definition" for a number that isn't known; never null.
const char* DeviceErrorText(DWORD error);

// A line for an operation of the toolkit that has failed: its name, result and error number.
void LogDeviceError(CLog& log, const char* operation, HRESULT result, DWORD error) noexcept;
