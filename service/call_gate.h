// One call at a time.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

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

    // What must be done and may not wait. It is made ahead of time: when it is due there may be no
    // memory.
    class Work {
      public:
        virtual ~Work() = default;
        virtual void Do() noexcept = 0;

      private:
        friend class CCallGate;
        std::unique_ptr<Work> m_next;
    };

    // Does the work now if the gate is free, else its holder does it when it leaves. The gate must
    // live until then.
    void Run(std::unique_ptr<Work> work) noexcept {
        {
            const std::lock_guard guard(m_lock);
            std::unique_ptr<Work>* last = &m_work;
            while (*last)
                last = &(*last)->m_next;
            *last = std::move(work);
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
        while (m_work) {
            std::unique_ptr<Work> work = std::move(m_work);
            m_work = std::move(work->m_next);
            guard.unlock();
            work->Do();
            work.reset();
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
    std::unique_ptr<Work> m_work;  // the first of it
};
