// The feeder and its job, and the job gate: what holds the scanner across pages.
#include <algorithm>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"

namespace {

constexpr HRESULT kEmptyFeeder = MakeResult(0x8004000F);
constexpr HRESULT kEmptyFeederOnly = MakeResult(0x80040012);

// Of adfDuplexFlags.
constexpr DWORD kUnitsPerTenth = 30;     // 1/300 inch in 1/10 inch
constexpr DWORD kMaxTenths = 0x1000000;  // a longer page is a wrong answer

// States of the gate in the device, and what checkJobGate makes of them.
constexpr DWORD kDeviceClosed = 1;
constexpr DWORD kDeviceReady = 2;
constexpr DWORD kDeviceOpen = 3;
constexpr DWORD kGateOpen = 1;
constexpr DWORD kGateReady = 2;
constexpr DWORD kGateClosed = 3;
constexpr DWORD kGateRefused = 4;
constexpr DWORD kAbortReason = 3;  // the only one of cancelJobGate that does anything
constexpr DWORD kBeginFlags = 0;
constexpr DWORD kAbortGate = 1;

}  // namespace

HRESULT CNVScan::EmptyFeederResult() const {
    return IsFeederOnly() ? kEmptyFeederOnly : kEmptyFeeder;
}

HRESULT CNVScan::adfReady(bool* ready) {
    DeviceTrace trace("CNVScan::adfReady", *this);
    if (!ready)
        return trace.SetResult(E_POINTER).GetResult();
    // The tray may be empty behind a sheet that has been fed.
    *ready = m_bSheetLoaded;
    if (!m_bSheetLoaded && m_spADF2 && m_adf2Caps.hasADF)
        trace.SetResult(AskForPaper(ready));
    return trace.GetResult();
}

// Locks by itself: a caller outside a scan holds nothing, and within one the lock nests.
HRESULT CNVScan::AskForPaper(bool* paper) {
    *paper = false;
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return LockFailure(lock);
    BOOL inFeeder = FALSE;
    const HRESULT hr = Call<&IOstrelADF2::IsPaperInADF>(m_spADF2, &inFeeder);
    *paper = SUCCEEDED(hr) && inFeeder;
    return hr;
}

HRESULT CNVScan::canRequestDuplex(bool* can) {
    if (!can)
        return E_POINTER;
    bool has = false;
    hasDuplex(&has);
    const bool onlyBySwitch = m_spADF3 && m_adf3Caps.hasDuplexSwitch &&
                              !(m_adf3Caps.switchFlags & OSTREL_SWITCH_REQUESTABLE);
    *can = has && !onlyBySwitch;
    return S_OK;
}

// Within a job the device isn't asked: its pages must not change sides halfway.
HRESULT CNVScan::getDuplexEnabled(bool* enabled) {
    if (!enabled)
        return E_POINTER;
    if (!m_bADFJobOpen)
        return DecideDuplex(enabled);
    *enabled = m_bDuplexEnabled;
    return S_OK;
}

// A switch that can be read decides, whatever was asked for.
HRESULT CNVScan::DecideDuplex(bool* enabled) {
    *enabled = false;
    if (!(m_adf2Caps.adfDuplexFlags & OSTREL_ADF_DUPLEX))
        return S_OK;
    if (!m_spADF3 || !m_adf3Caps.hasDuplexSwitch ||
        !(m_adf3Caps.switchFlags & OSTREL_SWITCH_READABLE)) {
        *enabled = m_source.request.duplex != 0;
        return S_OK;
    }
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return LockFailure(lock);
    BOOL duplex = FALSE;
    const HRESULT hr = Call<&IOstrelADF3::GetDuplexSwitch>(m_spADF3, &duplex);
    *enabled = SUCCEEDED(hr) && duplex;
    if (SUCCEEDED(hr) && m_pLog && *enabled != (m_source.request.duplex != 0))
        m_pLog->Format(kLogInformation, "the duplex switch decides: asked for %d, it stands at %d",
                       m_source.request.duplex, *enabled);
    return hr;
}

// Asks the device itself and not adfReady: the sheet that counts as paper there may have been
// pulled out since it was fed.
HRESULT CNVScan::setAdfMode() {
    DeviceTrace trace("CNVScan::setAdfMode", *this);
    if (!UsesFeeder())
        return trace.GetResult();
    if (IsSheetThrough()) {
        bool paper = false;
        if (FAILED(trace.SetResult(AskForPaper(&paper)).GetResult()))
            return trace.GetResult();
        if (!paper)
            return trace.SetResult(EmptyFeederResult()).GetResult();
    }
    bool duplex = false;
    if (FAILED(trace.SetResult(getDuplexEnabled(&duplex)).GetResult()))
        return trace.GetResult();
    DWORD mode = IsSheetThrough() ? OSTREL_ADF_MODE_SHEET_THROUGH : OSTREL_ADF_MODE_GLASS;
    if (duplex)
        mode = OSTREL_ADF_MODE_DUPLEX;
    return trace.SetResult(Call<&IOstrelADF2::SetADFMode>(m_spADF2, mode)).GetResult();
}

