// The phases of a scan; what holds levels of the lock between them is drawn in nv_scan.h.
#include <algorithm>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"
#include "platform/com.h"

namespace {

constexpr HRESULT kInvalidRequest = MakeResult(0x80040001);
constexpr HRESULT kGateRefused = MakeResult(0x80040007);
constexpr HRESULT kNoData = MakeResult(0x8004000D);

constexpr DWORD kGateOpen = 1;  // states of checkJobGate that let a scan go on
constexpr DWORD kGateReady = 2;
constexpr DWORD kAbortGate = 3;

// No device scans more pixels to a line: twenty of the longest lines, 16-bit colour, have less than
// 2^31 bytes. Lines are counted by signed numbers in bitmaps.
constexpr DWORD kMaxPixels = 0x1000000;
constexpr DWORD kMaxLines = 0x7FFFFFFF;

// By channel; colour has none.
constexpr WORD kChannelMasks[] = {0, 8, 1, 2, 4, 16};

// A window's edge or length for the device. Nothing lies left of or above the origin.
DWORD DeviceLength(LONG length) {
    return static_cast<DWORD>(std::max(length, LONG{0}));
}

// Would a device answer so for this window? One of nothing has nothing.
bool IsPlausible(DWORD answer, DWORD asked, DWORD highest) {
    return answer <= highest && (answer != 0 || asked == 0);
}

}  // namespace

// What can't be, whatever the device would answer: told ahead of the lock and of any call.
HRESULT CNVScan::CheckRequest(const ScanSource& source) {
    if (source.useXPA && !m_spXPA)
        return E_INVALIDARG;
    if (source.useXPA && source.useADF)
        return E_INVALIDARG;
    if (source.duplex && !source.useADF)
        return E_INVALIDARG;
    bool canRequest = false;
    if (source.duplex && (FAILED(canRequestDuplex(&canRequest)) || !canRequest))
        return E_INVALIDARG;
    return IsFeederOnly() && !source.useADF ? E_INVALIDARG : S_OK;
}

HRESULT CNVScan::firstScanInit(const ScanSource* source) {
    DeviceTrace trace("CNVScan::firstScanInit", *this);
    if (!source)
        return trace.SetResult(E_POINTER).GetResult();
    if (m_pLog)
        m_pLog->Format(kLogInformation,
                       "CNVScan::firstScanInit Entry: useADF %d useXPA %d duplex %d , "
                       "wPaperPath %d",
                       source->useADF, source->useXPA, source->duplex, m_devCaps.wPaperPath);
    if (FAILED(trace.SetResult(CheckRequest(*source)).GetResult()))
        return trace.GetResult();
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked()) {
        if (m_pLog)
            m_pLog->Format(kLogInformation,
                           "CNVScan::firstScanInit  !OstrelLock.IsLocked() m_dwErrorCode %d",
                           m_dwErrorCode);
        return trace.SetResult(LockFailure(lock)).GetResult();
    }
    // From here on endScan has something to end, though the scan's own level is only taken by
    // finalScanInit.
    m_bUnlockOwed = true;
    // A gate that this call has opened is closed again by its failure. One of an open job stays:
    // its pages go on.
    const bool gateWasOpen = m_bJobGateOpen;
    if (SUCCEEDED(trace.SetResult(PassJobGate()).GetResult()))
        trace.SetResult(ChooseSource(*source));
    // A gate is left open for the scan to come, and there will be none.
    if (FAILED(trace.GetResult()) && m_bJobGateOpen && !gateWasOpen && !m_bADFJobOpen) {
        NotedFailure ignored;
        const DWORD errorCode = m_dwErrorCode;
        CloseJobGate(ignored);
        m_dwErrorCode = errorCode;
    }
    return trace.GetResult();
}

// Any other state than open or ready refuses the scan, and the gate is aborted.
HRESULT CNVScan::PassJobGate() {
    if (m_bJobGateOpen)
        return S_OK;
    DWORD state = 0;
    const HRESULT hr = checkJobGate(&state);
    if (FAILED(hr))
        return hr;
    if (state == kGateOpen || state == kGateReady)
        return S_OK;
    cancelJobGate(kAbortGate);
    return kGateRefused;
}

// The source counts from where it is known to have paper. Where there is no other, what can be told
// of it doesn't wait for paper.
HRESULT CNVScan::ChooseSource(const ScanSource& source) {
    bool paper = false;
    HRESULT hr = adfReady(&paper);
    if (FAILED(hr)) {
        if (m_pLog)
            m_pLog->Format(kLogInformation, "CNVScan::firstScanInit  adfReady failed %x", hr);
        return hr;
    }
    const bool isEmpty = source.useADF && !paper && !m_bSheetLoaded;
    if (!isEmpty || IsFeederOnly())
        m_source = {.valid = 1, .request = source};
    if (isEmpty)
        return EmptyFeederResult();
    if (!source.useADF)
        return S_OK;
    hr = OpenFeederJob();
    return FAILED(hr) || m_bSheetLoaded ? hr : FeedSheet();
}

