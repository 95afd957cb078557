// Events of a device: its driver's still-image face on a thread of the service's.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "service/device_registry.h"
#include "service/driver_object.h"
#include "service/scan_event.h"
#include "service/wait_event.h"

// Who wants to hear of a device's events. Handlers run one at a time.
class CSubscribers {
  public:
    int Add(EventHandler handler);
    // Waits for a call of the handler that is under way, unless it is this one.
    void Remove(int id);
    bool IsEmpty() const { return m_count == 0; }
    void Deliver(const ScanEvent& event);

  private:
    mutable std::recursive_mutex m_lock;  // a handler may add and remove
    int m_last = 0;
    std::map<int, EventHandler> m_handlers;
    std::atomic<std::size_t> m_count{0};  // asked for while a handler may be running
};

// Waits as WaitForMultipleObjects, for any of the handles; the time may be a test's own.
using EventWait = std::function<DWORD(DWORD count, const HANDLE* handles, DWORD milliseconds)>;
// Returns the one that was set before; an empty one stands for the real time. For pumps that start
// from now on.
EventWait SetEventWait(EventWait wait);

// The driver calls for attention by a handle, or is asked in intervals, as its capabilities say:
//
//     notifications alone         SetNotificationHandle; the handle is set; GetNotificationData;
//                                 SetNotificationHandle again, for the next event
//     notifications and polling   GetStatus in the driver's interval or each second; when an event
//                                 is pending, GetNotificationData
//     neither                     no events
//
// A driver that answers that the scanner is locked, as during a scan, is asked again after the
// interval: the event stays with it, so nothing else is asked before.
class CEventPump {
  public:
    using Ended = std::shared_ptr<CWaitEvent>;

    // `driver` lives as long as the thread. Names of events are read from the registry now.
    // Begins its work only when the pump whose end is `before` has ended its own; may be null.
    CEventPump(ComPtr<CDriverObject> driver, const InstalledDevice& device,
               std::shared_ptr<CSubscribers> subscribers, Notice notice, Ended before);
    // Ends the thread. On that thread itself, from a handler, it ends by itself afterwards.
    ~CEventPump();
    CEventPump(const CEventPump&) = delete;
    CEventPump& operator=(const CEventPump&) = delete;

    // False if the device has no events, or no thread can be had.
    bool Start();
    // Set when the thread has touched the driver for the last time.
    Ended WhenEnded() const;

  private:
    class Run;

    std::shared_ptr<Run> m_run;
    HANDLE m_thread = nullptr;
    unsigned m_threadId = 0;
};
