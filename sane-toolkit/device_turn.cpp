#include "sane-toolkit/device_turn.h"

#include <algorithm>
#include <chrono>
#include <memory>

#include "controller/toolkit_records.h"
#include "platform/named_lock.h"
#include "platform/wait_watch.h"

namespace {

constexpr DWORD kStrangersPatience = 5000;  // milliseconds
constexpr DWORD kPause = 100;

std::string WishName(const std::string& name) {
    return "nvqsane-wanted:" + name;
}

}  // namespace

DWORD CDeviceTurn::Take(const std::string& name) {
    if (!m_lock.Open("nvqsane-open:" + name))
        return OSTREL_OPEN_FAILED;
    return m_lock.Take(0) ? OSTREL_NO_ERROR : OSTREL_LOCK_FAILED;
}

bool IsDeviceWanted(const std::string& name) {
    return !CNamedLock(WishName(name).c_str(), 0).IsHeld();
}

DWORD OpenPatiently(const std::string& name, DWORD milliseconds,
                    const std::function<Attempt()>& attempt) {
    Attempt made = attempt();
    const CWaitScope wait(WaitCause::ScannerInUse);
    std::unique_ptr<CNamedLock> wish;
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const auto isOver = [&] {
        const DWORD most =
            made.isStrangers ? std::min(milliseconds, kStrangersPatience) : milliseconds;
        return Clock::now() - begin >= std::chrono::milliseconds(most);
    };
    while (made.code == OSTREL_LOCK_FAILED && !isOver() && WaitGoesOn()) {
        if (!wish || !wish->IsHeld())
            wish = std::make_unique<CNamedLock>(WishName(name).c_str(), 0);
        Sleep(kPause);
        made = attempt();
    }
    return made.code;
}
