#include "tests/support/test_driver.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/com_ptr.h"
#include "platform/module.h"
#include "platform/registry.h"
#include "platform/sync.h"

#define TEST_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

#ifdef TEST_TOOLKIT_MODULE
constexpr CLSID kClass = CLSID_TestToolkit;
#else
constexpr CLSID kClass = CLSID_TestDriver;
#endif

constexpr LONG kReadOnly = 9;
constexpr LONG kRange = 0x13;
constexpr LONG kList = 0x23;
constexpr LONG kFlag = 0x43;

constexpr LONG kResolutions[] = {100, 200, 400};
constexpr LONG kDataTypes[] = {0, 2, 3};
constexpr LONG kMedia[] = {TYMED_CALLBACK, TYMED_FILE};
GUID g_formats[] = {WiaImgFmt_MEMORYBMP, WiaImgFmt_BMP};

struct TestRow {
    PROPID id;
    const char16_t* name;
    LONG access;
    LONG value;
    LONG a = 0;  // minimum, or valid bits
    LONG b = 0;  // maximum
    LONG step = 1;
    const LONG* list = nullptr;
    LONG count = 0;
};
constexpr TestRow kRootRows[] = {
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, u"Document Handling Select", kFlag, FLATBED, 7},
    {WIA_DPS_DOCUMENT_HANDLING_STATUS, u"Document Handling Status", kReadOnly, FLAT_READY},
    {WIA_DPS_PAGES, u"Pages", kRange, 1, 0, 50},
};
constexpr TestRow kTopRows[] = {
    {WIA_IPS_XRES, u"Horizontal Resolution", kList, 100, 0, 0, 0, kResolutions, 3},
    {WIA_IPS_YRES, u"Vertical Resolution", kReadOnly, 100},
    {WIA_IPS_XPOS, u"Horizontal Start Position", kRange, 0, 0, 850},
    {WIA_IPS_XEXTENT, u"Horizontal Extent", kRange, 850, 0, 850},
    {WIA_IPA_PIXELS_PER_LINE, u"Pixels Per Line", kReadOnly, kTestWidth},
    {WIA_IPA_NUMBER_OF_LINES, u"Number of Lines", kReadOnly, kTestLines},
    {WIA_IPA_DEPTH, u"Bits Per Pixel", kReadOnly, 24},
    {WIA_IPA_DATATYPE, u"Data Type", kList, 3, 0, 0, 0, kDataTypes, 3},
    {WIA_IPS_BRIGHTNESS, u"Brightness", kRange, 0, -1000, 1000, 10},
    {WIA_IPS_CUR_INTENT, u"Current Intent", kFlag, 0, 0x30007},
    {WIA_IPA_TYMED, u"Media Type", kList, TYMED_CALLBACK, 0, 0, 0, kMedia, 2},
    {WIA_IPA_MIN_BUFFER_SIZE, u"Minimum Buffer Size", kReadOnly, 70000},
    {kTestSecret, u"Private Property", kReadOnly, 5},
};

// Collects what the three functions take that give an item its properties.
class CRows {
  public:
    void Add(PROPID id, const char16_t* name, ULONG access, const PROPVARIANT& value) {
        m_ids.push_back(id);
        m_names.push_back(const_cast<LPOLESTR>(name));
        m_values.push_back(value);
        WIA_PROPERTY_INFO info = {};
        info.lAccessFlags = access;
        info.vt = value.vt;
        m_infos.push_back(info);
        PROPSPEC spec = {};
        spec.ulKind = PRSPEC_PROPID;
        spec.propid = id;
        m_specs.push_back(spec);
    }
    void Add(const TestRow& row) {
        PROPVARIANT value = {};
        value.vt = VT_I4;
        value.lVal = row.value;
        Add(row.id, row.name, static_cast<ULONG>(row.access), value);
        auto& valid = m_infos.back().ValidVal;
        if (row.access == kRange)
            valid.Range = {row.a, row.value, row.b, row.step};
        if (row.access == kFlag)
            valid.Flag = {row.value, row.a};
        if (row.access == kList)
            valid.List = {row.count, row.value,
                          reinterpret_cast<BYTE*>(const_cast<LONG*>(row.list))};
    }
    WIA_PROPERTY_INFO& Last() { return m_infos.back(); }
    HRESULT Commit(BYTE* context) {
        const auto count = static_cast<LONG>(m_ids.size());
        HRESULT hr = wiasSetItemPropNames(context, count, m_ids.data(), m_names.data());
        if (SUCCEEDED(hr))
            hr = wiasWriteMultiple(context, static_cast<ULONG>(count), m_specs.data(),
                                   m_values.data());
        return SUCCEEDED(hr)
                   ? wiasSetItemPropAttribs(context, count, m_specs.data(), m_infos.data())
                   : hr;
    }

