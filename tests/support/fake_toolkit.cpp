#include "tests/support/fake_toolkit.h"

#include <algorithm>
#include <cstring>

namespace {

template <class T>
T* Into(void* place) {
    return static_cast<T*>(place);
}

void SetDepths(BYTE (&list)[kOstrelDepths], std::initializer_list<int> depths) {
    std::transform(depths.begin(), depths.end(), list, [](int d) { return static_cast<BYTE>(d); });
}

}  // namespace

CFakeToolkit::CFakeToolkit() {
    std::strcpy(deviceCaps.model, "FAKE1");
    deviceCaps.lampWarmUpFlatbed = 20;
    deviceCaps.opticalResolution = 1200;
    deviceCaps.maxXResolution = 2400;
    deviceCaps.maxYResolution = 4800;
    deviceCaps.minResolution = 75;
    deviceCaps.bedWidth = 2550;
    deviceCaps.bedHeight = 3300;
    deviceCaps.depthFlags = OSTREL_DEPTH_SINGLE_CHANNEL | OSTREL_DEPTH_ONE_BIT;
    deviceCaps.modeFlags = OSTREL_MODE_PREVIEW;
    deviceCaps.channelFlags = 0x1F;
    SetDepths(deviceCaps.colorDepths, {8, 16});
    SetDepths(deviceCaps.grayDepths, {8, 16});
    deviceCaps.tonemapLength = 256;
    deviceCaps.tonemapMaxValue = 255;
    deviceCaps.tonemapEntrySize = 1;
    adf2Caps.hasADF = 1;
    adf2Caps.adfDuplexFlags = 1;
    adf2Caps.maxXResolution = 600;
    adf2Caps.maxYResolution = 600;
    adf2Caps.minResolution = 100;
    adf2Caps.simplexWidth = 2580;
    adf2Caps.simplexHeight = 4200;
    adf2Caps.duplexWidth = 2540;
    adf2Caps.duplexHeight = 3500;
    adf2Caps.modeFlags = OSTREL_MODE_PREVIEW;
    SetDepths(adf2Caps.colorDepths, {8});
    SetDepths(adf2Caps.grayDepths, {8});
    adf3Caps.hasADF = 1;
    xpaCaps.hasXPA = 1;
    xpaCaps.lampWarmUpXPA = 40;
    xpaCaps.maxXResolution = 4800;
    xpaCaps.maxYResolution = 9600;
    xpaCaps.minResolution = 150;
    xpaCaps.xpaWidth = 300;
    xpaCaps.xpaHeight = 450;
    xpaCaps.xpaMediaType = 9;
    SetDepths(xpaCaps.depths, {8, 16});
    nvramInfo.items = OSTREL_NVRAM_HAS_SCAN_COUNT | OSTREL_NVRAM_HAS_FIRST_USE;
    nvram = {{OSTREL_NVRAM_SCAN_COUNT, 1000}, {OSTREL_NVRAM_FIRST_USE, 2020u << 16 | 29 << 8 | 2}};
    compressionCaps.supportedTypes = OSTREL_UNCOMPRESSED | OSTREL_JPEG;
    compressionCaps.defaultType = OSTREL_UNCOMPRESSED;
    compressionCaps.minQFactor = 10;
    compressionCaps.maxQFactor = 90;
    panelCaps.flags = 1;
    colorMatrixCaps.hasMatrix = 1;
    firmware = u"1.07";
}

// ---- Script and record

void CFakeToolkit::WithoutFacets() {
    for (const IID* iid : {&IID_IOstrelADF2, &IID_IOstrelADF3, &IID_IOstrelXPA, &IID_IOstrelXPALamp,
                           &IID_IOstrelXPAMedia, &IID_IOstrelNvram, &IID_IOstrelCompression,
                           &IID_IOstrelExtendedLamp, &IID_IOstrelPanel, &IID_IOstrelProperties,
                           &IID_IOstrelColorMatrix, &IID_IOstrelJobGate, &IID_IOstrelProfile,
                           &IID_IOstrelResolutions, &IID_IOstrelADF, &IID_IOstrelButtons,
                           &IID_IOstrelInstantLamp, &IID_IOstrelPendingTask})
        Without(*iid);
}

