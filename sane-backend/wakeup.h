// What one thread, or a signal's handler, wakes another by.
#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <utility>

// A descriptor, closed at the end.
class CDescriptor {
  public:
    explicit CDescriptor(int fd = -1) : m_fd(fd) {}
    CDescriptor(CDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~CDescriptor() { Close(); }

    int Get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    void Close() {
        if (m_fd >= 0)
            close(std::exchange(m_fd, -1));
    }

  private:
    int m_fd;
};

// Set stays until it is cleared. Set is for signal handlers too.
class CWakeup {
  public:
    CWakeup() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    bool IsThere() const { return static_cast<bool>(m_event); }
    int Fd() const { return m_event.Get(); }
    void Set() {
        const int before = errno;
        const std::uint64_t one = 1;
        static_cast<void>(!write(m_event.Get(), &one, sizeof(one)));
        errno = before;
    }
    void Clear() {
        std::uint64_t count = 0;
        static_cast<void>(!read(m_event.Get(), &count, sizeof(count)));
    }

  private:
    const CDescriptor m_event;
};

// Waits until one of the descriptors has what is waited for.
inline void WaitForAny(std::initializer_list<pollfd> waits) {
    pollfd polled[4] = {};
    nfds_t count = 0;
    for (const pollfd& wait : waits)
        polled[count++] = wait;
    while (poll(polled, count, -1) < 0 && errno == EINTR) {
    }
}
inline pollfd ToRead(int fd) {
    return {fd, POLLIN, 0};
}
inline pollfd ToWrite(int fd) {
    return {fd, POLLOUT, 0};
}
