// The two beginnings of a session with a device, its end, and the small operations of both faces.
#include <algorithm>
#include <iterator>
#include <new>
#include <string>
#include <string_view>

#include "controller/flatbed_scan.h"
#include "diag/device_error_text.h"
#include "diag/function_trace.h"
#include "frontend/mini_driver.h"
#include "platform/contained.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "platform/told_lines.h"

namespace {

constexpr DWORD kSettingsStored = 2;  // LoadSettingsOnce, when the hardware has been asked

// The ways to a device, as the toolkit counts them.
constexpr DWORD kIoUsb = 1;
constexpr DWORD kIoParallel = 2;
constexpr DWORD kIoScsi = 3;
constexpr DWORD kIoDot4 = 4;
constexpr DWORD kIoNetwork = 5;

// By what a port's name tells of the way to the device; the first that fits.
constexpr struct {
    std::u16string_view part;
    DWORD ioType;
} kPortNames[] = {
    {u"USB", kIoUsb},
    {u"SCSI", kIoScsi},
    {u"LPT", kIoParallel},
    {u"DOT4", kIoDot4},
};

DWORD IoTypeOfPort(LPCOLESTR port) {
    std::u16string upper(port);
    for (char16_t& c : upper) {
        if (c >= u'a' && c <= u'z')
            c = static_cast<char16_t>(c - u'a' + u'A');
    }
    for (const auto& row : kPortNames) {
        if (upper.find(row.part) != std::u16string::npos)
            return row.ioType;
    }
    return 0;
}

// Ways by which a press comes that need no session of the toolkit.
bool IsInterruptWithData(DWORD subType) {
    return subType == kSubTypeIndex || subType == kSubTypeMask || subType == kSubTypeValue;
}

// A pending task is waited for as long as it takes.
constexpr DWORD kNoLimit = 0xFFFFFFFFu;
constexpr DWORD kTaskWaits = 1;

// Device errors reach the service as result codes; the number of one is never anything but 0.
constexpr LPCOLESTR kNoDeviceError = u"No Error";
constexpr LPCOLESTR kUnknownDeviceError = u"Device Error, Unknown Error";

constexpr WIA_FORMAT_INFO kFormats[] = {
    {WiaImgFmt_MEMORYBMP, TYMED_CALLBACK},
    {WiaImgFmt_BMP, TYMED_FILE},
};

// Some callers have no use for it, and pass none.
void ClearDeviceError(LONG* error) {
    if (error)
        *error = 0;
}

// An operation whose answer is always the same.
HRESULT Answer(const char* operation, HRESULT answer, LONG* deviceError = nullptr) {
    CFunctionTrace trace(operation);
    ClearDeviceError(deviceError);
    return trace.SetResult(answer).GetResult();
}

}  // namespace

// ---- The still-image face

HRESULT CNVwiaMiniDrv::Initialize(IStiDeviceControl* pHelDcb, DWORD, HKEY hParametersKey) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::Initialize");
    if (!pHelDcb)
        return trace.SetResult(E_INVALIDARG).GetResult();
    // A second beginning leaves nothing of the first one running.
    m_buttonThread.End();
    CloseToolkit();
    m_pDcb = ComPtr<IStiDeviceControl>(pHelDcb);
    m_szDeviceName[0] = 0;
    trace.SetResult(m_pDcb->GetMyDevicePortName(m_szDeviceName, MAX_PATH));
    m_szDeviceName[MAX_PATH - 1] = 0;
    if (FAILED(trace.GetResult()) || m_szDeviceName[0] == 0)
        return trace.GetResult();
    const HRESULT hr = Contained([&] {
        ReadDeviceKey(hParametersKey);
        const HRESULT named = SettleDeviceName();
        return FAILED(named) ? named : MeetDevice(hParametersKey);
    });
    return trace.SetResult(hr).GetResult();
}

