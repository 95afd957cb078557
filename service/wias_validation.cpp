// What drivers need while they validate a client's write.
#include <algorithm>

#include "platform/com.h"
#include "service/property_rules.h"
#include "service/wias_frame.h"

namespace {

// Properties that hang together: any write to one of them may change others, so each property
// context has them all.
constexpr PROPID kDependent[] = {
    WIA_IPS_CUR_INTENT,     WIA_IPA_DATATYPE,  WIA_IPA_DEPTH,   WIA_IPA_CHANNELS_PER_PIXEL,
    WIA_IPS_XRES,           WIA_IPS_XPOS,      WIA_IPS_XEXTENT, WIA_IPA_PIXELS_PER_LINE,
    WIA_IPS_YRES,           WIA_IPS_YPOS,      WIA_IPS_YEXTENT, WIA_IPA_NUMBER_OF_LINES,
    WIA_IPA_BYTES_PER_LINE, WIA_IPA_ITEM_SIZE, WIA_IPA_TYMED,   WIA_IPA_FORMAT,
};

// Each property once; what was written goes ahead and counts as changed.
struct ContextEntry {
    PROPID id;
    BOOL changed;
};

// A write comes with ids alone: the service itself makes those lists.
HRESULT ListContext(ULONG count, const PROPSPEC* specs, ULONG extraCount, const PROPID* extraIds,
                    std::vector<ContextEntry>& entries) {
    const auto add = [&](PROPID id, BOOL changed) {
        if (std::none_of(entries.begin(), entries.end(),
                         [&](const ContextEntry& entry) { return entry.id == id; }))
            entries.push_back({id, changed});
    };
    for (ULONG i = 0; i < count; ++i) {
        if (specs[i].ulKind != PRSPEC_PROPID)
            return E_INVALIDARG;
        add(specs[i].propid, TRUE);
    }
    for (const PROPID id : kDependent)
        add(id, FALSE);
    for (ULONG i = 0; i < extraCount; ++i)
        add(extraIds[i], FALSE);
    return S_OK;
}

// The record crosses the driver's hands, so its count is held against what can have been made here.
// Null if the context doesn't have the property.
BOOL* ChangedFlag(const WIA_PROPERTY_CONTEXT& properties, PROPID id) {
    if (!properties.pProps || !properties.pChanged || properties.cProps > 3 * kMaxListEntries)
        return nullptr;
    for (ULONG i = 0; i < properties.cProps; ++i) {
        if (properties.pProps[i] == id)
            return &properties.pChanged[i];
    }
    return nullptr;
}

}  // namespace

// The code alone: a driver has no use for the words.
HRESULT wiasValidateItemProperties(BYTE* context, ULONG count, const PROPSPEC* specs) {
    if (!specs || count > kMaxListEntries)
        return E_INVALIDARG;
    return WithContext(context, [&](const CItemContext& item) {
        for (ULONG i = 0; i < count; ++i) {
            PROPID id = 0;
            if (const HRESULT hr = ResolveSpec(item.Store(), specs[i], id); FAILED(hr))
                return hr;
            const auto property = item.Store().Find(id);
            if (!property)
                return E_INVALIDARG;
            if (const ScanStatus status = CheckWrite(*property, property->value); !status.Ok())
                return status.code;
        }
        return S_OK;
    });
}

HRESULT wiasCreatePropContext(ULONG count, PROPSPEC* specs, ULONG extraCount, PROPID* extraIds,
                              WIA_PROPERTY_CONTEXT* properties) {
    if (!properties)
        return E_INVALIDARG;
    *properties = {};
    if ((count > 0 && !specs) || (extraCount > 0 && !extraIds) || count > kMaxListEntries ||
        extraCount > kMaxListEntries)
        return E_INVALIDARG;
    return Contained([&]() -> HRESULT {
        std::vector<ContextEntry> entries;
        if (const HRESULT hr = ListContext(count, specs, extraCount, extraIds, entries); FAILED(hr))
            return hr;
        properties->pProps = static_cast<PROPID*>(CoTaskMemAlloc(entries.size() * sizeof(PROPID)));
        properties->pChanged = static_cast<BOOL*>(CoTaskMemAlloc(entries.size() * sizeof(BOOL)));
        if (!properties->pProps || !properties->pChanged) {
            wiasFreePropContext(properties);
            return E_OUTOFMEMORY;
        }
        for (const ContextEntry& entry : entries) {
            properties->pProps[properties->cProps] = entry.id;
            properties->pChanged[properties->cProps++] = entry.changed;
        }
        return S_OK;
    });
}

HRESULT wiasFreePropContext(WIA_PROPERTY_CONTEXT* properties) {
    if (!properties)
        return E_INVALIDARG;
    CoTaskMemFree(properties->pProps);
    CoTaskMemFree(properties->pChanged);
    *properties = {};
    return S_OK;
}

HRESULT wiasSetPropChanged(PROPID id, WIA_PROPERTY_CONTEXT* properties, BOOL changed) {
    BOOL* const flag = properties ? ChangedFlag(*properties, id) : nullptr;
    if (!flag)
        return E_INVALIDARG;
    *flag = changed ? TRUE : FALSE;
    return S_OK;
}

// A property that the context doesn't have counts as not changed.
HRESULT wiasGetChangedValueLong(BYTE* context, WIA_PROPERTY_CONTEXT* properties, BOOL noValidation,
                                PROPID id, WIAS_CHANGED_VALUE_INFO* info) {
    if (!properties || !info)
        return E_INVALIDARG;
    *info = {};
    return WithContext(context, [&](const CItemContext& item) -> HRESULT {
        LONG current = 0;
        LONG old = 0;
        if (const HRESULT hr = ReadTyped(item.Store(), id, current, &old, TRUE); FAILED(hr))
            return hr;
        const BOOL* flag = ChangedFlag(*properties, id);
        info->bChanged = flag ? *flag : FALSE;
        info->vt = VT_I4;
        info->Current.lVal = current;
        info->Old.lVal = old;
        const auto property = item.Store().Find(id);
        if (noValidation || !property)
            return S_OK;
        return CheckValue(*property, current).code;
    });
}
