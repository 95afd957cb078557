// What an operation's caller hears of its waits, and how it ends them.
#pragma once

#include <atomic>

#include "platform/wait_watch.h"
#include "service/scan_status.h"

// The flags by which an operation may be cancelled; each may be null.
struct CancelFlags {
    const std::atomic<bool>* client = nullptr;  // of all operations
    const std::atomic<bool>* scan = nullptr;    // of this one

    bool IsSet() const { return (client && *client) || (scan && *scan); }
};

// A client, as its devices know it.
struct CallerInfo {
    Notice notice;
    const std::atomic<bool>* cancel = nullptr;
};

// Around one operation on a device, on its thread.
class CCallerWatch {
  public:
    CCallerWatch(const CallerInfo& caller, CancelFlags cancel)
        : m_watch([notice = caller.notice](WaitCause cause) { Tell(notice, cause); },
                  [cancel] { return cancel.IsSet(); }) {}

    // What the operation came to: one of which a wait was ended is cancelled, whatever the driver
    // made of that.
    ScanStatus Result(ScanStatus status, ScanStatus cancelled) const {
        return m_watch.HasInterrupted() ? std::move(cancelled) : std::move(status);
    }

  private:
    static void Tell(const Notice& notice, WaitCause cause) {
        if (notice)
            notice(cause == WaitCause::LampWarming
                       ? "the lamp is warming up"
                       : "waiting for the scanner, in use by another program");
    }

    CWaitWatch m_watch;
};
