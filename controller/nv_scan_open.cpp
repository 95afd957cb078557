// Opening and closing the device, and what is learnt from it meanwhile.
#include <algorithm>
#include <cstring>
#include <new>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"
#include "platform/com.h"
#include "platform/told_lines.h"
#include "profile/profile_container.h"

namespace {

// A memory that was never written has all bits set.
constexpr DWORD kScanCountUnset = 0xFFFFFFFF;
constexpr OLECHAR kFirmwareVersion[] = OLESTR("Firmware Version");
constexpr OLECHAR kNotKnown[] = OLESTR("n/a");

// The model, with a zero at its end, which a device may leave out.
struct ModelName {
    explicit ModelName(const OstrelDeviceCaps& caps) {
        std::memcpy(text, caps.model, sizeof(caps.model));
    }
    char text[kOstrelModelChars + 1] = {};
};

// In the toolkit's kind of memory, so that the caller frees every answer alike.
LPOLESTR CopyNotKnown() {
    auto* text = static_cast<LPOLESTR>(CoTaskMemAlloc(sizeof(kNotKnown)));
    if (text)
        std::memcpy(text, kNotKnown, sizeof(kNotKnown));
    return text;
}

}  // namespace

CNVScan::CNVScan(IOstrelDevice* toolkit, ScanClock& clock)
    : m_spDevice(toolkit), m_clock(clock), m_pLog(new (std::nothrow) CLog) {
    if (m_pLog)
        m_pLog->Write(kLogCalls, "CNVScan::CNVScan Constructor entry");
}

// The reader first: its thread uses the session.
CNVScan::~CNVScan() {
    m_reader.Shutdown();
    DWORD error = OSTREL_NO_ERROR;
    if (m_spDevice && m_bSessionOpen)
        m_spDevice->CloseDevice(m_dwSession, &error);
}

// Flags that stand for something the session holds on the device. A lamp may have changed when the
// next one opens, so calibration goes too.
void CNVScan::ForgetSession() {
    m_reader.Shutdown();
    m_dwSession = 0;
    m_bSessionOpen = false;
    m_bInitialized = false;
    m_bScanStarted = false;
    m_bPageStarted = false;
    m_bUnlockOwed = false;
    m_bScanLocked = false;
    m_bADFJobOpen = false;
    m_bADFJobLocked = false;
    m_bJobPageDone = false;
    m_bJobGateOpen = false;
    m_bCalibrated = false;
    DropSheet();
}

// A further opening begins with nothing known. A lamp that was switched on meanwhile is still
// warming, so its time stays.
void CNVScan::ForgetDevice() {
    m_devCaps = {};
    m_adf2Caps = {};
    m_xpaCaps = {};
    m_xpaMediaInfo = {};
    m_pXpaMedia.reset();
    m_nvramInfo = {};
    m_compressionCaps = {};
    m_panelCaps = {};
    m_scanParams = {};
    m_scanResult = {};
    m_adf3Caps = {};
    m_colorMatrixCaps = {};
    m_hwProfileSize = 0;
    m_tonemapData = {};
    std::fill(std::begin(m_resTables), std::end(m_resTables), OstrelResolutionTable{});
    m_source = {};
    m_bGeometryValid = false;
    m_geometry = {};
    m_compressionType = OSTREL_UNCOMPRESSED;
    m_qFactor = 0;
    m_lampSource = kLampUnknown;
    m_bThresholdActive = false;
    m_thresholdValue = 0;
    m_scanCount = 0;
    m_pFirstUse.reset();
    m_pAttrib.reset();
}

// What a query doesn't give, the device doesn't have; a facet of an earlier opening is replaced by
// nothing then.
void CNVScan::QueryFacets() {
    IOstrelDevice* device = m_spDevice.Get();
    m_spADF2.QueryFrom(device, IID_IOstrelADF2);
    m_spXPA.QueryFrom(device, IID_IOstrelXPA);
    m_spNvram.QueryFrom(device, IID_IOstrelNvram);
    m_spCompression.QueryFrom(device, IID_IOstrelCompression);
    m_spExtendedLamp.QueryFrom(device, IID_IOstrelExtendedLamp);
    m_spPanel.QueryFrom(device, IID_IOstrelPanel);
    m_spProperties.QueryFrom(device, IID_IOstrelProperties);
    m_spADF3.QueryFrom(device, IID_IOstrelADF3);
    m_spColorMatrix.QueryFrom(device, IID_IOstrelColorMatrix);
    m_spJobGate.QueryFrom(device, IID_IOstrelJobGate);
    m_spXPALamp.QueryFrom(device, IID_IOstrelXPALamp);
    m_spXPAMedia.QueryFrom(device, IID_IOstrelXPAMedia);
    m_spProfile.QueryFrom(device, IID_IOstrelProfile);
    m_spResolutions.QueryFrom(device, IID_IOstrelResolutions);
}

