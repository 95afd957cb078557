// What one thread, or a signal's handler, wakes another by.
#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

// Set stays until it is cleared. Set is for signal handlers too.
class CWakeup {
  public:
    CWakeup() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~CWakeup() {
        if (IsThere())
            close(m_event);
    }
    CWakeup(const CWakeup&) = delete;
    CWakeup& operator=(const CWakeup&) = delete;

    bool IsThere() const { return m_event >= 0; }
    int Fd() const { return m_event; }
    void Set() {
        const int before = errno;
        const std::uint64_t one = 1;
        static_cast<void>(!write(m_event, &one, sizeof(one)));
        errno = before;
    }
    void Clear() {
        std::uint64_t count = 0;
        static_cast<void>(!read(m_event, &count, sizeof(count)));
    }

  private:
    const int m_event;
};

// Waits until one of the two is set.
inline void WaitForEither(const CWakeup& one, const CWakeup& other) {
    pollfd polled[] = {{one.Fd(), POLLIN, 0}, {other.Fd(), POLLIN, 0}};
    while (poll(polled, 2, -1) < 0 && errno == EINTR) {
    }
}
