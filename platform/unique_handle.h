// The owner of one handle.
#pragma once

#include <utility>

#include "platform/handle.h"

class CHandle {
  public:
    CHandle() = default;
    // Null and INVALID_HANDLE_VALUE, the two forms in which operations fail, are none.
    explicit CHandle(HANDLE handle) : m_handle(handle) {}
    CHandle(CHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    CHandle& operator=(CHandle&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~CHandle() {
        if (*this)
            CloseHandle(m_handle);
    }

    HANDLE Get() const { return m_handle; }
    explicit operator bool() const { return m_handle && m_handle != INVALID_HANDLE_VALUE; }

  private:
    HANDLE m_handle = nullptr;
};
