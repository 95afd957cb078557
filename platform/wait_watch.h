// Waits that a person may want to know of, and to end.
//
// Who waits deep inside a call, such as a device for its lock, knows what for; who made the call
// knows whom to tell, and whether the wait is still wanted. The two meet here, by their thread:
//
//     CWaitWatch watch(tell, isCancelled);               // the caller, around the call
//     CWaitScope scope(WaitCause::ScannerInUse);         // inside it, around the wait
//     WaitForSingleObject(lock, 30000);                  // ends early, as if the time were over
//
// Within both, these waits look at the watch every 50 milliseconds: Sleep, and a wait with a limit
// for a semaphore between processes. Any other loop that waits asks WaitGoesOn. On a thread that
// nobody watches nothing changes.
#pragma once

#include <chrono>
#include <functional>

enum class WaitCause { ScannerInUse, LampWarming };

inline constexpr std::chrono::milliseconds kWaitLook{50};     // between two looks at a watch
inline constexpr std::chrono::milliseconds kWaitUntold{300};  // shorter waits are nobody's business

// Watches over the waits of its own thread for the life of a block. The innermost counts.
class CWaitWatch {
  public:
    using Told = std::function<void(WaitCause)>;
    using Interrupted = std::function<bool()>;

    // `told` hears of each cause once, when a wait for it has lasted; `interrupted` says that waits
    // are to end. Both run on this thread, from inside the wait, and must not throw.
    CWaitWatch(Told told, Interrupted interrupted);
    ~CWaitWatch();
    CWaitWatch(const CWaitWatch&) = delete;
    CWaitWatch& operator=(const CWaitWatch&) = delete;

    // It has ended a wait.
    bool HasInterrupted() const { return m_hasInterrupted; }

  private:
    friend bool WaitGoesOn();

    const Told m_told;
    const Interrupted m_interrupted;
    CWaitWatch* const m_outer;
    unsigned m_toldCauses = 0;  // bits
    bool m_hasInterrupted = false;
};

// Says what its thread's waits are for, for the life of a block. The innermost counts.
class CWaitScope {
  public:
    explicit CWaitScope(WaitCause cause);
    ~CWaitScope();
    CWaitScope(const CWaitScope&) = delete;
    CWaitScope& operator=(const CWaitScope&) = delete;

  private:
    friend bool WaitGoesOn();

    const WaitCause m_cause;
    const std::chrono::steady_clock::time_point m_begin;
    CWaitScope* const m_outer;
};

// A watch and a scope are there.
bool IsWaitWatched();
// Tells the watch what is due; false when it ends the wait.
bool WaitGoesOn();