void CFakeToolkit::Fail(const std::string& operation, DWORD code, int nth, int times) {
    const std::lock_guard guard(m_guard);
    m_faults.push_back({operation, code, m_counts[operation] + nth, times});
}

std::vector<CFakeToolkit::Call> CFakeToolkit::Calls() const {
    const std::lock_guard guard(m_guard);
    return m_calls;
}

std::vector<std::string> CFakeToolkit::Operations() const {
    std::vector<std::string> names;
    for (const Call& call : Calls())
        names.push_back(call.operation);
    return names;
}

int CFakeToolkit::Count(const std::string& operation) const {
    const auto names = Operations();
    return static_cast<int>(std::count(names.begin(), names.end(), operation));
}

DWORD CFakeToolkit::LastValue(const std::string& operation) const {
    DWORD value = 0;
    for (const Call& call : Calls()) {
        if (call.operation == operation)
            value = call.value;
    }
    return value;
}

void CFakeToolkit::ForgetCalls() {
    const std::lock_guard guard(m_guard);
    m_calls.clear();
}

std::vector<std::string> CFakeToolkit::Violations() const {
    const std::lock_guard guard(m_guard);
    return m_violations;
}

int CFakeToolkit::Levels() const {
    const std::lock_guard guard(m_guard);
    int levels = 0;
    for (const auto& [session, held] : m_sessions)
        levels += held;
    return levels;
}

int CFakeToolkit::OpenSessions() const {
    const std::lock_guard guard(m_guard);
    return static_cast<int>(m_sessions.size());
}

HRESULT CFakeToolkit::Refuse(DWORD* error, DWORD code) const {
    if (code != OSTREL_NO_ERROR)
        *error = code;
    return kFailure;
}

HRESULT CFakeToolkit::Enter(const char* operation, DWORD session, DWORD* error, DWORD value,
                            Needs needs) {
    if (onCall)
        onCall(operation);
    const std::lock_guard guard(m_guard);
    const auto held = m_sessions.find(session);
    const bool known = held != m_sessions.end();
    m_calls.push_back({operation, known ? held->second : 0, value});
    const int count = ++m_counts[operation];
    if (!known) {
        m_violations.push_back(std::string(operation) + " of a session that isn't open");
        return Refuse(error, OSTREL_INVALID_SESSION);
    }
    if (needs == Needs::Lock && held->second == 0) {
        m_violations.push_back(std::string(operation) + " without the lock");
        return Refuse(error, OSTREL_NOT_LOCKED);
    }
    for (const Fault& fault : m_faults) {
        if (fault.operation == operation && count >= fault.first &&
            count - fault.first < fault.times)
            return Refuse(error, fault.code);
    }
    return S_OK;
}

HRESULT CFakeToolkit::Reserved() {
    const std::lock_guard guard(m_guard);
    m_violations.push_back("a reserved operation");
    return E_NOTIMPL;
}