// ---- Feeder job

// Opens the job of a first page. Its level of the lock keeps others from the feeder until the last
// page is out, and is given back unless the job stands.
HRESULT CNVScan::OpenFeederJob() {
    // Until a page has been scanned, nothing in an open job depends on how duplex was decided.
    if (m_bADFJobOpen)
        return m_bJobPageDone ? S_OK : FixDuplex();
    HRESULT hr = LockFeederJob();
    if (FAILED(hr)) {
        if (m_pLog)
            m_pLog->Format(kLogInformation,
                           "CNVScan::firstScanInit:LockScanner failedm_dwErrorCode %d",
                           m_dwErrorCode);
        return hr;
    }
    hr = StartFeederJob();
    if (FAILED(hr)) {
        const DWORD errorCode = m_dwErrorCode;
        UnlockFeederJob();
        m_dwErrorCode = errorCode;
    }
    m_bADFJobOpen = SUCCEEDED(hr);
    // Also on a failure: the next attempt decides about duplex anew.
    m_bJobPageDone = false;
    m_bFeedFailed = false;
    return hr;
}

// Decides the duplex of the job.
HRESULT CNVScan::FixDuplex() {
    bool duplex = false;
    const HRESULT hr = DecideDuplex(&duplex);
    if (SUCCEEDED(hr))
        m_bDuplexEnabled = duplex;
    else if (m_pLog)
        m_pLog->Format(kLogInformation,
                       "CNVScan::firstScanInit:getDuplexEnabled failed m_dwErrorCode %d",
                       m_dwErrorCode);
    return hr;
}

HRESULT CNVScan::StartFeederJob() {
    HRESULT hr = FixDuplex();
    if (FAILED(hr))
        return hr;
    if (m_spADF3)
        hr = Call<&IOstrelADF3::ADFStartJob>(m_spADF3);
    if (m_pLog && FAILED(hr))
        m_pLog->Format(kLogInformation,
                       "CNVScan::firstScanInit:ADFStartJob failed m_dwErrorCode %d", m_dwErrorCode);
    return hr;
}

// The length is taken from a failed feed as well; one that no page has counts as unknown.
HRESULT CNVScan::FeedSheet() {
    DWORD tenths = 0;
    const HRESULT hr = Call<&IOstrelADF2::ADF2PaperFeed>(m_spADF2, &tenths);
    m_pageLength = tenths <= kMaxTenths ? tenths * kUnitsPerTenth : 0;
    if (m_pLog && FAILED(hr))
        m_pLog->Format(kLogInformation,
                       "CNVScan::firstScanInit:ADF2PaperFeed failed m_dwErrorCode %d",
                       m_dwErrorCode);
    m_bSheetLoaded = SUCCEEDED(hr);
    m_bFeedFailed = FAILED(hr);
    return hr;
}

void CNVScan::DropSheet() {
    m_bSheetLoaded = false;
    m_pageLength = 0;
}

// Where the sheet isn't any more, the next attempt must feed one, and no job waits for that.
void CNVScan::DropLostSheet() {
    constexpr DWORD kSheetGone[] = {OSTREL_ADF_JAMMED, OSTREL_ADF_EMPTY, OSTREL_ADF_HATCH_OPEN,
                                    OSTREL_APF_JAMMED};
    if (std::ranges::find(kSheetGone, m_dwErrorCode) == std::end(kSheetGone))
        return;
    DropSheet();
    m_bFeedFailed = true;
}

// From here on duplex is fixed: the job has delivered a side.
void CNVScan::UseUpSheet() {
    DropSheet();
    if (UsesFeeder() && m_bADFJobOpen)
        m_bJobPageDone = true;
}

// The job's level of the lock; one that it holds already is enough.
HRESULT CNVScan::LockFeederJob() {
    const HRESULT hr = m_bADFJobLocked ? S_OK : TakeLevel();
    m_bADFJobLocked = SUCCEEDED(hr);
    return hr;
}

// The level is gone whatever is answered.
HRESULT CNVScan::UnlockFeederJob() {
    m_bADFJobLocked = false;
    return GiveLevelBack();
}

