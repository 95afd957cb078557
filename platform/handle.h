// What every kind of handle has in common: it is closed, and a failure leaves an error number.
#pragma once

#include "platform/types.h"

// Ends the use of a handle; what stands behind it lives on while a wait or a mapping still needs
// it. FALSE with ERROR_INVALID_HANDLE for anything that isn't an open handle.
BOOL CloseHandle(HANDLE handle);

// The number that the last failed operation of this thread left; some operations also tell by it
// how they succeeded.
DWORD GetLastError();
void SetLastError(DWORD error);
