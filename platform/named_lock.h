// A lock between the processes of one user, by name; it also keeps threads of one process apart.
#pragma once

#include "platform/sync.h"
#include "platform/unique_handle.h"

class CNamedLock {
  public:
    // Waits for it, as long as told. May fail, which IsHeld tells.
    explicit CNamedLock(const char* name, DWORD milliseconds = INFINITE)
        : m_semaphore(CreateSemaphoreA(nullptr, 1, 1, name)),
          m_held(m_semaphore &&
                 WaitForSingleObject(m_semaphore.Get(), milliseconds) == WAIT_OBJECT_0) {}
    ~CNamedLock() {
        if (m_held)
            ReleaseSemaphore(m_semaphore.Get(), 1, nullptr);
    }
    CNamedLock(const CNamedLock&) = delete;
    CNamedLock& operator=(const CNamedLock&) = delete;

    bool IsHeld() const { return m_held; }
    // Not to be had by anybody, rather than another's: the last error and the told lines say why.
    bool IsFaulty() const { return !m_semaphore; }

  private:
    const CHandle m_semaphore;
    const bool m_held;
};
