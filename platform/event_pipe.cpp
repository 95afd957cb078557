#include "platform/event_pipe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/internal/system_error.h"
#include "platform/internal/unique_fd.h"

namespace {

constexpr mode_t kOwnerOnly = 0600;

// A file of the same name would swallow the bytes, and grow.
bool IsPipe(const struct stat& status) {
    return S_ISFIFO(status.st_mode);
}

// Without a reader, opening fails instead of waiting for one. None with an error number.
platform::UniqueFd OpenToSend(LPCSTR name) {
    if (!name) {
        platform::Fail(ERROR_INVALID_PARAMETER);
        return {};
    }
    platform::UniqueFd pipe(open(name, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (!pipe && errno == ENXIO)
        platform::Fail(ERROR_BROKEN_PIPE);
    else if (!pipe || fstat(pipe.Get(), &status) != 0)
        platform::FailErrno();
    else if (!IsPipe(status))
        platform::Fail(ERROR_ALREADY_EXISTS);
    else
        return pipe;
    return {};
}

}  // namespace

BOOL MakeEventPipe(LPCSTR name) {
    if (!name)
        return platform::Fail(ERROR_INVALID_PARAMETER);
    if (mkfifo(name, kOwnerOnly) == 0)
        return TRUE;
    if (errno != EEXIST)
        return platform::FailErrno();
    // Another program may have made it meanwhile, which is as good as long as it is a pipe.
    struct stat status = {};
    if (stat(name, &status) != 0)
        return platform::FailErrno();
    return IsPipe(status) ? TRUE : platform::Fail(ERROR_ALREADY_EXISTS);
}

BOOL HasEventListener(LPCSTR name) {
    return OpenToSend(name) ? TRUE : FALSE;
}

BOOL SendEventByte(LPCSTR name, BYTE value) {
    const platform::UniqueFd pipe = OpenToSend(name);
    if (!pipe)
        return FALSE;
    // With an end of our own to read, a listener that leaves now is no fatal signal.
    const platform::UniqueFd kept(open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!kept)
        return platform::FailErrno();
    return write(pipe.Get(), &value, 1) == 1 ? TRUE : platform::FailErrno();
}
