#include "tests/support/item_store.h"

#include <cstring>

#include "platform/text.h"

namespace {

CItemStore* g_store = nullptr;

CItemStore::Item* Find(BYTE* context) {
    if (g_store && context == g_store->root.Context())
        return &g_store->root;
    return g_store && context == g_store->top.Context() ? &g_store->top : nullptr;
}

HRESULT Told(const std::map<PROPID, HRESULT>& failures, PROPID id) {
    const auto found = failures.find(id);
    return found == failures.end() ? S_OK : found->second;
}

// A property's value, by `take`. One that isn't there is no failure unless it must exist.
template <class Values, class Take>
HRESULT ReadFrom(BYTE* context, Values CItemStore::Item::*values, PROPID id, BOOL mustExist,
                 Take take) {
    CItemStore::Item* item = Find(context);
    if (!item)
        return E_INVALIDARG;
    if (const HRESULT hr = Told(item->failingReads, id); FAILED(hr))
        return hr;
    const auto found = (item->*values).find(id);
    if (found == (item->*values).end())
        return mustExist ? E_INVALIDARG : S_FALSE;
    take(found->second);
    return S_OK;
}

}  // namespace

CItemStore::CItemStore() {
    g_store = this;
}

CItemStore::~CItemStore() {
    g_store = nullptr;
}

HRESULT wiasGetRootItem(BYTE* context, BYTE** rootContext) {
    if (!Find(context) || !rootContext)
        return E_INVALIDARG;
    *rootContext = g_store->root.Context();
    return S_OK;
}

HRESULT wiasReadPropLong(BYTE* context, PROPID id, LONG* value, LONG*, BOOL mustExist) {
    return ReadFrom(context, &CItemStore::Item::longs, id, mustExist,
                    [value](LONG stored) { *value = stored; });
}

HRESULT wiasReadPropStr(BYTE* context, PROPID id, BSTR* value, BSTR*, BOOL mustExist) {
    return ReadFrom(
        context, &CItemStore::Item::texts, id, mustExist,
        [value](const std::u16string& stored) { *value = MakeTaskText(stored).release(); });
}

HRESULT wiasReadPropGuid(BYTE* context, PROPID id, GUID* value, GUID*, BOOL mustExist) {
    return ReadFrom(context, &CItemStore::Item::guids, id, mustExist,
                    [value](const GUID& stored) { *value = stored; });
}

// One record is asked for at a time.
HRESULT wiasReadMultiple(BYTE* context, ULONG, const PROPSPEC* specs, PROPVARIANT* values,
                         PROPVARIANT*) {
    return ReadFrom(context, &CItemStore::Item::records, specs->propid, FALSE,
                    [values](const std::vector<BYTE>& stored) {
                        values->vt = VT_VECTOR | VT_UI1;
                        values->caub.cElems = static_cast<ULONG>(stored.size());
                        values->caub.pElems = static_cast<BYTE*>(CoTaskMemAlloc(stored.size()));
                        std::memcpy(values->caub.pElems, stored.data(), stored.size());
                    });
}

HRESULT wiasWritePropLong(BYTE* context, PROPID id, LONG value) {
    CItemStore::Item* item = Find(context);
    if (!item)
        return E_INVALIDARG;
    item->writes.emplace_back(id, value);
    const HRESULT hr = Told(item->failingWrites, id);
    if (SUCCEEDED(hr))
        item->longs[id] = value;
    return hr;
}

HRESULT wiasWritePropGuid(BYTE* context, PROPID id, GUID value) {
    CItemStore::Item* item = Find(context);
    if (!item)
        return E_INVALIDARG;
    const HRESULT hr = Told(item->failingWrites, id);
    if (SUCCEEDED(hr))
        item->guids[id] = value;
    return hr;
}

HRESULT wiasWriteBufToFile(LONG, MINIDRV_TRANSFER_CONTEXT* transfer) {
    if (!g_store || !transfer)
        return E_INVALIDARG;
    g_store->fileContext = *transfer;
    g_store->files.emplace_back(transfer->pTransferBuffer,
                                transfer->pTransferBuffer + transfer->lItemSize);
    return g_store->fileResult;
}