// Once the device is open, tables of the model and tone map are made whatever else fails: what asks
// for them finds the built-in ones.
HRESULT CNVScan::initDriver(LPCOLESTR deviceName, WORD ioType) {
    CFunctionTrace trace("CNVScan::initDriver", 0, &m_dwErrorCode);
    m_dwErrorCode = OSTREL_NO_ERROR;
    if (!deviceName || !m_spDevice)
        return trace.SetResult(E_POINTER).GetResult();
    // What an earlier attempt has left.
    DWORD ignored = OSTREL_NO_ERROR;
    m_reader.Shutdown();
    if (m_bSessionOpen)
        m_spDevice->CloseDevice(m_dwSession, &ignored);
    ForgetSession();
    ForgetDevice();
    QueryFacets();

    HRESULT hr = m_spDevice->OpenDevice(deviceName, ioType, &m_dwSession, &m_dwErrorCode);
    if (FAILED(hr))
        return trace.SetResult(Failure(hr)).GetResult();
    m_bSessionOpen = true;
    // Held to the end, so that no other session changes lamps or settings in between.
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();

    hr = ReadDevice();
    if (FAILED(hr))
        hr = Failure(hr);
    if (FAILED(hr) || !ReadDeviceProfile())
        createScanAttrib(nullptr, 0);
    if (SUCCEEDED(hr))
        hr = Call<&IOstrelDevice::FinishOpen>(m_spDevice);
    if (SUCCEEDED(hr) && !m_pAttrib)
        hr = E_OUTOFMEMORY;
    m_bInitialized = SUCCEEDED(hr);
    MakeTonemap();
    return trace.SetResult(hr).GetResult();
}

// Records in the order in which the device must be asked; each tells whether the next can be asked
// for. The first failure ends it.
HRESULT CNVScan::ReadDevice() {
    HRESULT hr = CallRaw<&IOstrelDevice::GetDeviceCapabilities>(m_spDevice, &m_devCaps);
    if (SUCCEEDED(hr))
        hr = FindBurningLamp();
    if (SUCCEEDED(hr))
        hr = ReadFeeders();
    hr = ReadAdapter(hr);
    if (SUCCEEDED(hr) && m_spPanel)
        hr = Call<&IOstrelPanel::GetPanelCapabilities>(m_spPanel, &m_panelCaps);
    if (SUCCEEDED(hr) && m_spColorMatrix)
        hr = Call<&IOstrelColorMatrix::GetColorMatrixCapabilities>(m_spColorMatrix,
                                                                   &m_colorMatrixCaps);
    if (SUCCEEDED(hr) && m_spNvram)
        hr = ReadNvramItems();
    if (SUCCEEDED(hr) && m_spCompression) {
        hr = Call<&IOstrelCompression::GetCompressionCapabilities>(m_spCompression,
                                                                   &m_compressionCaps);
        if (SUCCEEDED(hr))
            m_compressionType = m_compressionCaps.defaultType;
    }
    if (SUCCEEDED(hr) && m_spResolutions)
        hr = ReadResolutionTables();
    return hr;
}

// With both lamps off the flatbed's is switched on, so that it warms while nobody waits.
HRESULT CNVScan::FindBurningLamp() {
    bool on = false;
    HRESULT hr = getLampOn(&on, false);
    if (FAILED(hr))
        return hr;
    if (on) {
        m_lampSource = kLampFlatbed;
        return S_OK;
    }
    hr = getLampOn(&on, true);
    if (FAILED(hr))
        return hr;
    m_lampSource = on ? kLampAdapter : kLampFlatbed;
    return on ? S_OK : setLampOn(false);
}

