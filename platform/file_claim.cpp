#include "platform/file_claim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/internal/unique_fd.h"

bool ClaimFile(std::FILE* file) {
    const int descriptor = fileno(file);
    struct stat status = {};
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 && fstat(descriptor, &status) == 0 &&
           status.st_nlink > 0;
}

void RemoveUnclaimed(const std::string& path) {
    const platform::UniqueFd file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file && flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
        unlink(path.c_str());
}