// A device that sends the byte of its button needs no toolkit session for its events; one that has
// to be polled, or sends a bare signal, does.
void CNVwiaMiniDrv::ReadDeviceKey(HKEY hKey) {
    DWORD capabilities = 0;
    ReadNumber(hKey, "DeviceSubType", m_dwDeviceSubType);
    ReadNumber(hKey, "Capabilities", capabilities);
    const bool notifies = (capabilities & STI_GENCAP_NOTIFICATIONS) != 0;
    const bool polled = (capabilities & STI_GENCAP_POLLING_NEEDED) != 0;
    m_bToolkitForEvents = notifies && (polled || !IsInterruptWithData(m_dwDeviceSubType));
    ReadVendorPaths(hKey);
    GatherDeviceData(hKey);
    m_buttons.Load(hKey, m_dwDeviceSubType, *m_pLog);
}

// A parallel port has no name that could be opened, a network device is opened by its identifier.
HRESULT CNVwiaMiniDrv::SettleDeviceName() {
    if (m_dwIoType == 0)
        m_dwIoType = IoTypeOfPort(m_szDeviceName);
    if (m_dwIoType == kIoParallel)
        m_szDeviceName[0] = 0;
    if (m_dwIoType == kIoNetwork) {
        const std::u16string id = WideFromText(m_szNetworkDeviceId);
        if (id.empty()) {
            m_pLog->Write(kLogError,
                          "Error:  No NetworkDeviceID found in registry for network device");
            return E_INVALIDARG;
        }
        *std::copy_n(id.begin(), std::min<std::size_t>(id.size(), MAX_PATH - 1), m_szDeviceName) =
            0;
    }
    m_pLog->Format("Device Name:  %S", m_szDeviceName);
    return S_OK;
}

// The hardware is left alone by a start that needs nothing of it.
HRESULT CNVwiaMiniDrv::MeetDevice(HKEY hKey) {
    const bool known = m_dwLoadSettingsOnce == kSettingsStored;
    if (known && !m_bToolkitForEvents) {
        m_pLog->Format("Device:  %S, settings done,ostrel not loaded", m_szDeviceName);
        return S_OK;
    }
    HRESULT hr = CreateScannerInterface(m_pToolkit.Out());
    if (FAILED(hr))
        return hr;
    DWORD error = OSTREL_NO_ERROR;
    hr = m_pToolkit->OpenDevice(m_szDeviceName, static_cast<WORD>(m_dwIoType), &m_dwSessionId,
                                &error);
    if (FAILED(hr)) {
        LogDeviceError(*m_pLog, "OpenDevice", hr, error);
        // The result goes to the service as it is, and says little.
        if (error != OSTREL_NO_ERROR)
            TellCauseUnlessTold(std::string("the scanner can't be opened: ") +
                                DeviceErrorText(error));
        m_pToolkit.Reset();  // without a session to be closed
        return hr;
    }
    RunPendingTask();
    if (known) {
        m_pLog->Format(kLogInformation, "Device: %S, settings done", m_szDeviceName);
    } else {
        StoreDeviceData(hKey);
        InstantLampWarmUp(hKey);
    }
    m_pLog->Format("Initialize:  Session ID is 0x%lx  ", m_dwSessionId);
    if (!m_bToolkitForEvents)
        CloseToolkit();
    return S_OK;
}

// Work that a device has kept for its next start comes before anything else is asked of it. The
// results change nothing: what the device can't do now waits for another start.
void CNVwiaMiniDrv::RunPendingTask() {
    DWORD error = OSTREL_NO_ERROR;
    const OstrelLock lock(m_pToolkit.Get(), m_dwSessionId, OSTREL_LOCK_SHORT_JOB, kNoLimit, &error);
    if (!lock.IsLocked())
        return;
    ComPtr<IOstrelPendingTask> task;
    task.QueryFrom(m_pToolkit.Get(), IID_IOstrelPendingTask);
    DWORD state = 0;
    if (task && SUCCEEDED(task->GetPendingState(m_dwSessionId, &state, &error)) &&
        state == kTaskWaits)
        task->RunPendingTask(m_dwSessionId, &error);
}

void CNVwiaMiniDrv::CloseToolkit() {
    if (!m_pToolkit)
        return;
    DWORD error = OSTREL_NO_ERROR;
    m_pToolkit->CloseDevice(m_dwSessionId, &error);
    m_pToolkit.Reset();
    m_dwSessionId = 0;
}

