#include "pictures/input_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "pictures/file_failure.h"

// Positions in files travel as long.
static_assert(sizeof(long) == sizeof(std::int64_t));

CInputFile::CInputFile(const std::string& path) {
    // What can't be examined is left to the opening below, which fails with the reason.
    std::error_code unknown;
    const std::filesystem::file_status status = std::filesystem::status(path, unknown);
    if (std::filesystem::is_directory(status))
        Fail("is a directory");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        Fail("is no regular file");
    m_file.reset(std::fopen(path.c_str(), "rb"));
    if (!m_file)
        FailBySystem("can't be opened", errno);
    if (std::fseek(m_file.get(), 0, SEEK_END) != 0)
        FailBySystem("can't be examined", errno);
    m_size = std::ftell(m_file.get());
    if (m_size == 0)
        Fail("is empty");
}

void CInputFile::ReadAt(void* target, std::size_t bytes, std::int64_t offset) const {
    if (std::fseek(m_file.get(), offset, SEEK_SET) != 0)
        FailBySystem("can't be read", errno);
    if (std::fread(target, 1, bytes, m_file.get()) == bytes)
        return;
    // Fewer bytes without an error: the range lay within the file when it was opened.
    if (std::ferror(m_file.get()))
        FailBySystem("can't be read", errno);
    Fail("has become shorter while it was read");
}
