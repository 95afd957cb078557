#include "controller/scan_clock.h"

#include "platform/sync.h"

namespace {

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
