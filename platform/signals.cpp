#include "platform/signals.h"

#include <semaphore.h>
#include <signal.h>
#include <time.h>

#include <cerrno>
#include <cstdint>

namespace {

static_assert(std::atomic<bool>::is_always_lock_free &&
                  std::atomic<std::int64_t>::is_always_lock_free,
              "set by a handler of signals");

// All that the handler touches. Never destroyed: a signal may come while the program ends.
struct EndSignals {
    EndSignals() { sem_init(&arrived, 0, 0); }

    std::atomic<std::atomic<bool>*> asked = nullptr;
    std::atomic<std::int64_t> first = 0;  // when the first came, in milliseconds; 0: none has
    sem_t arrived;
};

EndSignals& TheEndSignals() {
    static auto& signals = *new EndSignals;
    return signals;
}

std::int64_t Milliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1000} + now.tv_nsec / 1'000'000;
}

void OnEndSignal(int number) {
    constexpr std::int64_t kSameWish = 1000;

    const int error = errno;
    EndSignals& signals = TheEndSignals();
    const std::int64_t now = Milliseconds();
    std::int64_t first = 0;
    if (signals.first.compare_exchange_strong(first, now)) {
        *signals.asked.load() = true;
        sem_post(&signals.arrived);
    } else if (now - first > kSameWish) {
        signal(number, SIG_DFL);
        raise(number);
    }
    errno = error;
}

// The signal is as good as ignored. A handler rather than SIG_IGN, which programs inherit.
void OnOutputSignal(int) {}

// Whoever started the program may have had it ignore the signal.
void Catch(int number, void (*handler)(int)) {
    struct sigaction former = {};
    if (sigaction(number, nullptr, &former) != 0 || former.sa_handler == SIG_IGN)
        return;
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

}  // namespace

void TakeOutputSignalsAsFailures() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        Catch(number, OnOutputSignal);
}

void CatchEndSignals(std::atomic<bool>& asked) {
    TheEndSignals().asked = &asked;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        Catch(number, OnEndSignal);
}

void WaitForEndSignal() {
    while (sem_wait(&TheEndSignals().arrived) != 0) {
    }
}
