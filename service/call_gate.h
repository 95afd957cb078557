// One call at a time.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

// A lock that knows when its own thread comes back: from inside a call, through a sink.
class CCallGate {
  public:
    // Holds the gate, after waiting for others, unless this thread holds it already.
    class Hold {
      public:
        explicit Hold(CCallGate& gate) {
            if (gate.m_owner == std::this_thread::get_id())
                return;
            gate.m_lock.lock();
            gate.m_owner = std::this_thread::get_id();
            m_gate = &gate;
        }
        ~Hold() {
            if (!m_gate)
                return;
            m_gate->m_owner = std::thread::id();
            m_gate->m_lock.unlock();
        }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        explicit operator bool() const { return m_gate != nullptr; }

      private:
        CCallGate* m_gate = nullptr;
    };

  private:
    std::mutex m_lock;
    std::atomic<std::thread::id> m_owner{};
};
