#include "platform/internal/system_error.h"

#include "platform/handle.h"

namespace platform {
namespace {

// Several system errors share a number where the published ones don't tell them apart.
struct ErrorPair {
    int error;
    LONG number;
};

constexpr ErrorPair kErrors[] = {
    {EACCES, ERROR_ACCESS_DENIED},
    {EAGAIN, ERROR_NOT_ENOUGH_MEMORY},  // no room for another thread
    {EBADF, ERROR_INVALID_HANDLE},
    {EDQUOT, ERROR_DISK_FULL},
    {EEXIST, ERROR_FILE_EXISTS},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {EIO, ERROR_GEN_FAILURE},
    {EISDIR, ERROR_ACCESS_DENIED},
    {ELOOP, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENAMETOOLONG, ERROR_PATH_NOT_FOUND},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {ENOSPC, ERROR_DISK_FULL},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {EOVERFLOW, ERROR_FILE_TOO_LARGE},
    {EPERM, ERROR_ACCESS_DENIED},
    {EPIPE, ERROR_BROKEN_PIPE},
    {EROFS, ERROR_ACCESS_DENIED},
};

}  // namespace

LONG ErrorFromErrno(int error) {
    for (const ErrorPair& pair : kErrors) {
        if (pair.error == error)
            return pair.number;
    }
    // Never success: an errno of 0 that comes here is a failure without a reason.
    return ERROR_GEN_FAILURE;
}

// FALSE as the result of the function that failed.
BOOL Fail(LONG error) {
    SetLastError(static_cast<DWORD>(error));
    return FALSE;
}

BOOL FailErrno(int error) {
    return Fail(ErrorFromErrno(error));
}

}  // namespace platform