  private:
    std::vector<PROPID> m_ids;
    std::vector<LPOLESTR> m_names;
    std::vector<PROPVARIANT> m_values;
    std::vector<PROPSPEC> m_specs;
    std::vector<WIA_PROPERTY_INFO> m_infos;
};

HRESULT InitRoot(BYTE* context) {
    CRows rows;
    for (const TestRow& row : kRootRows)
        rows.Add(row);
    return rows.Commit(context);
}

HRESULT InitTop(BYTE* context) {
    CRows rows;
    for (const TestRow& row : kTopRows)
        rows.Add(row);
    PROPVARIANT value = {};
    value.vt = VT_CLSID;
    value.puuid = g_formats;
    rows.Add(WIA_IPA_FORMAT, u"Format", kList, value);
    rows.Last().ValidVal.ListGuid = {2, g_formats[0], g_formats};
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(u"sRGB");
    rows.Add(WIA_IPA_ICM_PROFILE_NAME, u"Color Profile Name", 0x2B, value);
    BYTE bytes[4] = {1, 2, 3, 4};
    PROPVARIANT blob = {};
    blob.vt = VT_VECTOR | VT_UI1;
    blob.caub = {sizeof(bytes), bytes};
    rows.Add(kTestBlob, u"Private Defaults", WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_NONE, blob);
    const HRESULT hr = rows.Commit(context);
    SysFreeString(value.bstrVal);
    return hr;
}

// The window stays where it is on the glass, and reaches at most the end of it.
HRESULT FollowResolution(BYTE* context, ULONG count, const PROPSPEC* specs) {
    WIA_PROPERTY_CONTEXT properties = {};
    HRESULT hr =
        wiasCreatePropContext(count, const_cast<PROPSPEC*>(specs), 0, nullptr, &properties);
    if (FAILED(hr))
        return hr;
    WIAS_CHANGED_VALUE_INFO info = {};
    hr = wiasGetChangedValueLong(context, &properties, TRUE, WIA_IPS_XRES, &info);
    if (FAILED(hr))  // the root has no resolution
        hr = S_OK;
    else if (info.bChanged) {
        LONG position = 0;
        LONG now = 0;
        wiasReadPropLong(context, WIA_IPS_XPOS, &now, &position, TRUE);
        const LONG most = info.Current.lVal * 17 / 2;
        position = position * info.Current.lVal / info.Old.lVal;
        wiasSetValidRangeLong(context, WIA_IPS_XPOS, 0, 0, most, 1);
        wiasSetValidRangeLong(context, WIA_IPS_XEXTENT, 0, most, most, 1);
        wiasWritePropLong(context, WIA_IPS_XPOS, position);
        wiasWritePropLong(context, WIA_IPS_XEXTENT, most - position);
        wiasWritePropLong(context, WIA_IPS_YRES, info.Current.lVal);
    }
    wiasFreePropContext(&properties);
    return hr;
}

// Counts one call of the imaging face.
class CInside {
  public:
    explicit CInside(const char* operation) : m_result(TestScript().Enter(operation)) {
        const int inside = ++TestScript().m_inside;
        if (inside > TestScript().m_mostInside)
            TestScript().m_mostInside = inside;
    }
    ~CInside() { --TestScript().m_inside; }
    HRESULT Result() const { return m_result; }

  private:
    const HRESULT m_result;
};

