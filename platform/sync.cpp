#include "platform/sync.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>
#include <span>
#include <thread>

#include "platform/internal/named_semaphore.h"
#include "platform/internal/waitable.h"
#include "platform/wait_watch.h"

using platform::Contained;
using platform::Event;
using platform::Fail;
using platform::FindHandleAs;
using platform::Waitable;

// Events, semaphores and waits within one process rest on waitable.h; a semaphore with a name rests
// on a file's lock (named_semaphore.h), and is waited for alone.
namespace {

class Semaphore : public Waitable {
  public:
    Semaphore(LONG count, LONG limit) : Waitable(OnWait::TakesOne, count), m_limit(limit) {}

    BOOL Release(LONG releaseCount, LONG* previousCount) {
        const std::lock_guard guard(platform::DispatcherLock());
        // So written that no sum can overflow.
        if (releaseCount > m_limit - Count())
            return Fail(ERROR_TOO_MANY_POSTS);
        if (previousCount)
            *previousCount = Count();
        SetCount(Count() + releaseCount);
        return TRUE;
    }

  private:
    const LONG m_limit;
};

// An object without its descriptor, of which a process may have run out, is no handle.
HANDLE AddWaitable(std::shared_ptr<Waitable> object) {
    if (!object->IsValid()) {
        platform::FailErrno();
        return nullptr;
    }
    SetLastError(ERROR_SUCCESS);
    return platform::AddHandle(std::move(object));
}

BOOL ChangeEvent(HANDLE handle, LONG count) {
    return Contained(FALSE, [&] {
        const auto event = FindHandleAs<Event>(handle);
        if (!event)
            return FALSE;
        const std::lock_guard guard(platform::DispatcherLock());
        event->SetCount(count);
        return TRUE;
    });
}

// A lock has one holder; other counts have no counterpart.
HANDLE MakeNamedSemaphore(LONG initialCount, LONG maximumCount, LPCSTR name) {
    if (initialCount != 1 || maximumCount != 1) {
        Fail(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    auto semaphore = std::make_shared<platform::NamedSemaphore>(name);
    if (!semaphore->Prepare())
        return nullptr;
    SetLastError(ERROR_SUCCESS);
    return platform::AddHandle(std::move(semaphore));
}

using WaitObjects = std::array<std::shared_ptr<Waitable>, MAXIMUM_WAIT_OBJECTS>;

// At most 64 handles, so that comparing each with those before it costs nothing.
BOOL FindWaitObjects(std::span<const HANDLE> handles, WaitObjects& objects) {
    for (std::size_t i = 0; i < handles.size(); ++i) {
        const auto before = handles.first(i);
        if (std::find(before.begin(), before.end(), handles[i]) != before.end())
            return Fail(ERROR_INVALID_PARAMETER);
        // The objects are held from here on: a handle that another thread closes during the wait
        // doesn't end it.
        const auto object = platform::FindHandle(handles[i]);
        if (dynamic_cast<platform::NamedSemaphore*>(object.get()))
            return Fail(ERROR_NOT_SUPPORTED);
        objects[i] = std::dynamic_pointer_cast<Waitable>(object);
        if (!objects[i])
            return Fail(ERROR_INVALID_HANDLE);
    }
    return TRUE;
}

}  // namespace

HANDLE CreateEventA(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCSTR name) {
    return Contained<HANDLE>(nullptr, [&]() -> HANDLE {
        if (name) {
            Fail(ERROR_NOT_SUPPORTED);
            return nullptr;
        }
        return AddWaitable(std::make_shared<Event>(manualReset != FALSE, initialState != FALSE));
    });
}

BOOL SetEvent(HANDLE event) {
    return ChangeEvent(event, 1);
}

BOOL ResetEvent(HANDLE event) {
    return ChangeEvent(event, 0);
}

HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES*, LONG initialCount, LONG maximumCount, LPCSTR name) {
    return Contained<HANDLE>(nullptr, [&]() -> HANDLE {
        if (initialCount < 0 || maximumCount <= 0 || initialCount > maximumCount) {
            Fail(ERROR_INVALID_PARAMETER);
            return nullptr;
        }
        if (name)
            return MakeNamedSemaphore(initialCount, maximumCount, name);
        return AddWaitable(std::make_shared<Semaphore>(initialCount, maximumCount));
    });
}

BOOL ReleaseSemaphore(HANDLE handle, LONG releaseCount, LONG* previousCount) {
    return Contained(FALSE, [&] {
        if (releaseCount <= 0)
            return Fail(ERROR_INVALID_PARAMETER);
        const auto object = platform::FindHandle(handle);
        if (auto* named = dynamic_cast<platform::NamedSemaphore*>(object.get()))
            return releaseCount == 1 ? named->Release(previousCount) : Fail(ERROR_TOO_MANY_POSTS);
        if (auto* semaphore = dynamic_cast<Semaphore*>(object.get()))
            return semaphore->Release(releaseCount, previousCount);
        return Fail(ERROR_INVALID_HANDLE);
    });
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || !handles) {
        Fail(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    // The only wait that a named semaphore takes part in.
    if (count == 1) {
        const auto object = platform::FindHandle(handles[0]);
        if (auto* named = dynamic_cast<platform::NamedSemaphore*>(object.get()))
            return named->Wait(milliseconds);
    }
    WaitObjects objects;
    if (!FindWaitObjects({handles, count}, objects))
        return WAIT_FAILED;
    return platform::WaitFor({objects.data(), count}, waitAll != FALSE, milliseconds);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return WaitForMultipleObjects(1, &handle, FALSE, milliseconds);
}

// False for a sleep that nobody watches.
static bool SleepWatched(DWORD milliseconds) {
    using std::chrono::steady_clock;
    if (!IsWaitWatched())
        return false;
    const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    for (auto now = steady_clock::now(); now < end && WaitGoesOn(); now = steady_clock::now())
        std::this_thread::sleep_until(std::min<steady_clock::time_point>(end, now + kWaitLook));
    return true;
}

void Sleep(DWORD milliseconds) {
    // A sleep of nothing gives the rest of the time slice away.
    if (milliseconds == 0)
        std::this_thread::yield();
    if (milliseconds != INFINITE && SleepWatched(milliseconds))
        return;
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    } while (milliseconds == INFINITE);
}

ULONGLONG GetTickCount64() {
    // Of a clock that nobody sets, so that differences are true.
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<ULONGLONG>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// Wraps after 2^32 ms: differences are taken without a sign.
DWORD GetTickCount() {
    return static_cast<DWORD>(GetTickCount64());
}

// The system's own number, which debuggers show too.
DWORD GetCurrentThreadId() {
    return static_cast<DWORD>(gettid());
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}
