#include "platform/internal/named_semaphore.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/internal/temp_path.h"
#include "platform/sync.h"
#include "platform/told_lines.h"

namespace platform {
namespace {

using Milliseconds = std::chrono::milliseconds;

// With hash, dash and ending well below the 255 bytes of a file name.
constexpr std::size_t kReadableChars = 48;

// The last characters of the name, as far as a file name may hold them, for people; a hash of the
// whole name for telling names apart.
std::string LockFileName(const std::string& name) {
    // FNV-1a with its published start and factor: 64 bits tell all names apart that a user can
    // have.
    std::uint64_t hash = 0xCBF29CE484222325u;
    for (const unsigned char c : name)
        hash = (hash ^ c) * 0x100000001B3u;
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(hash));

    std::string readable =
        name.size() > kReadableChars ? name.substr(name.size() - kReadableChars) : name;
    for (char& c : readable) {
        const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                           (c >= 'a' && c <= 'z') || c == '.' || c == '-';
        c = plain ? c : '_';
    }
    return std::string(digits) + '-' + readable + ".lock";
}

// Makes the folder if needed. What stands there must be a folder of this user's that nobody else
// may enter: under a temporary path anybody could have put something in its place.
bool MakePrivateFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0)
        return false;
    if (S_ISDIR(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & 077) == 0)
        return true;
    errno = EACCES;
    return false;
}

// Empty with errno if there is no such folder, which is told in words.
std::string LockFolder() {
    // The session's own folder, which goes with it. Programs of two sessions share no lock: where
    // that matters the file itself must do.
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/') {
        std::string folder = std::string(runtime) + "/nvqdrv";
        if (MakePrivateFolder(folder))
            return folder;
    }
    const std::string folder = TempPath() + "nvqdrv-" + std::to_string(geteuid());
    if (MakePrivateFolder(folder))
        return folder;
    const int error = errno;
    TellCause(TempFolderCause("the folder for locks, " + folder + ", can't be made", error));
    errno = error;
    return {};
}

}  // namespace

NamedSemaphore::NamedSemaphore(const char* name) : m_fileName(LockFileName(name)) {}

BOOL NamedSemaphore::Prepare() {
    const std::string folder = LockFolder();
    if (folder.empty())
        return FailErrno();
    m_path = folder + '/' + m_fileName;
    return TRUE;
}

// Each wait opens the file anew, so that two threads on one handle exclude each other too, and a
// thread that waits twice waits for itself.
DWORD NamedSemaphore::Wait(DWORD milliseconds) {
    return Contained(WAIT_FAILED, [&]() -> DWORD {
        UniqueFd taken = milliseconds == 0 ? LockFile(m_path, LockWait::None)
                         : milliseconds == INFINITE
                             ? LockFile(m_path, LockWait::Forever)
                             : LockFileWithin(m_path, Milliseconds(milliseconds));
        if (!taken) {
            if (errno == EWOULDBLOCK)
                return WAIT_TIMEOUT;
            const int error = errno;
            TellCause(TempFolderCause("the lock " + m_path + " can't be had", error));
            FailErrno(error);
            return WAIT_FAILED;
        }
        const std::lock_guard guard(m_lock);
        m_held = std::move(taken);
        return WAIT_OBJECT_0;
    });
}

BOOL NamedSemaphore::Release(LONG* previousCount) {
    // Given back without the lock that guards the member: a waiter may come in at once.
    UniqueFd held;
    {
        const std::lock_guard guard(m_lock);
        std::swap(held, m_held);
    }
    if (!held)
        return Fail(ERROR_TOO_MANY_POSTS);
    UnlockFile(std::move(held));
    if (previousCount)
        *previousCount = 0;
    return TRUE;
}

}  // namespace platform
