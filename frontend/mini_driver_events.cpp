// Presses of the scanner's buttons, on their way to the still-image service.
//
// How they come depends on the device: as a byte through its interrupt pipe, on which the
// notification thread waits; as a bare interrupt there, behind which the toolkit tells the button;
// or not by themselves, so that the service polls GetStatus.
//
// The notification thread.
//
//   none      --SetNotificationHandle-->  waiting
//   waiting   --press-->                  ended: one press, one thread; the service's event is set
//   waiting   --shutdown event-->         ended
//   waiting   --pipe can't be had-->      ended, after 10 attempts to open it or 100 failed waits
//   any       --SetNotificationHandle-->  waited for; then waiting anew, or none for a null handle
//
// A thread that still waits is sent away by the shutdown event. That event takes one wait, so it is
// reset ahead of each thread: what was meant for a thread that had ended by itself must not end the
// next one.
#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "diag/function_trace.h"
#include "frontend/contained.h"
#include "frontend/mini_driver.h"
#include "frontend/reg_key.h"
#include "frontend/text.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/sync.h"

namespace {

constexpr DWORD kSubTypeIndex = 1;
constexpr DWORD kSubTypeSignalOnly = 2;
constexpr DWORD kSubTypeMask = 3;
constexpr DWORD kSubTypeValue = 4;

constexpr DWORD kMostEvents = 0xFFFF;
constexpr int kOpenAttempts = 10;
constexpr int kMostFailures = 100;
constexpr DWORD kPipeAttributes = FILE_ATTRIBUTE_SYSTEM | FILE_FLAG_OVERLAPPED;

constexpr HRESULT kNoButtons = MakeResult(0x80070103u);      // there are no more items
constexpr HRESULT kScannerLocked = MakeResult(0x80070021u);  // a lock violation

bool IsHandle(HANDLE handle) {
    return handle && handle != INVALID_HANDLE_VALUE;
}

bool HasMasks(DWORD subType) {
    return subType == kSubTypeMask || subType == kSubTypeValue;
}

// The subkeys of a key, one after the other. Keys may go away during the walk: the index follows.
class CSubkeyWalk {
  public:
    explicit CSubkeyWalk(HKEY key) : m_key(key), m_count(Count()) {}

    DWORD Count() const {
        DWORD count = 0;
        RegQueryInfoKeyA(m_key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr);
        return count;
    }
    // False behind the last one.
    bool Next(char (&name)[MAX_PATH]) {
        const DWORD count = Count();
        if (count < m_count && m_index > 0)
            --m_index;
        m_count = count;
        DWORD size = MAX_PATH;
        return RegEnumKeyExA(m_key, m_index++, name, &size, nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
    }

  private:
    const HKEY m_key;
    DWORD m_count;
    DWORD m_index = 0;
};

// An overlapped wait for the device, which never outlives its memory.
class CPipeWait {
  public:
    CPipeWait(HANDLE pipe, HANDLE event) : m_pipe(pipe) { m_overlapped.hEvent = event; }
    ~CPipeWait() {
        DWORD bytes = 0;
        if (m_pending && CancelIo(m_pipe))
            GetOverlappedResult(m_pipe, &m_overlapped, &bytes, TRUE);
    }
    CPipeWait(const CPipeWait&) = delete;
    CPipeWait& operator=(const CPipeWait&) = delete;

    // True when it is under way, or has ended already: in both cases the event tells.
    bool Begin() {
        const BOOL done = DeviceIoControl(m_pipe, IOCTL_WAIT_ON_DEVICE_EVENT, nullptr, 0, &m_data,
                                          sizeof(m_data), nullptr, &m_overlapped);
        m_pending = !done && ::GetLastError() == static_cast<DWORD>(ERROR_IO_PENDING);
        return done || m_pending;
    }
    BOOL End(DWORD& bytes) {
        const BOOL ended = GetOverlappedResult(m_pipe, &m_overlapped, &bytes, FALSE);
        m_pending = !ended && ::GetLastError() == static_cast<DWORD>(ERROR_IO_INCOMPLETE);
        return ended;
    }
    BYTE Data() const { return m_data; }

