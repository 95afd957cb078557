#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "platform/files.h"
#include "platform/internal/system_error.h"
#include "platform/internal/temp_path.h"
#include "platform/internal/unique_fd.h"
#include "platform/told_lines.h"

using platform::Contained;
using platform::Fail;

namespace {

constexpr std::size_t kPrefixChars = 3;
constexpr std::size_t kNameChars = 3 + 4 + 4;  // prefix, number, ".TMP"
// Only the low 16 bits of a number go into the name.
constexpr UINT kNumbers = 0x10000;

std::string WithSlash(std::string path) {
    if (path.empty() || path.back() != '/')
        path += '/';
    return path;
}

std::string TempName(const std::string& folder, const char* prefix, UINT number) {
    // Without leading zeros, as published.
    char rest[sizeof("FFFF.TMP")];
    std::snprintf(rest, sizeof(rest), "%X.TMP", number & (kNumbers - 1));
    return folder + std::string(prefix, strnlen(prefix, kPrefixChars)) + rest;
}

// Makes the first file of all numbers that isn't there, from a number that others don't begin with.
// 0 with an error number if there is none.
UINT MakeTempFile(const std::string& folder, const char* prefix, std::string& name) {
    // Programs that begin at one number would try each other's names, one after the other.
    WORD first = 0;
    if (getrandom(&first, sizeof(first), 0) != sizeof(first))
        first = static_cast<WORD>(getpid());
    for (UINT i = 0; i < kNumbers; ++i) {
        const UINT number = (first + i) % kNumbers;
        // 0 would be the sign of failure.
        if (number == 0)
            continue;
        name = TempName(folder, prefix, number);
        const platform::UniqueFd made(
            // Making and checking are one step, and the file is the user's alone: under a shared
            // folder anybody could have put something there in between.
            open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (made)
            return number;
        if (errno != EEXIST) {
            const int error = errno;
            TellCause(platform::TempFolderCause(
                "the folder for temporary files, " + folder + ", can't be used", error));
            Fail(error == ENOENT ? ERROR_PATH_NOT_FOUND : platform::ErrorFromErrno(error));
            return 0;
        }
    }
    Fail(ERROR_FILE_EXISTS);
    return 0;
}

}  // namespace

std::string platform::TempPath() {
    const char* folder = std::getenv("TMPDIR");
    return WithSlash(folder && *folder ? folder : "/tmp");
}

std::string platform::TempFolderCause(const std::string& what, int error) {
    return what + ": " + std::generic_category().message(error) +
           "; set TMPDIR to a folder that has room and can be written";
}

DWORD GetTempPathA(DWORD size, LPSTR buffer) {
    return Contained<DWORD>(0, [&]() -> DWORD {
        const std::string path = platform::TempPath();
        if (!buffer || path.size() >= size)
            return static_cast<DWORD>(path.size() + 1);
        std::memcpy(buffer, path.c_str(), path.size() + 1);
        return static_cast<DWORD>(path.size());
    });
}

UINT GetTempFileNameA(LPCSTR path, LPCSTR prefix, UINT unique, LPSTR name) {
    return Contained<UINT>(0, [&]() -> UINT {
        if (!path || !name) {
            Fail(ERROR_INVALID_PARAMETER);
            return 0;
        }
        const std::string folder = WithSlash(path);
        // The caller's buffer has MAX_PATH characters and no size comes with it.
        if (folder.size() + kNameChars >= MAX_PATH) {
            Fail(ERROR_BUFFER_OVERFLOW);
            return 0;
        }
        if (!prefix)
            prefix = "";
        std::string made = TempName(folder, prefix, unique);
        const UINT number = unique != 0 ? unique : MakeTempFile(folder, prefix, made);
        if (number != 0)
            std::memcpy(name, made.c_str(), made.size() + 1);
        return number;
    });
}
