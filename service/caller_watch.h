// What an operation's caller hears of its waits, and how it ends them.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>

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
    std::chrono::milliseconds patience{0};
};

// Around one operation on a device, on its thread.
class CCallerWatch {
  public:
    // With `patience` all waits of the operation together end behind that time: a driver that
    // doesn't get the scanner for one step goes on to the next, and waits there as long again.
    CCallerWatch(const CallerInfo& caller, CancelFlags cancel,
                 std::optional<std::chrono::milliseconds> patience = {})
        : m_cancel(cancel),
          m_patience(patience),
          m_watch([notice = caller.notice](WaitCause cause) { Tell(notice, cause); },
                  [this] { return m_cancel.IsSet() || IsOver(); }) {}

    // What the operation came to: one of which a wait was cancelled is cancelled, whatever the
    // driver made of that.
    ScanStatus Result(ScanStatus status, ScanStatus cancelled) const {
        return m_watch.HasInterrupted() && m_cancel.IsSet() ? std::move(cancelled)
                                                            : std::move(status);
    }

  private:
    static void Tell(const Notice& notice, WaitCause cause) {
        if (notice)
            notice(cause == WaitCause::LampWarming
                       ? "the lamp is warming up"
                       : "waiting for the scanner, in use by another program");
    }

    // Counted from the first wait on.
    bool IsOver() {
        const auto now = std::chrono::steady_clock::now();
        if (!m_begin)
            m_begin = now;
        return m_patience && now - *m_begin >= *m_patience;
    }

    const CancelFlags m_cancel;
    const std::optional<std::chrono::milliseconds> m_patience;
    std::optional<std::chrono::steady_clock::time_point> m_begin;
    CWaitWatch m_watch;
};
