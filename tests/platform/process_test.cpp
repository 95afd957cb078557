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

#include "platform/handle.h"
#include "platform/registry.h"
#include "platform/sync.h"
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

constexpr int kProcesses = 3;
constexpr int kThreads = 2;
constexpr int kValues = 15;

int WriteValues(int process, int thread) {
    HKEY key = nullptr;
    const std::string path = "Writers\\" + std::to_string(process) + '_' + std::to_string(thread);
    for (int i = 0; i < kValues; ++i) {
        const std::string name = std::to_string(i);
        const auto number = static_cast<DWORD>(i);
        DWORD stored = 0xDEAD;
        DWORD size = sizeof(stored);
        if (RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr) != ERROR_SUCCESS ||
            RegSetValueExA(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                           sizeof(number)) != ERROR_SUCCESS ||
            RegQueryValueExA(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&stored),
                             &size) != ERROR_SUCCESS ||
            stored != number || RegCloseKey(key) != ERROR_SUCCESS)
            return 1;
    }
    return 0;
}

TEST(Processes, LoseNoChangeOfTheRegistry) {
    ForgetRegistry();
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        children.push_back(Fork([process] {
            std::array<int, kThreads> results{};
            std::vector<std::thread> threads;
            for (int thread = 0; thread < kThreads; ++thread)
                threads.emplace_back(
                    [&, thread] { results[thread] = WriteValues(process, thread); });
            for (std::thread& thread : threads)
                thread.join();
            return results[0] + results[1];
        }));
    }
    for (const pid_t child : children)
        EXPECT_EQ(ExitOf(child), 0);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Writers", 0, KEY_READ, &key), ERROR_SUCCESS);
    for (int i = 0; i < kProcesses * kThreads; ++i) {
        char name[16];
        DWORD size = sizeof(name);
        ASSERT_EQ(RegEnumKeyExA(key, static_cast<DWORD>(i), name, &size, nullptr, nullptr, nullptr,
                                nullptr),
                  ERROR_SUCCESS);
        HKEY writer = nullptr;
        RegOpenKeyExA(key, name, 0, KEY_READ, &writer);
        DWORD values = 0;
        RegQueryInfoKeyA(writer, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                         nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(values, static_cast<DWORD>(kValues)) << name;
        RegCloseKey(writer);
    }
    RegCloseKey(key);
}

TEST(Processes, LeaveTheRegistryAsItWasWhenTheyCannotWriteIt) {
    ForgetRegistry();
    const DWORD number = 7;
    ASSERT_EQ(RegSetValueExA(HKEY_CURRENT_USER, "Kept", 0, REG_DWORD,
                             reinterpret_cast<const BYTE*>(&number), sizeof(number)),
              ERROR_SUCCESS);
    const std::string before = ReadWholeFile(RegistryPath());
    EXPECT_EQ(ExitOf(Fork([] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit = {200, 200};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const std::vector<BYTE> big(300);
                  return RegSetValueExA(HKEY_CURRENT_USER, "Big", 0, REG_BINARY, big.data(),
                                        static_cast<DWORD>(big.size())) == ERROR_FILE_TOO_LARGE
                             ? 0
                             : 1;
              })),
              0);
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
    EXPECT_EQ(ReadWholeFile(RegistryPath() + ".new"), "") << "nothing is left beside it";
}

HANDLE Named(const char* name) {
    return CreateSemaphoreA(nullptr, 1, 1, name);
}

TEST(Processes, ExcludeEachOtherByANamedSemaphore) {
    const HANDLE mine = Named("/log/file name.txt");
    ASSERT_NE(mine, nullptr);
    EXPECT_EQ(WaitForSingleObject(mine, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(
        ExitOf(Fork([] {
            const bool other = WaitForSingleObject(Named("/log/file_name.txt"), 0) == WAIT_OBJECT_0;
            return other && WaitForSingleObject(Named("/log/file name.txt"), 0) == WAIT_TIMEOUT ? 0
                                                                                                : 1;
        })),
        0)
        << "names that look alike in the lock's folder are still two";
    Signpost waiting;
    const pid_t waiter = Fork([&] {
        const HANDLE theirs = Named("/log/file name.txt");
        waiting.Pass();
        return WaitForSingleObject(theirs, INFINITE) == WAIT_OBJECT_0 ? 0 : 1;
    });
    waiting.WaitFor();
    LONG before = 7;
    EXPECT_TRUE(ReleaseSemaphore(mine, 1, &before));
    EXPECT_EQ(before, 0);
    EXPECT_EQ(ExitOf(waiter), 0) << "the waiter gets it";
    EXPECT_FALSE(ReleaseSemaphore(mine, 1, nullptr)) << "this handle doesn't hold it";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TOO_MANY_POSTS));
    EXPECT_TRUE(CloseHandle(mine));
}

TEST(Processes, ANamedSemaphoreOutlivesAKilledHolder) {
    Signpost taken;
    const pid_t holder = Fork([&]() -> int {
        WaitForSingleObject(Named("killed"), INFINITE);
        taken.Pass();
        for (;;)
            pause();
    });
    taken.WaitFor();
    const HANDLE semaphore = Named("killed");
    EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_TIMEOUT);
    kill(holder, SIGKILL);
    ExitOf(holder);
    EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(semaphore));
}

TEST(Processes, WaitForANamedSemaphoreAsLongAsTold) {
    Signpost taken;
    const pid_t holder = Fork([&]() -> int {
        WaitForSingleObject(Named("limited"), INFINITE);
        taken.Pass();
        for (;;)
            pause();
    });
    taken.WaitFor();
    const HANDLE semaphore = Named("limited");
    const DWORD start = GetTickCount();
    EXPECT_EQ(WaitForSingleObject(semaphore, 40), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 39u);

    DWORD got = WAIT_FAILED;
    std::thread waiter([&] { got = WaitForSingleObject(semaphore, 60000); });
    kill(holder, SIGKILL);
    ExitOf(holder);
    waiter.join();
    EXPECT_EQ(got, WAIT_OBJECT_0) << "it came free before the time was over";
    EXPECT_LT(GetTickCount() - start, 50000u);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
    EXPECT_EQ(WaitForSingleObject(semaphore, 60000), WAIT_OBJECT_0)
        << "the wait that failed has kept nothing";
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
    EXPECT_TRUE(CloseHandle(semaphore));
}

}  // namespace
