#include "platform/internal/waitable.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdint>
#include <mutex>

#include "platform/sync.h"

namespace platform {
namespace {

// A moment rather than a time, since a wait may sleep several times.
class Deadline {
  public:
    explicit Deadline(DWORD milliseconds)
        : m_infinite(milliseconds == INFINITE),
          m_end(Clock::now() + std::chrono::milliseconds(m_infinite ? 0 : milliseconds)) {}

    // For poll: -1 without limit, 0 when the time is over. Never wakes early by rounding.
    int Timeout() const {
        if (m_infinite)
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now());
        return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
    }

  private:
    using Clock = std::chrono::steady_clock;
    bool m_infinite;
    Clock::time_point m_end;
};

// The objects of one wait that aren't signalled yet, with their sources: twice as many descriptors,
// as each object may have a source beside its own.
struct PollSet {
    std::array<pollfd, std::size_t{2} * MAXIMUM_WAIT_OBJECTS> entries;
    nfds_t count = 0;

    void Add(const Waitable& object) {
        entries[count++] = {object.Descriptor(), POLLIN, 0};
        if (object.Source())
            entries[count++] = {object.Source()->Descriptor(), POLLIN, 0};
    }
};

using Objects = std::span<const std::shared_ptr<Waitable>>;

// Takes the first signalled object, else fills the set with all of them.
DWORD TakeAny(Objects objects, PollSet& missing) {
    // The first in the order of the handles, as published: a later one can starve, and callers put
    // the most urgent in front.
    const std::lock_guard guard(DispatcherLock());
    for (std::size_t i = 0; i < objects.size(); ++i) {
        objects[i]->CheckSource();
        if (objects[i]->IsSignalled()) {
            objects[i]->Take();
            return WAIT_OBJECT_0 + static_cast<DWORD>(i);
        }
        missing.Add(*objects[i]);
    }
    return WAIT_TIMEOUT;
}

// Takes all objects if all are signalled, else fills the set with those that aren't.
DWORD TakeAll(Objects objects, PollSet& missing) {
    const std::lock_guard guard(DispatcherLock());
    for (const auto& object : objects) {
        object->CheckSource();
        if (!object->IsSignalled())
            missing.Add(*object);
    }
    if (missing.count > 0)
        return WAIT_TIMEOUT;
    for (const auto& object : objects)
        object->Take();
    return WAIT_OBJECT_0;
}

}  // namespace

std::mutex& DispatcherLock() {
    static std::mutex& lock = *new std::mutex;
    return lock;
}

// Without a descriptor the object is invalid, and its count is never used.
Waitable::Waitable(OnWait onWait, LONG count)
    : m_onWait(onWait), m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (IsValid())
        SetCount(count);
}

void Waitable::SetCount(LONG count) {
    const bool was = m_count > 0;
    m_count = count;
    if (was == (count > 0))
        return;
    // Neither can block or fail: the eventfd holds 0 or 1, and only this code touches it.
    if (eventfd_t drained = 0; was)
        eventfd_read(Descriptor(), &drained);
    else
        eventfd_write(Descriptor(), 1);
}

void Waitable::CheckSource() {
    // Held by the copy while it takes itself off the object.
    if (const auto source = m_source)
        source->Check();
}

void Waitable::Take() {
    if (m_onWait == OnWait::TakesOne)
        SetCount(m_count - 1);
}

DWORD WaitFor(Objects objects, bool waitAll, DWORD milliseconds) {
    const Deadline deadline(milliseconds);
    for (;;) {
        PollSet missing;
        const DWORD served = waitAll ? TakeAll(objects, missing) : TakeAny(objects, missing);
        if (served != WAIT_TIMEOUT) {
            if (!waitAll)
                objects[served - WAIT_OBJECT_0]->AfterWait();
            // Outside the lock, since a thread's last step may be waited for here.
            for (std::size_t i = 0; waitAll && i < objects.size(); ++i)
                objects[i]->AfterWait();
            return served;
        }
        const int timeout = deadline.Timeout();
        if (timeout == 0)
            return WAIT_TIMEOUT;
        // Whatever ends the sleep (a signal, an object that another thread took first, the time),
        // the counts decide.
        if (poll(missing.entries.data(), missing.count, timeout) < 0 && errno != EINTR) {
            FailErrno();
            return WAIT_FAILED;
        }
    }
}

}  // namespace platform
