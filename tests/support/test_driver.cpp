#include "tests/support/test_driver.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/module_class.h"
#include "platform/sync.h"
#include "platform/text.h"

namespace {

// ---- Properties

struct TestRow {
    PROPID id;
    const char16_t* name;
    LONG value;
    LONG low = 0;
    LONG high = 0;
    LONG step = 0;  // of a range; none: the property is read only
};
constexpr TestRow kRootRows[] = {
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, u"Document Handling Select", FLATBED, 0, 7, 1},
    {WIA_DPS_DOCUMENT_HANDLING_STATUS, u"Document Handling Status", FLAT_READY},
    {WIA_DPS_PAGES, u"Pages", 1, 0, 50, 1},
};
constexpr TestRow kTopRows[] = {
    {WIA_IPS_XRES, u"Horizontal Resolution", 100, 100, 400, 100},
    {WIA_IPS_YRES, u"Vertical Resolution", 100},
    {WIA_IPS_XPOS, u"Horizontal Start Position", 0, 0, 850, 1},
    {WIA_IPA_PIXELS_PER_LINE, u"Pixels Per Line", kTestWidth},
    {WIA_IPA_NUMBER_OF_LINES, u"Number of Lines", kTestLines},
    {WIA_IPA_DEPTH, u"Bits Per Pixel", 24},
    {WIA_IPS_BRIGHTNESS, u"Brightness", 0, -1000, 1000, 10},
    {WIA_IPA_TYMED, u"Media Type", TYMED_CALLBACK},
    {WIA_IPA_MIN_BUFFER_SIZE, u"Minimum Buffer Size", 70000},
};

HRESULT SetName(BYTE* context, PROPID id, const char16_t* name) {
    auto* wide = const_cast<LPOLESTR>(name);
    return wiasSetItemPropNames(context, 1, &id, &wide);
}

HRESULT Put(BYTE* context, const TestRow& row) {
    const bool isRange = row.step > 0;
    PROPSPEC spec = {PRSPEC_PROPID, {row.id}};
    WIA_PROPERTY_INFO info = {};
    info.vt = VT_I4;
    info.lAccessFlags = WIA_PROP_READ | (isRange ? WIA_PROP_WRITE | WIA_PROP_RANGE : WIA_PROP_NONE);
    if (isRange)
        info.ValidVal.Range = {row.low, row.value, row.high, row.step};
    HRESULT hr = SetName(context, row.id, row.name);
    if (SUCCEEDED(hr))
        hr = wiasWritePropLong(context, row.id, row.value);
    return SUCCEEDED(hr) ? wiasSetItemPropAttribs(context, 1, &spec, &info) : hr;
}

// ---- The driver

