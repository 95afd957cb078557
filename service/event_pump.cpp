#include "service/event_pump.h"

#include <algorithm>
#include <utility>

#include "platform/contained.h"
#include "platform/hook_slot.h"
#include "platform/text.h"

namespace {

// What a driver answers while a scan holds the scanner, and on a device whose toolkit knows no
// buttons.
constexpr HRESULT kScannerLocked = MakeResult(0x80070021u);
constexpr HRESULT kNoButtons = MakeResult(0x80070103u);
// Of polling. A driver's own interval is kept between the two others: one of 0 would spin.
constexpr DWORD kUsualInterval = 1000;  // milliseconds
constexpr DWORD kLeastInterval = 10;
constexpr DWORD kMostInterval = 60 * 60 * 1000;

// Where a test puts its own time.
CHookSlot<EventWait>& WaitSlot() {
    static auto& slot = *new CHookSlot<EventWait>;
    return slot;
}

// The hook that is set, else the wait itself.
EventWait UsedWait() {
    if (EventWait hook = WaitSlot().Get())
        return hook;
    return [](DWORD count, const HANDLE* handles, DWORD milliseconds) {
        return WaitForMultipleObjects(count, handles, FALSE, milliseconds);
    };
}

}  // namespace

EventWait SetEventWait(EventWait wait) {
    return WaitSlot().Set(std::move(wait));
}

// ---- CSubscribers

// Numbers are never used again, so that a late Remove hits nobody else.
int CSubscribers::Add(EventHandler handler) {
    const std::lock_guard guard(m_lock);
    m_handlers[++m_last] = std::move(handler);
    m_count = m_handlers.size();
    return m_last;
}

void CSubscribers::Remove(int id) {
    const std::lock_guard guard(m_lock);
    m_handlers.erase(id);
    m_count = m_handlers.size();
}

// Handlers may add and remove, also each other: those that are there at the beginning are called,
// unless they have been removed meanwhile.
void CSubscribers::Deliver(const ScanEvent& event) {
    const std::lock_guard guard(m_lock);
    const std::map<int, EventHandler> asked = m_handlers;
    for (const auto& [id, handler] : asked) {
        if (m_handlers.contains(id))
            handler(event);
    }
}

// ---- CEventPump::Run: what the thread works on. The thread has a share in it.

class CEventPump::Run {
  public:
    Run(ComPtr<CDriverObject> driver, const InstalledDevice& device,
        std::shared_ptr<CSubscribers> subscribers, Notice notice, CEventPump::Ended before)
        : m_driver(std::move(driver)),
          m_device(device.id),
          m_deviceName(device.name),
          m_events(ListEvents(device.number)),
          m_subscribers(std::move(subscribers)),
          m_notice(std::move(notice)),
          m_wait(UsedWait()),
          m_before(std::move(before)) {}

    bool HasEvents() const {
        return (m_driver->Capabilities() & STI_GENCAP_NOTIFICATIONS) != 0 && m_stop.Get() &&
               m_notified.Get() && m_ended->Get();
    }
    const CEventPump::Ended& WhenEnded() const { return m_ended; }
    void Stop() { m_stop.Set(); }
    void Main();

    // The thread's own share keeps all this alive when the pump ends on the thread itself.
    static unsigned ThreadMain(void* run) {
        const std::unique_ptr<std::shared_ptr<Run>> own(static_cast<std::shared_ptr<Run>*>(run));
        (*own)->Main();
        return 0;
    }

  private:
    enum class Fetched { Done, AskAgain };

    void WaitForHandle();
    void Poll();
    bool Arm();
    Fetched Fetch();
    // False when the device has nothing to be asked for.
    bool AskStatus(bool& pending);
    void Deliver(REFGUID guid);
    void Say(HRESULT hr, const char* what);

    const ComPtr<CDriverObject> m_driver;
    const std::string m_device;
    const std::string m_deviceName;
    const std::vector<DeviceEvent> m_events;
    const std::shared_ptr<CSubscribers> m_subscribers;
    const Notice m_notice;
    const EventWait m_wait;
    CEventPump::Ended m_before;
    CWaitEvent m_stop{true};
    CWaitEvent m_notified{false};
    const CEventPump::Ended m_ended = std::make_shared<CWaitEvent>(true);
    DWORD m_interval = kUsualInterval;
    bool m_said = false;
};

// Two pumps at work on one device would take each other's presses.
void CEventPump::Run::Main() {
    if (m_before)
        WaitForSingleObject(m_before->Get(), INFINITE);
    if ((m_driver->Capabilities() & STI_GENCAP_POLLING_NEEDED) != 0)
        Poll();
    else
        WaitForHandle();
    m_ended->Set();
}

