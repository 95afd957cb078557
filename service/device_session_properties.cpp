// A client's reads and writes of properties.
#include <algorithm>

#include "service/device_session.h"
#include "service/property_rules.h"

namespace {

// While it lives, old values are those of its beginning.
class CWriteFrame {
  public:
    explicit CWriteFrame(CItemSet& items) : m_items(items) { m_items.BeginWrite(); }
    ~CWriteFrame() { m_items.EndWrite(); }
    CWriteFrame(const CWriteFrame&) = delete;
    CWriteFrame& operator=(const CWriteFrame&) = delete;

    void Rollback() { m_items.Rollback(); }

  private:
    CItemSet& m_items;
};

std::vector<PROPSPEC> SpecsOf(const std::vector<PROPID>& ids) {
    std::vector<PROPSPEC> specs(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        specs[i].ulKind = PRSPEC_PROPID;
        specs[i].propid = ids[i];
    }
    return specs;
}

// What a driver answers when the scanner has nothing to scan with the settings as they are. It says
// the same of a lamp, but none burns yet while settings are validated.
constexpr HRESULT kCannotScan = MakeResult(0x80040001);

// What a scan would be now, in pixels and dots per inch; empty for an item that isn't scanned.
std::string ScanText(const CPropertyStore& store) {
    constexpr struct {
        const char* before;
        PROPID id;
    } kParts[] = {
        {"", WIA_IPS_XEXTENT}, {" x ", WIA_IPS_YEXTENT}, {" pixels at ", WIA_IPS_XPOS},
        {", ", WIA_IPS_YPOS},  {" with ", WIA_IPS_XRES}, {" x ", WIA_IPS_YRES},
    };
    std::string text;
    for (const auto& part : kParts) {
        const auto property = store.Find(part.id);
        const LONG* value = property ? std::get_if<LONG>(&property->value) : nullptr;
        if (!value)
            return {};
        text += part.before + std::to_string(*value);
    }
    return text + " dots per inch";
}

}  // namespace

// Read again from the store behind the driver's call, which may have changed any of them.
ScanStatus CDeviceSession::ReadFrom(CItemContext& item, std::vector<PROPID> ids,
                                    std::vector<ScanProperty>& properties) {
    if (ids.empty()) {
        for (const ScanProperty& property : item.Store().All())
            ids.push_back(property.id);
    }
    for (const PROPID id : ids) {
        if (!item.Store().Find(id))
            return {E_INVALIDARG,
                    ShownItemName(item.Name()) + ": has no property " + std::to_string(id)};
    }
    const std::vector<PROPSPEC> specs = SpecsOf(ids);
    // The driver brings up to date what it asks the device for.
    ScanStatus status = Call(item, "reading properties", [&](BYTE* context, LONG* deviceError) {
        const HRESULT hr = m_use.driver->Imaging()->drvReadItemProperties(
            context, 0, static_cast<ULONG>(specs.size()), specs.data(), deviceError);
        return hr == E_NOTIMPL ? S_OK : hr;
    });
    if (!status.Ok())
        return status;
    for (const PROPID id : ids) {
        if (auto property = item.Store().Find(id))
            properties.push_back(*std::move(property));
    }
    return {};
}

// The driver is never asked about a value that the property doesn't take.
ScanStatus CDeviceSession::CheckWrites(const CItemContext& item, const Writes& writes) const {
    const std::string name = ShownItemName(item.Name());
    if (writes.empty() || writes.size() > CPropertyStore::kMaxProperties)
        return {E_INVALIDARG,
                name + ": a write of " + std::to_string(writes.size()) + " values is none"};
    for (const PropertyWrite& write : writes) {
        const auto property = item.Store().Find(write.id);
        if (!property)
            return {E_INVALIDARG, name + ": has no property " + std::to_string(write.id)};
        if (ScanStatus status = CheckWrite(*property, write.value); !status.Ok())
            return status;
    }
    return {};
}

// A refusal names all that was written, because the driver judges them together.
ScanStatus CDeviceSession::Validate(const CItemContext& item, const Writes& writes) {
    std::vector<PROPID> ids(writes.size());
    std::transform(writes.begin(), writes.end(), ids.begin(),
                   [](const PropertyWrite& write) { return write.id; });
    const std::vector<PROPSPEC> specs = SpecsOf(ids);
    std::string what = "the driver refuses ";
    for (std::size_t i = 0; i < writes.size(); ++i) {
        const auto property = item.Store().Find(writes[i].id);
        what += (i == 0 ? "" : ", ") + (property ? ShownName(*property) : "a property") + " = " +
                ShownValue(writes[i].value);
    }
    ScanStatus status = Call(item, what, [&](BYTE* context, LONG* deviceError) {
        return m_use.driver->Imaging()->drvValidateItemProperties(
            context, 0, static_cast<ULONG>(specs.size()), specs.data(), deviceError);
    });
    if (status.code == kCannotScan) {
        if (const std::string scan = ScanText(item.Store()); !scan.empty())
            status.text = what + ": the scanner can't scan " + scan;
    }
    return status;
}

ScanStatus CDeviceSession::Read(const std::string& item, const std::vector<PROPID>& ids,
                                std::vector<ScanProperty>& properties) {
    properties.clear();
    const CCallGate::Hold hold(m_host->Gate());
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    ItemContextPtr found;
    ScanStatus status = FindItem(item, found);
    return status.Ok() ? ReadFrom(*found, ids, properties) : status;
}

ScanStatus CDeviceSession::Write(const std::string& item, const Writes& writes) {
    return Apply(item, writes, nullptr);
}

ScanStatus CDeviceSession::Try(const std::string& item, const Writes& writes,
                               std::vector<ScanProperty>& made) {
    made.clear();
    return Apply(item, writes, &made);
}

// With `made` nothing is kept. A driver keeps state beside the properties, and may have changed it
// before it refused: the validation of the old values takes it back. Whatever that changes isn't
// kept.
ScanStatus CDeviceSession::Apply(const std::string& item, const Writes& writes,
                                 std::vector<ScanProperty>* made) {
    const CCallGate::Hold hold(m_host->Gate());
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    ItemContextPtr found;
    ScanStatus status = FindItem(item, found);
    if (status.Ok())
        status = CheckWrites(*found, writes);
    if (!status.Ok())
        return status;
    CWriteFrame frame(*m_use.items);
    found->Store().Write(writes);
    status = Validate(*found, writes);
    if (status.Ok() && !made)
        return status;
    if (status.Ok())
        *made = found->Store().All();
    frame.Rollback();
    static_cast<void>(Validate(*found, writes));
    frame.Rollback();
    return status;
}
