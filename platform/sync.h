// Events, semaphores, threads and waits.
#pragma once

#include "platform/handle.h"
#include "platform/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

// An event without a name; null with an error number if there can be none. A manual-reset event
// stays set until ResetEvent, any other until one wait took it.
HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState,
                    LPCSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);

// A semaphore of this process, if `name` is null. A name, any text, makes it one for all processes
// of the user. That kind
// - has count and limit 1, anything else is ERROR_NOT_SUPPORTED;
// - comes free when its holder is killed, unless a child lives that the holder forked meanwhile and
//   that runs no program of its own;
// - is released through the handle that took it;
// - is waited for alone: a wait that has it among others fails with ERROR_NOT_SUPPORTED;
// - may be busy for a moment after a limited wait for it has failed;
// - doesn't tell whether the name was in use: the last error is 0.
HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES* attributes, LONG initialCount, LONG maximumCount,
                        LPCSTR name);
// ERROR_TOO_MANY_POSTS, and no change, when the count would pass the limit.
BOOL ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LONG* previousCount);

// Starts a thread and gives its handle, which can be waited for and must be closed; 0 with the last
// error on failure. No flags are known. A wait that found the thread ended also found everything
// gone that ran on it, so the module with its code may be unloaded.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
ULONG_PTR _beginthreadex(void* security, unsigned stackSize, unsigned (*start)(void*),
                         void* argument, unsigned flags, unsigned* threadId);

// WAIT_OBJECT_0 + the lowest index of those that were ready (`waitAll`: 0, when all were ready at
// once and were taken at once), WAIT_TIMEOUT, or WAIT_FAILED with an error number. Times are in
// milliseconds. Up to MAXIMUM_WAIT_OBJECTS handles, none of them twice.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// What is said above of limits, and a sleep, end early where somebody watches (wait_watch.h).
void Sleep(DWORD milliseconds);
// Milliseconds on a clock that nobody sets; starts again at 0 after some 49.7 days.
DWORD GetTickCount();
// The same clock, which doesn't start again.
ULONGLONG GetTickCount64();
DWORD GetCurrentThreadId();
DWORD GetCurrentProcessId();
