// The thread that waits on a device's interrupt pipe for a press of a button.
//
//   none      --Start-->                waiting
//   waiting   --press-->                ended: one press, one thread; the service's event is set
//   waiting   --shutdown event-->       ended
//   waiting   --pipe can't be had-->    ended, after 10 attempts to open it or 100 failed waits
//   any       --End-->                  none
//
// What it shares with the service's calls: the table of events and the device's name, which stay as
// they are while it runs, the log, the event that waits to be fetched, and the shutdown event. That
// one takes a single wait, so it is reset ahead of each thread: what was meant for a thread that
// had ended by itself must not end the next one.
#pragma once

#include <string>

#include "frontend/button_table.h"
#include "platform/sync.h"

class CButtonThread {
  public:
    // All borrowed.
    CButtonThread(const CButtonTable& buttons, CLastEvent& lastEvent, CLog& log);
    ~CButtonThread();
    CButtonThread(const CButtonThread&) = delete;
    CButtonThread& operator=(const CButtonThread&) = delete;

    // `hEvent` is the service's, and is set behind the press, when its event can be fetched. A
    // thread from before has ended: see End. std::bad_alloc without memory.
    HRESULT Start(LPCOLESTR deviceName, HANDLE hEvent);
    // Waits for the thread. Nothing to do without one.
    void End();

  private:
    static unsigned NotificationThread(void* self);
    // 1: to be tried again. Counts failed attempts; `fired` becomes 1 with a press.
    int RunNotifications(int* attempts, int* fired);
    HANDLE OpenInterruptPipe();
    int WaitForPress(HANDLE pipe, HANDLE event, int* attempts, int* fired);
    // True for a press, whose event then waits to be fetched.
    bool TakePress(DWORD bytes, BYTE data);

    const CButtonTable& m_buttons;
    CLastEvent& m_lastEvent;
    CLog& m_log;
    std::string m_deviceName;
    HANDLE m_hNotifyThread = nullptr;
    HANDLE m_hNotifyEvent = nullptr;
    const HANDLE m_hShutdownEvent;  // auto-reset
};