  private:
    const HANDLE m_pipe;
    OVERLAPPED m_overlapped = {};
    BYTE m_data = 0;
    bool m_pending = false;
};

}  // namespace

// ---- Events of the registry

void CNVwiaMiniDrv::LoadEventTable(HKEY hKey) {
    m_nEvents = 0;
    m_pEvents.reset();
    m_pEventMasks.reset();
    CRegKey events;
    if (events.Open(hKey, "Events") != ERROR_SUCCESS)
        return;
    CSubkeyWalk walk(events.Get());
    const DWORD count = std::min(walk.Count(), kMostEvents);
    if (count == 0)
        return;
    m_pEvents = std::make_unique<EventEntry[]>(count);
    if (HasMasks(m_dwDeviceSubType))
        m_pEventMasks = std::make_unique<DWORD[]>(count);
    m_nEvents = count;
    char name[MAX_PATH];
    while (walk.Next(name)) {
        CRegKey event;
        if (event.Open(events.Get(), name) == ERROR_SUCCESS)
            LoadEvent(event.Get());
    }
}

void CNVwiaMiniDrv::LoadEvent(HKEY hKey) {
    DWORD index = 0;
    ReadNumber(hKey, "Index", index);
    if (index >= m_nEvents)
        index = 0;
    EventEntry& entry = m_pEvents[index];
    ReadText(hKey, nullptr, entry.name);
    char guid[MAX_PATH];
    if (ReadText(hKey, "GUID", guid)) {
        m_pLog->Format("Button %s index %d mapped to CLSID %s", entry.name, index, guid);
        entry.guid = GUID_NULL;
        CLSIDFromString(WideText(guid).c_str(), &entry.guid);
    }
    if (m_pEventMasks) {
        m_pEventMasks[index] = 0;
        ReadNumber(hKey, "Mask", m_pEventMasks[index]);
    }
}

// ---- The event that waits to be fetched

void CNVwiaMiniDrv::SetLastEvent(REFGUID guid) {
    const std::lock_guard guard(m_lastEventLock);
    m_guidLastEvent = guid;
}

GUID CNVwiaMiniDrv::TakeLastEvent() {
    const std::lock_guard guard(m_lastEventLock);
    return std::exchange(m_guidLastEvent, GUID_NULL);
}

// ---- The notification thread

HRESULT CNVwiaMiniDrv::SetNotificationHandle(HANDLE hEvent) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::SetNotificationHandle");
    EndNotificationThread();
    if (!IsHandle(hEvent)) {
        m_pLog->Write("Closed Event Thread");
        return trace.GetResult();
    }
    m_hNotifyEvent = hEvent;
    SetLastEvent(GUID_NULL);
    ResetEvent(m_hShutdownEvent);
    m_pLog->Write("Event Notification Thread created");
    m_hNotifyThread =
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &NotificationThread, this, 0, nullptr));
    return trace.SetResult(m_hNotifyThread ? S_OK : E_FAIL).GetResult();
}

void CNVwiaMiniDrv::EndNotificationThread() {
    SetEvent(m_hShutdownEvent);
    if (!m_hNotifyThread)
        return;
    WaitForSingleObject(m_hNotifyThread, INFINITE);
    CloseHandle(m_hNotifyThread);
    m_hNotifyThread = nullptr;
}

unsigned CNVwiaMiniDrv::NotificationThread(void* driver) {
    auto* self = static_cast<CNVwiaMiniDrv*>(driver);
    int attempts = 0;
    int fired = 0;
    while (RunNotifications(self, &attempts, &fired) == 1 && attempts < kMostFailures) {
    }
    if (fired == 1)
        SetEvent(self->m_hNotifyEvent);
    return 0;
}

