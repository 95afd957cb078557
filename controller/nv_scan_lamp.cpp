// The lamps of flatbed and adapter, of which one burns at a time, and the front panel's text.
#include <algorithm>
#include <string>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"
#include "platform/wait_watch.h"

namespace {

// Lamp times count in ticks of 1/60 second.
constexpr ULONGLONG kTicksPerSecond = 60;
constexpr DWORD kSecond = 1000;  // milliseconds
// The property that tells the lamp: 0 none, 1 the flatbed's, 2 the adapter's.
constexpr OLECHAR kCurrentLampOn[] = OLESTR("CurrentLampOn");
constexpr DWORD kTimeoutMinutes[] = {1, 13, 60};  // by level
// Bit 0 of the panel's flags, and the line that the driver writes.
constexpr DWORD kPanelShowsText = 1;
constexpr DWORD kPanelLine = 1;

// Never 0, which stands for no time at all.
ULONGLONG TickTime(ScanClock& clock) {
    return std::max<ULONGLONG>(clock.Milliseconds() * kTicksPerSecond / kSecond, 1);
}

}  // namespace

// Once it is known which lamp burns, the other one is off without asking: lighting one puts the
// other out.
HRESULT CNVScan::getLampOn(bool* on, bool xpa) {
    DeviceTrace trace("CNVScan::getLampOn", *this);
    if (!on)
        return trace.SetResult(E_POINTER).GetResult();
    *on = false;
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    if (m_lampSource == kLampUnknown)
        return trace.SetResult(AskForLamp(on, xpa)).GetResult();
    if (m_lampSource == (xpa ? kLampAdapter : kLampFlatbed))
        trace.SetResult(AskDeviceLamp(on));
    return trace.GetResult();
}

// The lamp that burns, whichever it is.
HRESULT CNVScan::AskDeviceLamp(bool* on) {
    BOOL burns = FALSE;
    const HRESULT hr = Call<&IOstrelDevice::IsLampOn>(m_spDevice, &burns);
    *on = SUCCEEDED(hr) && burns;
    return hr;
}

// Starts the lamp's time-out anew.
HRESULT CNVScan::TouchLamp(bool xpa) {
    if (!xpa)
        return Call<&IOstrelDevice::LampOn>(m_spDevice);
    return m_spXPA ? Call<&IOstrelXPA::XPALampOn>(m_spXPA) : S_OK;
}

// As long as it isn't known which lamp burns, the answer depends on what the device offers.
HRESULT CNVScan::AskForLamp(bool* on, bool xpa) {
    if (m_spXPALamp) {
        DWORD adapterBurns = 0;
        HRESULT hr = Call<&IOstrelXPALamp::IsXPALampOn>(m_spXPALamp, &adapterBurns);
        if (FAILED(hr))
            return hr;
        if (xpa)
            *on = adapterBurns != 0;
        else if (adapterBurns == 0)
            hr = AskDeviceLamp(on);
        return SUCCEEDED(hr) && *on ? TouchLamp(xpa) : hr;
    }
    DWORD lamp = kLampUnknown;
    if (m_spProperties && SUCCEEDED(Call<&IOstrelProperties::GetLongProperty>(
                              m_spProperties, static_cast<LPCOLESTR>(kCurrentLampOn), &lamp))) {
        *on = lamp == (xpa ? kLampAdapter : kLampFlatbed);
        return *on ? TouchLamp(xpa) : S_OK;
    }
    m_dwErrorCode = OSTREL_NO_ERROR;  // that a device can't tell is no failure
    return xpa ? S_OK : AskDeviceLamp(on);
}

// A lamp that burns is left alone and keeps its calibration. One that was lit gets both from
// finalScanInit: the time to warm, and a new calibration.
HRESULT CNVScan::setLampOn(bool xpa) {
    DeviceTrace trace("CNVScan::setLampOn", *this);
    if (xpa && !m_spXPA)
        return trace.SetResult(E_INVALIDARG).GetResult();
    bool on = false;
    if (FAILED(trace.SetResult(getLampOn(&on, xpa)).GetResult()) || on)
        return trace.GetResult();
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    trace.SetResult(TouchLamp(xpa));
    m_lampSource = xpa ? kLampAdapter : kLampFlatbed;
    // Also behind a failure: the next attempt waits.
    m_lampOnTime = TickTime(m_clock);
    return trace.GetResult();
}

// A lamp that this object has switched on gets its time to warm, and the calibration of the lamp
// before it holds no longer. Each sleep lasts a second, so that a clock that goes astray can't
// prolong the wait. One that somebody ended is a cancelled scan; the next one waits for the rest.
HRESULT CNVScan::AwaitWarmUp() {
    if (m_lampOnTime == 0)
        return S_OK;
    const CWaitScope wait(WaitCause::LampWarming);
    const DWORD seconds = UsesAdapter() ? m_xpaCaps.lampWarmUpXPA : m_devCaps.lampWarmUpFlatbed;
    for (DWORD slept = 0; slept < seconds; ++slept) {
        if (TickTime(m_clock) - m_lampOnTime >= seconds * kTicksPerSecond)
            break;
        m_clock.Sleep(kSecond);
        if (!WaitGoesOn()) {
            m_dwErrorCode = OSTREL_CANCEL_BUTTON;
            return mapToolkitError(m_dwErrorCode);
        }
    }
    m_lampOnTime = 0;
    m_bCalibrated = false;
    return S_OK;
}

HRESULT CNVScan::setLampTimeoutLevel(DWORD level) {
    DeviceTrace trace("CNVScan::setLampTimeoutLevel", *this);
    if (!m_spExtendedLamp)
        return trace.GetResult();
    if (level >= std::size(kTimeoutMinutes))
        return trace.SetResult(E_INVALIDARG).GetResult();
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    const HRESULT hr =
        Call<&IOstrelExtendedLamp::SetLampTimeout>(m_spExtendedLamp, kTimeoutMinutes[level]);
    return trace.SetResult(hr).GetResult();
}

// Without the lock, so that a text can appear while another session scans.
HRESULT CNVScan::setPanelText(LPCOLESTR text) {
    DeviceTrace trace("CNVScan::setPanelText", *this);
    if (!text)
        return trace.SetResult(E_POINTER).GetResult();
    if (!m_spPanel || !(m_panelCaps.flags & kPanelShowsText))
        return trace.GetResult();
    const auto bytes =
        static_cast<DWORD>((std::char_traits<OLECHAR>::length(text) + 1) * sizeof(OLECHAR));
    const HRESULT hr = Call<&IOstrelPanel::SetPanelText>(m_spPanel, kPanelLine, text, bytes);
    return trace.SetResult(hr).GetResult();
}
