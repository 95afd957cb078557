#include "platform/passing_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <random>
#include <set>

#include "platform/internal/system_error.h"
#include "platform/internal/unique_fd.h"

namespace {

namespace fs = std::filesystem;
using platform::UniqueFd;

// Of files that are claimed as long as they are written: one that nobody claims is left over.
constexpr char kClaimedPrefix[] = ".nvqscan-out-";
// Of all passing files. Those without a claim hand a page from one part of a program to another,
// and are left over when they have become old.
constexpr char kAnyPrefix[] = ".nvqscan-";
constexpr char kSuffix[] = ".tmp";
constexpr char kBesideSuffix[] = ".new";
constexpr std::chrono::hours kLongestPage(1);

// Of this process. Never destroyed: a program may end while it writes.
struct FilesUnderWay {
    std::mutex lock;
    std::set<std::string> paths;
};

FilesUnderWay& TheFilesUnderWay() {
    static auto& files = *new FilesUnderWay;
    return files;
}

void PutUnderWay(const std::string& path) {
    FilesUnderWay& files = TheFilesUnderWay();
    const std::lock_guard guard(files.lock);
    files.paths.insert(path);
}

void TakeFromUnderWay(const std::string& path) {
    FilesUnderWay& files = TheFilesUnderWay();
    const std::lock_guard guard(files.lock);
    files.paths.erase(path);
}

// An errno as it is told to callers; no failure for 0.
std::error_code SystemFailure(int error) {
    return {error, std::generic_category()};
}

// The claim ends with the process, also when that is killed. False if another has it, or if another
// took the file for left over before the claim was there, and has removed it.
bool Claim(int descriptor) {
    struct stat status = {};
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 && fstat(descriptor, &status) == 0 &&
           status.st_nlink > 0;
}

// Without waiting: one that is claimed is somebody's work. A link or a pipe of that name is
// nobody's passing file, and isn't followed or waited for.
void RemoveUnclaimed(const fs::path& path) {
    const UniqueFd file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file && flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
        unlink(path.c_str());
}

// A file whose time can't be read is left alone.
bool IsOld(const fs::path& path) {
    std::error_code error;
    const auto written = fs::last_write_time(path, error);
    return !error && fs::file_time_type::clock::now() - written > kLongestPage;
}

void RemoveLeftovers(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(kAnyPrefix) && name.ends_with(kSuffix) &&
            (name.starts_with(kClaimedPrefix) || IsOld(entry->path())))
            RemoveUnclaimed(entry->path());
    }
}

// `move` is given what is done, what is left and where that lies, and answers as write(2).
template <typename TMove>
std::error_code MoveAll(std::size_t bytes, std::int64_t offset, TMove move) {
    for (std::size_t done = 0; done < bytes;) {
        const ssize_t moved = move(done, bytes - done, offset + static_cast<std::int64_t>(done));
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0)
            return SystemFailure(moved < 0 ? errno : EIO);
        done += static_cast<std::size_t>(moved);
    }
    return {};
}

}  // namespace

std::error_code CPassingFile::FindTarget() {
    // A target that isn't there yet has no other name, and nothing to be checked.
    std::error_code missing;
    const fs::path real = fs::canonical(m_target, missing);
    if (missing)
        return {};
    m_target = real.string();
    const fs::file_status status = fs::status(real, missing);
    if (fs::is_directory(status))
        return std::make_error_code(std::errc::is_a_directory);
    return fs::is_regular_file(status) ? std::error_code()
                                       : std::make_error_code(std::errc::invalid_argument);
}

std::error_code CPassingFile::Create(unsigned rights) {
    if (const std::error_code error = FindTarget())
        return error;
    if (const std::error_code error =
            m_name == Name::Beside ? OpenBeside(rights) : OpenUnique(rights))
        return error;
    // A medium without access rights refuses to change them, and needs none.
    struct stat replaced = {};
    if (stat(m_target.c_str(), &replaced) == 0)
        static_cast<void>(fchmod(fileno(m_file), replaced.st_mode & 0777));
    return {};
}

