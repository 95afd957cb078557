// What the device's key of the registry tells, and what a first start finds out about the hardware
// and stores there, so that later starts don't need it.
#include <algorithm>
#include <iterator>

#include "diag/device_error_text.h"
#include "diag/log.h"
#include "frontend/mini_driver.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "profile/folder_names.h"

namespace {

constexpr char kDeviceData[] = "DeviceData";
constexpr char kLoadSettingsOnce[] = "LoadSettingsOnce";
constexpr char kInstantLamp[] = "InstantLampWarmUp";
// LoadSettingsOnce: the hardware is to be asked at the next start, or has been.
constexpr DWORD kAskOnce = 1;
constexpr DWORD kAsked = 2;

constexpr DWORD kLegalLength = 4200;  // 14 inches
constexpr DWORD kManyButtons = 2;     // from here on it has more than a scan button

// A value of "DeviceData": a text or a number, which is empty or 0 when it is absent, and what the
// log tells about it.
struct ValueRow {
    const char* name;
    char* text;
    DWORD size;
    DWORD* number;
    const char* found;  // may be null, as may the next one
    const char* absent;
    DWORD absentLevel;
};

void ReadRow(HKEY key, const ValueRow& row, CLog& log) {
    bool found = false;
    if (row.text) {
        row.text[0] = 0;
        found = ReadText(key, row.name, row.text, row.size);
    } else {
        *row.number = 0;
        found = ReadNumber(key, row.name, *row.number);
    }
    if (found && row.found)
        log.Format(kLogInformation, row.found, row.text);
    if (!found && row.absent)
        log.Write(row.absentLevel, row.absent);
}

// What the device can do beside scanning; null for what it lacks.
struct Facets {
    ComPtr<IOstrelADF> adf;
    ComPtr<IOstrelADF2> adf2;
    ComPtr<IOstrelADF3> adf3;
    ComPtr<IOstrelXPA> xpa;
    ComPtr<IOstrelCompression> compression;
    ComPtr<IOstrelPanel> panel;
    ComPtr<IOstrelExtendedLamp> extendedLamp;
    ComPtr<IOstrelProperties> properties;

    explicit Facets(IOstrelDevice* device) {
        adf.QueryFrom(device, IID_IOstrelADF);
        adf2.QueryFrom(device, IID_IOstrelADF2);
        adf3.QueryFrom(device, IID_IOstrelADF3);
        xpa.QueryFrom(device, IID_IOstrelXPA);
        compression.QueryFrom(device, IID_IOstrelCompression);
        panel.QueryFrom(device, IID_IOstrelPanel);
        extendedLamp.QueryFrom(device, IID_IOstrelExtendedLamp);
        properties.QueryFrom(device, IID_IOstrelProperties);
    }
};

// The record of a facet; zero without the facet, and when the call fails.
template <class Facet, class Record>
Record RecordOf(const ComPtr<Facet>& facet, DWORD session,
                HRESULT (Facet::*get)(DWORD, Record*, DWORD*)) {
    Record record = {};
    DWORD error = OSTREL_NO_ERROR;
    if (facet && FAILED((facet.Get()->*get)(session, &record, &error)))
        record = {};
    return record;
}

// Whether an accessory is attached now, if the device can tell.
void AskAttached(const Facets& facets, DWORD session, LPCOLESTR name, DWORD& supported) {
    if (!facets.properties || supported == 0)
        return;
    DWORD value = 0;
    DWORD error = OSTREL_NO_ERROR;
    const HRESULT hr = facets.properties->GetLongProperty(session, name, &value, &error);
    if (SUCCEEDED(hr) && error != OSTREL_INVALID_HW_PROPERTY)
        supported = value;
}

// The list of depths, in bits a sample, ends with a 0 or with its room.
DWORD DeepestColor(const OstrelDeviceCaps& caps) {
    const BYTE* const end =
        std::find(std::begin(caps.colorDepths), std::end(caps.colorDepths), BYTE{0});
    const BYTE* const deepest = std::max_element(std::begin(caps.colorDepths), end);
    return deepest == end ? 0 : *deepest;
}

// What the scan software wants to know of the hardware, in the order in which it is stored.
struct HardwareData {
    char model[kOstrelModelChars + 1] = "";
    DWORD compressionTypes = 0;
    DWORD compressionDefault = 0;
    DWORD maxPixelDepth = 0;
    DWORD takesLegal = 0;
    DWORD hasExtendedLamp = 0;
    DWORD hasAdf = 0;
    DWORD hasXpa = 0;
    DWORD hasDuplex = 0;
    DWORD hasDuplexSwitch = 0;
    DWORD scanButton = 1;
};

constexpr struct {
    const char* name;
    DWORD HardwareData::*value;
} kStored[] = {
    {"HWCompressionTypesSupported", &HardwareData::compressionTypes},
    {"HWCompressionTypeDefault", &HardwareData::compressionDefault},
    {"HWMaxPixelDepth", &HardwareData::maxPixelDepth},
    {"HWLegalConfigSupported", &HardwareData::takesLegal},
    {"HWExtendedLampSupported", &HardwareData::hasExtendedLamp},
    {"ADFSupported", &HardwareData::hasAdf},
    {"TMASupported", &HardwareData::hasXpa},
    {"ADFDuplexSupported", &HardwareData::hasDuplex},
    {"HasADFDuplexSwitch", &HardwareData::hasDuplexSwitch},
    {"HasScanButton", &HardwareData::scanButton},
};

// The newer record, where there is one, is right about both. Bit 0 of the flags: both sides can be
// scanned.
void AskDuplex(const Facets& facets, DWORD session, HardwareData& data) {
    if (facets.adf3) {
        const auto caps = RecordOf(facets.adf3, session, &IOstrelADF3::GetADF3Capabilities);
        data.hasDuplex = caps.adf3DuplexFlags & 1;
        data.hasDuplexSwitch = caps.hasDuplexSwitch != 0 ? 1 : 0;
    } else if (facets.adf2) {
        const auto caps = RecordOf(facets.adf2, session, &IOstrelADF2::GetADF2Capabilities);
        data.hasDuplex = caps.adfDuplexFlags & 1;
    }
}

HardwareData AskHardware(const Facets& facets, DWORD session, const OstrelDeviceCaps& caps) {
    HardwareData data;
    std::copy(std::begin(caps.model), std::end(caps.model), data.model);
    data.maxPixelDepth = DeepestColor(caps);
    const auto feeder = RecordOf(facets.adf, session, &IOstrelADF::GetADFCapabilities);
    data.takesLegal = caps.bedHeight >= kLegalLength || feeder.pageLength >= kLegalLength ? 1 : 0;
    data.hasExtendedLamp = facets.extendedLamp ? 1 : 0;
    data.hasAdf = facets.adf ? 1 : 0;
    data.hasXpa = facets.xpa ? 1 : 0;
    AskAttached(facets, session, u"ADF", data.hasAdf);
    AskAttached(facets, session, u"XPA", data.hasXpa);
    AskDuplex(facets, session, data);
    const auto compression =
        RecordOf(facets.compression, session, &IOstrelCompression::GetCompressionCapabilities);
    data.compressionTypes = compression.supportedTypes;
    data.compressionDefault = compression.defaultType;
    const auto panel = RecordOf(facets.panel, session, &IOstrelPanel::GetPanelCapabilities);
    data.scanButton = panel.buttons >= kManyButtons ? 2 : 1;
    return data;
}

}  // namespace

