#include "frontend/item_properties.h"

#include <cstring>

HRESULT CItemProperties::Attach(BYTE* item) {
    if (!item)
        return E_INVALIDARG;
    m_item = item;
    return S_OK;
}

// The item first, then the root, to which the selects of the source belong. A property that is
// nowhere leaves the root's answer, which is a failure.
template <class Value>
HRESULT CItemProperties::Read(HRESULT (*read)(BYTE*, PROPID, Value*, Value*, BOOL), DWORD id,
                              Value* out) {
    if (!out)
        return E_INVALIDARG;
    if (!m_item)
        return E_POINTER;
    const HRESULT hr = read(m_item, id, out, nullptr, TRUE);
    BYTE* root = nullptr;
    if (hr == S_OK || FAILED(wiasGetRootItem(m_item, &root)) || root == m_item)
        return hr;
    return read(root, id, out, nullptr, TRUE);
}

HRESULT CItemProperties::ReadLong(DWORD id, LONG* out) {
    return Read(&wiasReadPropLong, id, out);
}

HRESULT CItemProperties::ReadString(DWORD id, BSTR* out) {
    return Read(&wiasReadPropStr, id, out);
}

HRESULT CItemProperties::ReadGuid(DWORD id, GUID* out) {
    return Read(&wiasReadPropGuid, id, out);
}

// The service hands out a copy, which is ours to free. The caller's size is that of the record by
// its id: the driver has written it itself, and no client can.
HRESULT CItemProperties::ReadBin(DWORD id, ULONG size, BYTE* buffer) {
    if (!buffer)
        return E_INVALIDARG;
    BYTE* bytes = nullptr;
    const HRESULT hr = Read(&wiasReadPropBin, id, &bytes);
    if (SUCCEEDED(hr) && bytes)
        std::memcpy(buffer, bytes, size);
    CoTaskMemFree(bytes);
    return hr;
}

// Writes go to the item alone: what the engine has to tell is what it makes of that item.
HRESULT CItemProperties::WriteLong(DWORD id, LONG value) {
    return m_item ? wiasWritePropLong(m_item, id, value) : E_POINTER;
}

HRESULT CItemProperties::WriteString(DWORD, const OLECHAR*) {
    return S_OK;
}

HRESULT CItemProperties::WriteGuid(DWORD id, const GUID& value) {
    return m_item ? wiasWritePropGuid(m_item, id, value) : E_POINTER;
}
