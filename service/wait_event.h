// An event to wait for.
#pragma once

#include "platform/sync.h"
#include "platform/unique_handle.h"

// Closes its handle; without memory or descriptors it has none.
class CWaitEvent {
  public:
    explicit CWaitEvent(bool manualReset)
        : m_handle(CreateEventA(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr)) {}

    HANDLE Get() const { return m_handle.Get(); }
    void Set() { SetEvent(m_handle.Get()); }

  private:
    const CHandle m_handle;
};
