#include "platform/device_at_work.h"

#include <mutex>
#include <utility>
#include <vector>

namespace {

// Never destroyed: who ends the program may come at any time.
struct Working {
    std::mutex lock;
    std::list<std::function<void()>> halts;
};

Working& TheWorking() {
    static auto& working = *new Working;
    return working;
}

}  // namespace

CDeviceAtWork::CDeviceAtWork(std::function<void()> halt) {
    const std::lock_guard guard(TheWorking().lock);
    m_place = TheWorking().halts.insert(TheWorking().halts.end(), std::move(halt));
}

CDeviceAtWork::~CDeviceAtWork() {
    const std::lock_guard guard(TheWorking().lock);
    TheWorking().halts.erase(m_place);
}

bool HaltDevices() {
    std::vector<std::function<void()>> halts;
    {
        const std::lock_guard guard(TheWorking().lock);
        halts.assign(TheWorking().halts.begin(), TheWorking().halts.end());
    }
    for (const auto& halt : halts)
        halt();
    return !halts.empty();
}
