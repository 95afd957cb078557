#include "service/scan_client.h"

#include <utility>

#include "service/device_session.h"

namespace {

// What may be thrown in here is a want of memory, or a receiver's own fault.
template <class Body>
ScanStatus Guarded(const Notice& notice, Body body) {
    try {
        return Explained(body, notice);
    } catch (const std::exception& failure) {
        return {E_OUTOFMEMORY, failure.what()};
    }
}

ScanStatus NotOpen() {
    return {E_UNEXPECTED, "no device is open"};
}

// An operation on an open device, whose client hears of its waits and may end them.
template <class Body>
ScanStatus OnSession(const std::shared_ptr<CDeviceSession>& session, Body body) {
    if (!session)
        return NotOpen();
    return Guarded(session->Caller().notice, [&] {
        CCallerWatch watch(session->Caller(), {session->Caller().cancel},
                           session->Caller().patience);
        return watch.Result(body(*session), StatusOf(kCancelledWait, session->Device().name));
    });
}

ScanStatus FindDevice(const std::string& which, InstalledDevice& device) {
    std::vector<InstalledDevice> devices;
    ScanStatus status = ListInstalled(devices);
    return status.Ok() ? FindInstalled(devices, which, device) : status;
}

// Commands and events come in the same rows.
ScanStatus ListCapabilities(const std::shared_ptr<CDeviceSession>& session, LONG kind,
                            std::vector<ScanCapability>& capabilities) {
    capabilities.clear();
    return OnSession(session, [&](CDeviceSession& open) {
        std::vector<DeviceEvent> rows;
        ScanStatus status = open.Capabilities(kind, rows);
        for (const DeviceEvent& row : rows)
            capabilities.push_back({row.guid, row.name});
        return status;
    });
}

}  // namespace

// ---- CScanDevice

CScanDevice::CScanDevice() = default;
CScanDevice::~CScanDevice() = default;
CScanDevice::CScanDevice(CScanDevice&&) noexcept = default;
CScanDevice& CScanDevice::operator=(CScanDevice&&) noexcept = default;

void CScanDevice::Close() {
    m_session.reset();
}

ScanStatus CScanDevice::Items(std::vector<ScanItem>& items) const {
    const auto session = m_session;
    return OnSession(session, [&](CDeviceSession& open) { return open.ListItems(items); });
}

ScanStatus CScanDevice::Read(const std::string& item, const std::vector<PROPID>& ids,
                             std::vector<ScanProperty>& properties) const {
    const auto session = m_session;
    return OnSession(session,
                     [&](CDeviceSession& open) { return open.Read(item, ids, properties); });
}

ScanStatus CScanDevice::Write(const std::string& item, const std::vector<PropertyWrite>& writes) {
    const auto session = m_session;
    return OnSession(session, [&](CDeviceSession& open) { return open.Write(item, writes); });
}

ScanStatus CScanDevice::Try(const std::string& item, const std::vector<PropertyWrite>& writes,
                            std::vector<ScanProperty>& made) {
    const auto session = m_session;
    return OnSession(session, [&](CDeviceSession& open) { return open.Try(item, writes, made); });
}

ScanStatus CScanDevice::Scan(const std::string& item, const ScanOptions& options, IScanSink& sink,
                             int* scanned) {
    const auto session = m_session;  // lives through a sink that closes the device
    int pages = 0;
    ScanStatus status = !session ? NotOpen() : Guarded(session->Caller().notice, [&] {
        CCallerWatch watch(session->Caller(), {session->Caller().cancel, options.cancel});
        return watch.Result(session->Scan(item, options, sink, pages), CancelledScan());
    });
    if (scanned)
        *scanned = pages;
    return status;
}

ScanStatus CScanDevice::Commands(std::vector<ScanCapability>& commands) const {
    const auto session = m_session;
    return ListCapabilities(session, WIA_DEVICE_COMMANDS, commands);
}

ScanStatus CScanDevice::Events(std::vector<ScanCapability>& events) const {
    const auto session = m_session;
    return ListCapabilities(session, WIA_DEVICE_EVENTS, events);
}

ScanStatus CScanDevice::Synchronize() {
    const auto session = m_session;
    return OnSession(session, [&](CDeviceSession& open) { return open.Synchronize(); });
}

// ---- CScanSubscription

CScanSubscription::CScanSubscription() = default;

CScanSubscription::CScanSubscription(CScanSubscription&& other) noexcept
    : m_host(std::move(other.m_host)), m_id(std::exchange(other.m_id, 0)) {}

CScanSubscription& CScanSubscription::operator=(CScanSubscription&& other) noexcept {
    std::swap(m_host, other.m_host);
    std::swap(m_id, other.m_id);
    return *this;
}

CScanSubscription::~CScanSubscription() {
    End();
}

void CScanSubscription::End() {
    if (const auto host = std::exchange(m_host, nullptr))
        host->Unsubscribe(m_id);
}

// ---- CScanClient

ScanStatus CScanClient::ListDevices(std::vector<ScanDeviceInfo>& devices) const {
    return Guarded(m_notice, [&] {
        devices.clear();
        std::vector<InstalledDevice> installed;
        ScanStatus status = ListInstalled(installed);
        for (const InstalledDevice& device : installed)
            devices.push_back({device.number, device.id, device.name, device.vendor, device.port,
                               RegisteredModule(device.driverClass), device.fault});
        return status;
    });
}

ScanStatus CScanClient::Open(const std::string& which, CScanDevice& device) const {
    device.Close();
    return Guarded(m_notice, [&] {
        InstalledDevice found;
        ScanStatus status = FindDevice(which, found);
        return status.Ok()
                   ? CDeviceSession::Open(CDeviceHost::Get(found, m_notice),
                                          {m_notice, m_cancel, m_patience}, device.m_session)
                   : status;
    });
}

ScanStatus CScanClient::Subscribe(const std::string& which, EventHandler handler,
                                  CScanSubscription& subscription) const {
    subscription.End();
    return Guarded(m_notice, [&] {
        if (!handler)
            return ScanStatus{E_INVALIDARG, "events need a handler"};
        InstalledDevice found;
        ScanStatus status = FindDevice(which, found);
        if (!status.Ok())
            return status;
        auto host = CDeviceHost::Get(found, m_notice);
        status = host->Subscribe(std::move(handler), subscription.m_id);
        if (status.Ok())
            subscription.m_host = std::move(host);
        return status;
    });
}
