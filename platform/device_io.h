// Waiting for a device: overlapped waits for the byte that a device sends through its interrupt
// pipe (event_pipe.h) at an event.
//
// The pipe is opened by CreateFileA with FILE_FLAG_OVERLAPPED, for reading and writing, which never
// blocks and never sees that the other side has gone.
#pragma once

#include "platform/handle.h"
#include "platform/types.h"

inline constexpr LONG ERROR_BUSY = 170;
inline constexpr LONG ERROR_OPERATION_ABORTED = 995;
inline constexpr LONG ERROR_IO_INCOMPLETE = 996;
inline constexpr LONG ERROR_IO_PENDING = 997;

// One overlapped operation. It and the operation's buffer must stay where they are until the
// operation has ended.
struct OVERLAPPED {
    ULONG_PTR Internal;      // the error number, when it has ended
    ULONG_PTR InternalHigh;  // the bytes
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;  // set when the operation ends
};
static_assert(sizeof(OVERLAPPED) == 32);

inline constexpr DWORD IOCTL_WAIT_ON_DEVICE_EVENT = 0x80002008u;

// Waits for the device's next event, whose byte goes to `out` (to nowhere without `outBytes`). The
// event handle of `overlapped` is reset first, and set when a byte has come: then TRUE, or FALSE
// with ERROR_IO_PENDING until it comes. A wait for the handle takes the byte out of the pipe, and
// so does GetOverlappedResult; there is no thread that does. One wait at a time for a device and
// for an event handle: ERROR_BUSY. ERROR_NOT_SUPPORTED for any other code, and for a handle of
// another kind.
BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inBytes, LPVOID out,
                     DWORD outBytes, DWORD* returned, OVERLAPPED* overlapped);
// The result of an operation: TRUE with its bytes, or FALSE with its error number; while it is
// under way ERROR_IO_INCOMPLETE, unless `wait` is TRUE.
BOOL GetOverlappedResult(HANDLE device, OVERLAPPED* overlapped, DWORD* bytes, BOOL wait);
// Ends the wait under way with ERROR_OPERATION_ABORTED, as closing the device does: behind it
// nothing is written any more. TRUE also when there was none.
BOOL CancelIo(HANDLE device);