// One failure of a kind that repeats itself is told once.
void CEventPump::Run::Say(HRESULT hr, const char* what) {
    static_cast<void>(Contained([&] {
        if (m_notice && !std::exchange(m_said, true))
            m_notice(m_deviceName + ": " + what + ": " + ResultText(hr));
        return S_OK;
    }));
}

bool CEventPump::Run::Arm() {
    const HRESULT hr = m_driver->StillImage()->SetNotificationHandle(m_notified.Get());
    if (FAILED(hr))
        Say(hr, "the driver can't report its buttons");
    return SUCCEEDED(hr);
}

void CEventPump::Run::WaitForHandle() {
    const HANDLE handles[] = {m_stop.Get(), m_notified.Get()};
    bool askAgain = false;
    bool armed = Arm();
    while (armed) {
        const DWORD woken = m_wait(askAgain ? 1 : 2, handles, askAgain ? m_interval : INFINITE);
        if (woken != WAIT_OBJECT_0 + 1 && woken != static_cast<DWORD>(WAIT_TIMEOUT))
            break;
        askAgain = Fetch() == Fetched::AskAgain;
        // Armed only behind the fetch: it makes the driver forget what wasn't fetched.
        if (!askAgain)
            armed = Arm();
    }
    m_driver->StillImage()->SetNotificationHandle(nullptr);
}

// Each turn asks for the status or, while an event is known to be pending, for the event.
void CEventPump::Run::Poll() {
    const HANDLE stop = m_stop.Get();
    bool pending = false;
    while (m_wait(1, &stop, m_interval) == static_cast<DWORD>(WAIT_TIMEOUT)) {
        if (!pending && !AskStatus(pending))
            break;
        if (pending)
            pending = Fetch() == Fetched::AskAgain;
    }
}

bool CEventPump::Run::AskStatus(bool& pending) {
    STI_DEVICE_STATUS status = {};
    status.dwSize = sizeof(status);
    status.StatusMask = STI_DEVSTATUS_EVENTS_STATE;
    const HRESULT hr = m_driver->StillImage()->GetStatus(&status);
    if (hr == kNoButtons) {
        Say(hr, "the scanner has no buttons");
        return false;
    }
    if (status.dwPollingInterval != 0)
        m_interval = std::clamp(status.dwPollingInterval, kLeastInterval, kMostInterval);
    if (FAILED(hr) && hr != kScannerLocked)
        Say(hr, "the driver can't be asked for events");
    pending = SUCCEEDED(hr) && (status.dwEventHandlingState & STI_EVENTHANDLING_PENDING) != 0;
    return true;
}

// A press without an identifier, or a record that wasn't filled in, is none.
CEventPump::Run::Fetched CEventPump::Run::Fetch() {
    STINOTIFY notification = {};
    notification.dwSize = sizeof(notification);
    const HRESULT hr = m_driver->StillImage()->GetNotificationData(&notification);
    if (hr == kScannerLocked)
        return Fetched::AskAgain;
    if (FAILED(hr))
        Say(hr, "the driver can't tell which button was pressed");
    else if (notification.dwSize == sizeof(notification) &&
             notification.guidNotificationCode != GUID_NULL)
        Deliver(notification.guidNotificationCode);
    return Fetched::Done;
}

// Without memory the press is lost, and the thread lives.
void CEventPump::Run::Deliver(REFGUID guid) {
    const auto known = std::find_if(m_events.begin(), m_events.end(),
                                    [&](const DeviceEvent& event) { return event.guid == guid; });
    static_cast<void>(Contained([&] {
        m_subscribers->Deliver(
            {m_device, guid, known == m_events.end() ? GuidText(guid) : known->name});
        return S_OK;
    }));
}

// ---- CEventPump

CEventPump::CEventPump(ComPtr<CDriverObject> driver, const InstalledDevice& device,
                       std::shared_ptr<CSubscribers> subscribers, Notice notice, Ended before)
    : m_run(std::make_shared<Run>(std::move(driver), device, std::move(subscribers),
                                  std::move(notice), std::move(before))) {}

// From a handler it is the pump's own thread that comes here; it can't wait for itself.
CEventPump::~CEventPump() {
    if (!m_thread)
        return;
    m_run->Stop();
    if (m_threadId != GetCurrentThreadId())
        WaitForSingleObject(m_thread, INFINITE);
    CloseHandle(m_thread);
}

CEventPump::Ended CEventPump::WhenEnded() const {
    return m_run->WhenEnded();
}

bool CEventPump::Start() {
    if (!m_run->HasEvents())
        return false;
    auto own = std::make_unique<std::shared_ptr<Run>>(m_run);
    m_thread = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, &Run::ThreadMain, own.get(), 0, &m_threadId));
    if (m_thread)
        static_cast<void>(own.release());
    return m_thread != nullptr;
}