// The vendor's folder is the process's: profiles are looked for there, for each device.
int CNVwiaMiniDrv::ReadVendorPaths(HKEY hKey) {
    CRegistryKey data;
    if (data.Open(hKey, kDeviceData) != ERROR_SUCCESS)
        return 0;
    char text[MAX_PATH];
    SetVendorFolder(ReadText(data.Get(), "Vendor", text) ? text : FolderNames{}.vendor);
    if (ReadText(data.Get(), "InstallRegPath", text))
        m_strRegPath = text;
    else
        m_strRegPath = "Software\\" + CurrentFolderNames().vendor + "\\PictureSuite";
    return 1;
}

void CNVwiaMiniDrv::GatherDeviceData(HKEY hKey) {
    CRegistryKey data;
    if (data.Open(hKey, kDeviceData) != ERROR_SUCCESS)
        return;
    char clsid[MAX_PATH] = "";
    char family[MAX_PATH] = "";
    const ValueRow rows[] = {
        {"OstrelCLSID", clsid, sizeof(clsid), nullptr, "CLSID of Ostrel driver is %s",
         "GatherDeviceData:  Unable to obtain OstrelCLSID in the registry!!", kLogError},
        {"InstallCLSID", m_szInstallClsid, sizeof(m_szInstallClsid), nullptr, "InstallCLSID is %s",
         "GatherDeviceData:  Unable to obtain InstallCLSID in the registry!!", kLogError},
        {"ModelString", m_szModel, sizeof(m_szModel), nullptr, nullptr,
         "GatherDeviceData: No ModelString found in registry (may be 1st time driver load)",
         kLogInformation},
        {"OstrelDriver", m_szToolkitDriver, sizeof(m_szToolkitDriver), nullptr, nullptr, nullptr,
         0},
        {"OstrelIOType", nullptr, 0, &m_dwIoType, nullptr,
         "GatherDeviceData:  OstrelIOType not set by .INF", kLogError},
        {"NetworkDeviceID", m_szNetworkDeviceId, sizeof(m_szNetworkDeviceId), nullptr, nullptr,
         "GatherDeviceData: No Net Device ID specified (may not be a network device)",
         kLogInformation},
        {"ADFPageLocale", nullptr, 0, &m_dwAdfPageLocale, nullptr, nullptr, 0},
        {"ADFLargerPgSz", nullptr, 0, &m_dwAdfLargerPgSz, nullptr, nullptr, 0},
    };
    for (const ValueRow& row : rows)
        ReadRow(data.Get(), row, *m_pLog);
    // Without a class no toolkit can be made, and the next step of the start says so.
    m_clsidToolkit = GUID_NULL;
    if (clsid[0] != 0)
        CLSIDFromString(WideFromText(clsid).c_str(), &m_clsidToolkit);

    if (ReadNumber(data.Get(), kLoadSettingsOnce, m_dwLoadSettingsOnce)) {
        m_pLog->Format(kLogInformation, "GatherDeviceData: LoadSettingsOnce in registry %d",
                       m_dwLoadSettingsOnce);
    } else {
        m_dwLoadSettingsOnce = kAskOnce;
        m_pLog->Format(kLogInformation,
                       "GatherDeviceData: LoadSettingsOnce not registry (do only once) %d",
                       m_dwLoadSettingsOnce);
    }
    SetFamilyFolder(ReadText(data.Get(), "CommonDataFolder", family) ? family
                                                                     : FolderNames{}.family);
}

