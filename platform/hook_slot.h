// A place for a function that a program, or a test, puts in the way of what would be done else.
#pragma once

#include <mutex>
#include <utility>

// Threads may set the hook and use it at the same time.
template <class Hook>
class CHookSlot {
  public:
    // Gives the former one.
    Hook Set(Hook hook) {
        const std::lock_guard guard(m_lock);
        std::swap(m_hook, hook);
        return hook;
    }
    // A copy, so that the hook itself runs without the lock.
    Hook Get() {
        const std::lock_guard guard(m_lock);
        return m_hook;
    }

  private:
    std::mutex m_lock;
    Hook m_hook;
};
