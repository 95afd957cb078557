// Items and contexts, as drivers ask for them.
#include "platform/text.h"
#include "platform/wia.h"
#include "service/item_tree.h"
#include "service/wias_frame.h"

namespace {

// More than any driver asks for; greater numbers are mistakes.
constexpr LONG kMaxContextBytes = 1024 * 1024;
constexpr UINT kMaxNameUnits = 4096;

}  // namespace

HRESULT wiasCreateDrvItem(LONG flags, BSTR itemName, BSTR fullItemName, IWiaMiniDrv* driver,
                          LONG contextBytes, BYTE** deviceContext, IWiaDrvItem** item) {
    if (!itemName || !fullItemName || !driver || !item || contextBytes < 0 ||
        contextBytes > kMaxContextBytes || (contextBytes > 0 && !deviceContext) ||
        SysStringLen(itemName) > kMaxNameUnits || SysStringLen(fullItemName) > kMaxNameUnits)
        return E_INVALIDARG;
    *item = nullptr;
    if (deviceContext)
        *deviceContext = nullptr;
    return Contained([&]() -> HRESULT {
        ComPtr<CDrvItem> made;
        made.Attach(new CDrvItem(flags, {itemName, SysStringLen(itemName)},
                                 {fullItemName, SysStringLen(fullItemName)}, driver,
                                 static_cast<std::size_t>(contextBytes)));
        if (contextBytes > 0)
            made->GetDeviceSpecContext(deviceContext);
        *item = made.Detach();
        return S_OK;
    });
}

// With a reference for the driver.
HRESULT wiasGetDrvItem(BYTE* context, IWiaDrvItem** item) {
    if (!item)
        return E_INVALIDARG;
    *item = nullptr;
    return WithContext(context, [&](const CItemContext& found) {
        *item = ComPtr<IWiaDrvItem>(found.Item()).Detach();
        return *item ? S_OK : E_INVALIDARG;
    });
}

HRESULT wiasGetRootItem(BYTE* context, BYTE** rootContext) {
    if (!rootContext)
        return E_INVALIDARG;
    *rootContext = nullptr;
    return WithContext(context, [&](const CItemContext& found) {
        const auto set = found.Set();
        if (!set)
            return E_INVALIDARG;
        *rootContext = set->Root()->Handle();
        return S_OK;
    });
}

// Among the items of the client whose item `context` is.
HRESULT wiasGetContextFromName(BYTE* context, LONG, BSTR fullName, BYTE** namedContext) {
    if (!fullName || !namedContext)
        return E_INVALIDARG;
    *namedContext = nullptr;
    return WithContext(context, [&](const CItemContext& found) {
        const auto set = found.Set();
        const std::string name = TextFromBstr(fullName);
        for (const auto& item : set ? set->Items() : std::vector<ItemContextPtr>()) {
            if (item->FullName() == name)
                *namedContext = item->Handle();
        }
        return *namedContext ? S_OK : E_INVALIDARG;
    });
}
