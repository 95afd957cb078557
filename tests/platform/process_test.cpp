// What several processes share: the registry's file and named semaphores.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/named_lock.h"
#include "platform/registry_key.h"
#include "tests/platform/test_folder.h"

namespace {

// Runs the body in a process of its own, which ends with the body's result.
pid_t Fork(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    return child;
}

int ExitOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Lets one process tell another that it has come so far.
class Signpost {
  public:
    Signpost() { EXPECT_EQ(pipe(m_ends.data()), 0); }
    ~Signpost() {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    void Pass() { EXPECT_EQ(write(m_ends[1], "x", 1), 1); }
    void WaitFor() {
        char c = 0;
        EXPECT_EQ(read(m_ends[0], &c, 1), 1);
    }

  private:
    std::array<int, 2> m_ends{};
};

constexpr DWORD kProcesses = 3;
constexpr DWORD kValues = 15;

// Each writer has names of its own, all of them in one key.
int WriteValues(DWORD writer) {
    for (DWORD i = writer * kValues; i < (writer + 1) * kValues; ++i) {
        const std::string name = std::to_string(i);
        CRegistryKey key;
        if (key.Create(HKEY_CURRENT_USER, "Writers") != ERROR_SUCCESS ||
            key.WriteNumber(name.c_str(), i) != ERROR_SUCCESS || key.ReadNumber(name.c_str()) != i)
            return 1;
    }
    return 0;
}

TEST(Processes, LoseNoChangeOfTheRegistry) {
    ForgetRegistry();
    std::vector<pid_t> children;
    for (DWORD process = 0; process < kProcesses; ++process) {
        children.push_back(Fork([process] {
            int result = 0;
            std::thread other([&] { result = WriteValues(2 * process + 1); });
            const int own = WriteValues(2 * process);
            other.join();
            return own + result;
        }));
    }
    for (const pid_t child : children)
        EXPECT_EQ(ExitOf(child), 0);
    CRegistryKey all;
    ASSERT_EQ(all.Open(HKEY_CURRENT_USER, "Writers"), ERROR_SUCCESS);
    for (DWORD i = 0; i < 2 * kProcesses * kValues; ++i)
        EXPECT_EQ(all.ReadNumber(std::to_string(i).c_str()), i);
}

TEST(Processes, LeaveTheRegistryAsItWasWhenTheyCannotWriteIt) {
    ForgetRegistry();
    ASSERT_EQ(WriteNumber(HKEY_CURRENT_USER, "Kept", 7), ERROR_SUCCESS);
    const std::string before = ReadWholeFile(RegistryPath());
    const pid_t writer = Fork([] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {200, 200};
        setrlimit(RLIMIT_FSIZE, &limit);
        const LONG error = WriteText(HKEY_CURRENT_USER, "Big", std::string(300, 'b'));
        return error == ERROR_FILE_TOO_LARGE ? 0 : 1;
    });
    EXPECT_EQ(ExitOf(writer), 0);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
    EXPECT_EQ(ReadWholeFile(RegistryPath() + ".new"), "") << "nothing is left beside it";
}

CHandle Named(const char* name) {
    return CHandle(CreateSemaphoreA(nullptr, 1, 1, name));
}

DWORD Wait(const CHandle& semaphore, DWORD milliseconds) {
    return WaitForSingleObject(semaphore.Get(), milliseconds);
}

TEST(Processes, ExcludeEachOtherByANamedSemaphore) {
    const CHandle mine = Named("/log/file name.txt");
    EXPECT_EQ(Wait(mine, INFINITE), WAIT_OBJECT_0);
    const pid_t other = Fork([] {
        const CNamedLock alike("/log/file_name.txt", 0);
        return alike.IsHeld() && !CNamedLock("/log/file name.txt", 0).IsHeld() ? 0 : 1;
    });
    EXPECT_EQ(ExitOf(other), 0) << "names that look alike in the lock's folder are still two";
    Signpost waiting;
    const pid_t waiter = Fork([&] {
        waiting.Pass();
        return CNamedLock("/log/file name.txt").IsHeld() ? 0 : 1;
    });
    waiting.WaitFor();
    LONG before = 7;
    EXPECT_TRUE(ReleaseSemaphore(mine.Get(), 1, &before));
    EXPECT_EQ(before, 0);
    EXPECT_EQ(ExitOf(waiter), 0) << "the waiter gets it";
    EXPECT_FALSE(ReleaseSemaphore(mine.Get(), 1, nullptr)) << "this handle doesn't hold it";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TOO_MANY_POSTS));
}

TEST(Processes, ANamedSemaphoreOutlivesAKilledHolderAndWaitsAsLongAsTold) {
    Signpost taken;
    const pid_t holder = Fork([&]() -> int {
        const CNamedLock lock("killed");
        taken.Pass();
        for (;;)
            pause();
    });
    taken.WaitFor();
    const CHandle semaphore = Named("killed");
    const DWORD start = GetTickCount();
    EXPECT_EQ(Wait(semaphore, 40), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 39u);

    DWORD got = WAIT_FAILED;
    std::thread waiter([&] { got = Wait(semaphore, 60000); });
    kill(holder, SIGKILL);
    ExitOf(holder);
    waiter.join();
    EXPECT_EQ(got, WAIT_OBJECT_0) << "it came free before the time was over";
    EXPECT_TRUE(ReleaseSemaphore(semaphore.Get(), 1, nullptr));
    EXPECT_EQ(Wait(semaphore, 60000), WAIT_OBJECT_0) << "the wait that failed has kept nothing";
}

}  // namespace
