// A device in use by this process: its driver object, which all its clients share.
#pragma once

#include <memory>
#include <mutex>

#include "service/call_gate.h"
#include "service/driver_object.h"
#include "service/event_pump.h"

// There is one for a device, for as long as a session or a subscription needs it; the driver object
// goes with the last of them. Calls of the imaging face go through the gate; those of the
// still-image face run beside them, on the event pump's thread.
class CDeviceHost : public std::enable_shared_from_this<CDeviceHost> {
  public:
    // The one that this process has already, or a new one, which loads its driver at need.
    static std::shared_ptr<CDeviceHost> Get(const InstalledDevice& device, Notice notice);

    CDeviceHost(const InstalledDevice& device, Notice notice);

    const InstalledDevice& Device() const { return m_device; }
    // Held for each operation of the imaging face.
    CCallGate& Gate() { return m_gate; }

    // Loads the driver if there is none. A failure leaves none: the next call tries with a new
    // object.
    ScanStatus UseDriver(ComPtr<CDriverObject>& driver);
    // Sessions that the driver's imaging face has been initialised for.
    void CountSession(int change);

    // The driver object and what worked on it, when the imaging face could not be initialised;
    // empty if other sessions live on it. Taken under the gate, so that nobody begins on it
    // meanwhile, and released without, because an event's handler may be waiting for the gate.
    struct GivenUp {
        ComPtr<CDriverObject> driver;
        std::unique_ptr<CEventPump> pump;
    };
    GivenUp GiveUpDriver();
    // Releases it; subscribers hear of the events of a new driver object from then on.
    void Release(GivenUp given);

    // `id` is for Unsubscribe. E_NOTIMPL for a device without events.
    ScanStatus Subscribe(EventHandler handler, int& id);
    void Unsubscribe(int id);

  private:
    ScanStatus StartPump();

    const InstalledDevice m_device;
    const Notice m_notice;
    CCallGate m_gate;
    const std::shared_ptr<CSubscribers> m_subscribers = std::make_shared<CSubscribers>();

    std::mutex m_lock;  // never held while the pump's thread is waited for
    ComPtr<CDriverObject> m_driver;
    int m_sessions = 0;
    std::unique_ptr<CEventPump> m_pump;
    CEventPump::Ended m_lastPumpEnded;
};
