#include "frontend/item_properties.h"

#include <algorithm>

namespace {

// The service's own reader of records, in the shape of the others. `value` is the caller's to
// clear.
HRESULT ReadRecord(BYTE* item, PROPID id, PROPVARIANT* value, PROPVARIANT*, BOOL) {
    PROPSPEC spec = {};
    spec.ulKind = PRSPEC_PROPID;
    spec.propid = id;
    const HRESULT hr = wiasReadMultiple(item, 1, &spec, value, nullptr);
    return hr == S_FALSE ? E_INVALIDARG : hr;
}

}  // namespace

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

// The service tells a record's length only beside its value. One of another length than the
// caller's was written by somebody else, and counts as a property that can't be read.
HRESULT CItemProperties::ReadBin(DWORD id, ULONG size, BYTE* buffer) {
    if (!buffer)
        return E_INVALIDARG;
    PROPVARIANT value = {};
    const HRESULT hr = Read(&ReadRecord, id, &value);
    const bool fits = hr == S_OK && value.vt == (VT_VECTOR | VT_UI1) && value.caub.cElems == size;
    if (fits)
        std::copy_n(value.caub.pElems, size, buffer);
    PropVariantClear(&value);
    return hr != S_OK || fits ? hr : E_INVALIDARG;
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