HRESULT CFakeToolkit::QueryInterface(REFIID iid, void** object) {
    const std::pair<IID, void*> facets[] = {
        {IID_IUnknown, static_cast<IOstrelDevice*>(this)},
        {IID_IOstrelDevice, static_cast<IOstrelDevice*>(this)},
        {IID_IOstrelADF2, static_cast<IOstrelADF2*>(this)},
        {IID_IOstrelADF3, static_cast<IOstrelADF3*>(this)},
        {IID_IOstrelXPA, static_cast<IOstrelXPA*>(this)},
        {IID_IOstrelXPALamp, static_cast<IOstrelXPALamp*>(this)},
        {IID_IOstrelXPAMedia, static_cast<IOstrelXPAMedia*>(this)},
        {IID_IOstrelNvram, static_cast<IOstrelNvram*>(this)},
        {IID_IOstrelCompression, static_cast<IOstrelCompression*>(this)},
        {IID_IOstrelExtendedLamp, static_cast<IOstrelExtendedLamp*>(this)},
        {IID_IOstrelPanel, static_cast<IOstrelPanel*>(this)},
        {IID_IOstrelProperties, static_cast<IOstrelProperties*>(this)},
        {IID_IOstrelColorMatrix, static_cast<IOstrelColorMatrix*>(this)},
        {IID_IOstrelJobGate, static_cast<IOstrelJobGate*>(this)},
        {IID_IOstrelProfile, static_cast<IOstrelProfile*>(this)},
        {IID_IOstrelResolutions, static_cast<IOstrelResolutions*>(this)},
        {IID_IOstrelADF, static_cast<IOstrelADF*>(this)},
        {IID_IOstrelButtons, static_cast<IOstrelButtons*>(this)},
        {IID_IOstrelInstantLamp, static_cast<IOstrelInstantLamp*>(this)},
        {IID_IOstrelPendingTask, static_cast<IOstrelPendingTask*>(this)},
    };
    *object = nullptr;
    if (std::find(m_missing.begin(), m_missing.end(), iid) != m_missing.end())
        return E_NOINTERFACE;
    for (const auto& [facet, place] : facets) {
        if (facet == iid) {
            *object = place;
            AddRef();
            return S_OK;
        }
    }
    return E_NOINTERFACE;
}

// ---- Session and lock

HRESULT CFakeToolkit::OpenDevice(LPCOLESTR, WORD ioType, DWORD* session, DWORD* error) {
    const std::lock_guard guard(m_guard);
    m_sessions[++m_lastSession] = 0;
    const HRESULT hr = Enter("OpenDevice", m_lastSession, error, ioType, Needs::Session);
    if (SUCCEEDED(hr))
        *session = m_lastSession;
    else
        m_sessions.erase(m_lastSession);
    return hr;
}

HRESULT CFakeToolkit::CloseDevice(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("CloseDevice", session, error, 0, Needs::Session);
    const std::lock_guard guard(m_guard);
    m_sessions.erase(session);
    m_scanning = m_reading = m_fed = m_secondDue = false;
    return hr;
}

HRESULT CFakeToolkit::LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) {
    const HRESULT hr = Enter("LockScanner", session, error, milliseconds, Needs::Session);
    if (FAILED(hr))
        return hr;
    const std::lock_guard guard(m_guard);
    if (mode == 0 && milliseconds != OSTREL_LOCK_WAIT)
        m_violations.push_back("LockScanner with an odd time-out");
    if (Levels() > m_sessions[session])
        return Refuse(error, OSTREL_LOCK_FAILED);
    ++m_sessions[session];
    return S_OK;
}

// The level is given back whatever is answered.
HRESULT CFakeToolkit::UnlockScanner(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("UnlockScanner", session, error);
    const std::lock_guard guard(m_guard);
    const auto held = m_sessions.find(session);
    if (held != m_sessions.end() && held->second > 0)
        --held->second;
    return hr;
}

// ---- Lamps

HRESULT CFakeToolkit::LampOn(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("LampOn", session, error);
    if (SUCCEEDED(hr))
        lampOn = 1;
    return hr;
}

HRESULT CFakeToolkit::XPALampOn(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("XPALampOn", session, error);
    if (SUCCEEDED(hr))
        lampOn = 2;
    return hr;
}

// ---- Scan

DWORD CFakeToolkit::LineBytes(const OstrelScanParams& params) {
    const std::uint64_t samples = std::uint64_t{params.width} * params.xResolution / 300 *
                                  (params.colorMode == OSTREL_COLOR ? 3 : 1);
    return static_cast<DWORD>((samples * params.bitsPerSample + 7) / 8);
}