// The model that the device tells at the first time stays in m_szModel, and later objects are made
// for it at once.
HRESULT CNVwiaMiniDrv::CreateScannerInterface(IOstrelDevice** ppToolkit) {
    return ::CreateScannerInterface(m_clsidToolkit, m_szDeviceName, static_cast<WORD>(m_dwIoType),
                                    m_szModel, ppToolkit);
}

HRESULT CNVwiaMiniDrv::GetCapabilities(STI_USD_CAPS* pUsdCaps) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::GetCapabilities");
    if (!pUsdCaps)
        return trace.SetResult(E_INVALIDARG).GetResult();
    constexpr DWORD kVersion = 2;
    *pUsdCaps = {kVersion, 0};
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::Diagnostic(STI_DIAG* pBuffer) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::Diagnostic");
    if (!pBuffer)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *pBuffer = {};
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::GetLastError(DWORD* pdwLastDeviceError) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::GetLastError");
    if (!pdwLastDeviceError)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *pdwLastDeviceError = m_dwLastError;
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::GetLastErrorInfo(STI_ERROR_INFO* pLastErrorInfo) {
    CFunctionTrace trace("STI:CNVwiaMiniDrv::GetLastErrorInfo");
    if (!pLastErrorInfo)
        return trace.SetResult(E_INVALIDARG).GetResult();
    pLastErrorInfo->dwGenericError = m_dwLastError;
    pLastErrorInfo->szExtendedErrorText[0] = 0;
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::DeviceReset() {
    return Answer("STI:CNVwiaMiniDrv::DeviceReset", S_OK);
}

HRESULT CNVwiaMiniDrv::LockDevice() {
    return Answer("STI:CNVwiaMiniDrv::LockDevice", S_OK);
}

HRESULT CNVwiaMiniDrv::UnLockDevice() {
    return Answer("STI:CNVwiaMiniDrv::UnLockDevice", S_OK);
}

HRESULT CNVwiaMiniDrv::Escape(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*) {
    return Answer("STI:CNVwiaMiniDrv::Escape", E_NOTIMPL);
}

HRESULT CNVwiaMiniDrv::RawReadData(LPVOID, DWORD*, LPVOID) {
    return Answer("STI:CNVwiaMiniDrv::RawReadData", E_NOTIMPL);
}

HRESULT CNVwiaMiniDrv::RawWriteData(LPVOID, DWORD, LPVOID) {
    return Answer("STI:CNVwiaMiniDrv::RawWriteData", E_NOTIMPL);
}

HRESULT CNVwiaMiniDrv::RawReadCommand(LPVOID, DWORD*, LPVOID) {
    return Answer("STI:CNVwiaMiniDrv::RawReadCommand", E_NOTIMPL);
}

HRESULT CNVwiaMiniDrv::RawWriteCommand(LPVOID, DWORD, LPVOID) {
    return Answer("STI:CNVwiaMiniDrv::RawWriteCommand", E_NOTIMPL);
}

// ---- The imaging face

// The first names of device and item count; later calls only make the stream anew. What a failed
// call has made stays, and the next one goes on from there.
HRESULT CNVwiaMiniDrv::drvInitializeWia(BYTE* pWiasContext, LONG, BSTR bstrDeviceID,
                                        BSTR bstrRootFullItemName, IUnknown* pStiDevice, IUnknown*,
                                        IWiaDrvItem** ppIDrvItemRoot, IUnknown** ppIUnknownInner,
                                        LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvInitializeWia");
    if (!pWiasContext || !plDevErrVal || !ppIDrvItemRoot || !ppIUnknownInner)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *plDevErrVal = 0;
    *ppIDrvItemRoot = nullptr;
    *ppIUnknownInner = static_cast<IMiniDrv*>(this);
    m_pStiDevice = pStiDevice;
    const HRESULT hr = Contained([&] {
        if (m_bstrDeviceID.empty() && bstrDeviceID)
            m_bstrDeviceID = bstrDeviceID;
        if (m_bstrRootFullItemName.empty() && bstrRootFullItemName)
            m_bstrRootFullItemName = bstrRootFullItemName;
        m_pLog->Format(kLogInformation, "m_bstrDeviceID %S", m_bstrDeviceID.c_str());
        m_pLog->Format(kLogInformation, "Device Name1:  %S", m_szDeviceName);
        HRESULT done = OpenController(plDevErrVal);
        if (SUCCEEDED(done))
            done = BuildItemTree();
        if (SUCCEEDED(done)) {
            *ppIDrvItemRoot = m_pRootItem.Get();
            done = BuildCapabilities();
        }
        if (FAILED(done))
            return done;
        ++m_nInitCount;
        return MakeEngine();
    });
    return trace.SetResult(hr).GetResult();
}

// A controller that could not open its device stays, and tries again with the next beginning.
HRESULT CNVwiaMiniDrv::OpenController(LONG* plDevErrVal) {
    if (!m_pScan) {
        const HRESULT hr = MakeController(plDevErrVal);
        if (FAILED(hr))
            return hr;
    }
    if (m_pScan->isInitialized())
        return S_OK;
    const HRESULT hr = m_pScan->initDriver(m_szDeviceName, static_cast<WORD>(m_dwIoType));
    if (FAILED(hr))
        m_pLog->Format(kLogError, "initDriver failed m_szDeviceName = %S ", m_szDeviceName);
    return hr;
}

// Null from the factory is a want of memory, the only failure that the service hears of by
// plDevErrVal.
HRESULT CNVwiaMiniDrv::MakeController(LONG* plDevErrVal) {
    const LPCOLESTR item = m_bstrRootFullItemName.c_str();
    ComPtr<IOstrelDevice> toolkit;
    const HRESULT hr = CreateScannerInterface(toolkit.Out());
    if (FAILED(hr)) {
        m_pLog->Format(kLogError, "CreateScannerInterface failed bstrRootFullItemName = %S", item);
        return hr;
    }
    m_pScan = NVScanClassFactory(toolkit.Get());
    if (m_pScan)
        return S_OK;
    *plDevErrVal = E_OUTOFMEMORY;
    m_pLog->Format(kLogError,
                   "WIA: drvInitializeWia: NVScanClassFactory failed bstrRootFullItemName = %S",
                   item);
    return E_FAIL;
}

// The stream is a new one each time; the engine stays.
HRESULT CNVwiaMiniDrv::MakeEngine() {
    m_pImageStream.Reset();
    m_pImageStream = ComPtr<CImageStream>(new CImageStream);
    if (m_pEngine)
        return S_OK;
    auto engine = std::make_unique<CQLEngine>();
    HRESULT hr = engine->Init();
    if (SUCCEEDED(hr))
        hr = engine->AddClient(this, &m_dwCallbackId);
    if (SUCCEEDED(hr))
        m_pEngine = std::move(engine);
    return hr;
}

// The item tree stays: the service may still hold items. A call too many changes nothing.
HRESULT CNVwiaMiniDrv::drvUnInitializeWia(BYTE*) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvUnInitializeWia");
    m_nInitCount = std::max(m_nInitCount - 1, 0);
    if (m_nInitCount > 0)
        return trace.GetResult();
    m_pLog->Write(kLogInformation, "Freeing Quillet and NVScan classes");
    if (m_pEngine) {
        m_pEngine->RemoveClient(m_dwCallbackId);
        m_pEngine->Stop();
    }
    m_pEngine.reset();
    // A feeder job that was left open ends, and the scanner is free for others.
    if (m_pScan)
        m_pScan->releaseScanner();
    m_pScan.reset();
    m_pImageStream.Reset();
    return trace.GetResult();
}

