#include "service/prop_variant.h"

#include <cstring>

#include "platform/com.h"
#include "platform/text.h"

HRESULT CopyToTaskMemory(const void* bytes, std::size_t size, void** copy) {
    *copy = size > 0 ? CoTaskMemAlloc(size) : nullptr;
    if (size == 0)
        return S_OK;
    if (!*copy)
        return E_OUTOFMEMORY;
    std::memcpy(*copy, bytes, size);
    return S_OK;
}

// Copies everything: the driver's memory is its own again behind the call.
HRESULT FromVariant(const PROPVARIANT& variant, PropertyValue& value) {
    switch (variant.vt) {
        case VT_I4:
            value = variant.lVal;
            return S_OK;
        case VT_BSTR:
            value = TextFromBstr(variant.bstrVal);
            return S_OK;
        case VT_CLSID:
            if (!variant.puuid)
                return E_INVALIDARG;
            value = *variant.puuid;
            return S_OK;
        case VT_VECTOR | VT_UI1: {
            const CAUB& bytes = variant.caub;
            if (bytes.cElems > kMaxRecordBytes || (bytes.cElems > 0 && !bytes.pElems))
                return E_INVALIDARG;
            value = std::vector<BYTE>(bytes.pElems, bytes.pElems + bytes.cElems);
            return S_OK;
        }
        default:
            return E_INVALIDARG;
    }
}

HRESULT ToVariant(const PropertyValue& value, PROPVARIANT& variant) {
    variant = {};
    variant.vt = TypeOf(value);
    if (const LONG* number = std::get_if<LONG>(&value)) {
        variant.lVal = *number;
        return S_OK;
    }
    if (const std::string* text = std::get_if<std::string>(&value)) {
        variant.bstrVal = BstrFromText(*text);
        return variant.bstrVal ? S_OK : E_OUTOFMEMORY;
    }
    if (const GUID* guid = std::get_if<GUID>(&value))
        return CopyToTaskMemory(guid, sizeof(*guid), reinterpret_cast<void**>(&variant.puuid));
    if (const auto* bytes = std::get_if<std::vector<BYTE>>(&value)) {
        variant.caub.cElems = static_cast<ULONG>(bytes->size());
        return CopyToTaskMemory(bytes->data(), bytes->size(),
                                reinterpret_cast<void**>(&variant.caub.pElems));
    }
    return S_OK;
}

// Types that own nothing are just emptied.
HRESULT PropVariantClear(PROPVARIANT* value) {
    if (!value)
        return E_INVALIDARG;
    if (value->vt == VT_BSTR)
        SysFreeString(value->bstrVal);
    else if (value->vt == VT_CLSID)
        CoTaskMemFree(value->puuid);
    else if (value->vt == (VT_VECTOR | VT_UI1))
        CoTaskMemFree(value->caub.pElems);
    *value = {};
    return S_OK;
}
