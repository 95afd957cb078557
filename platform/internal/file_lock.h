// A lock between processes that stands on a file. Internal to the layer.
#pragma once

#include <chrono>
#include <string>

#include "platform/internal/unique_fd.h"

namespace platform {

enum class LockWait { Forever, None };

// Takes the exclusive lock on a file, which is made if it isn't there. The lock is held by the
// returned descriptor and ends with it, also when its process is killed. Two calls exclude each
// other within one process as well. A failure gives no descriptor and leaves errno; EWOULDBLOCK
// means that the lock is taken and `wait` was None.
UniqueFd LockFile(const std::string& path, LockWait wait);

// The same with a limit to the wait; EWOULDBLOCK when the time is over, or when the wait was ended
// (wait_watch.h). May throw for want of memory or threads.
UniqueFd LockFileWithin(const std::string& path, std::chrono::milliseconds time);

// Ends the lock also when a child that was forked meanwhile has the descriptor too.
void UnlockFile(UniqueFd lock);

}  // namespace platform
