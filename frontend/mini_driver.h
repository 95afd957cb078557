// The driver object: the one that the imaging service and the still-image service talk to, one for
// each device.
//
// It has two faces. IStiUSD tells of presence and events of a device and has a toolkit session of
// its own, if events or a first start need one. IWiaMiniDrv shows the device as a tree of two items
// with properties, validates what a client writes, and scans; what it needs for that stands from
// drvInitializeWia on, until drvUnInitializeWia has been called as often.
//
// One page:
//
//   drvAcquireItemData   looks for paper, hands the item's settings to the engine, runs ScanItem
//   ScanItem             prepares the scan and runs a CPageTransfer, which does all else
//   CImageStream         starts the engine with the first band; the engine is pumped band by band
//   ImageCallback        gets the finished image for the page, which gives it to the client
//
// Results are 32-bit codes, those of the controller unchanged. Each replaces the one before it in a
// function's trace, and a function tests it only where it has to stop.
//
// The imaging face is called by one thread at a time. The still-image face may run beside it, and
// so does the notification thread; they share the last event, which has a lock, and the table of
// events, which stays as Initialize made it.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "controller/nv_scan.h"
#include "engine/engine.h"
#include "frontend/button_table.h"
#include "frontend/button_thread.h"
#include "frontend/capability_list.h"
#include "frontend/image_stream.h"
#include "frontend/log_hold.h"
#include "frontend/object_root.h"
#include "frontend/property_set.h"
#include "frontend/task_memory.h"
#include "platform/com_ptr.h"
#include "platform/sti.h"
#include "platform/wia.h"

struct ValidationCall;
class CFunctionTrace;
class CPageTransfer;

inline constexpr CLSID CLSID_MiniDrv = {
    0x0C3A5327, 0x4FBD, 0x4E6C, {0xBC, 0x58, 0xEF, 0x03, 0xA9, 0xB7, 0xB9, 0x81}};
inline constexpr IID IID_IMiniDrv = {
    0xC93A4CFE, 0xCC8A, 0x4AA8, {0x95, 0x15, 0xAA, 0x56, 0x40, 0x31, 0x8F, 0xDB}};

// What tells this class from other drivers; it has no operations.
struct IMiniDrv : IUnknown {
  protected:
    ~IMiniDrv() = default;
};

