// What the functions that a driver calls have in common: nothing is thrown out of them, and a
// context is looked up before it is used.
#pragma once

#include <span>

#include "platform/contained.h"
#include "service/item_context.h"

// More entries than any list of a driver has; a greater count is nonsense.
inline constexpr ULONG kMaxListEntries = CPropertyStore::kMaxProperties;

template <class Body>
HRESULT WithContext(BYTE* handle, Body body) {
    return Contained([&]() -> HRESULT {
        const ItemContextPtr context = FindContext(handle);
        return context ? body(*context) : E_INVALIDARG;
    });
}

// The id that a specifier means, told by number or by name; E_INVALIDARG if it is unknown.
HRESULT ResolveSpec(const CPropertyStore& store, const PROPSPEC& spec, PROPID& id);

// A value of a type, for reads that a driver makes by type; S_FALSE where there is none, or
// E_INVALIDARG when it must exist or is of another type. `old` may be null.
template <class T>
HRESULT ReadTyped(const CPropertyStore& store, PROPID id, T& value, T* old, BOOL mustExist) {
    PropertyValue current;
    PropertyValue before;
    const HRESULT hr = store.Read(id, current, &before);
    if (hr != S_OK)
        return mustExist && hr == S_FALSE ? E_INVALIDARG : hr;
    if (!std::holds_alternative<T>(current) || !std::holds_alternative<T>(before))
        return E_INVALIDARG;
    value = std::get<T>(std::move(current));
    if (old)
        *old = std::get<T>(std::move(before));
    return S_OK;
}
