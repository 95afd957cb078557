// The lock of a device among all programs, as a session of a toolkit takes it: it nests, and is
// free when its holder is gone, also a killed one. Who waits for it is told and can end the wait
// (platform/wait_watch.h).
#pragma once

#include <atomic>
#include <string>

#include "platform/sync.h"
#include "platform/unique_handle.h"

class CDeviceLock {
  public:
    CDeviceLock() = default;
    ~CDeviceLock() { Close(); }
    CDeviceLock(const CDeviceLock&) = delete;
    CDeviceLock& operator=(const CDeviceLock&) = delete;

    // For the device of this name, any text, which all its sessions share. False: there is none to
    // be had.
    bool Open(const std::string& name) {
        Close();
        m_semaphore = CHandle(CreateSemaphoreA(nullptr, 1, 1, name.c_str()));
        return IsOpen();
    }
    // Gives back what is held.
    void Close() {
        m_levels = m_levels > 0 ? 1 : 0;
        GiveBack();
        m_semaphore = CHandle();
    }
    bool IsOpen() const { return static_cast<bool>(m_semaphore); }

    // A level; the first waits for other sessions. False: not in time.
    bool Take(DWORD milliseconds) {
        if (m_levels == 0 && WaitForSingleObject(m_semaphore.Get(), milliseconds) != WAIT_OBJECT_0)
            return false;
        ++m_levels;
        return true;
    }
    void GiveBack() {
        if (m_levels > 0 && --m_levels == 0)
            ReleaseSemaphore(m_semaphore.Get(), 1, nullptr);
    }
    DWORD Levels() const { return m_levels; }
    bool IsHeld() const { return m_levels > 0; }

  private:
    CHandle m_semaphore;
    std::atomic<DWORD> m_levels = 0;  // looked at by the thread that reads, too
};