// A facet whose record says that nothing is attached is dropped, and the device counts as having
// none. The record of a failed call is still zero, which says the same.
HRESULT CNVScan::ReadFeeders() {
    HRESULT hr = S_OK;
    if (m_spADF2) {
        hr = CallRaw<&IOstrelADF2::GetADF2Capabilities>(m_spADF2, &m_adf2Caps);
        if (m_pLog && FAILED(hr))
            m_pLog->Format(kLogInformation, "initDriver: GetADF2Capabilities failed %x", hr);
        if (m_pLog)
            m_pLog->Format(kLogInformation, "initDriver:GetADF2Caps HasADF %d", m_adf2Caps.hasADF);
        if (!m_adf2Caps.hasADF)
            m_spADF2.Reset();
    }
    if (SUCCEEDED(hr) && m_spADF3) {
        hr = CallRaw<&IOstrelADF3::GetADF3Capabilities>(m_spADF3, &m_adf3Caps);
        if (m_pLog && FAILED(hr))
            m_pLog->Format(kLogInformation, "initDriver: GetADF3Capabilities failed %x", hr);
        if (m_pLog)
            m_pLog->Format(kLogInformation, "initDriver:GetADF3Caps HasADF %d", m_adf3Caps.hasADF);
        if (!m_adf3Caps.hasADF)
            m_spADF3.Reset();
    }
    if (SUCCEEDED(hr))
        LookAtDuplex();
    return hr;
}

// Nothing else shows that a toolkit's two records contradict each other: a device without duplex is
// as good as any.
void CNVScan::LookAtDuplex() const {
    if (!m_pLog)
        return;
    const bool has = (m_adf2Caps.adfDuplexFlags & OSTREL_ADF_DUPLEX) != 0;
    if (!has && m_spADF3 && (m_adf3Caps.adf3DuplexFlags & OSTREL_ADF_DUPLEX))
        m_pLog->Write(kLogError,
                      "initDriver: adf3DuplexFlags alone has the bit of duplex; without bit 0 of "
                      "adfDuplexFlags there is none");
    if (has && (m_adf2Caps.duplexWidth == 0 || m_adf2Caps.duplexHeight == 0))
        m_pLog->Format(kLogError, "initDriver: duplex pages of %d x %d can't be scanned",
                       m_adf2Caps.duplexWidth, m_adf2Caps.duplexHeight);
}

// The line in the log also ends an opening that has failed before.
HRESULT CNVScan::ReadAdapter(HRESULT hr) {
    if (SUCCEEDED(hr) && m_spXPA)
        hr = CallRaw<&IOstrelXPA::GetXPACapabilities>(m_spXPA, &m_xpaCaps);
    if (m_pLog && FAILED(hr))
        m_pLog->Format(kLogInformation, "initDriver: GetXPACapabilities failed %x", hr);
    if (m_spXPA && m_spXPAMedia && !m_xpaCaps.hasXPA)
        m_spXPAMedia.Reset();
    return SUCCEEDED(hr) && m_spXPAMedia ? ReadMediaList() : hr;
}

// The count is that of the records that there is memory for: getters index the list by it. Records
// are asked for from the last to the first.
HRESULT CNVScan::ReadMediaList() {
    HRESULT hr = Call<&IOstrelXPAMedia::GetMediaSummary>(m_spXPAMedia, &m_xpaMediaInfo);
    const WORD count = SUCCEEDED(hr) ? m_xpaMediaInfo.count : WORD{0};
    m_xpaMediaInfo.count = 0;
    if (count == 0)
        return hr;
    m_pXpaMedia.reset(new (std::nothrow) OstrelMedia[count]());
    if (!m_pXpaMedia)
        return E_OUTOFMEMORY;
    m_xpaMediaInfo.count = count;
    for (WORD index = count; index-- > 0 && SUCCEEDED(hr);)
        hr = Call<&IOstrelXPAMedia::GetMediaRecord>(m_spXPAMedia, index, &m_pXpaMedia[index]);
    return hr;
}

// That dates could not be reconciled is no failure: the scanner works without.
HRESULT CNVScan::ReadNvramItems() {
    HRESULT hr = Call<&IOstrelNvram::GetNvramInfo>(m_spNvram, &m_nvramInfo);
    if (SUCCEEDED(hr) && (m_nvramInfo.items & OSTREL_NVRAM_HAS_FIRST_USE)) {
        m_pFirstUse.reset(new (std::nothrow)
                              CFirstUseDate(ModelName(m_devCaps).text, m_spNvram, m_dwSession));
        if (m_pFirstUse)
            m_pFirstUse->reconcile();
    }
    if (SUCCEEDED(hr) && (m_nvramInfo.items & OSTREL_NVRAM_HAS_SCAN_COUNT)) {
        hr = Call<&IOstrelNvram::ReadNvram>(m_spNvram, OSTREL_NVRAM_SCAN_COUNT, &m_scanCount);
        if (m_scanCount == kScanCountUnset)
            m_scanCount = 0;
    }
    return hr;
}

