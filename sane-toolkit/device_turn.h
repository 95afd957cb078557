// Whose turn it is at a device of SANE, among the programs of this driver: one has it open, and
// those that wait for it say so, that whoever only polls its buttons gives it away.
#pragma once

#include <functional>
#include <string>

#include "platform/device_lock.h"
#include "platform/types.h"

// Held by who has the device open.
class CDeviceTurn {
  public:
    // Doesn't wait. OSTREL_LOCK_FAILED when another has it, OSTREL_OPEN_FAILED when nobody can.
    DWORD Take(const std::string& name);

  private:
    CDeviceLock m_lock;
};

// Somebody waits for it.
bool IsDeviceWanted(const std::string& name);

// What an attempt at a device comes to. Strangers are programs that know nothing of turns.
struct Attempt {
    DWORD code = 0;
    bool isStrangers = false;
};

// Repeats an attempt that gives OSTREL_LOCK_FAILED, so long as told, or a moment where a stranger
// has the device: a person may be at work there. The wait is told as one for a scanner in use, and
// ends when its watch says so. Not to be called under the library's lock.
DWORD OpenPatiently(const std::string& name, DWORD milliseconds,
                    const std::function<Attempt()>& attempt);