// Only one command is served, though the capabilities also list that of building the tree, which
// the service does by initialising.
HRESULT CNVwiaMiniDrv::drvDeviceCommand(BYTE*, LONG, const GUID* pGuid, IWiaDrvItem** ppDrvItem,
                                        LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvDeviceCommand");
    ClearDeviceError(plDevErrVal);
    if (ppDrvItem)
        *ppDrvItem = nullptr;
    if (!pGuid)
        return trace.SetResult(E_INVALIDARG).GetResult();
    trace.SetResult(E_NOTIMPL);
    if (*pGuid == WIA_CMD_SYNCHRONIZE) {
        trace.SetResult(DeleteItemTree());
        if (SUCCEEDED(trace.GetResult()))
            trace.SetResult(Contained([&] { return BuildItemTree(); }));
    }
    return trace.GetResult();
}

// The array stays the driver's, until its end.
HRESULT CNVwiaMiniDrv::drvGetCapabilities(BYTE*, LONG ulFlags, LONG* pcelt,
                                          WIA_DEV_CAP_DRV** ppCapabilities, LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvGetCapabilities");
    ClearDeviceError(plDevErrVal);
    if (!pcelt || !ppCapabilities)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *pcelt = 0;
    *ppCapabilities = nullptr;
    const HRESULT hr = Contained([&] {
        const HRESULT built = BuildCapabilities();
        if (FAILED(built))
            return built;
        std::vector<WIA_DEV_CAP_DRV>* list = nullptr;
        if (ulFlags == WIA_DEVICE_COMMANDS)
            list = &m_capabilities.Commands();
        else if (ulFlags == WIA_DEVICE_EVENTS)
            list = &m_capabilities.Events();
        else if (ulFlags == (WIA_DEVICE_COMMANDS | WIA_DEVICE_EVENTS))
            list = &m_capabilities.Combined();
        if (!list)
            return E_INVALIDARG;
        *pcelt = static_cast<LONG>(list->size());
        *ppCapabilities = list->data();
        return built;
    });
    return trace.SetResult(hr).GetResult();
}

