#include "service/property_store.h"

#include <algorithm>
#include <iterator>

namespace {

// A linear search: items have some sixty properties, and their order must stay.
template <class Properties>
auto FindIn(Properties& properties, PROPID id) {
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [id](const ScanProperty& p) { return p.id == id; });
    return found == properties.end() ? nullptr : &*found;
}

}  // namespace

VARTYPE TypeOf(const PropertyValue& value) {
    constexpr VARTYPE kTypes[] = {VT_EMPTY, VT_I4, VT_BSTR, VT_CLSID, VT_VECTOR | VT_UI1};
    static_assert(std::size(kTypes) == std::variant_size_v<PropertyValue>);
    return kTypes[value.index()];
}

ScanProperty* CPropertyStore::Lookup(PROPID id) {
    return FindIn(m_properties, id);
}

const ScanProperty* CPropertyStore::Lookup(PROPID id) const {
    return FindIn(m_properties, id);
}

// Works on a copy, so that nothing has changed when there are too many.
HRESULT CPropertyStore::SetNames(std::span<const Name> names) {
    const std::lock_guard guard(m_lock);
    std::vector<ScanProperty> changed = m_properties;
    for (const auto& [id, name] : names) {
        ScanProperty* property = FindIn(changed, id);
        if (!property && changed.size() == kMaxProperties)
            return E_INVALIDARG;
        if (!property)
            property = &changed.emplace_back();
        property->id = id;
        property->name = name;
    }
    m_properties = std::move(changed);
    return S_OK;
}

// Checked all before the first is changed.
HRESULT CPropertyStore::SetAttributes(std::span<const Attributes> attributes) {
    const std::lock_guard guard(m_lock);
    for (const Attributes& row : attributes) {
        const ScanProperty* property = Lookup(row.id);
        if (!property || (TypeOf(property->value) != VT_EMPTY && property->type != row.type))
            return E_INVALIDARG;
    }
    for (const Attributes& row : attributes) {
        ScanProperty& property = *Lookup(row.id);
        property.type = row.type;
        property.access = row.access;
        property.valid = row.valid;
    }
    return S_OK;
}

HRESULT CPropertyStore::SetRange(PROPID id, LONG min, LONG nominal, LONG max, LONG step) {
    const std::lock_guard guard(m_lock);
    ScanProperty* property = Lookup(id);
    if (!property || property->valid.kind != ValidKind::Range || min > max || nominal < min ||
        nominal > max || step < 1)
        return E_INVALIDARG;
    property->valid.min = min;
    property->valid.max = max;
    property->valid.step = step;
    property->valid.nominal = nominal;
    return S_OK;
}

// The first value gives a property its type for good.
HRESULT CPropertyStore::Write(std::span<const PropertyWrite> writes) {
    const std::lock_guard guard(m_lock);
    for (const PropertyWrite& write : writes) {
        const ScanProperty* property = Lookup(write.id);
        const VARTYPE type = TypeOf(write.value);
        if (!property || type == VT_EMPTY || (property->type != VT_EMPTY && property->type != type))
            return E_INVALIDARG;
    }
    for (const PropertyWrite& write : writes) {
        ScanProperty& property = *Lookup(write.id);
        property.value = write.value;
        property.type = TypeOf(write.value);
    }
    return S_OK;
}

// A property that was made or has got its type since the beginning has no old value: the present
// one stands for it.
HRESULT CPropertyStore::Read(PROPID id, PropertyValue& value, PropertyValue* old) const {
    const std::lock_guard guard(m_lock);
    const ScanProperty* property = Lookup(id);
    if (!property || TypeOf(property->value) == VT_EMPTY)
        return S_FALSE;
    value = property->value;
    if (!old)
        return S_OK;
    const ScanProperty* before = m_before ? FindIn(*m_before, id) : nullptr;
    *old = before && before->type == property->type ? before->value : property->value;
    return S_OK;
}

std::optional<ScanProperty> CPropertyStore::Find(PROPID id) const {
    const std::lock_guard guard(m_lock);
    const ScanProperty* property = Lookup(id);
    return property ? std::optional(*property) : std::nullopt;
}

std::optional<PROPID> CPropertyStore::FindName(const std::string& name) const {
    const std::lock_guard guard(m_lock);
    const auto found = std::find_if(m_properties.begin(), m_properties.end(),
                                    [&](const ScanProperty& p) { return p.name == name; });
    return found == m_properties.end() ? std::nullopt : std::optional(found->id);
}

std::vector<ScanProperty> CPropertyStore::All() const {
    const std::lock_guard guard(m_lock);
    return m_properties;
}

void CPropertyStore::BeginWrite() {
    const std::lock_guard guard(m_lock);
    m_before = m_properties;
}

void CPropertyStore::EndWrite() {
    const std::lock_guard guard(m_lock);
    m_before.reset();
}

// The former state stays known: a rollback may come twice in a write.
void CPropertyStore::Rollback() {
    const std::lock_guard guard(m_lock);
    if (m_before)
        m_properties = *m_before;
}
