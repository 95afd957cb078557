#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "platform/internal/file_object.h"

using platform::Contained;
using platform::Fail;
using platform::FailErrno;
using platform::File;
using platform::FindHandleAs;
using platform::UniqueFd;

namespace platform {

bool File::CanRead() const {
    return (m_access & GENERIC_READ) != 0;
}

bool File::CanWrite() const {
    return (m_access & (GENERIC_WRITE | FILE_APPEND_DATA)) != 0;
}

}  // namespace platform

namespace {

constexpr int kMode = 0666;  // less what the user's mask takes away
// Rounds in which others made and removed the same file in between. More in a row are no accident.
constexpr int kOpenRaces = 16;

// An open file, or errno; and whether it was there before.
struct Opened {
    UniqueFd fd;
    bool existed = false;
};

// Makes the file or opens the one that is there, and knows which it was. `forExisting` are flags
// for a file that is there.
Opened OpenOrMake(const char* name, int mode, int forExisting) {
    // Another process may make or delete the file between the two attempts.
    for (int attempt = 0; attempt < kOpenRaces; ++attempt) {
        UniqueFd made(open(name, mode | O_CREAT | O_EXCL, kMode));
        if (made || errno != EEXIST)
            return {std::move(made), false};
        UniqueFd found(open(name, mode | forExisting));
        if (found || errno != ENOENT)
            return {std::move(found), true};
        struct stat status = {};
        if (lstat(name, &status) == 0)  // a link that leads nowhere: its target is made
            return {UniqueFd(open(name, mode | O_CREAT, kMode)), false};
    }
    return {};
}

// Only where the result must tell whether the file was there does making and opening take two
// attempts.
Opened OpenByDisposition(const char* name, int mode, DWORD disposition) {
    switch (disposition) {
        case CREATE_NEW:
            return {UniqueFd(open(name, mode | O_CREAT | O_EXCL, kMode)), false};
        case CREATE_ALWAYS:
            return OpenOrMake(name, mode, O_TRUNC);
        case OPEN_ALWAYS:
            return OpenOrMake(name, mode, 0);
        default:
            return {UniqueFd(open(name, mode)), false};
    }
}

// Tells the two errors apart that a missing file and a missing folder are; the system has one.
bool FolderExists(const char* name) {
    const char* slash = std::strrchr(name, '/');
    if (!slash || slash == name)
        return true;
    struct stat status = {};
    return stat(std::string(name, slash).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The flags of open() for an access. Appending is the system's own mode: the end of the file is
// found and written in one step, so that two processes never write over each other.
int OpenFlags(DWORD access, bool overlapped) {
    const bool reads = (access & GENERIC_READ) != 0;
    const bool writes = (access & GENERIC_WRITE) != 0;
    const bool appends = !writes && (access & FILE_APPEND_DATA) != 0;
    const int mode = !writes && !appends ? O_RDONLY : reads ? O_RDWR : O_WRONLY;
    return mode | (appends ? O_APPEND : 0) | (overlapped ? O_NONBLOCK : 0) | O_CLOEXEC | O_NOCTTY;
}

HANDLE OpenFile(LPCSTR name, DWORD access, DWORD disposition, DWORD flags) {
    if (!name || (access & ~(GENERIC_READ | GENERIC_WRITE | FILE_APPEND_DATA)) != 0 ||
        disposition < CREATE_NEW || disposition > OPEN_ALWAYS) {
        Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const bool overlapped = (flags & FILE_FLAG_OVERLAPPED) != 0;
    const int mode = OpenFlags(access, overlapped);
    Opened opened = OpenByDisposition(name, mode, disposition);
    struct stat status = {};
    if (!opened.fd || fstat(opened.fd.Get(), &status) != 0) {
        if (const int error = errno; error == ENOENT && !FolderExists(name))
            Fail(ERROR_PATH_NOT_FOUND);
        else
            FailErrno(error);
        return INVALID_HANDLE_VALUE;
    }
    // A folder can be opened for reading, but is no file to anybody above.
    if (S_ISDIR(status.st_mode)) {
        Fail(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    // Success speaks through the last error too.
    SetLastError(static_cast<DWORD>(opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS));
    if (overlapped && S_ISFIFO(status.st_mode))
        return platform::AddHandle(platform::MakeDevice(std::move(opened.fd), access));
    return platform::AddHandle(
        std::make_shared<File>(std::move(opened.fd), access, S_ISREG(status.st_mode)));
}

// The arguments that ReadFile and WriteFile share; counts as 0 bytes until some went over.
BOOL CheckTransfer(const void* buffer, DWORD size, DWORD* count, const OVERLAPPED* overlapped) {
    if (overlapped)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!count || (!buffer && size != 0))
        return Fail(ERROR_INVALID_PARAMETER);
    *count = 0;
    return TRUE;
}

// Where a seek leads to: negative, or more than 32 bits where only 32 are wanted, are the caller's
// to judge. FALSE with an error number.
BOOL SeekTarget(const File& file, std::int64_t distance, DWORD method, std::int64_t& target) {
    // The file pointer itself is moved only when the target is known to be good.
    std::int64_t base = 0;
    if (method == FILE_END) {
        struct stat status = {};
        base = fstat(file.Descriptor(), &status) == 0 ? status.st_size : -1;
    } else if (method != FILE_BEGIN) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (base < 0)
        return FailErrno();
    if (__builtin_add_overflow(base, distance, &target))
        return Fail(ERROR_INVALID_PARAMETER);
    return TRUE;
}

}  // namespace

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flags, HANDLE) {
    return Contained(INVALID_HANDLE_VALUE,
                     [&] { return OpenFile(name, access, disposition, flags); });
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    const auto file = FindHandleAs<File>(handle);
    if (!file || !CheckTransfer(buffer, size, read, overlapped))
        return FALSE;
    if (!file->CanRead())
        return Fail(ERROR_ACCESS_DENIED);
    // A plain file is read until all is there or it ends; the system may give less at a time.
    // Anything else gives what it has, since more may never come.
    while (*read < size) {
        const ssize_t got =
            ::read(file->Descriptor(), static_cast<BYTE*>(buffer) + *read, size - *read);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            // A fault of the medium has a number of its own for each direction.
            return Fail(errno == EIO ? ERROR_READ_FAULT : platform::ErrorFromErrno(errno));
        *read += static_cast<DWORD>(got);
        if (got == 0 || !file->IsPlain())
            break;
    }
    return TRUE;
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written,
               OVERLAPPED* overlapped) {
    const auto file = FindHandleAs<File>(handle);
    if (!file || !CheckTransfer(buffer, size, written, overlapped))
        return FALSE;
    if (!file->CanWrite())
        return Fail(ERROR_ACCESS_DENIED);
    // The system may take less at a time, as ahead of a full disk: the next attempt tells why.
    while (*written < size) {
        const ssize_t put = ::write(file->Descriptor(), static_cast<const BYTE*>(buffer) + *written,
                                    size - *written);
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0)
            return Fail(errno == EIO ? ERROR_WRITE_FAULT : platform::ErrorFromErrno(errno));
        *written += static_cast<DWORD>(put);
    }
    return TRUE;
}

bool IsDiskFull() {
    const DWORD error = GetLastError();
    return error == static_cast<DWORD>(ERROR_DISK_FULL) ||
           error == static_cast<DWORD>(ERROR_FILE_TOO_LARGE);
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
    const auto file = FindHandleAs<File>(handle);
    if (!file)
        return INVALID_SET_FILE_POINTER;
    // Put together without a sign, so that no half is extended into the other.
    std::int64_t wide = distance;
    if (distanceHigh) {
        wide = static_cast<std::int64_t>(
            static_cast<std::uint64_t>(static_cast<std::uint32_t>(*distanceHigh)) << 32 |
            static_cast<std::uint32_t>(distance));
    }
    std::int64_t target = 0;
    if (!SeekTarget(*file, wide, method, target))
        return INVALID_SET_FILE_POINTER;
    // 0xFFFFFFFF as a low part alone would look like the failure.
    if (target < 0 || (!distanceHigh && target > 0xFFFFFFFE)) {
        Fail(target < 0 ? ERROR_NEGATIVE_SEEK : ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    if (lseek(file->Descriptor(), target, SEEK_SET) < 0) {
        FailErrno();
        return INVALID_SET_FILE_POINTER;
    }
    // Tells a low part of 0xFFFFFFFF from the failure.
    SetLastError(ERROR_SUCCESS);
    if (distanceHigh)
        *distanceHigh = static_cast<LONG>(target >> 32);
    return static_cast<DWORD>(target);
}

DWORD GetFileSize(HANDLE handle, DWORD* sizeHigh) {
    const auto file = FindHandleAs<File>(handle);
    if (!file)
        return INVALID_FILE_SIZE;
    struct stat status = {};
    if (fstat(file->Descriptor(), &status) != 0) {
        FailErrno();
        return INVALID_FILE_SIZE;
    }
    SetLastError(ERROR_SUCCESS);
    if (sizeHigh)
        *sizeHigh = static_cast<DWORD>(static_cast<std::uint64_t>(status.st_size) >> 32);
    return static_cast<DWORD>(status.st_size);
}

BOOL SetEndOfFile(HANDLE handle) {
    const auto file = FindHandleAs<File>(handle);
    if (!file)
        return FALSE;
    if (!file->CanWrite())
        return Fail(ERROR_ACCESS_DENIED);
    const off_t end = lseek(file->Descriptor(), 0, SEEK_CUR);
    return end >= 0 && ftruncate(file->Descriptor(), end) == 0 ? TRUE : FailErrno();
}

BOOL DeleteFileA(LPCSTR name) {
    if (!name)
        return Fail(ERROR_INVALID_PARAMETER);
    return unlink(name) == 0 ? TRUE : FailErrno();
}
