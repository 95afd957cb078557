// Stops a scan of a device of SANE from another thread.
#pragma once

#include <sane/sane.h>

#include <atomic>
#include <mutex>

class CScanStop {
  public:
    explicit CScanStop(SANE_Handle device) : m_device(device) {}

    // The scan is to end: no more is to be asked of the device than its cancelling.
    bool IsAsked() const { return m_isAsked; }
    // From any thread. Cancels the scan when the library is free, or after a second in the middle
    // of a call, which SANE allows; then gives that call some seconds to come back.
    void Halt();
    // The scan is cancelled by its own thread now: one of the two at a time, and only one. Waits
    // for a cancel that is under way. Under the library's lock.
    void End();

  private:
    void Cancel();

    const SANE_Handle m_device;
    std::atomic<bool> m_isAsked = false;
    std::mutex m_ending;
    bool m_isOver = false;  // under m_ending
};
