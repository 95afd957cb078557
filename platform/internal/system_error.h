// From the system's errors and exceptions to the published error numbers. Internal to the layer.
#pragma once

#include <cerrno>
#include <exception>

#include "platform/types.h"

namespace platform {

// The published number that comes nearest to an errno; ERROR_GEN_FAILURE if none does.
LONG ErrorFromErrno(int error);

// Both leave the thread's last error and return FALSE.
BOOL Fail(LONG error);
BOOL FailErrno(int error = errno);

// Runs the body of a published function so that no exception leaves it. What the bodies can throw
// is a want of memory: it leaves ERROR_NOT_ENOUGH_MEMORY and gives `onException`.
template <class Result, class Body>
Result Contained(Result onException, Body body) noexcept {
    try {
        return body();
    } catch (const std::exception&) {
        Fail(ERROR_NOT_ENOUGH_MEMORY);
        return onException;
    }
}

}  // namespace platform
