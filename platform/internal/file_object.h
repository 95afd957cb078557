// The object behind a file's handle. Internal to the layer.
#pragma once

#include <memory>
#include <utility>

#include "platform/internal/handle_table.h"
#include "platform/internal/unique_fd.h"

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

// One that can be waited for, made of a pipe whose reads don't block (device_io.cpp).
std::shared_ptr<File> MakeDevice(UniqueFd pipe, DWORD access);

}  // namespace platform