OstrelScanSetup CFakeToolkit::SetupFor(const OstrelScanParams& params) const {
    if (setup)
        return *setup;
    OstrelScanSetup made = {};
    made.pixelsPerLine = params.width * params.xResolution / 300;
    made.lines = params.height * params.yResolution / 300;
    return made;
}

HRESULT CFakeToolkit::StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) {
    const HRESULT hr = Enter("StartScan", session, error, params->source);
    if (FAILED(hr))
        return hr;
    const std::lock_guard guard(m_guard);
    if (m_scanning)
        m_violations.push_back("StartScan in a scan");
    if (params->source == OSTREL_SOURCE_FEEDER && !m_fed && !m_secondDue)
        return Refuse(error, OSTREL_ADF_EMPTY);
    started = *params;
    m_lines = SetupFor(*params).lines;
    m_nextLine = 0;
    m_scanning = true;
    m_reading = m_duplexScan = false;
    return S_OK;
}

HRESULT CFakeToolkit::SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                                 const void* blue, DWORD* error) {
    const HRESULT hr = Enter("SetTonemap", session, error, bytes);
    if (FAILED(hr))
        return hr;
    const void* const tables[] = {red, green, blue};
    for (int i = 0; i < 3; ++i)
        tonemap[i].assign(static_cast<const BYTE*>(tables[i]),
                          static_cast<const BYTE*>(tables[i]) + bytes);
    return S_OK;
}

HRESULT CFakeToolkit::BeginRead(DWORD session, DWORD* status) {
    const HRESULT hr = Enter("BeginRead", session, status);
    const std::lock_guard guard(m_guard);
    if (!m_scanning)
        m_violations.push_back("BeginRead without a start");
    m_reading = SUCCEEDED(hr);
    return hr;
}

HRESULT CFakeToolkit::ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                               DWORD* status) {
    *bytesRead = 0;
    const HRESULT hr = Enter("ReadScan", session, status, bytesWanted);
    if (FAILED(hr))
        return hr;
    const std::lock_guard guard(m_guard);
    if (!m_scanning || !m_reading) {
        m_violations.push_back("ReadScan without a start");
        return Refuse(status, OSTREL_UNKNOWN_ERROR);
    }
    return Deliver(Into<BYTE>(buffer), bytesWanted, bytesRead, status);
}

HRESULT CFakeToolkit::Deliver(BYTE* buffer, DWORD wanted, DWORD* got, DWORD* status) {
    const DWORD lineBytes = LineBytes(started);
    while (*got + lineBytes <= wanted && m_nextLine < std::min(m_lines, linesOfMedia)) {
        for (DWORD i = 0; i < lineBytes; ++i)
            buffer[*got + i] = Pixel(m_nextLine, i);
        *got += lineBytes;
        ++m_nextLine;
    }
    if (m_nextLine == linesOfMedia && m_nextLine < m_lines) {
        for (DWORD i = 0; i < strayBytes && *got < wanted; ++i)
            buffer[(*got)++] = Pixel(m_nextLine, i);
        *status = endStatus;
    }
    return S_OK;
}

HRESULT CFakeToolkit::EndScan(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("EndScan", session, error);
    const std::lock_guard guard(m_guard);
    const bool feeder = started.source == OSTREL_SOURCE_FEEDER;
    if (m_scanning && feeder && !(started.scanFlags & OSTREL_SCAN_PREVIEW)) {
        m_secondDue = !m_secondDue && m_duplexScan;
        m_fed = false;
    }
    m_scanning = m_reading = false;
    return hr;
}

// ---- Feeder

bool CFakeToolkit::HasPaper() const {
    const bool waiting = m_fed && (adf2Caps.adfFlags & OSTREL_ADF_SHEET_THROUGH);
    return sheets > 0 || waiting || m_secondDue;
}

HRESULT CFakeToolkit::IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) {
    const HRESULT hr = Enter("IsPaperInADF", session, error);
    if (SUCCEEDED(hr))
        *paper = HasPaper();
    return hr;
}

