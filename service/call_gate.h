// One call at a time.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

// A lock that knows when its own thread comes back, from inside a call through a sink, and that can
// turn others away instead of having them wait.
class CCallGate {
  public:
    // What others get while a call is under way.
    enum class Others { Wait, TurnedAway };

    // Holds the gate, after waiting for others, unless this thread holds it already or its holder
    // turns others away.
    class Hold {
      public:
        explicit Hold(CCallGate& gate, Others others = Others::Wait)
            : m_gate(gate.Enter(others) ? &gate : nullptr) {}
        ~Hold() {
            if (m_gate)
                m_gate->Leave();
        }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        explicit operator bool() const { return m_gate != nullptr; }

      private:
        CCallGate* const m_gate;
    };

    // For what must be done and may not wait: does the work now if the gate is free, else its
    // holder does it when it leaves. The gate must live until then.
    void Run(std::function<void()> work) {
        {
            const std::lock_guard guard(m_lock);
            m_work.push_back(std::move(work));
            if (m_owner != std::thread::id())
                return;
            m_owner = std::this_thread::get_id();
        }
        Leave();
    }

  private:
    bool Enter(Others others) {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] {
            return m_owner == std::thread::id() || m_owner == std::this_thread::get_id() ||
                   m_others == Others::TurnedAway;
        });
        if (m_owner != std::thread::id())
            return false;
        m_owner = std::this_thread::get_id();
        m_others = others;
        return true;
    }

    void Leave() {
        std::unique_lock guard(m_lock);
        while (!m_work.empty()) {
            std::vector<std::function<void()>> work = std::exchange(m_work, {});
            guard.unlock();
            for (const auto& one : work)
                one();
            work.clear();
            guard.lock();
        }
        m_owner = {};
        m_others = Others::Wait;
        m_changed.notify_all();
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::thread::id m_owner;
    Others m_others = Others::Wait;
    std::vector<std::function<void()>> m_work;
};
