#include "tools/process/input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

namespace {

std::string PathOf(int file) {
    return "/proc/self/fd/" + std::to_string(file);
}

// A plain file that is at its beginning and can be opened once more.
bool CanBeReopened(int file) {
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && lseek(file, 0, SEEK_CUR) == 0 &&
           access(PathOf(file).c_str(), R_OK) == 0;
}

// Open, and without a name already. -1 with the reason in errno.
int MakeUnnamedFile() {
    std::error_code unknown;
    std::string path = (std::filesystem::temp_directory_path(unknown) / "nvqscan-XXXXXX").string();
    const int file = unknown ? -1 : mkostemp(path.data(), O_CLOEXEC);
    if (file >= 0)
        unlink(path.c_str());
    else if (unknown)
        errno = unknown.value();
    return file;
}

bool WriteAll(int file, const char* bytes, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(file, bytes, length);
        if (written < 0 && errno != EINTR)
            return false;
        bytes += written > 0 ? written : 0;
        length -= static_cast<std::size_t>(written > 0 ? written : 0);
    }
    return true;
}

}  // namespace

CProcessInput::~CProcessInput() {
    if (m_file >= 0)
        close(m_file);
}

std::string CProcessInput::Name() const {
    return m_name == "-" ? "standard input" : m_name;
}

bool CProcessInput::Take(const std::function<bool()>& stopped, std::string* error) {
    if (m_name != "-")
        return true;
    if (isatty(STDIN_FILENO)) {
        *error = "is a terminal; a picture comes from a program or a file";
        return false;
    }
    m_path = PathOf(STDIN_FILENO);
    return CanBeReopened(STDIN_FILENO) || Spool(stopped, error);
}

// Whoever writes to the pipe may take his time: meanwhile it is asked whether to stop.
bool CProcessInput::Spool(const std::function<bool()>& stopped, std::string* error) {
    constexpr int kPatience = 100;  // milliseconds
    const auto fail = [error](const char* what) {
        *error = std::string(what) + ": " + std::generic_category().message(errno);
        return false;
    };
    m_file = MakeUnnamedFile();
    if (m_file < 0)
        return fail("can't be kept in the folder for temporary files");
    m_path = PathOf(m_file);
    std::vector<char> bytes(std::size_t{1} << 20);
    for (ssize_t got = 1; got != 0;) {
        if (stopped && stopped())
            return false;
        pollfd waiting = {STDIN_FILENO, POLLIN, 0};
        if (poll(&waiting, 1, kPatience) <= 0)
            continue;
        got = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (got < 0 && errno != EINTR && errno != EAGAIN)
            return fail("can't be read");
        if (got > 0 && !WriteAll(m_file, bytes.data(), static_cast<std::size_t>(got)))
            return fail("can't be kept in the folder for temporary files");
    }
    return true;
}