// IUnknown is left to the classes of the module, which make it an object of its own or a part of
// another one.
class CNVwiaMiniDrv : public IMiniDrv,
                      public IStiUSD,
                      public IWiaMiniDrv,
                      public IQLImageCallback,
                      public CObjectRoot {
  public:
    // std::bad_alloc without memory.
    CNVwiaMiniDrv() = default;
    // Ends the notification thread and gives up the device.
    virtual ~CNVwiaMiniDrv();
    CNVwiaMiniDrv(const CNVwiaMiniDrv&) = delete;
    CNVwiaMiniDrv& operator=(const CNVwiaMiniDrv&) = delete;

    // ---- IStiUSD

    HRESULT Initialize(IStiDeviceControl* pHelDcb, DWORD dwStiVersion,
                       HKEY hParametersKey) override;
    HRESULT GetCapabilities(STI_USD_CAPS* pUsdCaps) override;
    HRESULT GetStatus(STI_DEVICE_STATUS* pStatus) override;
    HRESULT DeviceReset() override;
    HRESULT Diagnostic(STI_DIAG* pBuffer) override;
    HRESULT Escape(DWORD function, LPVOID in, DWORD inBytes, LPVOID out, DWORD outBytes,
                   DWORD* outActual) override;
    HRESULT GetLastError(DWORD* pdwLastDeviceError) override;
    HRESULT LockDevice() override;
    HRESULT UnLockDevice() override;
    HRESULT RawReadData(LPVOID buffer, DWORD* bytes, LPVOID overlapped) override;
    HRESULT RawWriteData(LPVOID buffer, DWORD bytes, LPVOID overlapped) override;
    HRESULT RawReadCommand(LPVOID buffer, DWORD* bytes, LPVOID overlapped) override;
    HRESULT RawWriteCommand(LPVOID buffer, DWORD bytes, LPVOID overlapped) override;
    HRESULT SetNotificationHandle(HANDLE hEvent) override;
    HRESULT GetNotificationData(STINOTIFY* pBuffer) override;
    HRESULT GetLastErrorInfo(STI_ERROR_INFO* pLastErrorInfo) override;

    // ---- IWiaMiniDrv

    HRESULT drvInitializeWia(BYTE* pWiasContext, LONG lFlags, BSTR bstrDeviceID,
                             BSTR bstrRootFullItemName, IUnknown* pStiDevice,
                             IUnknown* pIUnknownOuter, IWiaDrvItem** ppIDrvItemRoot,
                             IUnknown** ppIUnknownInner, LONG* plDevErrVal) override;
    // One page. S_FALSE when the client cancelled it, WIA_ERROR_PAPER_EMPTY when a feeder is
    // selected and has no paper, or had no more behind the page before.
    HRESULT drvAcquireItemData(BYTE* pWiasContext, LONG lFlags, MINIDRV_TRANSFER_CONTEXT* pmdtc,
                               LONG* plDevErrVal) override;
    HRESULT drvInitItemProperties(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) override;
    HRESULT drvValidateItemProperties(BYTE* pWiasContext, LONG lFlags, ULONG nPropSpec,
                                      const PROPSPEC* pPropSpec, LONG* plDevErrVal) override;
    HRESULT drvWriteItemProperties(BYTE* pWiasContext, LONG lFlags, MINIDRV_TRANSFER_CONTEXT* pmdtc,
                                   LONG* plDevErrVal) override;
    HRESULT drvReadItemProperties(BYTE* pWiasContext, LONG lFlags, ULONG nPropSpec,
                                  const PROPSPEC* pPropSpec, LONG* plDevErrVal) override;
    HRESULT drvLockWiaDevice(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) override;
    HRESULT drvUnLockWiaDevice(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) override;
    HRESULT drvAnalyzeItem(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) override;
    HRESULT drvGetDeviceErrorStr(LONG lFlags, LONG lDevErrVal, LPOLESTR* ppszDevErrStr,
                                 LONG* plDevErr) override;
    HRESULT drvDeviceCommand(BYTE* pWiasContext, LONG lFlags, const GUID* pGuid,
                             IWiaDrvItem** ppDrvItem, LONG* plDevErrVal) override;
    HRESULT drvGetCapabilities(BYTE* pWiasContext, LONG ulFlags, LONG* pcelt,
                               WIA_DEV_CAP_DRV** ppCapabilities, LONG* plDevErrVal) override;
    HRESULT drvDeleteItem(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) override;
    HRESULT drvFreeDrvItemContext(LONG lFlags, BYTE* pSpecContext, LONG* plDevErrVal) override;
    HRESULT drvGetWiaFormatInfo(BYTE* pWiasContext, LONG lFlags, LONG* pcelt,
                                WIA_FORMAT_INFO** ppwfi, LONG* plDevErrVal) override;
    HRESULT drvNotifyPnPEvent(const GUID* pEventGUID, BSTR bstrDeviceID, ULONG ulReserved) override;
    HRESULT drvUnInitializeWia(BYTE* pWiasContext) override;

    // ---- IQLImageCallback

    HRESULT ImageCallback(std::uint32_t type, std::uint32_t reserved, std::uint32_t percent,
                          std::int32_t length, std::uint8_t* buffer) override;

  private:
    // ---- Session, registry and events

    HRESULT CreateScannerInterface(IOstrelDevice** ppToolkit);
    // The parts of Initialize. Each stops the start with its result.
    void ReadDeviceKey(HKEY hKey);
    HRESULT SettleDeviceName();
    HRESULT MeetDevice(HKEY hKey);
    void RunPendingTask();
    // Ends the still-image face's session.
    void CloseToolkit();
    // The parts of drvInitializeWia.
    HRESULT OpenController(LONG* plDevErrVal);
    HRESULT MakeController(LONG* plDevErrVal);
    HRESULT MakeEngine();
    // 1 for success, else 0.
    int ReadVendorPaths(HKEY hKey);
    void GatherDeviceData(HKEY hKey);
    // 1 when it ran to its end.
    int StoreDeviceData(HKEY hKey);
    int InstantLampWarmUp(HKEY hKey);
    HRESULT PollButtons(bool& found);
    void LightLampForButton();

    // ---- Items and properties

    HRESULT BuildItemTree();
    HRESULT DeleteItemTree();
    HRESULT BuildCapabilities();
    HRESULT LoadButtonEvents(LPCOLESTR iconText);
    HRESULT BuildRootItemProperties(BYTE* item);
    HRESULT BuildTopItemProperties(BYTE* pWiasContext);
    HRESULT InitializePrivateProperties(BYTE* item);
    HRESULT SetScannerSPFParameters();
    // The parts of the builds; `numbers` are those that their rows name.
    HRESULT MakeItems();
    HRESULT AskForSources(std::span<LONG> numbers);
    HRESULT AskForAreas(std::span<LONG> numbers);
    HRESULT AskForSelect(std::span<LONG> numbers);
    HRESULT BuildRootFirst(BYTE* pWiasContext);
    HRESULT ChooseForProperties(const ScanSource& source);
    void AddTopProperties(const GeomControl& geometry);
    void ReleaseUnlessFeeding();

    // ---- Validation (mini_driver_validation.cpp, mini_driver_rules.cpp)

    void RunRules(CFunctionTrace& trace, BYTE* item, PROPID id, ValidationCall& call);
    void HandOverScanItem(BYTE* item);
    void Refresh(CFunctionTrace& trace, BYTE* item, PROPID id);
    // One rule each, with the item and the properties that were written.
    HRESULT ValidateIntent(BYTE* item, ValidationCall& call);
    HRESULT MinimizeSize(BYTE* item, ValidationCall& call);
    HRESULT MaximizeQuality(BYTE* item, ValidationCall& call);
    HRESULT ValidateDataType(BYTE* item, ValidationCall& call);
    HRESULT ValidateChannel(BYTE* item, ValidationCall& call);
    HRESULT ValidatePalette(BYTE* item, ValidationCall& call);
    HRESULT ApplyDataType(BYTE* item, ValidationCall& call, LONG type);
    HRESULT ValidateDepth(BYTE* item, ValidationCall& call);
    HRESULT ValidateBPC(BYTE* item, ValidationCall& call);
    HRESULT ValidateResolution(BYTE* item, ValidationCall& call);
    HRESULT ValidateExtents(BYTE* item, ValidationCall& call);
    HRESULT ValidateImageSize(BYTE* item, ValidationCall& call);
    HRESULT ValidateSelect(BYTE* item, ValidationCall& call);
    HRESULT ValidateADF(BYTE* item, ValidationCall& call);
    HRESULT ValidateTMA(BYTE* item, ValidationCall& call);
    HRESULT ValidateProfileName(BYTE* item, ValidationCall& call);
    HRESULT ValidateItemSize(BYTE* item, ValidationCall& call);
    HRESULT ValidateTymed(BYTE* item, ValidationCall& call);
    HRESULT ValidateFormat(BYTE* item, ValidationCall& call);
    HRESULT FollowSelects(BYTE* item);
    HRESULT RebuildForSelect(BYTE* item, ValidationCall& call);
    HRESULT RebuildForAdapter(BYTE* item, ValidationCall& call);
    HRESULT RebuildTopItem(BYTE* item, const char* notFound);

    // ---- Transfer (mini_driver_transfer.cpp)

    // The scan preparation: chooses the source, places the item's window, settles the data format
    // and asks what the device will deliver. Leaves the controller ready for finalScanInit. What is
    // returned through `geometry` tells the resolutions at which the device really scans.
    HRESULT ValidateWidthHeight(BYTE* pWiasContext, GeomControl& geometry, DWORD& scanPixelWidth,
                                DWORD& scanLines);
    // The source that device, paper and the root's properties ask for. `tmaDefault` stands for an
    // unreadable choice of the adapter.
    ScanSource ResolveSource(BYTE* pWiasContext, LONG tmaDefault);
    // Turns an item's properties into the engine's settings.
    HRESULT HandOverSettings(BYTE* item);
    // The way of an item's property on the device's root.
    static HRESULT ReadRootLong(BYTE* pWiasContext, PROPID id, LONG* value);
    static HRESULT WriteRootLong(BYTE* pWiasContext, PROPID id, LONG value);

    // WIA_ERROR_PAPER_EMPTY when a feeder is selected and is spent.
    HRESULT LookForPaper(BYTE* pWiasContext);
    HRESULT ScanItem(BYTE* pWiasContext, MINIDRV_TRANSFER_CONTEXT* pmdtc, LONG* plDevErrVal);
    HRESULT SettleFormat(BYTE* pWiasContext);
    HRESULT ValidateDataTransferContext(const MINIDRV_TRANSFER_CONTEXT* pmdtc);

    // ---- Members

    const CLogHold m_logHold{CLSID_MiniDrv};  // before the log, which goes by it
    const std::unique_ptr<CLog> m_pLog = std::make_unique<CLog>();
    DWORD m_dwSessionId = 0;  // of m_pToolkit
    GUID m_clsidToolkit = GUID_NULL;
    ComPtr<IOstrelDevice> m_pToolkit;  // the still-image face's
    ComPtr<IStiDeviceControl> m_pDcb;
    DWORD m_dwLastError = 0;
    WCHAR m_szDeviceName[MAX_PATH] = u"";
    DWORD m_dwDeviceSubType = 1;  // the way in which button events come
    CButtonTable m_buttons;
    CLastEvent m_lastEvent;
    CButtonThread m_buttonThread{m_buttons, m_lastEvent, *m_pLog};
    BOOL m_bToolkitForEvents = TRUE;  // the session stays open behind Initialize
    DWORD m_dwIoType = 1;             // 1 USB, 2 parallel, 3 SCSI, 4 DOT4, 5 network
    char m_szModel[kOstrelModelChars] = "";
    char m_szToolkitDriver[MAX_PATH] = "";
    BOOL m_bLampOnButton = FALSE;
    char m_szNetworkDeviceId[MAX_PATH] = "";
    char m_szInstallClsid[MAX_PATH] = "";
    std::string m_strRegPath;
    std::u16string m_bstrDeviceID;
    std::u16string m_bstrRootFullItemName;
    ComPtr<IWiaDrvItem> m_pRootItem;
    IUnknown* m_pStiDevice = nullptr;  // not counted
    CCapabilityList m_capabilities;
    CPropertySet m_topProps;
    std::unique_ptr<CNVScan> m_pScan;
    DWORD m_defaultRes = 200;
    DWORD m_dwScanChannel = kChannelColor;  // what the last preparation made of the item's
    LONG m_lBedWidth = 0;                   // 1/1000 inch
    LONG m_lBedHeight = 0;
    BOOL m_bRootBuilt = FALSE;
    DWORD m_dwCallbackId = 0;
    DWORD m_dwAdfPageLocale = 0;
    DWORD m_dwAdfLargerPgSz = 0;
    DWORD m_dwLoadSettingsOnce = 0;  // 2: the registry knows what the device can do
    TaskArray<WIA_FORMAT_INFO> m_pFormatInfo;
    CPageTransfer* m_pPage = nullptr;  // while one is transferred
    ComPtr<CImageStream> m_pImageStream;
    std::unique_ptr<CQLEngine> m_pEngine;
    LONG m_nInitCount = 0;
    bool m_bFeederEmpty = false;  // the page before was the feeder's last
    bool m_bTopBuilt = false;
};
