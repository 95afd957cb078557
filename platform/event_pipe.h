// A device's interrupt pipe: a named pipe, at the port's name, through which a device sends a byte
// at an event.
#pragma once

#include "platform/types.h"

// Makes the pipe, for its user only; one that is there already is as good. FALSE with
// ERROR_ALREADY_EXISTS if something else has the name.
BOOL MakeEventPipe(LPCSTR name);

// Somebody has the pipe open to read. FALSE with ERROR_BROKEN_PIPE if nobody has, else as
// SendEventByte.
BOOL HasEventListener(LPCSTR name);

// Puts one byte into the pipe without waiting. FALSE with ERROR_BROKEN_PIPE if nobody listens, and
// with ERROR_ALREADY_EXISTS if it is no pipe.
BOOL SendEventByte(LPCSTR name, BYTE value);
