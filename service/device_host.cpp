#include "service/device_host.h"

#include <map>
#include <utility>

namespace {

// By the device's identifier. A host that nobody uses is gone; its row stays, for there are few.
struct Hosts {
    std::mutex lock;
    std::map<std::string, std::weak_ptr<CDeviceHost>> byDevice;
};

Hosts& TheHosts() {
    static auto& hosts = *new Hosts;
    return hosts;
}

}  // namespace

std::shared_ptr<CDeviceHost> CDeviceHost::Get(const InstalledDevice& device, Notice notice) {
    Hosts& hosts = TheHosts();
    const std::lock_guard guard(hosts.lock);
    std::weak_ptr<CDeviceHost>& known = hosts.byDevice[device.id];
    std::shared_ptr<CDeviceHost> host = known.lock();
    if (!host) {
        host = std::make_shared<CDeviceHost>(device, std::move(notice));
        known = host;
    }
    return host;
}

CDeviceHost::CDeviceHost(const InstalledDevice& device, Notice notice)
    : m_device(device), m_notice(std::move(notice)) {}

// Under the lock, so that two clients that come at once load one driver.
ScanStatus CDeviceHost::UseDriver(ComPtr<CDriverObject>& driver) {
    const std::lock_guard guard(m_lock);
    ScanStatus status;
    if (!m_driver)
        status = CDriverObject::Load(m_device, m_notice, m_driver);
    driver = m_driver;
    return status;
}

void CDeviceHost::CountSession(int change) {
    const std::lock_guard guard(m_lock);
    m_sessions += change;
}

CDeviceHost::GivenUp CDeviceHost::GiveUpDriver() {
    const std::lock_guard guard(m_lock);
    if (m_sessions > 0)
        return {};
    return {std::exchange(m_driver, nullptr), std::move(m_pump)};
}

// The pump's thread is waited for without the lock: a handler on it may be asking for the driver.
void CDeviceHost::Release(GivenUp given) {
    const bool hadEvents = given.pump != nullptr;
    given.pump.reset();
    given.driver.Reset();
    if (!hadEvents || m_subscribers->IsEmpty())
        return;
    if (const ScanStatus status = StartPump(); !status.Ok() && m_notice)
        m_notice(status.text);
}

// A pump that has gone may still be ending its thread: the new one begins behind it.
ScanStatus CDeviceHost::StartPump() {
    ComPtr<CDriverObject> driver;
    if (ScanStatus status = UseDriver(driver); !status.Ok())
        return status;
    const std::lock_guard guard(m_lock);
    if (m_pump)
        return {};
    auto pump =
        std::make_unique<CEventPump>(driver, m_device, m_subscribers, m_notice, m_lastPumpEnded);
    if (!pump->Start())
        return {E_NOTIMPL, m_device.name + ": has no buttons that report to the computer"};
    m_lastPumpEnded = pump->WhenEnded();
    m_pump = std::move(pump);
    return {};
}

ScanStatus CDeviceHost::Subscribe(EventHandler handler, int& id) {
    id = m_subscribers->Add(std::move(handler));
    ScanStatus status;
    try {
        status = StartPump();
    } catch (...) {
        m_subscribers->Remove(id);
        throw;
    }
    if (!status.Ok())
        m_subscribers->Remove(id);
    return status;
}

void CDeviceHost::Unsubscribe(int id) {
    m_subscribers->Remove(id);
    std::unique_ptr<CEventPump> pump;  // ended without the lock
    {
        const std::lock_guard guard(m_lock);
        if (m_subscribers->IsEmpty())
            pump = std::move(m_pump);
    }
}