HRESULT CFakeToolkit::SetADFMode(DWORD session, DWORD mode, DWORD* error) {
    const HRESULT hr = Enter("SetADFMode", session, error, mode);
    m_duplexScan = SUCCEEDED(hr) && mode == OSTREL_ADF_MODE_DUPLEX;
    return hr;
}

HRESULT CFakeToolkit::EndADF2Job(DWORD session, DWORD* error) {
    const HRESULT hr = Enter("EndADF2Job", session, error);
    m_fed = m_secondDue = false;
    return hr;
}

HRESULT CFakeToolkit::ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) {
    const HRESULT hr = Enter("ADF2PaperFeed", session, error);
    if (FAILED(hr))
        return hr;
    if (!m_secondDue) {
        if (m_fed)
            m_violations.push_back("ADF2PaperFeed onto a sheet");
        if (sheets == 0)
            return Refuse(error, OSTREL_ADF_EMPTY);
        --sheets;
        m_fed = true;
    }
    *pageLength = pageTenths;
    return S_OK;
}

// ---- Records and properties

HRESULT CFakeToolkit::GetMediaSummary(DWORD session, OstrelMediaList* list, DWORD* error) {
    OstrelMediaList told = {};
    told.count = static_cast<WORD>(media.size());
    return Tell("GetMediaSummary", session, error, list, told);
}

HRESULT CFakeToolkit::SetPanelText(DWORD session, DWORD, LPCOLESTR text, DWORD bytes,
                                   DWORD* error) {
    const HRESULT hr = Enter("SetPanelText", session, error, bytes, Needs::Session);
    if (SUCCEEDED(hr))
        panelText = text;
    return hr;
}

HRESULT CFakeToolkit::GetStringProperty(DWORD session, LPCOLESTR, LPOLESTR* text, DWORD* error) {
    const HRESULT hr = Enter("GetStringProperty", session, error);
    if (FAILED(hr) || !firmware)
        return FAILED(hr) ? hr : Refuse(error, OSTREL_INVALID_HW_PROPERTY);
    const std::size_t bytes = (firmware->size() + 1) * sizeof(OLECHAR);
    *text = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    std::memcpy(*text, firmware->c_str(), bytes);
    return S_OK;
}

HRESULT CFakeToolkit::GetLongProperty(DWORD session, LPCOLESTR name, DWORD* value, DWORD* error) {
    const HRESULT hr = Enter("GetLongProperty", session, error);
    const auto found = longs.find(name);
    if (FAILED(hr) || found == longs.end())
        return FAILED(hr) ? hr : Refuse(error, OSTREL_INVALID_HW_PROPERTY);
    *value = found->second;
    return S_OK;
}

HRESULT CFakeToolkit::SetColorMatrix(DWORD session, const double* matrix, DWORD* error) {
    const HRESULT hr = Enter("SetColorMatrix", session, error);
    if (SUCCEEDED(hr))
        std::copy_n(matrix, 9, colorMatrix);
    return hr;
}

HRESULT CFakeToolkit::GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) {
    const DWORD size = profileSize.value_or(static_cast<DWORD>(profile.size()));
    return Tell("GetProfileSize", session, error, bytes, size);
}

HRESULT CFakeToolkit::ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) {
    const HRESULT hr = Enter("ReadProfile", session, error, bytes);
    if (SUCCEEDED(hr))
        std::memcpy(buffer, profile.data(), std::min<std::size_t>(bytes, profile.size()));
    return hr;
}

HRESULT CFakeToolkit::GetResolutionTable(DWORD session, DWORD source, OstrelResolutionTable* table,
                                         DWORD* error) {
    const HRESULT hr = Enter("GetResolutionTable", session, error, source);
    if (SUCCEEDED(hr))
        *table = resolutions[source];
    return hr;
}

HRESULT CFakeToolkit::ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) {
    const HRESULT hr = Enter("ReadButtons", session, error, bytes);
    if (SUCCEEDED(hr))
        std::copy_n(buttons.begin(), std::min<std::size_t>(bytes, buttons.size()), buffer);
    return hr;
}
