#include "pictures/pending_file.h"

#include <cerrno>
#include <random>
#include <system_error>

#include "pictures/file_failure.h"

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
    std::random_device random;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        // A name of its own rather than the target's with a tail, which might grow too long.
        const std::filesystem::path path =
            m_target.parent_path() / (".nvqscan-" + std::to_string(random()) + ".tmp");
        m_file.reset(std::fopen(path.c_str(), "wbx"));
        if (m_file) {
            m_passingPath = path;
            return;
        }
        if (errno != EEXIST)
            break;
    }
    FailBySystem("can't be created", errno);
}

void CPendingFile::WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.get(), offset, SEEK_SET) != 0 ||
        std::fwrite(source, 1, bytes, m_file.get()) != bytes)
        FailBySystem("can't be written", errno);
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
