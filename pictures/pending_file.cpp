#include "pictures/pending_file.h"

#include <cerrno>
#include <chrono>
#include <random>
#include <system_error>

#include "pictures/file_failure.h"
#include "platform/file_claim.h"

namespace {

namespace fs = std::filesystem;

// Of files that are claimed as long as they are written.
constexpr char kPassingPrefix[] = ".nvqscan-out-";
// Of all passing files; the service's own are short-lived and not claimed.
constexpr char kAnyPrefix[] = ".nvqscan-";
constexpr char kPassingSuffix[] = ".tmp";

bool IsOld(const fs::path& path) {
    constexpr std::chrono::hours kLongest(1);
    std::error_code error;
    const auto written = fs::last_write_time(path, error);
    return !error && fs::file_time_type::clock::now() - written > kLongest;
}

// Takes away what programs have left in the folder that were killed.
void RemoveLeftovers(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(kAnyPrefix) && name.ends_with(kPassingSuffix) &&
            (name.starts_with(kPassingPrefix) || IsOld(entry->path())))
            RemoveUnclaimed(entry->path().string());
    }
}

}  // namespace

// Renaming puts a regular file in place of anything, be it a device or a link; so links are
// followed here, and what isn't a regular file is refused.
void CPendingFile::CheckTarget() {
    std::error_code missing;
    const std::filesystem::path real = std::filesystem::canonical(m_target, missing);
    if (missing)
        return;
    m_target = real;
    const std::filesystem::file_status status = std::filesystem::status(real, missing);
    if (std::filesystem::is_directory(status))
        Fail("is a directory");
    if (!std::filesystem::is_regular_file(status))
        Fail("is no regular file");
}

void CPendingFile::Create() {
    constexpr int kAttempts = 100;

    CheckTarget();
    RemoveLeftovers(m_target.parent_path());
    std::random_device random;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        // A name of its own rather than the target's with a tail, which might grow too long.
        const std::filesystem::path path =
            m_target.parent_path() / (kPassingPrefix + std::to_string(random()) + kPassingSuffix);
        m_file.reset(std::fopen(path.c_str(), "w+bx"));
        if (m_file && ClaimFile(m_file.get())) {
            m_passingPath = path;
            return;
        }
        if (!m_file && errno != EEXIST)
            break;
    }
    FailBySystem("can't be created", errno);
}

void CPendingFile::WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.get(), offset, SEEK_SET) != 0 ||
        std::fwrite(source, 1, bytes, m_file.get()) != bytes)
        FailBySystem("can't be written", errno);
}

void CPendingFile::ReadAt(void* target, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.get(), offset, SEEK_SET) != 0 ||
        std::fread(target, 1, bytes, m_file.get()) != bytes)
        FailBySystem("can't be read back", errno);
}

void CPendingFile::Publish() {
    // Some file systems tell of a full disk only here.
    if (std::fclose(m_file.release()) != 0)
        FailBySystem("can't be written", errno);
    std::error_code error;
    std::filesystem::rename(m_passingPath, m_target, error);
    if (error)
        FailBySystem("can't be put in place", error.value());
    m_passingPath.clear();
}

void CPendingFile::Discard() {
    m_file.reset();
    if (!m_passingPath.empty()) {
        std::error_code ignored;
        std::filesystem::remove(m_passingPath, ignored);
    }
    m_passingPath.clear();
}