class CTestDriver final : public IStiUSD, public IWiaMiniDrv {
  public:
    // Part of `outer`, or of itself.
    explicit CTestDriver(IUnknown* outer) : m_own(*this), m_outer(outer ? outer : &m_own) {
        ++TestScript().m_objects;
        ++TestScript().m_made;
        TestScript().m_outside = outer != nullptr;
    }
    IUnknown* Own() { return &m_own; }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        return m_outer->QueryInterface(iid, object);
    }
    ULONG AddRef() override { return m_outer->AddRef(); }
    ULONG Release() override { return m_outer->Release(); }

    // Still image
    HRESULT Initialize(IStiDeviceControl* control, DWORD, HKEY) override;
    HRESULT GetCapabilities(STI_USD_CAPS* capabilities) override {
        *capabilities = {2, TestScript().m_capabilities};
        return S_OK;
    }
    HRESULT GetStatus(STI_DEVICE_STATUS* status) override;
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
    HRESULT SetNotificationHandle(HANDLE handle) override;
    HRESULT GetNotificationData(STINOTIFY* notification) override;
    HRESULT GetLastErrorInfo(STI_ERROR_INFO*) override { return S_OK; }

    // Imaging
    HRESULT drvInitializeWia(BYTE* context, LONG, BSTR, BSTR rootName, IUnknown*, IUnknown*,
                             IWiaDrvItem** root, IUnknown**, LONG* deviceError) override;
    HRESULT drvAcquireItemData(BYTE* context, LONG, MINIDRV_TRANSFER_CONTEXT* transfer,
                               LONG*) override;
    HRESULT drvInitItemProperties(BYTE* context, LONG, LONG*) override;
    HRESULT drvValidateItemProperties(BYTE* context, LONG, ULONG count, const PROPSPEC* specs,
                                      LONG*) override;
    HRESULT drvWriteItemProperties(BYTE*, LONG, MINIDRV_TRANSFER_CONTEXT*, LONG*) override {
        return CInside("drvWriteItemProperties").Result();
    }
    HRESULT drvReadItemProperties(BYTE* context, LONG, ULONG, const PROPSPEC*, LONG*) override {
        const CInside inside("drvReadItemProperties");
        if (TestScript().m_read)
            TestScript().m_read(context);
        return inside.Result();
    }
    HRESULT drvLockWiaDevice(BYTE*, LONG, LONG*) override {
        return CInside("drvLockWiaDevice").Result();
    }
    HRESULT drvUnLockWiaDevice(BYTE*, LONG, LONG*) override {
        return CInside("drvUnLockWiaDevice").Result();
    }
    HRESULT drvAnalyzeItem(BYTE*, LONG, LONG*) override { return E_NOTIMPL; }
    HRESULT drvGetDeviceErrorStr(LONG, LONG, LPOLESTR* text, LONG*) override {
        *text = const_cast<LPOLESTR>(u"the glass is dirty");
        return S_OK;
    }
    HRESULT drvDeviceCommand(BYTE*, LONG, const GUID*, IWiaDrvItem**, LONG*) override;
    HRESULT drvGetCapabilities(BYTE*, LONG, LONG* count, WIA_DEV_CAP_DRV** rows, LONG*) override {
        *count = 3;
        *rows = nullptr;
        return CInside("drvGetCapabilities").Result();
    }
    HRESULT drvDeleteItem(BYTE*, LONG, LONG*) override { return STG_E_ACCESSDENIED; }
    HRESULT drvFreeDrvItemContext(LONG, BYTE*, LONG*) override {
        return CInside("drvFreeDrvItemContext").Result();
    }
    HRESULT drvGetWiaFormatInfo(BYTE*, LONG, LONG*, WIA_FORMAT_INFO**, LONG*) override {
        return E_NOTIMPL;
    }
    HRESULT drvNotifyPnPEvent(const GUID*, BSTR, ULONG) override { return S_OK; }
    HRESULT drvUnInitializeWia(BYTE*) override { return CInside("drvUnInitializeWia").Result(); }

  private:
    // What stands for the object itself when it is part of another.
    class COwn final : public IUnknown {
      public:
        explicit COwn(CTestDriver& driver) : m_driver(driver) {}
        HRESULT QueryInterface(REFIID iid, void** object) override;
        ULONG AddRef() override { return ++m_refs; }
        ULONG Release() override {
            const ULONG left = --m_refs;
            if (left == 0)
                delete &m_driver;
            return left;
        }

      private:
        CTestDriver& m_driver;
        std::atomic<ULONG> m_refs{1};
    };

    ~CTestDriver() {
        DropItems();
        --TestScript().m_objects;
    }
    void DropItems() {
        if (m_root)
            m_root->UnlinkItemTree(WiaItemTypeDisconnected);
        m_root.Reset();
    }
    HRESULT BuildItems(BSTR rootName);

    COwn m_own;
    IUnknown* const m_outer;
    std::u16string m_rootName;
    ComPtr<IWiaDrvItem> m_root;
};

