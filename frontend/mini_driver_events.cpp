// Presses of the scanner's buttons, on their way to the still-image service.
//
// How they come depends on the device: as a byte through its interrupt pipe, on which the
// notification thread waits (button_thread.h); as a bare interrupt there, behind which the toolkit
// tells the button; or not by themselves, so that the service polls GetStatus.
#include <algorithm>
#include <memory>
#include <new>

#include "diag/device_error_text.h"
#include "diag/function_trace.h"
#include "frontend/mini_driver.h"
#include "platform/contained.h"

namespace {

// A toolkit tells a byte for each button, and no device has more of them.
constexpr DWORD kMostButtonBytes = 0xFFFF;

constexpr HRESULT kNoButtons = MakeResult(0x80070103u);      // there are no more items
constexpr HRESULT kScannerLocked = MakeResult(0x80070021u);  // a lock violation

}  // namespace

HRESULT CNVwiaMiniDrv::SetNotificationHandle(HANDLE hEvent) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::SetNotificationHandle");
    m_buttonThread.End();
    if (!hEvent || hEvent == INVALID_HANDLE_VALUE)
        m_pLog->Write("Closed Event Thread");
    else
        trace.SetResult(Contained([&] { return m_buttonThread.Start(m_szDeviceName, hEvent); }));
    return trace.GetResult();
}

// A poll never waits for a scan. `found` tells whether a button has been pressed.
HRESULT CNVwiaMiniDrv::PollButtons(bool& found) {
    found = false;
    ComPtr<IOstrelButtons> buttons;
    if (FAILED(buttons.QueryFrom(m_pToolkit.Get(), IID_IOstrelButtons)) || !buttons)
        return kNoButtons;
    const OstrelLock lock(m_pToolkit.Get(), m_dwSessionId);
    if (!lock.IsLocked())
        return kScannerLocked;
    DWORD bytes = 0;
    DWORD error = OSTREL_NO_ERROR;
    HRESULT hr = buttons->GetButtonDataSize(m_dwSessionId, &bytes, &error);
    if (SUCCEEDED(hr) && bytes > kMostButtonBytes)
        hr = E_FAIL;
    if (FAILED(hr)) {
        LogDeviceError(*m_pLog, "GetButtonDataSize", hr, error);
        return hr;
    }
    // Everything is read, so that no press stays behind in the device; buttons without an event
    // mean nothing, as do events without a button.
    const std::unique_ptr<BYTE[]> pressed(new (std::nothrow) BYTE[bytes + 1]());
    if (!pressed)
        return E_OUTOFMEMORY;
    hr = buttons->ReadButtons(m_dwSessionId, bytes, pressed.get(), &error);
    if (FAILED(hr)) {
        LogDeviceError(*m_pLog, "ReadButtons", hr, error);
        return hr;
    }
    const BYTE* const first = pressed.get();
    const BYTE* const last = first + std::min(bytes, m_buttons.Count());
    const BYTE* const button = std::find_if(first, last, [](BYTE state) { return state != 0; });
    found = button != last;
    if (found) {
        const auto number = static_cast<DWORD>(button - first);
        LightLampForButton();
        m_pLog->Format("Button %d pressed", number);
        m_lastEvent.Set(m_buttons[number].guid);
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
    if (m_buttons.IsSignalOnly()) {
        bool found = false;
        trace.SetResult(PollButtons(found));
        // A press stays with the device until it can be asked.
        if (trace.GetResult() == kNoButtons || trace.GetResult() == kScannerLocked)
            return trace.GetResult();
    }
    *pBuffer = {};
    pBuffer->guidNotificationCode = m_lastEvent.Take();
    if (pBuffer->guidNotificationCode != GUID_NULL)
        pBuffer->dwSize = sizeof(*pBuffer);
    return trace.GetResult();
}
