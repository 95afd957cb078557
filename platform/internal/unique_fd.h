// The owner of one file descriptor. Internal to the layer.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    UniqueFd& operator=(UniqueFd other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~UniqueFd() {
        if (m_fd >= 0)
            close(m_fd);
    }

    int Get() const { return m_fd; }
    // Gives the descriptor away.
    int Release() { return std::exchange(m_fd, -1); }
    explicit operator bool() const { return m_fd >= 0; }

  private:
    int m_fd = -1;
};

}  // namespace platform
