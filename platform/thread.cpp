#include <limits.h>
#include <pthread.h>

#include <algorithm>
#include <latch>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/internal/waitable.h"
#include "platform/sync.h"

namespace {

using StartRoutine = unsigned (*)(void*);

// Shared by the handle and the thread itself; signalled when the start routine has returned.
class Thread : public platform::Waitable {
  public:
    Thread(StartRoutine start, void* argument)
        : Waitable(OnWait::Stays, 0), m_start(start), m_argument(argument) {}
    ~Thread() override {
        if (m_joinable)
            pthread_detach(m_thread);
    }

    // 0, or an errno.
    int Start(const std::shared_ptr<Thread>& self, unsigned stackSize);
    DWORD Id() const { return m_id; }

    // The signal comes from the thread while it still runs; this waits for its last step.
    void AfterWait() override {
        const std::lock_guard guard(m_joinLock);
        if (std::exchange(m_joinable, false))
            pthread_join(m_thread, nullptr);
    }

  private:
    static void* Run(void* self);

    const StartRoutine m_start;
    void* const m_argument;
    std::latch m_started{1};
    DWORD m_id = 0;
    pthread_t m_thread = {};
    std::mutex m_joinLock;
    bool m_joinable = false;
};

int Thread::Start(const std::shared_ptr<Thread>& self, unsigned stackSize) {
    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes))
        return error;
    // A wish for less than the system can run on is no failure.
    const auto smallest = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    if (stackSize != 0)
        pthread_attr_setstacksize(&attributes, std::max<std::size_t>(stackSize, smallest));
    // The thread holds itself while it runs: the handle may be closed before that.
    auto passed = std::make_unique<std::shared_ptr<Thread>>(self);
    const int error = pthread_create(&m_thread, &attributes, &Thread::Run, passed.get());
    pthread_attr_destroy(&attributes);
    if (error != 0)
        return error;
    static_cast<void>(passed.release());  // now the thread's
    m_joinable = true;
    // The caller is told the id, which only the thread itself can find out.
    m_started.wait();
    return 0;
}

void* Thread::Run(void* self) {
    const std::unique_ptr<std::shared_ptr<Thread>> passed(
        static_cast<std::shared_ptr<Thread>*>(self));
    Thread& thread = **passed;
    thread.m_id = GetCurrentThreadId();
    thread.m_started.count_down();
    // The result of the start routine is nobody's; the signal is set as the last step but one.
    thread.m_start(thread.m_argument);
    const std::lock_guard guard(platform::DispatcherLock());
    thread.SetCount(1);
    return nullptr;
}

}  // namespace

ULONG_PTR _beginthreadex(void*, unsigned stackSize, unsigned (*start)(void*), void* argument,
                         unsigned flags, unsigned* threadId) {
    return platform::Contained<ULONG_PTR>(0, [&]() -> ULONG_PTR {
        if (!start || flags != 0) {
            platform::Fail(ERROR_INVALID_PARAMETER);
            return 0;
        }
        const auto thread = std::make_shared<Thread>(start, argument);
        if (!thread->IsValid()) {
            platform::FailErrno();
            return 0;
        }
        // First the handle, which may fail for want of memory; a thread can't be taken back.
        const HANDLE handle = platform::AddHandle(thread);
        if (const int error = thread->Start(thread, stackSize)) {
            CloseHandle(handle);
            platform::FailErrno(error);
            return 0;
        }
        if (threadId)
            *threadId = thread->Id();
        return reinterpret_cast<ULONG_PTR>(handle);
    });
}
