// A temporary file that stands in memory while it is open: room for an image that is larger than
// the free memory. The system writes its pages back when it needs them elsewhere.
#pragma once

#include <cstdint>

#include "frame/stage.h"
#include "platform/types.h"
#include "platform/unique_handle.h"

class CMappedTempFile {
  public:
    CMappedTempFile() = default;
    ~CMappedTempFile() { Close(); }
    CMappedTempFile(const CMappedTempFile&) = delete;
    CMappedTempFile& operator=(const CMappedTempFile&) = delete;

    // Makes and maps a file of so many bytes, all 0; one that was open is gone. QL_ERR_TEMP_FILE
    // when it can't be made, or the medium has no room for it, QL_ERR_NO_MEMORY when memory lacks.
    QLStatus Open(std::uint64_t bytes);
    // The file is deleted.
    void Close();

    // Null when none is open.
    std::uint8_t* Data() const { return m_view; }

  private:
    bool Make();
    bool Map(std::uint64_t bytes);

    CHandle m_tempFile;
    char m_tempPath[MAX_PATH] = "";  // of a file that is left to be deleted
    std::uint8_t* m_view = nullptr;
};
