#include "frontend/property_set.h"

#include <new>
#include <utility>

#include "platform/contained.h"
#include "platform/text.h"

// ---- Collecting

// `fill` completes the record; what it runs out of memory for is the set's failure. The new record
// stands at the end, wherever an older one of its id stood.
template <class Fill>
void CPropertySet::Add(PROPID id, LPCOLESTR name, ULONG access, VARTYPE type, Fill fill) {
    if (FAILED(m_error))
        return;
    m_error = Contained([&] {
        Remove(id);
        Record record = {};
        record.name = name;
        record.id = id;
        record.info.lAccessFlags = access;
        record.info.vt = type;
        fill(record);
        m_records.push_back(std::move(record));
        return S_OK;
    });
}

// A set has a few dozen records: a walk over all of them is no cost.
void CPropertySet::Remove(PROPID id) {
    std::erase_if(m_records, [id](const Record& record) { return record.id == id; });
}

void CPropertySet::Refuse() {
    if (SUCCEEDED(m_error))
        m_error = E_INVALIDARG;
}

void CPropertySet::AddLong(PROPID id, LPCOLESTR name, ULONG access, LONG value) {
    Add(id, name, access, VT_I4, [&](Record& record) { record.value = value; });
}

// Flags have no list: the valid bits tell all combinations.
void CPropertySet::AddFlag(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG validBits) {
    Add(id, name, access, VT_I4, [&](Record& record) {
        record.value = value;
        record.info.ValidVal.Flag = {value, validBits};
    });
}

// A source without room (a feeder that tells no area) has no extents to choose from, and a property
// that is missing says so better than a range of one value.
void CPropertySet::AddRange(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG nominal,
                            LONG min, LONG max, LONG step) {
    const auto lies = [min, max](LONG number) { return number >= min && number <= max; };
    if (!name || min >= max || !lies(value) || !lies(nominal) || step < 1) {
        // Nothing is left of what another build has told of it either.
        if (SUCCEEDED(m_error))
            Remove(id);
        return;
    }
    Add(id, name, access, VT_I4, [&](Record& record) {
        record.value = value;
        record.info.ValidVal.Range = {min, nominal, max, step};
    });
}

void CPropertySet::AddList(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG nominal,
                           std::span<const LONG> list) {
    if (list.empty())
        return Refuse();
    Add(id, name, access, VT_I4, [&](Record& record) {
        record.value = value;
        record.list.assign(list.begin(), list.end());
        record.info.ValidVal.List = {static_cast<LONG>(list.size()), nominal, nullptr};
    });
}

void CPropertySet::AddString(PROPID id, LPCOLESTR name, ULONG access, LPCOLESTR text) {
    Add(id, name, access, VT_BSTR, [&](Record& record) {
        if (text)
            record.text = text;
    });
}

void CPropertySet::AddGuid(PROPID id, LPCOLESTR name, ULONG access, const GUID& guid) {
    Add(id, name, access, VT_CLSID, [&](Record& record) { record.guid = guid; });
}

void CPropertySet::AddGuidList(PROPID id, LPCOLESTR name, ULONG access, const GUID& value,
                               const GUID& nominal, std::span<const GUID> list) {
    if (list.empty())
        return Refuse();
    Add(id, name, access, VT_CLSID, [&](Record& record) {
        record.guid = value;
        record.guidList.assign(list.begin(), list.end());
        record.info.ValidVal.ListGuid = {static_cast<LONG>(list.size()), nominal, nullptr};
    });
}

// Tables of a model, bytes and all; what they mean is the engine's business.
void CPropertySet::AddBlob(PROPID id, LPCOLESTR name, ULONG access, ULONG size, const BYTE* bytes) {
    if (!name || !bytes)
        return Refuse();
    Add(id, name, access, VT_VECTOR | VT_UI1,
        [&](Record& record) { record.bytes.assign(bytes, bytes + size); });
}

// ---- Committing
//
// The service takes parallel arrays of ids, names, values and attributes.

namespace {

// What a commit hands over, one entry a record. Texts are its own, all else is the records'.
struct Parallel {
    Parallel() = default;
    Parallel(const Parallel&) = delete;
    Parallel& operator=(const Parallel&) = delete;

    std::vector<PROPID> ids;
    std::vector<LPOLESTR> names;
    std::vector<PROPSPEC> specs;
    std::vector<PROPVARIANT> values;
    std::vector<WIA_PROPERTY_INFO> infos;
    std::vector<TaskText> texts;
};

}  // namespace

// The variant borrows: identifiers and bytes stay the record's, a text is copied to where `texts`
// keeps it until the service has taken it.
PROPVARIANT CPropertySet::ValueOf(Record& record, std::vector<TaskText>& texts) {
    PROPVARIANT value = {};
    value.vt = record.info.vt;
    switch (record.info.vt) {
        case VT_BSTR:
            value.bstrVal = texts.emplace_back(MakeTaskText(record.text)).get();
            break;
        case VT_CLSID:
            value.puuid = &record.guid;
            break;
        case VT_VECTOR | VT_UI1:
            value.caub = {static_cast<ULONG>(record.bytes.size()), record.bytes.data()};
            break;
        default:
            value.lVal = record.value;
            break;
    }
    return value;
}

// The lists stay the record's, so that pointers to them hold until the set is changed.
WIA_PROPERTY_INFO CPropertySet::InfoOf(Record& record) {
    WIA_PROPERTY_INFO info = record.info;
    if (!record.list.empty())
        info.ValidVal.List.pList = reinterpret_cast<BYTE*>(record.list.data());
    if (!record.guidList.empty())
        info.ValidVal.ListGuid.pList = record.guidList.data();
    return info;
}

// Names, values, attributes, in this order: the service has no attributes for a property that it
// doesn't know yet. The first failure stops it, and leaves the item as far as it has come.
HRESULT CPropertySet::Commit(BYTE* item) {
    if (FAILED(m_error))
        return m_error;
    if (!item)
        return E_INVALIDARG;
    if (m_records.empty())
        return S_OK;
    return Contained([&] {
        Parallel all;
        for (Record& record : m_records) {
            PROPSPEC spec = {};
            spec.ulKind = PRSPEC_PROPID;
            spec.propid = record.id;
            all.ids.push_back(record.id);
            all.names.push_back(const_cast<LPOLESTR>(record.name));
            all.specs.push_back(spec);
            all.values.push_back(ValueOf(record, all.texts));
            all.infos.push_back(InfoOf(record));
        }
        const auto count = static_cast<ULONG>(m_records.size());
        HRESULT hr =
            wiasSetItemPropNames(item, static_cast<LONG>(count), all.ids.data(), all.names.data());
        if (SUCCEEDED(hr))
            hr = wiasWriteMultiple(item, count, all.specs.data(), all.values.data());
        if (SUCCEEDED(hr))
            hr = wiasSetItemPropAttribs(item, static_cast<LONG>(count), all.specs.data(),
                                        all.infos.data());
        return hr;
    });
}