class CTestDriver
    : public CCounted<Face<IStiUSD, IID_IStiUSD>, Face<IWiaMiniDrv, IID_IWiaMiniDrv>> {
  public:
    CTestDriver() { ++m_script.m_made, ++m_script.m_objects; }

    // Still image
    HRESULT Initialize(IStiDeviceControl* control, DWORD, HKEY) override {
        const HRESULT hr = m_script.Enter("Initialize");
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
        const std::lock_guard guard(m_script.m_lock);
        status->dwPollingInterval = m_script.m_interval;
        status->dwEventHandlingState = m_script.m_presses.empty() ? 0 : STI_EVENTHANDLING_PENDING;
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
        if (const HRESULT hr = m_script.Enter("drvInitializeWia"); FAILED(hr)) {
            *deviceError = 7;
            return hr;
        }
        m_rootName.assign(rootName, SysStringLen(rootName));
        const HRESULT hr = BuildItems();
        *root = m_root.Get();
        return hr;
    }
    HRESULT drvInitItemProperties(BYTE* context, LONG, LONG*) override {
        BYTE* root = nullptr;
        wiasGetRootItem(context, &root);
        const bool isRoot = context == root;
        HRESULT hr = m_script.Enter("drvInitItemProperties");
        for (const TestRow& row :
             isRoot ? std::span(kRootRows) : std::span<const TestRow>(kTopRows))
            hr = SUCCEEDED(hr) ? Put(context, row) : hr;
        if (FAILED(hr) || isRoot)
            return hr;
        hr = SetName(context, WIA_IPA_FORMAT, u"Format");
        return SUCCEEDED(hr) ? wiasWritePropGuid(context, WIA_IPA_FORMAT, WiaImgFmt_MEMORYBMP) : hr;
    }
    HRESULT drvValidateItemProperties(BYTE* context, LONG, ULONG, const PROPSPEC*, LONG*) override {
        return m_script.m_validate ? m_script.m_validate(context) : S_OK;
    }
    HRESULT drvReadItemProperties(BYTE* context, LONG, ULONG, const PROPSPEC*, LONG*) override {
        if (m_script.m_read)
            m_script.m_read(context);
        return m_script.Enter("drvReadItemProperties");
    }
    HRESULT drvAcquireItemData(BYTE* context, LONG, MINIDRV_TRANSFER_CONTEXT* transfer,
                               LONG*) override {
        if (m_script.m_acquire)
            return m_script.m_acquire(context, transfer);
        return m_script.m_sheets-- <= 0 ? WIA_ERROR_PAPER_EMPTY : DeliverTestPicture(transfer);
    }
    HRESULT drvDeviceCommand(BYTE*, LONG, const GUID* command, IWiaDrvItem**, LONG*) override {
        if (*command != WIA_CMD_SYNCHRONIZE)
            return E_NOTIMPL;
        DropItems();
        return BuildItems();
    }
    HRESULT drvGetCapabilities(BYTE*, LONG, LONG* count, WIA_DEV_CAP_DRV** rows, LONG*) override {
        *count = 3;
        *rows = nullptr;
        return S_OK;
    }
    HRESULT drvGetDeviceErrorStr(LONG, LONG, LPOLESTR* text, LONG*) override {
        *text = const_cast<LPOLESTR>(u"the glass is dirty");
        return S_OK;
    }
    HRESULT drvWriteItemProperties(BYTE*, LONG, MINIDRV_TRANSFER_CONTEXT*, LONG*) override {
        return m_script.Enter("drvWriteItemProperties");
    }
    HRESULT drvLockWiaDevice(BYTE*, LONG, LONG*) override { return m_script.Enter("Lock"); }
    HRESULT drvUnLockWiaDevice(BYTE*, LONG, LONG*) override { return m_script.Enter("Unlock"); }
    HRESULT drvFreeDrvItemContext(LONG, BYTE*, LONG*) override { return m_script.Enter("Free"); }
    HRESULT drvUnInitializeWia(BYTE*) override { return m_script.Enter("drvUnInitializeWia"); }
    HRESULT drvAnalyzeItem(BYTE*, LONG, LONG*) override { return E_NOTIMPL; }
    HRESULT drvDeleteItem(BYTE*, LONG, LONG*) override { return STG_E_ACCESSDENIED; }
    HRESULT drvGetWiaFormatInfo(BYTE*, LONG, LONG*, WIA_FORMAT_INFO**, LONG*) override {
        return E_NOTIMPL;
    }
    HRESULT drvNotifyPnPEvent(const GUID*, BSTR, ULONG) override { return S_OK; }

  protected:
    ~CTestDriver() override {
        DropItems();
        --m_script.m_objects;
    }

  private:
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
        HRESULT hr =
            wiasCreateDrvItem(76, MakeTaskText(u"Root").get(), MakeTaskText(m_rootName).get(), this,
                              8, &memory, m_root.Out());
        if (SUCCEEDED(hr))
            hr = wiasCreateDrvItem(67, MakeTaskText(u"\\Top").get(),
                                   MakeTaskText(m_rootName + u"\\Top").get(), this, 0, nullptr,
                                   top.Out());
        return SUCCEEDED(hr) ? top->AddItemToFolder(m_root.Get()) : hr;
    }

    CTestScript& m_script = TestScript();
    std::u16string m_rootName;
    ComPtr<IWiaDrvItem> m_root;
};

CModuleClass<CTestDriver> g_class(CLSID_TestDriver, "Test driver");

auto g_script = std::make_unique<CTestScript>();

}  // namespace

CTestScript& TestScript() {
    return *g_script;
}

void RenewTestScript() {
    g_script = std::make_unique<CTestScript>();
}

void CTestScript::Fail(const std::string& operation, HRESULT code, int times) {
    const std::lock_guard guard(m_lock);
    m_failures[operation] = {code, times};
}

HRESULT CTestScript::Enter(const std::string& operation) {
    const std::lock_guard guard(m_lock);
    ++m_counts[operation];
    auto& [code, times] = m_failures[operation];
    return times-- > 0 ? code : S_OK;
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

HRESULT DeliverTestPicture(MINIDRV_TRANSFER_CONTEXT* transfer, const std::function<void()>& told,
                           int most) {
    const BITMAPINFOHEADER info = {40, kTestWidth, -kTestLines, 1, 24, 0, 0, 3937, 3937, 0, 0};
    std::vector<BYTE> bytes(sizeof(info));
    std::memcpy(bytes.data(), &info, sizeof(info));
    for (LONG i = 0; i < kTestLines * kTestStride; ++i)
        bytes.push_back(TestPicture(i / kTestStride, i % kTestStride));
    // The runs behind the header end within rows.
    constexpr std::size_t kRun = 30 * kTestStride + 7;
    for (std::size_t at = 0, run = sizeof(info); at < bytes.size() && most > 0;
         at += run, run = kRun, --most) {
        run = std::min(run, bytes.size() - at);
        std::memcpy(transfer->pTransferBuffer, bytes.data() + at, run);
        const HRESULT hr = transfer->pIWiaMiniDrvCallBack->MiniDrvCallback(
            IT_MSG_DATA, IT_STATUS_TRANSFER_TO_CLIENT, static_cast<LONG>(100 * at / bytes.size()),
            transfer->cbOffset, static_cast<LONG>(run), transfer, 0);
        if (hr != S_OK)
            return hr;
        transfer->cbOffset += static_cast<LONG>(run);
        if (told)
            told();
    }
    return S_OK;
}

NVQ_MODULE_ENTRIES(g_class)
