// The object behind a file's handle. Internal to the layer.
#pragma once

#include <utility>

#include "platform/handle_table.h"
#include "platform/unique_fd.h"

namespace platform {

class File : public HandleObject {
  public:
    File(UniqueFd fd, DWORD access, bool plain)
        : m_access(access), m_plain(plain), m_fd(std::move(fd)) {}

    int Descriptor() const { return m_fd.Get(); }
    bool CanRead() const;
    bool CanWrite() const;
    // A file on a medium, and no pipe or device.
    bool IsPlain() const { return m_plain; }

  private:
    const DWORD m_access;
    const bool m_plain;
    UniqueFd m_fd;
};

}  // namespace platform
