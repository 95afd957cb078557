#include "frontend/button_thread.h"

#include "diag/log.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

// A device that has just been plugged in needs some seconds before its pipe is there.
constexpr int kOpenAttempts = 10;
constexpr DWORD kOpenPause = 1000;  // milliseconds, between two of them
constexpr int kMostFailures = 100;  // of waits, then the thread gives up
// Nobody else may have the pipe at the same time: a byte reaches one reader only.
constexpr DWORD kPipeAttributes = FILE_ATTRIBUTE_SYSTEM | FILE_FLAG_OVERLAPPED;

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

CButtonThread::CButtonThread(const CButtonTable& buttons, CLastEvent& lastEvent, CLog& log)
    : m_buttons(buttons),
      m_lastEvent(lastEvent),
      m_log(log),
      m_hShutdownEvent(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {}

CButtonThread::~CButtonThread() {
    End();
    if (m_hShutdownEvent)
        CloseHandle(m_hShutdownEvent);
}

// An event of an earlier press that nobody fetched is forgotten: it would be told for the next.
HRESULT CButtonThread::Start(LPCOLESTR deviceName, HANDLE hEvent) {
    End();
    m_deviceName = TextFromWide(deviceName);
    m_hNotifyEvent = hEvent;
    m_lastEvent.Set(GUID_NULL);
    ResetEvent(m_hShutdownEvent);
    m_log.Write("Event Notification Thread created");
    m_hNotifyThread =
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &NotificationThread, this, 0, nullptr));
    return m_hNotifyThread ? S_OK : E_FAIL;
}

void CButtonThread::End() {
    if (!m_hNotifyThread)
        return;
    SetEvent(m_hShutdownEvent);
    WaitForSingleObject(m_hNotifyThread, INFINITE);
    CloseHandle(m_hNotifyThread);
    m_hNotifyThread = nullptr;
}

// The service is told behind the copy of the event, so that it finds it when it asks.
unsigned CButtonThread::NotificationThread(void* self) {
    auto& thread = *static_cast<CButtonThread*>(self);
    int attempts = 0;
    int fired = 0;
    while (thread.RunNotifications(&attempts, &fired) == 1 && attempts < kMostFailures) {
    }
    if (fired == 1)
        SetEvent(thread.m_hNotifyEvent);
    return 0;
}

// One opening of the pipe. The event is a manual one: it tells the end of the wait until it is
// looked at, however that came.
int CButtonThread::RunNotifications(int* attempts, int* fired) {
    *fired = 0;
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    m_log.Format("Device Name:  %s", m_deviceName.c_str());
    const HANDLE pipe = event ? OpenInterruptPipe() : INVALID_HANDLE_VALUE;
    int result = 0;
    if (pipe != INVALID_HANDLE_VALUE) {
        result = WaitForPress(pipe, event, attempts, fired);
        CloseHandle(pipe);
        m_log.Format(kLogCalls, "Exiting RunNotifications Thread :  %s", m_deviceName.c_str());
    }
    if (event)
        CloseHandle(event);
    return result;
}

// The pause between the attempts ends at once with a shutdown.
HANDLE CButtonThread::OpenInterruptPipe() {
    bool shutdown = false;
    for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
        m_log.Format("RunNotifications: Attempt %d to open interrupt pipe", attempt);
        if (shutdown || WaitForSingleObject(m_hShutdownEvent, 0) == WAIT_OBJECT_0) {
            m_log.Write("Shutdown detected, exiting restart loop");
            break;
        }
        const HANDLE pipe = CreateFileA(m_deviceName.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                        nullptr, OPEN_EXISTING, kPipeAttributes, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return pipe;
        m_log.Format(kLogError, "Failed to open device interrupt pipe on %s", m_deviceName.c_str());
        shutdown = WaitForSingleObject(m_hShutdownEvent, kOpenPause) == WAIT_OBJECT_0;
    }
    return INVALID_HANDLE_VALUE;
}

// One wait after the other on the open pipe, without a time limit: an idle device costs nothing.
// Failed waits have the pipe opened anew.
int CButtonThread::WaitForPress(HANDLE pipe, HANDLE event, int* attempts, int* fired) {
    CPipeWait wait(pipe, event);
    const HANDLE handles[] = {m_hShutdownEvent, event};
    for (;;) {
        if (!wait.Begin()) {
            ++*attempts;
            return 1;
        }
        const DWORD reason = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        m_log.Format("Device %s: Wait loop fired, reason is %d, lasterror = %lx",
                     m_deviceName.c_str(), reason, ::GetLastError());
        if (reason != WAIT_OBJECT_0 + 1)
            return 0;
        DWORD bytes = 0;
        const BOOL ended = wait.End(bytes);
        m_log.Format("WAIT_OBJECT_0, bRet = %d, lasterror = %lx, attempt #%d", ended,
                     ::GetLastError(), *attempts);
        if (!ended) {
            ++*attempts;
            return 1;
        }
        if (TakePress(bytes, wait.Data())) {
            *fired = 1;
            return 0;
        }
        ResetEvent(event);
    }
}

// A bare signal is a press by itself; every other way needs its byte.
bool CButtonThread::TakePress(DWORD bytes, BYTE data) {
    if (m_buttons.IsSignalOnly()) {
        m_log.Write("INTERRUPT_SIGNAL_ONLY");
        m_lastEvent.Set(GUID_NULL);
        return true;
    }
    const DWORD button = bytes != 0 ? m_buttons.Decode(data, m_log) : m_buttons.Count();
    if (button >= m_buttons.Count())
        return false;
    m_lastEvent.Set(m_buttons[button].guid);
    return true;
}
