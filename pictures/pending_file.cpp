#include "pictures/pending_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"
#include "pictures/picture_options.h"

namespace {

// A file that never gets its name, in the folder for temporary files; empty if there is none.
std::string SpoolPath() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error)
        return {};
    return folder / (".nvqscan-spool-" + std::to_string(std::random_device()()));
}

}  // namespace

CPendingFile::CPendingFile(const std::string& target)
    : m_isOutput(IsStandardOutput(target)), m_file(m_isOutput ? SpoolPath() : target) {}

// What stands in the way at the target is told in the program's own words. A spooled picture is
// nobody else's to read.
void CPendingFile::Create(bool isAppended) {
    m_isStream = m_isOutput && isAppended;
    if (m_isStream)
        return;
    const std::error_code error = m_isOutput ? m_file.Create(0600) : m_file.Create();
    if (error == std::errc::is_a_directory)
        Fail("is a directory");
    if (error == std::errc::invalid_argument)
        Fail("is no regular file");
    if (error && m_isOutput)
        FailBySystem("needs a temporary file, which can't be created", error.value());
    if (error)
        FailBySystem("can't be created", error.value());
}

void CPendingFile::WriteAt(const void* source, std::size_t bytes, std::int64_t offset) {
    if (m_isStream)
        PutOut(source, bytes);
    else if (const std::error_code error = m_file.WriteAt(source, bytes, offset))
        FailBySystem(
            m_isOutput ? "needs a temporary file, which can't be written" : "can't be written",
            error.value());
    m_place = offset + static_cast<std::int64_t>(bytes);
    m_size = std::max(m_size, m_place);
}

void CPendingFile::ReadAt(void* target, std::size_t bytes, std::int64_t offset) const {
    if (const std::error_code error = m_file.ReadAt(target, bytes, offset))
        FailBySystem("can't be read back", error.value());
}

void CPendingFile::CutOff() {
    if (const std::error_code error = m_file.Truncate(m_place))
        FailBySystem("can't be shortened", error.value());
    m_size = m_place;
}

// In two steps: a full disk may be told of by the first one only.
void CPendingFile::Publish() {
    if (m_isOutput) {
        if (!m_isStream)
            CopyToOutput();
        m_file.Discard();
        return;
    }
    if (const std::error_code error = m_file.Close())
        FailBySystem("can't be written", error.value());
    if (const std::error_code error = m_file.Publish())
        FailBySystem("can't be put in place", error.value());
}

void CPendingFile::CopyToOutput() {
    std::vector<char> part(static_cast<std::size_t>(kFileBandBytes));
    for (std::int64_t place = 0; place < m_size; place += kFileBandBytes) {
        const auto bytes = static_cast<std::size_t>(std::min(kFileBandBytes, m_size - place));
        ReadAt(part.data(), bytes, place);
        PutOut(part.data(), bytes);
    }
}

// At once: what a reader doesn't want any more is told before the next page is scanned.
void CPendingFile::PutOut(const void* source, std::size_t bytes) const {
    if (std::fwrite(source, 1, bytes, stdout) != bytes || std::fflush(stdout) != 0)
        FailBySystem("can't be written", errno);
}
