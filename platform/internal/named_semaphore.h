// The semaphore between processes behind CreateSemaphoreA. Internal to the layer.
#pragma once

#include <mutex>
#include <string>

#include "platform/internal/file_lock.h"
#include "platform/internal/handle_table.h"

namespace platform {

// Stands on the lock of a file that the name selects, in a folder that only the user may enter:
// $XDG_RUNTIME_DIR/nvqdrv, or nvqdrv-<user id> under the temporary path.
class NamedSemaphore : public HandleObject {
  public:
    explicit NamedSemaphore(const char* name);

    // Makes the folder and the file; FALSE with an error number.
    BOOL Prepare();

    // As WaitForSingleObject.
    DWORD Wait(DWORD milliseconds);
    BOOL Release(LONG* previousCount);

  private:
    const std::string m_fileName;
    std::string m_path;
    std::mutex m_lock;
    UniqueFd m_held;  // the lock, while this object has it
};

}  // namespace platform
