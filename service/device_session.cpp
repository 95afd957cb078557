#include "service/device_session.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/com.h"
#include "platform/text.h"

namespace {

// More than any driver has; the count is the driver's word.
constexpr LONG kMaxCapabilities = 1024;
constexpr LONG kScannerType = 1;  // the high half of a device's type

// Names under which the service's own properties are shown, in the published words.
struct OwnName {
    PROPID id;
    const char* name;
};
constexpr OwnName kOwnNames[] = {
    {WIA_IPA_ITEM_NAME, "Item Name"},
    {WIA_IPA_FULL_ITEM_NAME, "Full Item Name"},
    {WIA_IPA_ITEM_FLAGS, "Item Flags"},
    {WIA_DIP_DEV_ID, "Unique Device ID"},
    {WIA_DIP_VEND_DESC, "Manufacturer"},
    {WIA_DIP_DEV_DESC, "Description"},
    {WIA_DIP_DEV_TYPE, "Type"},
    {WIA_DIP_PORT_NAME, "Port"},
    {WIA_DIP_DEV_NAME, "Name"},
    {WIA_DIP_STI_GEN_CAPABILITIES, "STI Generic Capabilities"},
    {WIA_DPA_CONNECT_STATUS, "Connect Status"},
};

// Properties that the service gives an item itself.
void Publish(CPropertyStore& store, const std::vector<PropertyWrite>& values) {
    std::vector<CPropertyStore::Name> names;
    for (const PropertyWrite& value : values) {
        const auto* row = std::find_if(std::begin(kOwnNames), std::end(kOwnNames),
                                       [&](const OwnName& own) { return own.id == value.id; });
        names.emplace_back(value.id, row == std::end(kOwnNames) ? "" : row->name);
    }
    store.SetNames(names);
    store.Write(values);
}

}  // namespace

// The end of a session that isn't there any more.
class CDeviceSession::Ending final : public CCallGate::Work {
  public:
    void Do() noexcept override { End(*m_host, m_use); }

    CDeviceHost* m_host = nullptr;
    Use m_use;
};

// The root's context must exist before the driver is asked for the items: it gets it with that
// call.
CDeviceSession::CDeviceSession(std::shared_ptr<CDeviceHost> host, CallerInfo caller)
    : m_host(std::move(host)),
      m_caller(std::move(caller)),
      m_use{{}, CItemSet::Create()},
      m_ending(std::make_unique<Ending>()) {}

// The gate may be another client's, for as long as that client takes with its pages: then the end
// of this one comes behind it.
CDeviceSession::~CDeviceSession() {
    m_ending->m_host = m_host.get();
    m_ending->m_use = std::move(m_use);
    m_host->Gate().Run(std::move(m_ending));
}

// Under the gate. Items go ahead of the driver that made them.
void CDeviceSession::End(CDeviceHost& host, Use& use) {
    if (std::exchange(use.initialized, false)) {
        use.driver->Imaging()->drvUnInitializeWia(use.items->Root()->Handle());
        host.CountSession(-1);
    }
    use.items.reset();
    use.driver.Reset();
}

ScanStatus CDeviceSession::Open(std::shared_ptr<CDeviceHost> host, CallerInfo caller,
                                std::shared_ptr<CDeviceSession>& session) {
    std::shared_ptr<CDeviceSession> made(new CDeviceSession(std::move(host), std::move(caller)));
    CCallerWatch watch(made->Caller(), {made->Caller().cancel});
    ScanStatus status = watch.Result(made->Start(), StatusOf(kCancelledWait, made->Device().name));
    if (status.Ok())
        session = std::move(made);
    return status;
}

// What failed is given up under the gate and released without it (CDeviceHost::GivenUp).
ScanStatus CDeviceSession::Start() {
    ScanStatus status;
    CDeviceHost::GivenUp given;
    {
        const CCallGate::Hold hold(m_host->Gate());
        if (!hold)
            return StatusOf(WIA_ERROR_BUSY, Device().name);
        status = Begin();
        if (!status.Ok()) {
            End(*m_host, m_use);
            given = m_host->GiveUpDriver();
        }
    }
    if (!status.Ok())
        m_host->Release(std::move(given));
    return status;
}

