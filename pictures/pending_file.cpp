#include "pictures/pending_file.h"

#include <cerrno>
#include <cstdio>

#include "pictures/file_failure.h"

// What stands in the way at the target is told in the program's own words.
void CPendingFile::Create() {
    const std::error_code error = m_file.Create();
    if (error == std::errc::is_a_directory)
        Fail("is a directory");
    if (error == std::errc::invalid_argument)
        Fail("is no regular file");
    if (error)
        FailBySystem("can't be created", error.value());
}

void CPendingFile::WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.Stream(), offset, SEEK_SET) != 0 ||
        std::fwrite(source, 1, bytes, m_file.Stream()) != bytes)
        FailBySystem("can't be written", errno);
}

void CPendingFile::ReadAt(void* target, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.Stream(), offset, SEEK_SET) != 0 ||
        std::fread(target, 1, bytes, m_file.Stream()) != bytes)
        FailBySystem("can't be read back", errno);
}

// In two steps: a full disk may be told of by the first one only.
void CPendingFile::Publish() {
    if (const std::error_code error = m_file.Close())
        FailBySystem("can't be written", error.value());
    if (const std::error_code error = m_file.Publish())
        FailBySystem("can't be put in place", error.value());
}