// The device's own answer replaces what was reckoned: only it knows how its steps round. It is
// believed only within bounds that later arithmetic holds.
HRESULT CNVScan::secondScanInit(DWORD* pixels, DWORD* lines) {
    DeviceTrace trace("CNVScan::secondScanInit", *this);
    if (!pixels || !lines)
        return trace.SetResult(E_POINTER).GetResult();
    *pixels = 0;
    *lines = 0;
    m_scanResult = {};
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    if (FAILED(trace.SetResult(fillScanParameters()).GetResult()))
        return trace.GetResult();
    OstrelScanSetup setup = {};
    trace.SetResult(Call<&IOstrelDevice::GetScanSetup>(m_spDevice, &m_scanParams, &setup));
    if (FAILED(trace.GetResult()))
        return trace.GetResult();
    if (!IsPlausible(setup.pixelsPerLine, m_scanParams.width, kMaxPixels) ||
        !IsPlausible(setup.lines, m_scanParams.height, kMaxLines)) {
        if (m_pLog)
            m_pLog->Format(kLogError, "CNVScan::secondScanInit device tells %u pixels, %u lines",
                           setup.pixelsPerLine, setup.lines);
        return trace.SetResult(kNoData).GetResult();
    }
    m_scanResult = setup;
    *pixels = setup.pixelsPerLine;
    *lines = setup.lines;
    return trace.GetResult();
}

DWORD CNVScan::SourceModeFlags() const {
    if (UsesAdapter())
        return m_xpaCaps.modeFlags;
    return UsesFeeder() ? m_adf2Caps.modeFlags : m_devCaps.modeFlags;
}

// Slides and negatives are two sources of the device, though one of the driver.
HRESULT CNVScan::fillScanParameters() {
    if (!m_bGeometryValid || !m_source.valid)
        return kInvalidRequest;
    OstrelScanParams& params = m_scanParams;
    params = {};
    params.left = DeviceLength(m_geometry.left);
    params.top = DeviceLength(m_geometry.top);
    params.width = DeviceLength(m_geometry.width);
    params.height = DeviceLength(m_geometry.height);
    params.xResolution = static_cast<WORD>(m_geometry.scanXRes);
    params.yResolution = static_cast<WORD>(m_geometry.scanYRes);
    params.bitsPerSample = static_cast<BYTE>(m_depth);
    params.colorMode = OSTREL_COLOR;
    if (m_channel != kChannelColor) {
        params.colorMode = m_depth == 1 ? OSTREL_ONE_BIT : OSTREL_ONE_CHANNEL;
        if (m_channel < std::size(kChannelMasks))
            params.channelMask = kChannelMasks[m_channel];
    }
    if (UsesAdapter())
        params.source = m_source.request.negative ? OSTREL_SOURCE_NEGATIVE : OSTREL_SOURCE_POSITIVE;
    else
        params.source = UsesFeeder() ? OSTREL_SOURCE_FEEDER : OSTREL_SOURCE_FLATBED;
    // Told only where it is honoured: elsewhere the bit would be an invalid parameter.
    if (m_source.request.preview && (SourceModeFlags() & OSTREL_MODE_PREVIEW))
        params.scanFlags |= OSTREL_SCAN_PREVIEW;
    if (m_lineArtThreshold != 0 && params.colorMode == OSTREL_ONE_BIT)
        params.scanFlags |= OSTREL_SCAN_TONEMAP_THRESHOLD;
    return S_OK;
}

// All that is slow stands here, as the two phases ahead of it run at each validation. Steps in the
// order in which the device needs them; the first failure ends it and leaves the level and
// m_bScanStarted to the next endScan.
HRESULT CNVScan::finalScanInit() {
    DeviceTrace trace("CNVScan::finalScanInit", *this);
    // Without a prepared scan, or with one of nothing, there is nothing to start.
    if (m_scanResult.pixelsPerLine == 0 || m_scanResult.lines == 0)
        return trace.SetResult(kInvalidRequest).GetResult();
    m_bScanStarted = true;
    using Step = HRESULT (CNVScan::*)();
    constexpr Step kSteps[] = {
        &CNVScan::LockForScan,      &CNVScan::LightAndWarmUp,   &CNVScan::Calibrate,
        &CNVScan::SetUpCompression, &CNVScan::beforeStartHook1, &CNVScan::beforeStartHook2,
        &CNVScan::sendColorMatrix,  &CNVScan::StartPage,
    };
    for (const Step step : kSteps) {
        if (FAILED(trace.SetResult((this->*step)()).GetResult()))
            return trace.GetResult();
    }
    return trace.GetResult();
}

// A second attempt goes on with the level of the first.
HRESULT CNVScan::LockForScan() {
    if (m_bScanLocked)
        return S_OK;
    const HRESULT hr = TakeLevel();
    m_bScanLocked = SUCCEEDED(hr);
    return hr;
}