// Ends the job with the device, the third generation's own end first. Whatever it answers, the job
// is over here: asking again could not end it better.
void CNVScan::CloseFeederJob(NotedFailure& noted) {
    const HRESULT locked = LockFeederJob();
    Note(noted, locked);
    if (SUCCEEDED(locked)) {
        if (m_spADF3)
            Note(noted, Call<&IOstrelADF3::ADFEndJob>(m_spADF3));
        Note(noted, Call<&IOstrelADF2::EndADF2Job>(m_spADF2));
        Note(noted, UnlockFeederJob());
    }
    m_bADFJobOpen = false;
    DropSheet();
}

// Unlike the end of the last page this one reports a failure and leaves the job open, so that the
// caller can try again. The third generation's end isn't told: the job was given up, not finished.
HRESULT CNVScan::endAdfJob() {
    DeviceTrace trace("CNVScan::endAdfJob", *this);
    if (!m_bADFJobOpen)
        return trace.GetResult();
    // One that failed to end is still open, and may have lost its level.
    if (FAILED(trace.SetResult(LockFeederJob()).GetResult()) ||
        FAILED(trace.SetResult(Call<&IOstrelADF2::EndADF2Job>(m_spADF2)).GetResult()) ||
        FAILED(trace.SetResult(UnlockFeederJob()).GetResult()))
        return trace.GetResult();
    m_bADFJobOpen = false;
    DropSheet();
    return trace.GetResult();
}

// In the order of nesting: the scan within the job, the job within the gate.
void CNVScan::ReleaseAll(NotedFailure& noted) {
    StopScan(noted);
    if (m_bADFJobOpen)
        CloseFeederJob(noted);
    if (m_bJobGateOpen)
        CloseJobGate(noted);
}

HRESULT CNVScan::releaseScanner() {
    DeviceTrace trace("CNVScan::releaseScanner", *this);
    NotedFailure noted;
    ReleaseAll(noted);
    return trace.SetResult(Noted(noted)).GetResult();
}

// ---- Job gate

// Opens the gate if it is closed, and tells its state. Between the calls an open gate holds a level
// of the lock.
HRESULT CNVScan::checkJobGate(DWORD* state) {
    DeviceTrace trace("CNVScan::checkJobGate", *this);
    if (!state)
        return trace.SetResult(E_POINTER).GetResult();
    *state = kGateOpen;
    if (!m_spJobGate)
        return trace.GetResult();
    // A gate that was found open belongs to a scan that is under way, and stays open through a
    // failure.
    const bool opens = !m_bJobGateOpen;
    NotedFailure noted;
    if (opens) {
        Note(noted, TakeLevel());
        if (SUCCEEDED(noted.result)) {
            Note(noted, Call<&IOstrelJobGate::BeginJobGate>(m_spJobGate, kBeginFlags));
            m_bJobGateOpen = SUCCEEDED(noted.result);
            if (!m_bJobGateOpen)
                GiveLevelBackQuietly();
        }
    }
    DWORD inDevice = 0;
    if (m_bJobGateOpen)
        Note(noted, Call<&IOstrelJobGate::GetJobGateState>(m_spJobGate, &inDevice));
    if (SUCCEEDED(noted.result)) {
        switch (inDevice) {
            case kDeviceClosed:
                *state = kGateClosed;
                break;
            case kDeviceReady:
                *state = kGateReady;
                break;
            case kDeviceOpen:
                *state = kGateOpen;
                break;
            default:
                *state = kGateRefused;
                break;
        }
    }
    // One that the device has closed is closed here too, and one that can't tell is left as found.
    if (m_bJobGateOpen && (FAILED(noted.result) ? opens : inDevice == kDeviceClosed))
        CloseJobGate(noted);
    if (FAILED(noted.result))
        *state = kGateRefused;
    return trace.SetResult(Noted(noted)).GetResult();
}

HRESULT CNVScan::cancelJobGate(DWORD reason) {
    DeviceTrace trace("CNVScan::cancelJobGate", *this);
    if (reason != kAbortReason || !m_spJobGate || !m_bJobGateOpen)
        return trace.GetResult();
    NotedFailure noted;
    Note(noted, Call<&IOstrelJobGate::AbortJobGate>(m_spJobGate, kAbortGate));
    CloseJobGate(noted);
    return trace.SetResult(Noted(noted)).GetResult();
}

void CNVScan::CloseJobGate(NotedFailure& noted) {
    if (m_spJobGate) {
        Note(noted, Call<&IOstrelJobGate::EndJobGate>(m_spJobGate));
        Note(noted, GiveLevelBack());
    }
    m_bJobGateOpen = false;
}
