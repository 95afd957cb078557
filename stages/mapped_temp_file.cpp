#include "stages/mapped_temp_file.h"

#include "platform/files.h"
#include "platform/told_lines.h"

namespace {

constexpr char kTempPrefix[] = "nvg";

}  // namespace

// No file has a name in a folder of MAX_PATH characters.
bool CMappedTempFile::Make() {
    char folder[MAX_PATH] = "";
    const DWORD length = GetTempPathA(MAX_PATH, folder);
    if (length == 0 || length >= MAX_PATH ||
        GetTempFileNameA(folder, kTempPrefix, 0, m_tempPath) == 0)
        return false;
    m_tempFile = CHandle(CreateFileA(m_tempPath, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                     CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(m_tempFile);
}

// The view keeps the file mapped, whatever becomes of the mapping's handle.
bool CMappedTempFile::Map(std::uint64_t bytes) {
    const CHandle mapping(CreateFileMappingA(m_tempFile.Get(), nullptr, PAGE_READWRITE,
                                             static_cast<DWORD>(bytes >> 32),
                                             static_cast<DWORD>(bytes & 0xFFFFFFFF), nullptr));
    if (mapping)
        m_view = static_cast<std::uint8_t*>(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, 0));
    return m_view != nullptr;
}

QLStatus CMappedTempFile::Open(std::uint64_t bytes) {
    Close();
    if (Make() && Map(bytes)) {
        // A system that takes the name away from an open file leaves nothing behind if we are
        // killed. The others refuse, and the file is deleted when it is closed.
        if (DeleteFileA(m_tempPath))
            m_tempPath[0] = '\0';
        return QL_OK;
    }
    if (IsDiskFull())
        TellCause("the folder for temporary files lacks room: turning this picture takes " +
                  std::to_string((bytes >> 20) + 1) +
                  " MiB there; set TMPDIR to a folder that has it");
    const bool isMemory = GetLastError() == static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY) ||
                          GetLastError() == static_cast<DWORD>(ERROR_OUTOFMEMORY);
    Close();
    return isMemory ? QL_ERR_NO_MEMORY : QL_ERR_TEMP_FILE;
}

void CMappedTempFile::Close() {
    if (m_view)
        UnmapViewOfFile(m_view);
    m_view = nullptr;
    m_tempFile = CHandle();
    if (m_tempPath[0] != '\0')
        DeleteFileA(m_tempPath);
    m_tempPath[0] = '\0';
}