HRESULT CTestDriver::COwn::QueryInterface(REFIID iid, void** object) {
    *object = nullptr;
    if (iid == IID_IUnknown)
        *object = this;
    else if (iid == IID_IStiUSD && !TestScript().m_noFaces)
        *object = static_cast<IStiUSD*>(&m_driver);
    else if (iid == IID_IWiaMiniDrv && !TestScript().m_noFaces)
        *object = static_cast<IWiaMiniDrv*>(&m_driver);
    if (!*object)
        return E_NOINTERFACE;
    if (iid == IID_IUnknown)
        AddRef();
    else
        m_driver.AddRef();
    return S_OK;
}

// ---- Still image

HRESULT CTestDriver::Initialize(IStiDeviceControl* control, DWORD, HKEY) {
    const HRESULT hr = TestScript().Enter("Initialize");
    OLECHAR port[260] = {};
    if (FAILED(control->GetMyDevicePortName(port, 260)) || port[0] == 0)
        return E_INVALIDARG;
    if (FAILED(hr))
        control->WriteToErrorLog(0, u"no scanner", 0);
    return hr;
}

HRESULT CTestDriver::GetStatus(STI_DEVICE_STATUS* status) {
    CTestScript& script = TestScript();
    const HRESULT hr = script.Enter("GetStatus");
    status->dwPollingInterval = script.m_interval;
    const std::lock_guard guard(script.m_lock);
    if (SUCCEEDED(hr) && !script.m_presses.empty())
        status->dwEventHandlingState |= STI_EVENTHANDLING_PENDING;
    return hr;
}

HRESULT CTestDriver::SetNotificationHandle(HANDLE handle) {
    CTestScript& script = TestScript();
    const HRESULT hr = script.Enter(handle ? "Arm" : "Disarm");
    const std::lock_guard guard(script.m_lock);
    script.m_handle = handle;
    return hr;
}

HRESULT CTestDriver::GetNotificationData(STINOTIFY* notification) {
    CTestScript& script = TestScript();
    const HRESULT hr = script.Enter("GetNotificationData");
    const std::lock_guard guard(script.m_lock);
    notification->dwSize = 0;
    if (FAILED(hr) || script.m_presses.empty())
        return hr;
    notification->dwSize = sizeof(*notification);
    notification->guidNotificationCode = script.m_presses.front();
    script.m_presses.pop_front();
    script.m_handle = nullptr;  // one press, one arming
    return hr;
}

// ---- Imaging

HRESULT CTestDriver::BuildItems(BSTR rootName) {
    if (m_root)
        return S_OK;
    m_rootName.assign(rootName, SysStringLen(rootName));
    BSTR name = SysAllocString(u"Root");
    BYTE* memory = nullptr;
    HRESULT hr = wiasCreateDrvItem(76, name, rootName, this, 8, &memory, m_root.Out());
    SysFreeString(name);
    if (FAILED(hr))
        return hr;
    name = SysAllocString(u"\\Top");
    BSTR fullName = SysAllocString((m_rootName + u"\\Top").c_str());
    ComPtr<IWiaDrvItem> top;
    hr = wiasCreateDrvItem(67, name, fullName, this, 0, nullptr, top.Out());
    SysFreeString(name);
    SysFreeString(fullName);
    return SUCCEEDED(hr) ? top->AddItemToFolder(m_root.Get()) : hr;
}

HRESULT CTestDriver::drvInitializeWia(BYTE*, LONG, BSTR, BSTR rootName, IUnknown*, IUnknown*,
                                      IWiaDrvItem** root, IUnknown**, LONG* deviceError) {
    const CInside inside("drvInitializeWia");
    if (FAILED(inside.Result())) {
        *deviceError = 7;
        return inside.Result();
    }
    const HRESULT hr = BuildItems(rootName);
    *root = m_root.Get();
    return hr;
}

HRESULT CTestDriver::drvInitItemProperties(BYTE* context, LONG, LONG*) {
    const CInside inside("drvInitItemProperties");
    ComPtr<IWiaDrvItem> item;
    HRESULT hr = wiasGetDrvItem(context, item.Out());
    LONG flags = 0;
    if (SUCCEEDED(hr))
        hr = item->GetItemFlags(&flags);
    if (SUCCEEDED(hr))
        hr = (flags & WiaItemTypeRoot) != 0 ? InitRoot(context) : InitTop(context);
    if (SUCCEEDED(hr) && TestScript().m_initItem)
        hr = TestScript().m_initItem(context, flags);
    return FAILED(inside.Result()) ? inside.Result() : hr;
}

