// Objects that a thread can wait for, and the wait. Internal to the layer.
//
// Each has a count that tells whether it is signalled, and an eventfd that is readable exactly
// then. The counts of all objects change under one lock, so that a wait for several takes all or
// none; the descriptors serve to sleep on, in one poll.
#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <utility>

#include "platform/internal/handle_table.h"
#include "platform/internal/unique_fd.h"

namespace platform {

// What signals an object from outside the process: a descriptor that is polled beside the object's
// own. Who waits for the object does the work that the descriptor brings.
class WaitSource {
  public:
    virtual ~WaitSource() = default;

    // Both under the dispatcher lock.
    virtual int Descriptor() const = 0;
    // Never waits. When its work is done, the object is signalled and has no source any more.
    virtual void Check() = 0;
};

class Waitable : public HandleObject {
  public:
    // What a wait does to the count.
    enum class OnWait { Stays, TakesOne };

    bool IsValid() const { return static_cast<bool>(m_event); }
    int Descriptor() const { return m_event.Get(); }

    // Under the dispatcher lock.
    const std::shared_ptr<WaitSource>& Source() const { return m_source; }
    void SetSource(std::shared_ptr<WaitSource> source) { m_source = std::move(source); }
    void CheckSource();
    bool IsSignalled() const { return m_count > 0; }
    LONG Count() const { return m_count; }
    void SetCount(LONG count);
    void Take();

    // Called by a waiter that was served, without the lock.
    virtual void AfterWait() {}

  protected:
    Waitable(OnWait onWait, LONG count);

  private:
    const OnWait m_onWait;
    LONG m_count = 0;
    UniqueFd m_event;
    std::shared_ptr<WaitSource> m_source;
};

class Event : public Waitable {
  public:
    Event(bool manualReset, bool set)
        : Waitable(manualReset ? OnWait::Stays : OnWait::TakesOne, set ? 1 : 0) {}
};

// The lock under which the counts stand.
std::mutex& DispatcherLock();

// The wait of WaitForMultipleObjects on objects that are all valid.
DWORD WaitFor(std::span<const std::shared_ptr<Waitable>> objects, bool waitAll, DWORD milliseconds);

}  // namespace platform
