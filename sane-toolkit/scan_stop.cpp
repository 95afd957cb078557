#include "sane-toolkit/scan_stop.h"

#include <chrono>
#include <thread>

#include "sane-toolkit/sane_device.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBetweenCalls(1000);
constexpr milliseconds kForTheCall(10000);
constexpr milliseconds kLook(10);

bool IsFreeWithin(std::unique_lock<std::mutex>& library, milliseconds most) {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!library.try_lock()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(kLook);
    }
    return true;
}

}  // namespace

void CScanStop::Halt() {
    m_isAsked = true;
    std::unique_lock library(CSaneLibrary::Lock(), std::defer_lock);
    if (IsFreeWithin(library, kBetweenCalls))
        return Cancel();
    Cancel();
    static_cast<void>(IsFreeWithin(library, kForTheCall));
}

void CScanStop::Cancel() {
    const std::lock_guard guard(m_ending);
    if (!m_isOver)
        sane_cancel(m_device);
}

void CScanStop::End() {
    const std::lock_guard guard(m_ending);
    m_isOver = true;
}
