#include "tools/interrupt_watch.h"

#include <chrono>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/device_at_work.h"
#include "platform/passing_file.h"
#include "platform/signals.h"
#include "tools/command.h"

namespace {

// For an end of the program's own, which is the better one: people take less than a fifth of a
// second for "at once".
constexpr std::chrono::milliseconds kGrace(100);
// The same where a scanner had to be stopped: it is to be closed too.
constexpr std::chrono::milliseconds kGraceToClose(500);

std::atomic<bool> g_interrupted = false;

// Never destroyed: the watch outlives everything.
struct Work {
    std::recursive_mutex lock;
    std::function<int()> conclude;
    std::optional<int> code;
    bool isCancelTold = false;
};

Work& TheWork() {
    static auto& work = *new Work;
    return work;
}

// The lock stays held, so that nobody goes on with what was concluded.
void Watch() {
    WaitForEndSignal();
    std::this_thread::sleep_for(kGrace);
    if (HaltDevices())
        std::this_thread::sleep_for(kGraceToClose);
    Work& work = TheWork();
    const CWorkHold hold(work.lock);
    const int code = work.code ? *work.code : work.conclude ? work.conclude() : TellCancelled();
    CPassingFile::DiscardAll();
    std::_Exit(code);
}

}  // namespace

void CatchInterrupts() {
    CatchEndSignals(g_interrupted);
    try {
        std::thread(Watch).detach();
    } catch (const std::system_error&) {
        // The loops that look at the flag are left.
    }
}

bool WasInterrupted() {
    return g_interrupted;
}

const std::atomic<bool>* InterruptFlag() {
    return &g_interrupted;
}

CWorkHold HoldWork() {
    return CWorkHold(TheWork().lock);
}

CInterruptedEnd::CInterruptedEnd(std::function<int()> conclude) {
    const CWorkHold hold = HoldWork();
    TheWork().conclude = std::move(conclude);
}

CInterruptedEnd::~CInterruptedEnd() {
    const CWorkHold hold = HoldWork();
    TheWork().conclude = nullptr;
}

int TellCancelled() {
    const CWorkHold hold = HoldWork();
    if (!std::exchange(TheWork().isCancelTold, true))
        Complain("cancelled", kExitCancelled);
    return kExitCancelled;
}

int EndWatch(int code) {
    const CWorkHold hold = HoldWork();
    TheWork().code = code;
    return code;
}