ScanStatus CDeviceSession::Begin() {
    ScanStatus status = m_host->UseDriver(m_use.driver);
    IWiaDrvItem* root = nullptr;
    if (status.Ok())
        status = InitializeImaging(&root);
    return status.Ok() ? BuildItems(root) : status;
}

// The root item that comes back is the driver's, not counted.
ScanStatus CDeviceSession::InitializeImaging(IWiaDrvItem** root) {
    const TaskText id = MakeTaskText(WideFromText(Device().id));
    const TaskText rootName = MakeTaskText(WideFromText(Device().number + "\\Root"));
    IUnknown* inner = nullptr;
    LONG deviceError = 0;
    *root = nullptr;
    const HRESULT hr = m_use.driver->Imaging()->drvInitializeWia(
        m_use.items->Root()->Handle(), 0, id.get(), rootName.get(), m_use.driver.Get(),
        m_use.driver.Get(), root, &inner, &deviceError);
    if (FAILED(hr)) {
        const std::string why = ToolkitFailure(hr, Device());
        return why.empty() ? Failure(hr, Device().name + ": can't be opened", deviceError)
                           : ScanStatus{hr, Device().name + ": " + why};
    }
    m_use.initialized = true;
    m_host->CountSession(1);
    return *root ? ScanStatus{} : StatusOf(WIA_ERROR_INVALID_DRIVER_RESPONSE, Device().name);
}

// The service's own properties go ahead: a driver may read them while it makes its own.
ScanStatus CDeviceSession::BuildItems(IWiaDrvItem* root) {
    if (const HRESULT hr = m_use.items->TakeTree(root); FAILED(hr))
        return StatusOf(hr, Device().name + ": its items");
    for (const auto& item : Items()) {
        PublishItem(*item);
        ScanStatus status =
            Call(*item, Device().name + ": the properties of " + ShownItemName(item->Name()),
                 [&](BYTE* context, LONG* deviceError) {
                     return m_use.driver->Imaging()->drvInitItemProperties(context, 0, deviceError);
                 });
        if (!status.Ok())
            return status;
    }
    return {};
}

// The type of a device is two halves of 16 bits: what it is, and how its events come.
void CDeviceSession::PublishItem(CItemContext& item) const {
    Publish(item.Store(), {{WIA_IPA_ITEM_NAME, ShownItemName(item.Name())},
                           {WIA_IPA_FULL_ITEM_NAME, item.FullName()},
                           {WIA_IPA_ITEM_FLAGS, item.Flags()}});
    if (&item != m_use.items->Root().get())
        return;
    const InstalledDevice& device = Device();
    const auto type =
        static_cast<LONG>(static_cast<DWORD>(kScannerType) << 16 | (device.subType & 0xFFFF));
    Publish(item.Store(),
            {{WIA_DIP_DEV_ID, device.id},
             {WIA_DIP_VEND_DESC, device.vendor},
             {WIA_DIP_DEV_DESC, device.name},
             {WIA_DIP_DEV_TYPE, type},
             {WIA_DIP_PORT_NAME, device.port},
             {WIA_DIP_DEV_NAME, device.name},
             {WIA_DIP_STI_GEN_CAPABILITIES, static_cast<LONG>(m_use.driver->Capabilities())},
             {WIA_DPA_CONNECT_STATUS, WIA_DEVICE_CONNECTED}});
}

// An item that another client's Synchronize has taken apart is still listed here, and says so.
ScanStatus CDeviceSession::FindItem(const std::string& name, ItemContextPtr& item) const {
    if (name.empty()) {
        const auto found =
            std::find_if(Items().begin(), Items().end(), [](const ItemContextPtr& known) {
                return (known->Flags() & (WiaItemTypeImage | WiaItemTypeFolder)) ==
                       WiaItemTypeImage;
            });
        item = found == Items().end() ? nullptr : *found;
    } else {
        item = m_use.items->Find(name);
    }
    if (!item)
        return {E_INVALIDARG, Device().name + ": has no item " +
                                  (name.empty() ? "that holds an image" : '"' + name + '"')};
    if ((item->Flags() & WiaItemTypeDisconnected) != 0)
        return StatusOf(WIA_ERROR_ITEM_DELETED, Device().name);
    return {};
}

