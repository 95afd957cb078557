// Properties, as drivers read, write and describe them.
#include <cstring>

#include "platform/text.h"
#include "service/prop_variant.h"
#include "service/wias_frame.h"

namespace {

// A count is checked before anything of that count is read or made.
bool IsNonsense(const void* specs, ULONG count) {
    return !specs || count > kMaxListEntries;
}

HRESULT ToBstr(const std::string& text, BSTR* out) {
    *out = BstrFromText(text);
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT ToTaskMemory(const std::vector<BYTE>& bytes, BYTE** out) {
    return CopyToTaskMemory(bytes.data(), bytes.size(), reinterpret_cast<void**>(out));
}

template <class T>
HRESULT WriteOne(BYTE* context, PROPID id, T value) {
    return WithContext(context, [&](CItemContext& item) {
        const PropertyWrite write = {id, std::move(value)};
        return item.Store().Write({&write, 1});
    });
}

// ---- Valid values

// The list stands behind a pointer to bytes, which need not be aligned.
HRESULT ReadLongList(const WIA_PROPERTY_INFO& info, ValidValues& valid) {
    const auto& list = info.ValidVal.List;
    if (!list.pList || list.cNumList < 1 || list.cNumList > static_cast<LONG>(kMaxListEntries))
        return E_INVALIDARG;
    valid.nominal = list.Nom;
    for (LONG i = 0; i < list.cNumList; ++i) {
        LONG value = 0;
        std::memcpy(&value, list.pList + static_cast<std::size_t>(i) * sizeof(value),
                    sizeof(value));
        valid.list.emplace_back(value);
    }
    return S_OK;
}

HRESULT ReadGuidList(const WIA_PROPERTY_INFO& info, ValidValues& valid) {
    const auto& list = info.ValidVal.ListGuid;
    if (!list.pList || list.cNumList < 1 || list.cNumList > static_cast<LONG>(kMaxListEntries))
        return E_INVALIDARG;
    valid.nominal = list.Nom;
    valid.list.assign(list.pList, list.pList + list.cNumList);
    return S_OK;
}

HRESULT ReadTextList(const WIA_PROPERTY_INFO& info, ValidValues& valid) {
    const auto& list = info.ValidVal.ListBStr;
    if (!list.pList || list.cNumList < 1 || list.cNumList > static_cast<LONG>(kMaxListEntries))
        return E_INVALIDARG;
    valid.nominal = TextFromBstr(list.Nom);
    for (LONG i = 0; i < list.cNumList; ++i)
        valid.list.emplace_back(TextFromBstr(list.pList[i]));
    return S_OK;
}

// A range that no value fits, or a step that leads nowhere, is refused: a client could neither
// write the property nor be told why.
HRESULT ReadRange(const WIA_PROPERTY_INFO& info, ValidValues& valid) {
    const auto& range = info.ValidVal.Range;
    if (range.Min > range.Max || range.Nom < range.Min || range.Nom > range.Max || range.Inc < 1)
        return E_INVALIDARG;
    valid.min = range.Min;
    valid.max = range.Max;
    valid.step = range.Inc;
    valid.nominal = range.Nom;
    return S_OK;
}

HRESULT ReadFlags(const WIA_PROPERTY_INFO& info, ValidValues& valid) {
    valid.bits = info.ValidVal.Flag.ValidBits;
    valid.nominal = info.ValidVal.Flag.Nom;
    return S_OK;
}

using ReadValid = HRESULT (*)(const WIA_PROPERTY_INFO& info, ValidValues& valid);

// Which part of the record counts: by the access flags and the type.
struct ValidRow {
    ULONG access;
    VARTYPE type;
    ValidKind kind;
    ReadValid read;
};
constexpr ValidRow kValidRows[] = {
    {WIA_PROP_RANGE, VT_I4, ValidKind::Range, ReadRange},
    {WIA_PROP_LIST, VT_I4, ValidKind::List, ReadLongList},
    {WIA_PROP_LIST, VT_CLSID, ValidKind::List, ReadGuidList},
    {WIA_PROP_LIST, VT_BSTR, ValidKind::List, ReadTextList},
    {WIA_PROP_FLAG, VT_I4, ValidKind::Flags, ReadFlags},
};
constexpr ULONG kValidBits = WIA_PROP_RANGE | WIA_PROP_LIST | WIA_PROP_FLAG;

// A record with WIA_PROP_NONE has no valid values, whatever else its flags say.
HRESULT ReadAttributes(const WIA_PROPERTY_INFO& info, CPropertyStore::Attributes& attributes) {
    attributes.type = info.vt;
    attributes.access = info.lAccessFlags;
    const ULONG kind = info.lAccessFlags & kValidBits;
    if ((info.lAccessFlags & WIA_PROP_NONE) != 0 || kind == 0)
        return S_OK;
    for (const ValidRow& row : kValidRows) {
        if (row.access == kind && row.type == info.vt) {
            attributes.valid.kind = row.kind;
            return row.read(info, attributes.valid);
        }
    }
    return E_INVALIDARG;
}

}  // namespace

// By number without a look whether it is there: the operation itself finds that out.
HRESULT ResolveSpec(const CPropertyStore& store, const PROPSPEC& spec, PROPID& id) {
    if (spec.ulKind == PRSPEC_PROPID) {
        id = spec.propid;
        return S_OK;
    }
    const auto found = spec.ulKind == PRSPEC_LPWSTR && spec.lpwstr
                           ? store.FindName(TextFromWide(spec.lpwstr))
                           : std::nullopt;
    id = found.value_or(0);
    return found ? S_OK : E_INVALIDARG;
}

// ---- Reading

HRESULT wiasReadPropLong(BYTE* context, PROPID id, LONG* value, LONG* old, BOOL mustExist) {
    if (!value)
        return E_INVALIDARG;
    return WithContext(context, [&](const CItemContext& item) {
        return ReadTyped(item.Store(), id, *value, old, mustExist);
    });
}

HRESULT wiasReadPropGuid(BYTE* context, PROPID id, GUID* value, GUID* old, BOOL mustExist) {
    if (!value)
        return E_INVALIDARG;
    return WithContext(context, [&](const CItemContext& item) {
        return ReadTyped(item.Store(), id, *value, old, mustExist);
    });
}

HRESULT wiasReadPropStr(BYTE* context, PROPID id, BSTR* value, BSTR* old, BOOL mustExist) {
    if (!value)
        return E_INVALIDARG;
    *value = nullptr;
    if (old)
        *old = nullptr;
    return WithContext(context, [&](const CItemContext& item) {
        std::string current;
        std::string before;
        HRESULT hr = ReadTyped(item.Store(), id, current, &before, mustExist);
        if (hr == S_OK)
            hr = ToBstr(current, value);
        if (hr == S_OK && old)
            hr = ToBstr(before, old);
        return hr;
    });
}

HRESULT wiasReadPropBin(BYTE* context, PROPID id, BYTE** value, BYTE** old, BOOL mustExist) {
    if (!value)
        return E_INVALIDARG;
    *value = nullptr;
    if (old)
        *old = nullptr;
    return WithContext(context, [&](const CItemContext& item) {
        std::vector<BYTE> current;
        std::vector<BYTE> before;
        HRESULT hr = ReadTyped(item.Store(), id, current, &before, mustExist);
        if (hr == S_OK)
            hr = ToTaskMemory(current, value);
        if (hr == S_OK && old)
            hr = ToTaskMemory(before, old);
        return hr;
    });
}

// Goes on behind a property that isn't there: its value is VT_EMPTY, and the result S_FALSE. Values
// that were made before a failure are the caller's to clear.
HRESULT wiasReadMultiple(BYTE* context, ULONG count, const PROPSPEC* specs, PROPVARIANT* values,
                         PROPVARIANT* old) {
    if (IsNonsense(specs, count) || !values)
        return E_INVALIDARG;
    for (ULONG i = 0; i < count; ++i) {
        values[i] = {};
        if (old)
            old[i] = {};
    }
    return WithContext(context, [&](const CItemContext& item) {
        HRESULT result = S_OK;
        for (ULONG i = 0; i < count; ++i) {
            PROPID id = 0;
            PropertyValue value;
            PropertyValue before;
            HRESULT hr = ResolveSpec(item.Store(), specs[i], id);
            if (SUCCEEDED(hr))
                hr = item.Store().Read(id, value, &before);
            if (hr != S_OK) {
                result = S_FALSE;
                continue;
            }
            hr = ToVariant(value, values[i]);
            if (SUCCEEDED(hr) && old)
                hr = ToVariant(before, old[i]);
            if (FAILED(hr))
                return hr;
        }
        return result;
    });
}

// ---- Writing

HRESULT wiasWritePropLong(BYTE* context, PROPID id, LONG value) {
    return WriteOne(context, id, value);
}

HRESULT wiasWritePropStr(BYTE* context, PROPID id, BSTR value) {
    return WithContext(context, [&](CItemContext& item) {
        const PropertyWrite write = {id, TextFromBstr(value)};
        return item.Store().Write({&write, 1});
    });
}

HRESULT wiasWritePropGuid(BYTE* context, PROPID id, GUID value) {
    return WriteOne(context, id, value);
}

// No bytes are a value too.
HRESULT wiasWritePropBin(BYTE* context, PROPID id, LONG bytes, BYTE* value) {
    if (bytes < 0 || bytes > static_cast<LONG>(kMaxRecordBytes) || (bytes > 0 && !value))
        return E_INVALIDARG;
    return WithContext(context, [&](CItemContext& item) {
        const PropertyWrite write = {id, std::vector<BYTE>(value, value + bytes)};
        return item.Store().Write({&write, 1});
    });
}

// All or nothing, as the store has it.
HRESULT wiasWriteMultiple(BYTE* context, ULONG count, const PROPSPEC* specs,
                          const PROPVARIANT* values) {
    if (IsNonsense(specs, count) || !values)
        return E_INVALIDARG;
    return WithContext(context, [&](CItemContext& item) {
        std::vector<PropertyWrite> writes(count);
        for (ULONG i = 0; i < count; ++i) {
            HRESULT hr = ResolveSpec(item.Store(), specs[i], writes[i].id);
            if (SUCCEEDED(hr))
                hr = FromVariant(values[i], writes[i].value);
            if (FAILED(hr))
                return hr;
        }
        return item.Store().Write(writes);
    });
}

// ---- Describing

HRESULT wiasSetItemPropNames(BYTE* context, LONG count, PROPID* ids, LPOLESTR* names) {
    if (count < 0 || IsNonsense(ids, static_cast<ULONG>(count)) || !names)
        return E_INVALIDARG;
    return WithContext(context, [&](CItemContext& item) {
        std::vector<CPropertyStore::Name> list;
        for (LONG i = 0; i < count; ++i) {
            if (!names[i])
                return E_INVALIDARG;
            list.emplace_back(ids[i], TextFromWide(names[i]));
        }
        return item.Store().SetNames(list);
    });
}

HRESULT wiasSetItemPropAttribs(BYTE* context, LONG count, PROPSPEC* specs,
                               WIA_PROPERTY_INFO* infos) {
    if (count < 0 || IsNonsense(specs, static_cast<ULONG>(count)) || !infos)
        return E_INVALIDARG;
    return WithContext(context, [&](CItemContext& item) {
        std::vector<CPropertyStore::Attributes> list(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < list.size(); ++i) {
            HRESULT hr = ResolveSpec(item.Store(), specs[i], list[i].id);
            if (SUCCEEDED(hr))
                hr = ReadAttributes(infos[i], list[i]);
            if (FAILED(hr))
                return hr;
        }
        return item.Store().SetAttributes(list);
    });
}

HRESULT wiasSetValidRangeLong(BYTE* context, PROPID id, LONG min, LONG nominal, LONG max,
                              LONG step) {
    return WithContext(context, [&](CItemContext& item) {
        return item.Store().SetRange(id, min, nominal, max, step);
    });
}
