#include "controller/scan_clock.h"

#include "platform/sync.h"

namespace {

// Counts from the machine's start, so that a clock that somebody sets changes no warm-up.
class SystemClock final : public ScanClock {
  public:
    ULONGLONG Milliseconds() override { return GetTickCount64(); }
    void Sleep(DWORD milliseconds) override { ::Sleep(milliseconds); }
};

}  // namespace

ScanClock& ScanClock::System() {
    static SystemClock clock;
    return clock;
}
