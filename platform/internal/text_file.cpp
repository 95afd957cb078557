#include "platform/internal/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/internal/system_error.h"
#include "platform/internal/unique_fd.h"

namespace platform {

LONG ReadDescriptor(int fd, std::size_t limit, std::string& text) {
    text.clear();
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return ErrorFromErrno(errno);
    // A folder, a pipe or a device has no end that can be relied on.
    if (!S_ISREG(status.st_mode))
        return ERROR_FILE_INVALID;
    if (status.st_size > static_cast<off_t>(limit))
        return ERROR_FILE_TOO_LARGE;
    // The size is a hint: the file is read to its end.
    text.reserve(static_cast<std::size_t>(status.st_size));
    // Read in pieces, so that a file that grows meanwhile is noticed.
    std::array<char, 16384> block;
    for (;;) {
        const ssize_t got = read(fd, block.data(), block.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return ErrorFromErrno(errno);
        if (got == 0)
            return ERROR_SUCCESS;
        text.append(block.data(), static_cast<std::size_t>(got));
        if (text.size() > limit)  // it grew meanwhile
            return ERROR_FILE_TOO_LARGE;
    }
}

LONG ReadTextFile(const char* name, std::size_t limit, std::string& text) {
    // Without O_NONBLOCK a pipe of that name would hold us up.
    const UniqueFd fd(open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return fd ? ReadDescriptor(fd.Get(), limit, text) : ErrorFromErrno(errno);
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view NextLine(std::string_view& text) {
    // A last line without an end is a line too; a carriage return belongs to the end.
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

int CompareNames(std::string_view a, std::string_view b) {
    // Not by the locale, which would make two programs disagree.
    const auto folded = [](char c) -> int {
        return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    };
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (const int difference = folded(a[i]) - folded(b[i]))
            return difference;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

}  // namespace platform
