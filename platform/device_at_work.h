// Devices that are to be brought to rest before their program may be ended from outside, as by
// Ctrl-C in the middle of a call that takes its time. What moves in a scanner, or burns in it, does
// so until somebody stops it, also when the program is gone.
#pragma once

#include <functional>
#include <list>

// For as long as it lives, the device counts as at work.
class CDeviceAtWork {
  public:
    // `halt` brings the device to rest. It is called on another thread, may take seconds, and may
    // still run when this object is gone.
    explicit CDeviceAtWork(std::function<void()> halt);
    ~CDeviceAtWork();
    CDeviceAtWork(const CDeviceAtWork&) = delete;
    CDeviceAtWork& operator=(const CDeviceAtWork&) = delete;

  private:
    std::list<std::function<void()>>::iterator m_place;
};

// Brings all of the process to rest, one after the other. False: none was at work.
bool HaltDevices();