int CNVwiaMiniDrv::RunNotifications(CNVwiaMiniDrv* driver, int* attempts, int* fired) {
    *fired = 0;
    CLog& log = *driver->m_pLog;
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    log.Format("Device Name:  %S", driver->m_szDeviceName);
    const HANDLE pipe = event ? driver->OpenInterruptPipe() : INVALID_HANDLE_VALUE;
    int result = 0;
    if (pipe != INVALID_HANDLE_VALUE) {
        result = driver->WaitForPress(pipe, event, attempts, fired);
        CloseHandle(pipe);
        log.Format(kLogCalls, "Exiting RunNotifications Thread :  %S", driver->m_szDeviceName);
    }
    if (event)
        CloseHandle(event);
    return result;
}

// The pause between the attempts ends at once with a shutdown.
HANDLE CNVwiaMiniDrv::OpenInterruptPipe() {
    constexpr char kShutdown[] = "Shutdown detected, exiting restart loop";
    std::string name;
    if (FAILED(Contained([&] {
            name = NarrowText(m_szDeviceName);
            return S_OK;
        })))
        return INVALID_HANDLE_VALUE;
    bool shutdown = false;
    for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
        m_pLog->Format("RunNotifications: Attempt %d to open interrupt pipe", attempt);
        if (shutdown || WaitForSingleObject(m_hShutdownEvent, 0) == WAIT_OBJECT_0) {
            m_pLog->Write(kShutdown);
            return INVALID_HANDLE_VALUE;
        }
        const HANDLE pipe = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                        OPEN_EXISTING, kPipeAttributes, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return pipe;
        m_pLog->Format(kLogError, "Failed to open device interrupt pipe on %S", m_szDeviceName);
        shutdown = WaitForSingleObject(m_hShutdownEvent, m_dwOpenPause) == WAIT_OBJECT_0;
    }
    return INVALID_HANDLE_VALUE;
}

int CNVwiaMiniDrv::WaitForPress(HANDLE pipe, HANDLE event, int* attempts, int* fired) {
    CPipeWait wait(pipe, event);
    const HANDLE handles[] = {m_hShutdownEvent, event};
    for (;;) {
        if (!wait.Begin()) {
            ++*attempts;
            return 1;
        }
        const DWORD reason = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        m_pLog->Format("Device %S: Wait loop fired, reason is %d, lasterror = %lx", m_szDeviceName,
                       reason, ::GetLastError());
        if (reason != WAIT_OBJECT_0 + 1)
            return 0;
        DWORD bytes = 0;
        const BOOL ended = wait.End(bytes);
        m_pLog->Format("WAIT_OBJECT_0, bRet = %d, lasterror = %lx, attempt #%d", ended,
                       ::GetLastError(), *attempts);
        if (!ended) {
            ++*attempts;
            return 1;
        }
        if (IsHandle(m_hNotifyEvent) && DecodePress(bytes, wait.Data())) {
            *fired = 1;
            return 0;
        }
        ResetEvent(event);
    }
}

// A bare signal is a press by itself; every other way needs its byte.
bool CNVwiaMiniDrv::DecodePress(DWORD bytes, BYTE data) {
    if (m_dwDeviceSubType == kSubTypeSignalOnly) {
        m_pLog->Write("INTERRUPT_SIGNAL_ONLY");
        SetLastEvent(GUID_NULL);
        return true;
    }
    if (bytes == 0)
        return false;
    DWORD button = m_nEvents;
    switch (m_dwDeviceSubType) {
        case kSubTypeIndex:
            m_pLog->Format("Interrupt Index: %d", data);
            button = data;
            if (button >= m_nEvents)
                m_pLog->Format("Interrupt Index: the device has %d events, no press", m_nEvents);
            break;
        case kSubTypeMask:
            m_pLog->Format("Interrupt Mask: Interrupt Data is %lx", data);
            button = FindMask([data](DWORD mask) { return (mask & data) == mask; });
            if (button < m_nEvents)
                m_pLog->Format("Interrupt Mask:  Button %d pressed", button);
            break;
        case kSubTypeValue:
            m_pLog->Format("Interrupt Value: Interrupt Data is 0x%lx", data);
            button = FindMask([data](DWORD value) { return value == data; });
            if (button < m_nEvents)
                m_pLog->Format("Interrupt Value:  Button %d pressed", button);
            break;
        default:
            break;
    }
    if (button >= m_nEvents)
        return false;
    SetLastEvent(m_pEvents[button].guid);
    return true;
}