HRESULT CNVScan::LightAndWarmUp() {
    const HRESULT hr = setLampOn(UsesAdapter());
    return SUCCEEDED(hr) ? AwaitWarmUp() : hr;
}

HRESULT CNVScan::Calibrate() {
    if (m_bCalibrated)
        return S_OK;
    const HRESULT hr = Call<&IOstrelDevice::CalibrateScanner>(m_spDevice);
    m_bCalibrated = SUCCEEDED(hr);
    return hr;
}

// Places for what a family of devices has to do ahead of the start; this one has nothing.
HRESULT CNVScan::beforeStartHook1() {
    return S_OK;
}

HRESULT CNVScan::beforeStartHook2() {
    return S_OK;
}

HRESULT CNVScan::sendColorMatrix() {
    bool has = false;
    hasColorMatrix(&has);
    return has ? Call<&IOstrelColorMatrix::SetColorMatrix>(
                     m_spColorMatrix, static_cast<const double*>(m_colorMatrix))
               : S_OK;
}

// The feeder's mode goes behind the start: the device takes it for the running scan. Some find out
// only there that no sheet has come.
HRESULT CNVScan::StartPage() {
    HRESULT hr = Call<&IOstrelDevice::StartScan>(m_spDevice, &m_scanParams);
    m_bPageStarted = SUCCEEDED(hr);
    if (m_bPageStarted)
        hr = setAdfMode();
    if (FAILED(hr))
        DropLostSheet();
    else if (!m_source.request.preview)
        UseUpSheet();
    return hr;
}

// ---- Reading and the end of a page

HRESULT CNVScan::readScanData(WORD phase, void* buffer, DWORD wanted, DWORD* got, DWORD lineBytes) {
    if (!buffer || !got)
        return E_POINTER;
    // The reader ends at lines and buffers, the caller at bytes: as many reads as it takes.
    DWORD taken = *got;  // a caller's 0 reads nothing
    *got = 0;
    if (!m_bPageStarted)
        return kNoData;
    // Counted for the call; the reader keeps a reference of its own from phase 2 on.
    const CScanReadDevice device(m_spDevice.Get());
    while (*got < wanted && taken != 0) {
        DWORD status = OSTREL_NO_ERROR;
        const LONG known =
            m_reader.Consume(phase, static_cast<BYTE*>(buffer) + *got, wanted - *got, &taken,
                             &status, lineBytes, m_scanResult.lines, device, m_dwSession);
        *got += taken;
        if (!known || !m_reader.IsOpen())
            return kNoData;
        // The end of the media is known before the last of its bytes are taken.
        if (status != OSTREL_NO_ERROR && status != OSTREL_END_OF_MEDIA) {
            m_dwErrorCode = status;
            return mapToolkitError(status);
        }
        // Neither a line nor a reason, or an end of what never began: that is no end of the page.
        if (taken == 0 && (status == OSTREL_NO_ERROR || m_reader.HasFailed())) {
            if (m_pLog)
                m_pLog->Write(kLogError,
                              "CNVScan::readScanData: the device gives less than a line, or fails "
                              "without a code");
            return kNoData;
        }
        phase = 0;
    }
    return S_OK;
}

// The reader first, whatever state the scan is in: its thread may be inside the device.
void CNVScan::StopScan(NotedFailure& noted) {
    m_reader.Shutdown();
    if (m_bScanStarted) {
        // A start that got no lock has not told the device anything yet, but others may have it.
        const HRESULT locked = m_bScanLocked ? S_OK : TakeLevel();
        Note(noted, SUCCEEDED(locked) ? Call<&IOstrelDevice::EndScan>(m_spDevice) : locked);
        if (SUCCEEDED(locked) && !m_bScanLocked)
            GiveLevelBackQuietly();
        ++m_scanCount;
        m_bScanStarted = false;
    }
    // A page that began has taken its sheet along, however it ended.
    if (m_bPageStarted && !m_source.request.preview)
        UseUpSheet();
    m_bPageStarted = false;
    if (m_bScanLocked)
        Note(noted, GiveLevelBack());
    m_bScanLocked = false;
    m_bUnlockOwed = false;
}

// Every step is taken, whatever the one before it answered; the first failure is told.
HRESULT CNVScan::endScan() {
    DeviceTrace trace("CNVScan::endScan", *this);
    NotedFailure noted;
    StopScan(noted);
    // Only with the source still on the feeder: a scan from the glass in between leaves the job
    // open.
    bool jobOver = false;
    if (UsesFeeder() && m_bADFJobOpen && !m_bSheetLoaded) {
        bool paper = false;
        const HRESULT hr = adfReady(&paper);
        Note(noted, hr);
        jobOver = SUCCEEDED(hr) && !paper;
        if (jobOver)
            CloseFeederJob(noted);
    }
    if (m_bJobGateOpen && !m_bADFJobOpen)
        CloseJobGate(noted);
    trace.SetResult(Noted(noted));
    if (SUCCEEDED(trace.GetResult()) && jobOver)
        trace.SetResult(S_FALSE);
    return trace.GetResult();
}
