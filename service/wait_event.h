// An event to wait for.
#pragma once

#include "platform/sync.h"

// Closes its handle; without memory or descriptors it has none.
class CWaitEvent {
  public:
    explicit CWaitEvent(bool manualReset)
        : m_handle(CreateEventA(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr)) {}
    ~CWaitEvent() {
        if (m_handle)
            CloseHandle(m_handle);
    }
    CWaitEvent(const CWaitEvent&) = delete;
    CWaitEvent& operator=(const CWaitEvent&) = delete;

    HANDLE Get() const { return m_handle; }
    void Set() { SetEvent(m_handle); }

  private:
    const HANDLE m_handle;
};
