#include "platform/internal/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/wait_watch.h"

namespace platform {
namespace {

// What a limited wait and the thread that waits for it share.
struct LockRequest {
    std::mutex mutex;
    std::condition_variable changed;
    bool answered = false;
    bool abandoned = false;
    UniqueFd taken;
    int error = 0;
};

void ServeRequest(const std::shared_ptr<LockRequest>& request, const std::string& path) {
    // Nobody may be there any more when it comes.
    UniqueFd taken = LockFile(path, LockWait::Forever);
    const int error = errno;
    const std::lock_guard guard(request->mutex);
    if (request->abandoned) {
        if (taken)
            UnlockFile(std::move(taken));
        return;
    }
    request->taken = std::move(taken);
    request->error = error;
    request->answered = true;
    request->changed.notify_one();
}

}  // namespace

UniqueFd LockFile(const std::string& path, LockWait wait) {
    for (;;) {
        UniqueFd fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!fd)
            return {};
        // Of the open file and not of the process, so that threads exclude each other too.
        const int mode = LOCK_EX | (wait == LockWait::None ? LOCK_NB : 0);
        int result = 0;
        do {
            result = flock(fd.Get(), mode);
        } while (result != 0 && errno == EINTR);
        if (result != 0)
            return {};
        // A file that was deleted before the lock was ours guards nothing: the next process makes
        // a new one. So do we.
        struct stat status = {};
        if (fstat(fd.Get(), &status) != 0)
            return {};
        if (status.st_nlink > 0)
            return fd;
    }
}

// The system has no wait for a file's lock with a limit. So a thread waits without one, and gives
// the lock back at once when it comes too late.
UniqueFd LockFileWithin(const std::string& path, std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    // Mostly it is free, and no thread is needed.
    UniqueFd taken = LockFile(path, LockWait::None);
    if (taken || errno != EWOULDBLOCK)
        return taken;
    const auto request = std::make_shared<LockRequest>();
    std::thread(&ServeRequest, request, path).detach();
    std::unique_lock guard(request->mutex);
    const auto answered = [&] { return request->answered; };
    for (bool goesOn = true; !request->answered;) {
        const auto now = std::chrono::steady_clock::now();
        if (!goesOn || now >= end) {
            request->abandoned = true;
            errno = EWOULDBLOCK;
            return {};
        }
        const auto look = IsWaitWatched() ? std::min(end, now + kWaitLook) : end;
        if (request->changed.wait_until(guard, look, answered))
            break;
        // Whom it tells may take its time.
        guard.unlock();
        goesOn = WaitGoesOn();
        guard.lock();
    }
    errno = request->error;
    return std::move(request->taken);
}

void UnlockFile(UniqueFd lock) {
    flock(lock.Get(), LOCK_UN);
}

}  // namespace platform