// A count beyond the record's room would have its readers run past it.
HRESULT CNVScan::ReadResolutionTables() {
    const auto read = [this](WORD source) {
        OstrelResolutionTable& table = m_resTables[source];
        const HRESULT hr =
            Call<&IOstrelResolutions::GetResolutionTable>(m_spResolutions, DWORD{source}, &table);
        table.count = std::min<WORD>(table.count, kOstrelMaxResolutions);
        return hr;
    };
    HRESULT hr = read(OSTREL_SOURCE_FLATBED);
    if (SUCCEEDED(hr) && (m_spXPA || m_spXPAMedia))
        hr = read(OSTREL_SOURCE_POSITIVE);
    if (SUCCEEDED(hr) && (m_spADF2 || m_spADF3))
        hr = read(OSTREL_SOURCE_FEEDER);
    return hr;
}

// True if the model's tables were made from a profile in the device. That there is none is no
// failure, and one that can't be used is as good as none: above 9999 bytes it isn't even asked for,
// as no profile is so long.
bool CNVScan::ReadDeviceProfile() {
    if (!m_spProfile ||
        FAILED(Call<&IOstrelProfile::GetProfileSize>(m_spProfile, &m_hwProfileSize)) ||
        m_hwProfileSize == 0)
        return false;
    if (m_hwProfileSize >= kProfileTextSize) {
        TellWarning(
            "the profile in the scanner has more than 9999 bytes of text; the built-in one "
            "is used");
        if (m_pLog)
            m_pLog->Format(kLogInformation, "initDriver: profile of %u bytes refused",
                           m_hwProfileSize);
        return false;
    }
    const std::unique_ptr<char[]> text(new (std::nothrow) char[m_hwProfileSize + 1]());
    if (!text || FAILED(Call<&IOstrelProfile::ReadProfile>(m_spProfile, m_hwProfileSize,
                                                           static_cast<void*>(text.get()))))
        return false;
    text[m_hwProfileSize] = '\0';
    createScanAttrib(text.get(), m_hwProfileSize);
    return true;
}

void CNVScan::MakeTonemap() {
    for (auto* lut : {&m_tonemap.m_lutRed, &m_tonemap.m_lutGreen, &m_tonemap.m_lutBlue})
        *lut = CQLLut::MakeFull();
    m_tonemap.m_tonemapMode = 1;
    m_thresholdTable.m_bThresholdMode = 0;
    buildTonemap(nullptr);
}

// Whatever the session holds is given back first, as far as the device lets us. The level taken
// here keeps others out until the session is closed, and the first failure is told behind the last
// step.
HRESULT CNVScan::closeScanner() {
    DeviceTrace trace("CNVScan::closeScanner", *this);
    m_bInitialized = false;
    if (!m_bSessionOpen)
        return trace.GetResult();
    NotedFailure noted;
    const HRESULT locked = TakeLevel();
    Note(noted, locked);
    ReleaseAll(noted);
    if (SUCCEEDED(locked))
        Note(noted, GiveLevelBack());
    Note(noted, Call<&IOstrelDevice::CloseDevice>(m_spDevice));
    ForgetSession();
    return trace.SetResult(Noted(noted)).GetResult();
}

// A caller always gets a text that it can show and must free, also with a failure.
HRESULT CNVScan::getFirmwareVersion(LPOLESTR* version) {
    DeviceTrace trace("CNVScan::getFirmwareVersion", *this);
    if (!version)
        return trace.SetResult(E_POINTER).GetResult();
    *version = nullptr;
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        trace.SetResult(LockFailure(lock));
    else if (m_spProperties)
        trace.SetResult(
            Call<&IOstrelProperties::GetStringProperty>(m_spProperties, kFirmwareVersion, version));
    // What a failed call has left there is nothing that could be freed.
    if (FAILED(trace.GetResult()) || !*version) {
        *version = CopyNotKnown();
        if (!*version)
            trace.SetResult(E_OUTOFMEMORY);
    }
    return trace.GetResult();
}

// Asks the device: the registry is only a copy.
HRESULT CNVScan::getFirstUseDate(DWORD* date) {
    DeviceTrace trace("CNVScan::getFirstUseDate", *this);
    if (!date)
        return trace.SetResult(E_POINTER).GetResult();
    *date = 0;
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    const bool known = m_pFirstUse && m_pFirstUse->getDeviceDate(date);
    return trace.SetResult(known ? S_OK : E_FAIL).GetResult();
}
