#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <utility>
#include <vector>

namespace {

HANDLE Event(BOOL manual, BOOL set = FALSE) {
    return CreateEventA(nullptr, manual, set, nullptr);
}

HANDLE Semaphore(LONG count, LONG limit) {
    return CreateSemaphoreA(nullptr, count, limit, nullptr);
}

bool IsReady(HANDLE handle) {
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
}

void Close(std::initializer_list<HANDLE> handles) {
    for (const HANDLE handle : handles)
        EXPECT_TRUE(CloseHandle(handle));
}

HANDLE Start(unsigned (*routine)(void*), void* argument, unsigned* id = nullptr) {
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, routine, argument, 0, id));
}

LONG Error() {
    return static_cast<LONG>(GetLastError());
}

TEST(Waiting, TakesAnAutomaticEventAndLeavesAManualOne) {
    const HANDLE manual = Event(TRUE, TRUE);
    const HANDLE automatic = Event(FALSE, TRUE);
    EXPECT_TRUE(IsReady(manual) && IsReady(manual));
    EXPECT_TRUE(IsReady(automatic));
    EXPECT_FALSE(IsReady(automatic));
    SetEvent(automatic);
    SetEvent(automatic);
    EXPECT_TRUE(IsReady(automatic));
    EXPECT_FALSE(IsReady(automatic)) << "an event is set once or not at all";
    ResetEvent(manual);
    EXPECT_FALSE(IsReady(manual));
    Close({manual, automatic});
    EXPECT_FALSE(SetEvent(manual));
    EXPECT_EQ(Error(), ERROR_INVALID_HANDLE);
}

TEST(Waiting, CountsASemaphoreUpToItsLimit) {
    const HANDLE semaphore = Semaphore(1, 3);
    EXPECT_TRUE(IsReady(semaphore));
    EXPECT_FALSE(IsReady(semaphore));
    LONG before = 9;
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, &before));
    EXPECT_EQ(before, 0);
    EXPECT_FALSE(ReleaseSemaphore(semaphore, 2, &before));
    EXPECT_EQ(Error(), ERROR_TOO_MANY_POSTS);
    EXPECT_FALSE(ReleaseSemaphore(semaphore, 0x7FFFFFFF, &before));
    EXPECT_TRUE(IsReady(semaphore) && IsReady(semaphore));
    EXPECT_FALSE(IsReady(semaphore)) << "a refused release changes nothing";
    EXPECT_FALSE(ReleaseSemaphore(semaphore, 0, nullptr));
    EXPECT_EQ(Error(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Semaphore(2, 1), nullptr);
    EXPECT_EQ(Semaphore(-1, 1), nullptr);
    Close({semaphore});
}

TEST(Waiting, ForAnyTakesTheFirstAndForAllTakesAllOrNone) {
    const HANDLE idle = Event(FALSE);
    const HANDLE first = Event(FALSE, TRUE);
    const HANDLE second = Semaphore(1, 2);
    const HANDLE any[] = {idle, first, second};
    const HANDLE all[] = {first, second};
    EXPECT_EQ(WaitForMultipleObjects(3, any, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 10), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForMultipleObjects(3, any, FALSE, INFINITE), WAIT_OBJECT_0 + 2)
        << "the wait before left it alone";
    EXPECT_EQ(WaitForMultipleObjects(3, any, FALSE, 0), WAIT_TIMEOUT);
    SetEvent(first);
    ReleaseSemaphore(second, 1, nullptr);
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(IsReady(first) || IsReady(second));
    Close({idle, first, second});
}

TEST(Waiting, RefusesWhatCannotBeWaitedForAndEndsNoSoonerThanItsTime) {
    const HANDLE event = Event(FALSE);
    const HANDLE named = CreateSemaphoreA(nullptr, 1, 1, "sync_test");
    const std::pair<std::vector<HANDLE>, LONG> kCases[] = {
        {{}, ERROR_INVALID_PARAMETER},
        {std::vector<HANDLE>(65, event), ERROR_INVALID_PARAMETER},
        {{event, event}, ERROR_INVALID_PARAMETER},
        {{event, nullptr}, ERROR_INVALID_HANDLE},
        {{event, named}, ERROR_NOT_SUPPORTED},
    };
    for (const auto& [handles, error] : kCases) {
        EXPECT_EQ(WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                         INFINITE),
                  WAIT_FAILED);
        EXPECT_EQ(Error(), error);
    }
    EXPECT_EQ(CreateSemaphoreA(nullptr, 0, 1, "sync_test"), nullptr) << "only a lock has a name";
    EXPECT_EQ(CreateEventA(nullptr, TRUE, FALSE, "name"), nullptr);
    const DWORD start = GetTickCount();
    EXPECT_EQ(WaitForSingleObject(event, 30), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 29u);
    Close({event, named});
}

TEST(Thread, RunsUntilItsWaitIsOver) {
    DWORD seen = 0;
    unsigned id = 0;
    const HANDLE thread = Start(
        [](void* argument) {
            *static_cast<DWORD*>(argument) = GetCurrentThreadId();
            SetLastError(77);
            return 5u;
        },
        &seen, &id);
    SetLastError(1);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(IsReady(thread)) << "an ended thread stays so";
    EXPECT_EQ(seen, id);
    EXPECT_NE(seen, GetCurrentThreadId());
    EXPECT_EQ(Error(), 1) << "each thread has a last error of its own";
    Close({thread});
    EXPECT_EQ(Start(nullptr, nullptr), nullptr);
    EXPECT_EQ(Error(), ERROR_INVALID_PARAMETER);
}

TEST(Thread, ManyWaitersShareOutEveryCount) {
    struct Shared {
        HANDLE tickets = Semaphore(0, 1000);
        HANDLE quit = Event(TRUE);
        std::atomic<int> taken{0};
    } shared;
    std::vector<HANDLE> threads;
    for (int i = 0; i < 4; ++i) {
        threads.push_back(Start(
            [](void* argument) {
                auto& s = *static_cast<Shared*>(argument);
                const HANDLE handles[] = {s.tickets, s.quit};
                while (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0)
                    ++s.taken;
                return 0u;
            },
            &shared));
    }
    for (int i = 0; i < 500; ++i)
        ReleaseSemaphore(shared.tickets, 2, nullptr);
    SetEvent(shared.quit);  // the tickets stand ahead of it
    EXPECT_EQ(WaitForMultipleObjects(4, threads.data(), TRUE, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(shared.taken, 1000);
    for (const HANDLE thread : threads)
        Close({thread});
    Close({shared.tickets, shared.quit});
}

}  // namespace
