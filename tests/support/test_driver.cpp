#include "tests/support/test_driver.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/sync.h"
#include "platform/text.h"
#include "service/counted.h"

#define TEST_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

#ifdef TEST_TOOLKIT_MODULE
constexpr CLSID kClass = CLSID_TestToolkit;
#else
constexpr CLSID kClass = CLSID_TestDriver;
#endif

// ---- Properties

constexpr LONG kResolutions[] = {100, 200, 400};
constexpr LONG kMedia[] = {TYMED_CALLBACK, TYMED_FILE};
GUID g_formats[] = {WiaImgFmt_MEMORYBMP, WiaImgFmt_BMP};

constexpr ULONG kRange = 0x13;
constexpr ULONG kList = 0x23;

struct TestRow {
    PROPID id;
    const char16_t* name;
    LONG value;
    ULONG access = 9;  // read only
    LONG a = 0;        // minimum, or entries of the list
    LONG b = 0;        // maximum
    LONG step = 1;
    const LONG* list = nullptr;
};
constexpr TestRow kRootRows[] = {
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, u"Document Handling Select", FLATBED, kRange, 0, 7},
    {WIA_DPS_DOCUMENT_HANDLING_STATUS, u"Document Handling Status", FLAT_READY},
    {WIA_DPS_PAGES, u"Pages", 1, kRange, 0, 50},
};
constexpr TestRow kTopRows[] = {
    {WIA_IPS_XRES, u"Horizontal Resolution", 100, kList, 3, 0, 0, kResolutions},
    {WIA_IPS_YRES, u"Vertical Resolution", 100},
    {WIA_IPS_XPOS, u"Horizontal Start Position", 0, kRange, 0, 850},
    {WIA_IPA_PIXELS_PER_LINE, u"Pixels Per Line", kTestWidth},
    {WIA_IPA_NUMBER_OF_LINES, u"Number of Lines", kTestLines},
    {WIA_IPA_DEPTH, u"Bits Per Pixel", 24},
    {WIA_IPS_BRIGHTNESS, u"Brightness", 0, kRange, -1000, 1000, 10},
    {WIA_IPA_TYMED, u"Media Type", TYMED_CALLBACK, kList, 2, 0, 0, kMedia},
    {WIA_IPA_MIN_BUFFER_SIZE, u"Minimum Buffer Size", 70000},
};

HRESULT Put(BYTE* context, PROPID id, const char16_t* name, const PROPVARIANT& value,
            WIA_PROPERTY_INFO info) {
    auto* wide = const_cast<LPOLESTR>(name);
    PROPSPEC spec = {};
    spec.ulKind = PRSPEC_PROPID;
    spec.propid = id;
    info.vt = value.vt;
    HRESULT hr = wiasSetItemPropNames(context, 1, &id, &wide);
    if (SUCCEEDED(hr))
        hr = wiasWriteMultiple(context, 1, &spec, &value);
    return SUCCEEDED(hr) ? wiasSetItemPropAttribs(context, 1, &spec, &info) : hr;
}

HRESULT PutRow(BYTE* context, const TestRow& row) {
    PROPVARIANT value = {};
    value.vt = VT_I4;
    value.lVal = row.value;
    WIA_PROPERTY_INFO info = {};
    info.lAccessFlags = row.access;
    if (row.access == kRange)
        info.ValidVal.Range = {row.a, row.value, row.b, row.step};
    if (row.access == kList)
        info.ValidVal.List = {row.a, row.value,
                              reinterpret_cast<BYTE*>(const_cast<LONG*>(row.list))};
    return Put(context, row.id, row.name, value, info);
}

// Those that are no numbers.
HRESULT PutOthers(BYTE* context) {
    PROPVARIANT value = {};
    value.vt = VT_CLSID;
    value.puuid = g_formats;
    WIA_PROPERTY_INFO info = {};
    info.lAccessFlags = kList;
    info.ValidVal.ListGuid = {2, g_formats[0], g_formats};
    const HRESULT hr = Put(context, WIA_IPA_FORMAT, u"Format", value, info);
    BYTE bytes[4] = {1, 2, 3, 4};
    value.vt = VT_VECTOR | VT_UI1;
    value.caub = {sizeof(bytes), bytes};
    info.lAccessFlags = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_NONE;
    return SUCCEEDED(hr) ? Put(context, kTestBlob, u"Private Defaults", value, info) : hr;
}

