#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <utility>
#include <vector>

#include "platform/unique_handle.h"

namespace {

CHandle Event(BOOL manual, BOOL set = FALSE) {
    return CHandle(CreateEventA(nullptr, manual, set, nullptr));
}

CHandle Semaphore(LONG count, LONG limit, const char* name = nullptr) {
    return CHandle(CreateSemaphoreA(nullptr, count, limit, name));
}

bool IsReady(const CHandle& handle) {
    return WaitForSingleObject(handle.Get(), 0) == WAIT_OBJECT_0;
}

LONG Error() {
    return static_cast<LONG>(GetLastError());
}

TEST(Waiting, TakesAnAutomaticEventAndLeavesAManualOne) {
    CHandle manual = Event(TRUE, TRUE);
    const CHandle automatic = Event(FALSE);
    EXPECT_TRUE(IsReady(manual) && IsReady(manual));
    SetEvent(automatic.Get());
    SetEvent(automatic.Get());
    EXPECT_TRUE(IsReady(automatic));
    EXPECT_FALSE(IsReady(automatic)) << "an event is set once or not at all";
    ResetEvent(manual.Get());
    EXPECT_FALSE(IsReady(manual));
    const HANDLE closed = manual.Get();
    manual = {};
    EXPECT_FALSE(SetEvent(closed));
    EXPECT_EQ(Error(), ERROR_INVALID_HANDLE);
}

TEST(Waiting, CountsASemaphoreUpToItsLimit) {
    const CHandle semaphore = Semaphore(0, 3);
    LONG before = 9;
    EXPECT_TRUE(ReleaseSemaphore(semaphore.Get(), 2, &before));
    EXPECT_EQ(before, 0);
    for (const LONG count : {2, 0x7FFFFFFF}) {
        EXPECT_FALSE(ReleaseSemaphore(semaphore.Get(), count, nullptr));
        EXPECT_EQ(Error(), ERROR_TOO_MANY_POSTS);
    }
    EXPECT_TRUE(IsReady(semaphore) && IsReady(semaphore));
    EXPECT_FALSE(IsReady(semaphore)) << "a refused release changes nothing";
    EXPECT_FALSE(ReleaseSemaphore(semaphore.Get(), 0, nullptr));
    EXPECT_FALSE(Semaphore(2, 1));
}

TEST(Waiting, ForAnyTakesTheFirstAndForAllTakesAllOrNone) {
    const CHandle idle = Event(FALSE);
    const CHandle first = Event(FALSE, TRUE);
    const CHandle second = Semaphore(1, 2);
    const HANDLE any[] = {idle.Get(), first.Get(), second.Get()};
    const HANDLE all[] = {first.Get(), second.Get()};
    EXPECT_EQ(WaitForMultipleObjects(3, any, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 10), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForMultipleObjects(3, any, FALSE, INFINITE), WAIT_OBJECT_0 + 2)
        << "the wait before left it alone";
    SetEvent(first.Get());
    ReleaseSemaphore(second.Get(), 1, nullptr);
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(IsReady(first) || IsReady(second));
}

TEST(Waiting, RefusesWhatCannotBeWaitedForAndEndsNoSoonerThanItsTime) {
    const CHandle idle = Event(FALSE);
    const CHandle named = Semaphore(1, 1, "sync_test");
    const HANDLE event = idle.Get();
    const std::pair<std::vector<HANDLE>, LONG> kCases[] = {
        {{}, ERROR_INVALID_PARAMETER},
        {std::vector<HANDLE>(65, event), ERROR_INVALID_PARAMETER},
        {{event, event}, ERROR_INVALID_PARAMETER},
        {{event, nullptr}, ERROR_INVALID_HANDLE},
        {{event, named.Get()}, ERROR_NOT_SUPPORTED},
    };
    for (const auto& [handles, error] : kCases) {
        const auto count = static_cast<DWORD>(handles.size());
        EXPECT_EQ(WaitForMultipleObjects(count, handles.data(), FALSE, INFINITE), WAIT_FAILED);
        EXPECT_EQ(Error(), error);
    }
    const DWORD start = GetTickCount();
    EXPECT_EQ(WaitForSingleObject(event, 30), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 29u);
}

TEST(Waiting, ManyThreadsShareOutEveryCount) {
    struct Shared {
        CHandle tickets = Semaphore(0, 1000);
        CHandle quit = Event(TRUE);
        std::atomic<int> taken{0};
    } shared;
    const auto take = [](void* argument) {
        auto& s = *static_cast<Shared*>(argument);
        const HANDLE handles[] = {s.tickets.Get(), s.quit.Get()};
        while (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0)
            ++s.taken;
        return 0u;
    };
    std::vector<HANDLE> threads;
    for (int i = 0; i < 4; ++i)
        threads.push_back(
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, take, &shared, 0, nullptr)));
    for (int i = 0; i < 500; ++i)
        ReleaseSemaphore(shared.tickets.Get(), 2, nullptr);
    SetEvent(shared.quit.Get());  // the tickets stand ahead of it
    EXPECT_EQ(WaitForMultipleObjects(4, threads.data(), TRUE, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(shared.taken, 1000);
    for (const HANDLE thread : threads)
        EXPECT_TRUE(CloseHandle(thread));
}

}  // namespace
