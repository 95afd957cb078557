// The time that the scan controller reckons lamp warm-ups by.
#pragma once

#include "platform/types.h"

class ScanClock {
  public:
    virtual ~ScanClock() = default;
    // Since some moment in the past; never runs back.
    virtual ULONGLONG Milliseconds() = 0;
    virtual void Sleep(DWORD milliseconds) = 0;

    // The machine's, for the life of the process.
    static ScanClock& System();
};