HRESULT CTestDriver::drvValidateItemProperties(BYTE* context, LONG, ULONG count,
                                               const PROPSPEC* specs, LONG*) {
    const CInside inside("drvValidateItemProperties");
    HRESULT hr = FollowResolution(context, count, specs);
    if (SUCCEEDED(hr) && TestScript().m_validate)
        hr = TestScript().m_validate(context, count, specs);
    return FAILED(inside.Result()) ? inside.Result() : hr;
}

HRESULT CTestDriver::drvAcquireItemData(BYTE* context, LONG, MINIDRV_TRANSFER_CONTEXT* transfer,
                                        LONG*) {
    const CInside inside("drvAcquireItemData");
    if (FAILED(inside.Result()))
        return inside.Result();
    if (TestScript().m_acquire)
        return TestScript().m_acquire(context, transfer);
    if (TestScript().m_sheets-- <= 0)
        return WIA_ERROR_PAPER_EMPTY;
    return DeliverTestPicture(transfer);
}

HRESULT CTestDriver::drvDeviceCommand(BYTE*, LONG, const GUID* command, IWiaDrvItem**, LONG*) {
    const CInside inside("drvDeviceCommand");
    if (*command != WIA_CMD_SYNCHRONIZE)
        return E_NOTIMPL;
    DropItems();
    BSTR name = SysAllocString(m_rootName.c_str());
    const HRESULT hr = BuildItems(name);
    SysFreeString(name);
    return hr;
}

// ---- The module

class CFactory final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer && (iid != IID_IUnknown || !TestScript().m_aggregates))
            return CLASS_E_NOAGGREGATION;
        auto* driver = new CTestDriver(outer);
        const HRESULT hr = driver->Own()->QueryInterface(iid, object);
        driver->Own()->Release();
        return hr;
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
};
CFactory g_factory;

std::string ClassKey() {
    LPOLESTR wide = nullptr;
    StringFromIID(kClass, &wide);
    const std::u16string_view text(wide);
    const std::string key = "CLSID\\" + std::string(text.begin(), text.end());
    CoTaskMemFree(wide);
    return key;
}

}  // namespace

CTestScript& TestScript() {
    static auto& script = *new CTestScript;
    return script;
}

void CTestScript::Reset() {
    const std::lock_guard guard(m_lock);
    m_failures.clear();
    m_counts.clear();
    m_validate = nullptr;
    m_acquire = nullptr;
    m_initItem = nullptr;
    m_read = nullptr;
    m_sheets = 1;
    m_aggregates = true;
    m_noFaces = false;
    m_made = 0;
    m_mostInside = 0;
    m_capabilities = 0;
    m_interval = 0;
    m_handle = nullptr;
    m_presses.clear();
}

void CTestScript::Fail(const std::string& operation, HRESULT code, int times) {
    const std::lock_guard guard(m_lock);
    m_failures[operation] = {code, times};
}

HRESULT CTestScript::Enter(const std::string& operation) {
    const std::lock_guard guard(m_lock);
    ++m_counts[operation];
    const auto failure = m_failures.find(operation);
    return failure != m_failures.end() && failure->second.times-- > 0 ? failure->second.code : S_OK;
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

HRESULT DeliverTestPicture(MINIDRV_TRANSFER_CONTEXT* transfer) {
    constexpr LONG kStride = (kTestWidth * 3 + 3) / 4 * 4;
    std::vector<BYTE> bytes(sizeof(BITMAPINFOHEADER));
    BITMAPINFOHEADER info = {sizeof(info), kTestWidth, -kTestLines, 1, 24, 0, 0, 3937, 3937, 0, 0};
    std::memcpy(bytes.data(), &info, sizeof(info));
    for (LONG line = 0; line < kTestLines; ++line) {
        for (LONG i = 0; i < kStride; ++i)
            bytes.push_back(TestPicture(line, i));
    }
    const bool isFile = transfer->tymed == TYMED_FILE;
    // The runs behind the header end within rows.
    constexpr std::size_t kRun = 30 * kStride + 7;
    for (std::size_t at = 0, run = sizeof(info); at < bytes.size(); at += run, run = kRun) {
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
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, (ClassKey() + "\\InprocServer32").c_str(), 0, nullptr, 0,
                        KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return E_FAIL;
    RegSetValueExA(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(path),
                   static_cast<DWORD>(std::strlen(path) + 1));
    RegCloseKey(key);
    return S_OK;
}

TEST_EXPORT HRESULT DllUnregisterServer() {
    return RegDeleteTreeA(HKEY_CLASSES_ROOT, ClassKey().c_str()) == ERROR_SUCCESS ? S_OK : E_FAIL;
}