// Nobody waits for another program here: without the lock, the next start asks.
int CNVwiaMiniDrv::StoreDeviceData(HKEY hKey) {
    const Facets facets(m_pToolkit.Get());
    const OstrelLock lock(m_pToolkit.Get(), m_dwSessionId);
    if (!lock.IsLocked())
        return 0;
    OstrelDeviceCaps caps = {};
    DWORD error = OSTREL_NO_ERROR;
    if (const HRESULT hr = m_pToolkit->GetDeviceCapabilities(m_dwSessionId, &caps, &error);
        FAILED(hr)) {
        LogDeviceError(*m_pLog, "GetDeviceCapabilities", hr, error);
        return 0;
    }
    // A lamp that needs no warm-up is lit at a button press.
    if (caps.lampWarmUpFlatbed == 0)
        m_bLampOnButton = TRUE;
    const HardwareData hardware = AskHardware(facets, m_dwSessionId, caps);

    CRegistryKey data;
    if (data.Open(hKey, kDeviceData, KEY_ALL_ACCESS) != ERROR_SUCCESS)
        return 0;
    WriteText(data.Get(), "ModelString", hardware.model);
    for (const auto& stored : kStored)
        WriteNumber(data.Get(), stored.name, hardware.*stored.value);
    if (m_dwLoadSettingsOnce == kAskOnce) {
        m_dwLoadSettingsOnce = kAsked;
        WriteNumber(data.Get(), kLoadSettingsOnce, m_dwLoadSettingsOnce);
    }
    return 1;
}

// The user's setting goes to the device once; the number in the device's key is the record of that.
int CNVwiaMiniDrv::InstantLampWarmUp(HKEY hKey) {
    char description[MAX_PATH];
    if (!ReadText(hKey, "DriverDesc", description))
        return 0;
    const std::string first =
        m_strRegPath + "\\Ambrel Settings\\Defaults\\" + description + "\\ScanPreferencesDefaults";
    const std::string second =
        "Software\\" + CurrentFolderNames().vendor + "\\Lumetra\\" + m_szInstallClsid;
    CRegistryKey settings;
    if (settings.Open(HKEY_LOCAL_MACHINE, first.c_str()) != ERROR_SUCCESS) {
        m_pLog->Format(kLogError, "InstantLampWarmup not found at HKLM\\%s", first.c_str());
        if (settings.Open(HKEY_LOCAL_MACHINE, second.c_str()) != ERROR_SUCCESS) {
            m_pLog->Format("InstantLampWarmup not found at HKLM\\%s, exiting", second.c_str());
            return 0;
        }
    }
    // The scan software keeps it as text, "1" for on.
    char text[MAX_PATH];
    if (!ReadText(settings.Get(), kInstantLamp, text)) {
        m_pLog->Write("Failed to open Ambrel settings regkey for instant lamp warmup");
        return 0;
    }
    const DWORD state = text[0] == '1' ? 1 : 0;
    m_pLog->Format("Registry setting for Instant Lamp Warmup is %d", state);
    DWORD sent = 0;
    if (ReadNumber(hKey, kInstantLamp, sent))
        return 1;

    m_pLog->Write("First time setting the instant lamp warmup state");
    ComPtr<IOstrelInstantLamp> lamp;
    lamp.QueryFrom(m_pToolkit.Get(), IID_IOstrelInstantLamp);
    const OstrelLock lock(m_pToolkit.Get(), m_dwSessionId);
    if (!lock.IsLocked()) {
        m_pLog->Write(kLogError, "Failed to lock scanner");
        return 0;
    }
    if (!lamp)
        return 1;
    m_pLog->Write("Device has a Lamp Warmup interface");
    DWORD error = OSTREL_NO_ERROR;
    if (SUCCEEDED(lamp->SetInstantLamp(m_dwSessionId, state, &error))) {
        WriteNumber(hKey, kInstantLamp, state);
        m_pLog->Format("Lamp Warmup state set to %d", state);
    }
    return 1;
}