ScanStatus CDeviceSession::ListItems(std::vector<ScanItem>& items) {
    const CCallGate::Hold hold(m_host->Gate());
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    items.clear();
    for (const auto& item : Items())
        items.push_back({ShownItemName(item->Name()), item->FullName(), item->Flags()});
    return {};
}

// Rows without an identifier are passed over.
ScanStatus CDeviceSession::Capabilities(LONG kind, std::vector<DeviceEvent>& capabilities) {
    const CCallGate::Hold hold(m_host->Gate());
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    capabilities.clear();
    LONG count = 0;
    WIA_DEV_CAP_DRV* rows = nullptr;  // the driver's
    const char* what = "the list of its commands and events";
    ScanStatus status = Call(*m_use.items->Root(), what, [&](BYTE* context, LONG* deviceError) {
        return m_use.driver->Imaging()->drvGetCapabilities(context, kind, &count, &rows,
                                                           deviceError);
    });
    if (!status.Ok())
        return status;
    if (count < 0 || count > kMaxCapabilities || (count > 0 && !rows))
        return StatusOf(WIA_ERROR_INVALID_DRIVER_RESPONSE, what);
    for (LONG i = 0; i < count; ++i) {
        if (rows[i].guid)
            capabilities.push_back({TextFromWide(rows[i].wszName), *rows[i].guid});
    }
    return {};
}

// The driver counts how often its imaging face was initialised; asking for the new tree must not
// change that.
ScanStatus CDeviceSession::Synchronize() {
    const CCallGate::Hold hold(m_host->Gate());
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    IWiaMiniDrv* const driver = m_use.driver->Imaging();
    IWiaDrvItem* root = nullptr;
    ScanStatus status =
        Call(*m_use.items->Root(), Device().name, [&](BYTE* context, LONG* deviceError) {
            IWiaDrvItem* ignored = nullptr;
            return driver->drvDeviceCommand(context, 0, &WIA_CMD_SYNCHRONIZE, &ignored,
                                            deviceError);
        });
    if (!status.Ok())
        return status;
    status = InitializeImaging(&root);
    if (!status.Ok())
        return status;
    driver->drvUnInitializeWia(m_use.items->Root()->Handle());
    m_host->CountSession(-1);
    return BuildItems(root);
}

// A driver need not have a lock of its own. Its unlocking can't fail for the caller: what the
// operation did stands.
ScanStatus CDeviceSession::Call(const CItemContext& item, const std::string& what,
                                const Operation& operation) {
    IWiaMiniDrv* const driver = m_use.driver->Imaging();
    LONG deviceError = 0;
    HRESULT hr = driver->drvLockWiaDevice(item.Handle(), 0, &deviceError);
    if (FAILED(hr) && hr != E_NOTIMPL)
        return Failure(hr, what, deviceError);
    deviceError = 0;
    hr = operation(item.Handle(), &deviceError);
    LONG ignored = 0;
    driver->drvUnLockWiaDevice(item.Handle(), 0, &ignored);
    return FAILED(hr) ? Failure(hr, what, deviceError) : ScanStatus{hr, {}};
}

// The driver's own words, if it has some for its error number, stand behind the service's.
ScanStatus CDeviceSession::Failure(HRESULT hr, const std::string& what, LONG deviceError) const {
    ScanStatus status = {hr, (what.empty() ? "" : what + ": ") + ResultText(hr)};
    LPOLESTR text = nullptr;  // the driver's
    LONG ignored = 0;
    if (deviceError != 0 &&
        SUCCEEDED(m_use.driver->Imaging()->drvGetDeviceErrorStr(0, deviceError, &text, &ignored)) &&
        text)
        status.text += " (" + TextFromWide(text) + ')';
    return status;
}