// A name of its own rather than the target's with a tail, which might grow too long.
std::error_code CPassingFile::OpenUnique(unsigned rights) {
    constexpr int kAttempts = 100;

    const fs::path folder = fs::path(m_target).parent_path();
    RemoveLeftovers(folder);
    std::random_device random;
    // A number that is taken, or a file that was removed before its claim was there, costs one.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const fs::path path = folder / (kClaimedPrefix + std::to_string(random()) + kSuffix);
        UniqueFd made(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, rights));
        if (made && Claim(made.Get()))
            return Use(made.Release(), path.string());
        if (!made && errno != EEXIST)
            return SystemFailure(errno);
    }
    return SystemFailure(EEXIST);
}

std::error_code CPassingFile::OpenBeside(unsigned rights) {
    std::string path = m_target + kBesideSuffix;
    UniqueFd made(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, rights));
    return made ? Use(made.Release(), std::move(path)) : SystemFailure(errno);
}

std::error_code CPassingFile::Use(int descriptor, std::string path) {
    m_passingPath = std::move(path);
    PutUnderWay(m_passingPath);
    // The claim lasts until no descriptor is left, so that it outlives the stream.
    m_claim = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    m_file = m_claim >= 0 ? fdopen(descriptor, "w+b") : nullptr;
    if (m_file)
        return {};
    const int error = errno;
    close(descriptor);
    Discard();
    return SystemFailure(error);
}

std::error_code CPassingFile::WriteAt(const void* source, std::size_t bytes,
                                      std::int64_t offset) const {
    const auto* from = static_cast<const char*>(source);
    return MoveAll(bytes, offset, [&](std::size_t done, std::size_t left, std::int64_t place) {
        return pwrite(m_claim, from + done, left, place);
    });
}

std::error_code CPassingFile::ReadAt(void* target, std::size_t bytes, std::int64_t offset) const {
    auto* to = static_cast<char*>(target);
    return MoveAll(bytes, offset, [&](std::size_t done, std::size_t left, std::int64_t place) {
        return pread(m_claim, to + done, left, place);
    });
}

std::error_code CPassingFile::Truncate(std::int64_t size) const {
    return ftruncate(m_claim, size) == 0 ? std::error_code() : SystemFailure(errno);
}

std::error_code CPassingFile::Close(bool toMedium) {
    std::FILE* const file = std::exchange(m_file, nullptr);
    if (!file)
        return {};
    // The first failure is told; the stream is closed in any case.
    int error = std::fflush(file) == 0 ? 0 : errno;
    if (error == 0 && toMedium && fsync(fileno(file)) != 0)
        error = errno;
    if (std::fclose(file) != 0 && error == 0)
        error = errno;
    return SystemFailure(error);
}

std::error_code CPassingFile::Publish() {
    if (const std::error_code error = Close())
        return error;
    if (std::rename(m_passingPath.c_str(), m_target.c_str()) != 0)
        return SystemFailure(errno);
    TakeFromUnderWay(std::exchange(m_passingPath, {}));
    ReleaseClaim();
    return {};
}

void CPassingFile::Discard() {
    static_cast<void>(Close());
    if (!m_passingPath.empty()) {
        unlink(m_passingPath.c_str());
        TakeFromUnderWay(std::exchange(m_passingPath, {}));
    }
    ReleaseClaim();
}

void CPassingFile::DiscardAll() {
    FilesUnderWay& files = TheFilesUnderWay();
    const std::lock_guard guard(files.lock);
    for (const std::string& path : files.paths)
        unlink(path.c_str());
}

void CPassingFile::ReleaseClaim() {
    if (const int claim = std::exchange(m_claim, -1); claim >= 0)
        close(claim);
}

// Whatever fails on the way, the file's own end takes the passing file away.
std::error_code StoreFile(const std::string& target, std::string_view content,
                          const StoreOptions& options) {
    CPassingFile file(target, options.name);
    std::error_code error = file.Create(options.rights);
    if (!error && std::fwrite(content.data(), 1, content.size(), file.Stream()) != content.size())
        error = SystemFailure(errno);
    if (!error)
        error = file.Close(options.toMedium);
    return error ? error : file.Publish();
}

// A file that is to be made and "isn't there" has no folder.
LONG ErrorNumber(const std::error_code& error) {
    if (error == std::errc::no_such_file_or_directory)
        return ERROR_PATH_NOT_FOUND;
    return error ? platform::ErrorFromErrno(error.value()) : ERROR_SUCCESS;
}