template <class Fits>
DWORD CNVwiaMiniDrv::FindMask(Fits fits) const {
    if (!m_pEventMasks)
        return m_nEvents;
    const DWORD* const masks = m_pEventMasks.get();
    return static_cast<DWORD>(std::find_if(masks, masks + m_nEvents, fits) - masks);
}

// ---- Asking the toolkit

// A poll never waits for a scan. `found` tells whether a button has been pressed.
HRESULT CNVwiaMiniDrv::PollButtons(bool& found) {
    found = false;
    ComPtr<IOstrelButtons> buttons;
    if (FAILED(buttons.QueryFrom(m_pToolkit.Get(), IID_IOstrelButtons)) || !buttons)
        return kNoButtons;
    const OstrelLock lock(m_pToolkit.Get(), m_dwSessionId);
    if (!lock.IsLocked())
        return kScannerLocked;
    const std::unique_ptr<BYTE[]> pressed(new (std::nothrow) BYTE[m_nEvents + 1]());
    if (!pressed)
        return E_OUTOFMEMORY;
    DWORD bytes = 0;
    DWORD error = OSTREL_NO_ERROR;
    HRESULT hr = buttons->GetButtonDataSize(m_dwSessionId, &bytes, &error);
    // Neither more than the device has, nor than there are events.
    bytes = std::min(bytes, m_nEvents);
    if (SUCCEEDED(hr))
        hr = buttons->ReadButtons(m_dwSessionId, bytes, pressed.get(), &error);
    if (FAILED(hr))
        return hr;
    DWORD button = 0;
    while (button < bytes && pressed[button] == 0)
        ++button;
    found = button < bytes;
    if (found) {
        LightLampForButton();
        m_pLog->Format("Button %d pressed", button);
        SetLastEvent(m_pEvents[button].guid);
    }
    buttons->EndButtonRead(m_dwSessionId, &error);
    return S_OK;
}

void CNVwiaMiniDrv::LightLampForButton() {
    if (!m_bLampOnButton)
        return;
    BOOL on = FALSE;
    DWORD error = OSTREL_NO_ERROR;
    if (SUCCEEDED(m_pToolkit->IsLampOn(m_dwSessionId, &on, &error)) && !on)
        m_pToolkit->LampOn(m_dwSessionId, &error);
}

HRESULT CNVwiaMiniDrv::GetStatus(STI_DEVICE_STATUS* pStatus) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::GetStatus");
    if (!pStatus)
        return trace.SetResult(E_INVALIDARG).GetResult();
    pStatus->dwOnlineState = 0;
    if (pStatus->StatusMask & STI_DEVSTATUS_ONLINE_STATE)
        pStatus->dwOnlineState |= STI_ONLINESTATE_OPERATIONAL;
    if (!m_pToolkit || (pStatus->StatusMask & STI_DEVSTATUS_EVENTS_STATE) == 0)
        return trace.GetResult();
    bool found = false;
    trace.SetResult(PollButtons(found));
    pStatus->dwEventHandlingState &= ~STI_EVENTHANDLING_PENDING;
    if (found)
        pStatus->dwEventHandlingState |= STI_EVENTHANDLING_PENDING;
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::GetNotificationData(STINOTIFY* pBuffer) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::GetNotificationData");
    if (!pBuffer)
        return trace.SetResult(E_INVALIDARG).GetResult();
    if (m_dwDeviceSubType == kSubTypeSignalOnly) {
        bool found = false;
        trace.SetResult(PollButtons(found));
        // A press stays with the device until it can be asked.
        if (trace.GetResult() == kNoButtons || trace.GetResult() == kScannerLocked)
            return trace.GetResult();
    }
    *pBuffer = {};
    pBuffer->guidNotificationCode = TakeLastEvent();
    if (pBuffer->guidNotificationCode != GUID_NULL)
        pBuffer->dwSize = sizeof(*pBuffer);
    return trace.GetResult();
}