// The window stays where it is on a glass of 8.5 inch.
void FollowResolution(BYTE* context) {
    LONG dpi = 0;
    LONG oldDpi = 0;
    if (wiasReadPropLong(context, WIA_IPS_XRES, &dpi, &oldDpi, FALSE) != S_OK || dpi == oldDpi)
        return;
    LONG position = 0;
    LONG now = 0;
    wiasReadPropLong(context, WIA_IPS_XPOS, &now, &position, TRUE);
    wiasSetValidRangeLong(context, WIA_IPS_XPOS, 0, 0, dpi * 17 / 2, 1);
    wiasWritePropLong(context, WIA_IPS_XPOS, position * dpi / oldDpi);
    wiasWritePropLong(context, WIA_IPS_YRES, dpi);
}

// ---- The driver

// Counts one call of the imaging face.
class CInside {
  public:
    explicit CInside(const char* operation) : m_result(TestScript().Enter(operation)) {
        TestScript().m_mostInside =
            std::max<int>(++TestScript().m_inside, TestScript().m_mostInside);
    }
    ~CInside() { --TestScript().m_inside; }
    operator HRESULT() const { return m_result; }

  private:
    const HRESULT m_result;
};

class CTestDriver final : public IStiUSD, public IWiaMiniDrv {
  public:
    CTestDriver() { ++m_script.m_made, ++m_script.m_objects; }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown      ? static_cast<IStiUSD*>(this)
                  : m_script.m_noFaces     ? nullptr
                  : iid == IID_IStiUSD     ? static_cast<void*>(static_cast<IStiUSD*>(this))
                  : iid == IID_IWiaMiniDrv ? static_cast<void*>(static_cast<IWiaMiniDrv*>(this))
                                           : nullptr;
        return *object ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_refs; }
    ULONG Release() override {
        const ULONG left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    // Still image
    HRESULT Initialize(IStiDeviceControl* control, DWORD, HKEY) override {
        const HRESULT hr = m_script.Enter("Initialize");
        OLECHAR port[260] = {};
        if (FAILED(control->GetMyDevicePortName(port, 260)) || port[0] == 0)
            return E_INVALIDARG;
        if (FAILED(hr))
            control->WriteToErrorLog(0, u"no scanner", 0);
        return hr;
    }
    HRESULT GetCapabilities(STI_USD_CAPS* capabilities) override {
        *capabilities = {2, m_script.m_capabilities};
        return S_OK;
    }
    HRESULT GetStatus(STI_DEVICE_STATUS* status) override {
        const HRESULT hr = m_script.Enter("GetStatus");
        status->dwPollingInterval = m_script.m_interval;
        const std::lock_guard guard(m_script.m_lock);
        if (SUCCEEDED(hr) && !m_script.m_presses.empty())
            status->dwEventHandlingState |= STI_EVENTHANDLING_PENDING;
        return hr;
    }
    HRESULT SetNotificationHandle(HANDLE handle) override {
        const HRESULT hr = m_script.Enter(handle ? "Arm" : "Disarm");
        const std::lock_guard guard(m_script.m_lock);
        m_script.m_handle = handle;
        return hr;
    }
    HRESULT GetNotificationData(STINOTIFY* notification) override {
        const HRESULT hr = m_script.Enter("GetNotificationData");
        const std::lock_guard guard(m_script.m_lock);
        auto& presses = m_script.m_presses;
        notification->dwSize = 0;
        if (FAILED(hr) || presses.empty())
            return hr;
        *notification = {sizeof(*notification), presses.front(), {}};
        presses.pop_front();
        m_script.m_handle = nullptr;  // one press, one arming
        return hr;
    }
    HRESULT DeviceReset() override { return S_OK; }
    HRESULT Diagnostic(STI_DIAG*) override { return S_OK; }
    HRESULT Escape(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT GetLastError(DWORD*) override { return S_OK; }
    HRESULT LockDevice() override { return S_OK; }
    HRESULT UnLockDevice() override { return S_OK; }
    HRESULT RawReadData(LPVOID, DWORD*, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawWriteData(LPVOID, DWORD, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawReadCommand(LPVOID, DWORD*, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawWriteCommand(LPVOID, DWORD, LPVOID) override { return E_NOTIMPL; }
    HRESULT GetLastErrorInfo(STI_ERROR_INFO*) override { return S_OK; }

    // Imaging
    HRESULT drvInitializeWia(BYTE*, LONG, BSTR, BSTR rootName, IUnknown*, IUnknown*,
                             IWiaDrvItem** root, IUnknown**, LONG* deviceError) override {
        const CInside inside("drvInitializeWia");
        if (FAILED(inside)) {
            *deviceError = 7;
            return inside;
        }
        m_rootName.assign(rootName, SysStringLen(rootName));
        const HRESULT hr = BuildItems();
        *root = m_root.Get();
        return hr;
    }
    HRESULT drvInitItemProperties(BYTE* context, LONG, LONG*) override {
        const CInside inside("drvInitItemProperties");
        ComPtr<IWiaDrvItem> item;
        LONG flags = 0;
        wiasGetDrvItem(context, item.Out());
        item->GetItemFlags(&flags);
        const bool isRoot = (flags & WiaItemTypeRoot) != 0;
        HRESULT hr = isRoot ? S_OK : PutOthers(context);
        for (const TestRow& row :
             isRoot ? std::span(kRootRows) : std::span<const TestRow>(kTopRows))
            hr = SUCCEEDED(hr) ? PutRow(context, row) : hr;
        if (SUCCEEDED(hr) && m_script.m_initItem)
            m_script.m_initItem(context);
        return FAILED(inside) ? inside : hr;
    }
    HRESULT drvValidateItemProperties(BYTE* context, LONG, ULONG count, const PROPSPEC* specs,
                                      LONG*) override {
        const CInside inside("drvValidateItemProperties");
        FollowResolution(context);
        const HRESULT hr = m_script.m_validate ? m_script.m_validate(context, count, specs) : S_OK;
        return FAILED(inside) ? inside : hr;
    }
    HRESULT drvReadItemProperties(BYTE* context, LONG, ULONG, const PROPSPEC*, LONG*) override {
        const CInside inside("drvReadItemProperties");
        if (m_script.m_read)
            m_script.m_read(context);
        return inside;
    }
    HRESULT drvAcquireItemData(BYTE* context, LONG, MINIDRV_TRANSFER_CONTEXT* transfer,
                               LONG*) override {
        const CInside inside("drvAcquireItemData");
        if (m_script.m_acquire)
            return m_script.m_acquire(context, transfer);
        return m_script.m_sheets-- <= 0 ? WIA_ERROR_PAPER_EMPTY : DeliverTestPicture(transfer);
    }
    HRESULT drvDeviceCommand(BYTE*, LONG, const GUID* command, IWiaDrvItem**, LONG*) override {
        const CInside inside("drvDeviceCommand");
        if (*command != WIA_CMD_SYNCHRONIZE)
            return E_NOTIMPL;
        DropItems();
        return BuildItems();
    }
    HRESULT drvGetCapabilities(BYTE*, LONG, LONG* count, WIA_DEV_CAP_DRV** rows, LONG*) override {
        *count = 3;
        *rows = nullptr;
        return CInside("drvGetCapabilities");
    }
    HRESULT drvGetDeviceErrorStr(LONG, LONG, LPOLESTR* text, LONG*) override {
        *text = const_cast<LPOLESTR>(u"the glass is dirty");
        return S_OK;
    }
    HRESULT drvWriteItemProperties(BYTE*, LONG, MINIDRV_TRANSFER_CONTEXT*, LONG*) override {
        return CInside("drvWriteItemProperties");
    }
    HRESULT drvLockWiaDevice(BYTE*, LONG, LONG*) override { return CInside("drvLockWiaDevice"); }
    HRESULT drvUnLockWiaDevice(BYTE*, LONG, LONG*) override {
        return CInside("drvUnLockWiaDevice");
    }
    HRESULT drvFreeDrvItemContext(LONG, BYTE*, LONG*) override {
        return CInside("drvFreeDrvItemContext");
    }
    HRESULT drvUnInitializeWia(BYTE*) override { return CInside("drvUnInitializeWia"); }
    HRESULT drvAnalyzeItem(BYTE*, LONG, LONG*) override { return E_NOTIMPL; }
    HRESULT drvDeleteItem(BYTE*, LONG, LONG*) override { return STG_E_ACCESSDENIED; }
    HRESULT drvGetWiaFormatInfo(BYTE*, LONG, LONG*, WIA_FORMAT_INFO**, LONG*) override {
        return E_NOTIMPL;
    }
    HRESULT drvNotifyPnPEvent(const GUID*, BSTR, ULONG) override { return S_OK; }

  private:
    ~CTestDriver() {
        DropItems();
        --m_script.m_objects;
    }
    void DropItems() {
        if (m_root)
            m_root->UnlinkItemTree(WiaItemTypeDisconnected);
        m_root.Reset();
    }
    HRESULT BuildItems() {
        if (m_root)
            return S_OK;
        BYTE* memory = nullptr;
        ComPtr<IWiaDrvItem> top;
        HRESULT hr = wiasCreateDrvItem(76, CText(u"Root").Get(), CText(m_rootName).Get(), this, 8,
                                       &memory, m_root.Out());
        if (SUCCEEDED(hr))
            hr = wiasCreateDrvItem(67, CText(u"\\Top").Get(), CText(m_rootName + u"\\Top").Get(),
                                   this, 0, nullptr, top.Out());
        return SUCCEEDED(hr) ? top->AddItemToFolder(m_root.Get()) : hr;
    }

    CTestScript& m_script = TestScript();
    std::atomic<ULONG> m_refs{1};
    std::u16string m_rootName;
    ComPtr<IWiaDrvItem> m_root;
};

// ---- The module

class CFactory final : public CCounted<IClassFactory, IID_IClassFactory> {
  public:
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* driver = new CTestDriver;
        const HRESULT hr = driver->QueryInterface(iid, object);
        driver->Release();
        return hr;
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
};
CFactory g_factory;

std::unique_ptr<CTestScript>& Script() {
    static auto& script = *new std::unique_ptr<CTestScript>(new CTestScript);
    return script;
}

}  // namespace

CTestScript& TestScript() {
    return *Script();
}

void RenewTestScript() {
    Script() = std::make_unique<CTestScript>();
}

void CTestScript::Fail(const std::string& operation, HRESULT code, int times) {
    const std::lock_guard guard(m_lock);
    m_failures[operation] = {code, times};
}

HRESULT CTestScript::Enter(const std::string& operation) {
    const std::lock_guard guard(m_lock);
    ++m_counts[operation];
    auto& [code, times] = m_failures[operation];
    return times > 0 && times-- > 0 ? code : S_OK;
}

int CTestScript::Count(const std::string& operation) {
    const std::lock_guard guard(m_lock);
    return m_counts[operation];
}

void CTestScript::Press(REFGUID guid) {
    const std::lock_guard guard(m_lock);
    m_presses.push_back(guid);
    if (m_handle)
        SetEvent(m_handle);
}

BYTE TestPicture(LONG line, LONG offset) {
    return static_cast<BYTE>(line * 7 + offset * 3);
}

HRESULT DeliverTestPicture(MINIDRV_TRANSFER_CONTEXT* transfer, const std::function<void()>& told,
                           int most) {
    const BITMAPINFOHEADER info = {40, kTestWidth, -kTestLines, 1, 24, 0, 0, 3937, 3937, 0, 0};
    std::vector<BYTE> bytes(sizeof(info));
    std::memcpy(bytes.data(), &info, sizeof(info));
    for (LONG i = 0; i < kTestLines * kTestStride; ++i)
        bytes.push_back(TestPicture(i / kTestStride, i % kTestStride));
    const bool isFile = transfer->tymed == TYMED_FILE;
    // The runs behind the header end within rows.
    constexpr std::size_t kRun = 30 * kTestStride + 7;
    for (std::size_t at = 0, run = sizeof(info); at < bytes.size() && most > 0;
         at += run, run = kRun, --most) {
        run = std::min(run, bytes.size() - at);
        if (!isFile)
            std::memcpy(transfer->pTransferBuffer, bytes.data() + at, run);
        const HRESULT hr = transfer->pIWiaMiniDrvCallBack->MiniDrvCallback(
            isFile ? IT_MSG_STATUS : IT_MSG_DATA, IT_STATUS_TRANSFER_TO_CLIENT,
            static_cast<LONG>(100 * at / bytes.size()), isFile ? 0 : transfer->cbOffset,
            isFile ? 0 : static_cast<LONG>(run), transfer, 0);
        if (hr != S_OK)
            return hr;
        transfer->cbOffset += static_cast<LONG>(run);
        if (told)
            told();
    }
    if (!isFile)
        return S_OK;
    transfer->pTransferBuffer = bytes.data();
    transfer->lItemSize = static_cast<LONG>(bytes.size());
    return wiasWriteBufToFile(0, transfer);
}

TEST_EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    return clsid == CLSID_TestDriver ? g_factory.QueryInterface(iid, object)
                                     : CLASS_E_CLASSNOTAVAILABLE;
}

TEST_EXPORT HRESULT DllCanUnloadNow() {
    return S_FALSE;
}

TEST_EXPORT HRESULT DllRegisterServer() {
    char path[4096] = {};
    GetModuleFileNameA(ModuleFromAddress(&g_factory), path, sizeof(path));
    CRegistryKey key;
    key.Create(HKEY_CLASSES_ROOT, "CLSID\\" + GuidText(kClass) + "\\InprocServer32");
    return key.WriteText(nullptr, path) == ERROR_SUCCESS ? S_OK : E_FAIL;
}

TEST_EXPORT HRESULT DllUnregisterServer() {
    RegDeleteTreeA(HKEY_CLASSES_ROOT, ("CLSID\\" + GuidText(kClass)).c_str());
    return S_OK;
}