HRESULT CNVwiaMiniDrv::drvGetWiaFormatInfo(BYTE*, LONG, LONG* pcelt, WIA_FORMAT_INFO** ppwfi,
                                           LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvGetWiaFormatInfo");
    if (!pcelt || !ppwfi || !plDevErrVal)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *plDevErrVal = 0;
    if (!m_pFormatInfo) {
        m_pFormatInfo = AllocateTaskArray<WIA_FORMAT_INFO>(std::size(kFormats));
        if (!m_pFormatInfo)
            return trace.SetResult(E_OUTOFMEMORY).GetResult();
        std::copy(std::begin(kFormats), std::end(kFormats), m_pFormatInfo.get());
    }
    *pcelt = static_cast<LONG>(std::size(kFormats));
    *ppwfi = m_pFormatInfo.get();
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::drvGetDeviceErrorStr(LONG, LONG lDevErrVal, LPOLESTR* ppszDevErrStr,
                                            LONG* plDevErr) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvGetDeviceErrorStr");
    ClearDeviceError(plDevErr);
    if (!ppszDevErrStr)
        return trace.SetResult(E_INVALIDARG).GetResult();
    // The published signature knows no constant text; the service only reads it.
    *ppszDevErrStr = const_cast<LPOLESTR>(lDevErrVal == 0 ? kNoDeviceError : kUnknownDeviceError);
    return trace.SetResult(lDevErrVal == 0 ? S_OK : E_FAIL).GetResult();
}

// The scanner's own lock is the controller's business, so none is taken here.
HRESULT CNVwiaMiniDrv::drvLockWiaDevice(BYTE* pWiasContext, LONG, LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvLockWiaDevice", pWiasContext ? S_OK : E_INVALIDARG,
                  plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvUnLockWiaDevice(BYTE* pWiasContext, LONG, LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvUnLockWiaDevice", pWiasContext ? S_OK : E_INVALIDARG,
                  plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvAnalyzeItem(BYTE*, LONG, LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvAnalyzeItem", E_NOTIMPL, plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvDeleteItem(BYTE*, LONG, LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvDeleteItem", STG_E_ACCESSDENIED, plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvFreeDrvItemContext(LONG, BYTE*, LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvFreeDrvItemContext", S_OK, plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvWriteItemProperties(BYTE*, LONG, MINIDRV_TRANSFER_CONTEXT*,
                                              LONG* plDevErrVal) {
    return Answer("CNVwiaMiniDrv::drvWriteItemProperties", S_OK, plDevErrVal);
}

HRESULT CNVwiaMiniDrv::drvNotifyPnPEvent(const GUID*, BSTR, ULONG) {
    return Answer("CNVwiaMiniDrv::drvNotifyPnPEvent", S_OK);
}
