#include "service/item_tree.h"

#include <algorithm>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/contained.h"
#include "platform/text.h"

namespace {

// By which an item of our own is told from a stranger's.
constexpr IID kIidOwnItem = {
    0x5B0A7F3E, 0x61D2, 0x4C0B, {0x9E, 0x14, 0x2F, 0x7D, 0x83, 0x6C, 0x10, 0xA9}};

// One lock for all trees: an item may move from one to another, and none is held for long. Never
// destroyed, as items may outlive the static objects of this library.
std::mutex& TreeLock() {
    static auto& lock = *new std::mutex;
    return lock;
}

HRESULT CopyName(const std::u16string& text, BSTR* name) {
    if (!name)
        return E_INVALIDARG;
    *name = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *name ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

CDrvItem::CDrvItem(LONG flags, std::u16string name, std::u16string fullName, IWiaMiniDrv* driver,
                   std::size_t contextBytes)
    : m_name(std::move(name)),
      m_fullName(std::move(fullName)),
      m_deviceContext(contextBytes),
      m_flags(flags),
      m_driver(driver) {}

HRESULT CDrvItem::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IWiaDrvItem && iid != kIidOwnItem)
        return E_NOINTERFACE;
    *object = this;
    AddRef();
    return S_OK;
}

ULONG CDrvItem::AddRef() {
    return ++m_refs;
}

ULONG CDrvItem::Release() {
    const ULONG left = --m_refs;
    if (left == 0) {
        Children children;  // released without the lock
        {
            const std::lock_guard guard(TreeLock());
            children.swap(m_children);
            for (const auto& child : children)
                child->m_parent = nullptr;
        }
        delete this;
    }
    return left;
}

// A parent that is just going must not come back.
bool CDrvItem::TryAddRef() {
    ULONG refs = m_refs;
    while (refs != 0) {
        if (m_refs.compare_exchange_weak(refs, refs + 1))
            return true;
    }
    return false;
}

HRESULT CDrvItem::GetItemFlags(LONG* flags) {
    if (!flags)
        return E_INVALIDARG;
    const std::lock_guard guard(TreeLock());
    *flags = m_flags;
    return S_OK;
}

// An item without memory of the driver's own has none to give, which counts as a wrong question.
HRESULT CDrvItem::GetDeviceSpecContext(BYTE** context) {
    if (!context)
        return E_INVALIDARG;
    *context = m_deviceContext.empty() ? nullptr : m_deviceContext.data();
    return *context ? S_OK : E_INVALIDARG;
}

HRESULT CDrvItem::GetFullItemName(BSTR* name) {
    return CopyName(m_fullName, name);
}

HRESULT CDrvItem::GetItemName(BSTR* name) {
    return CopyName(m_name, name);
}

// Also true for the folder itself. Under the lock.
bool CDrvItem::IsBelow(const CDrvItem* folder) const {
    for (const CDrvItem* item = this; item; item = item->m_parent) {
        if (item == folder)
            return true;
    }
    return false;
}

// A stranger's folder isn't entered: its children could not be counted, nor taken apart under the
// lock.
HRESULT CDrvItem::AddItemToFolder(IWiaDrvItem* folder) {
    return Contained([&]() -> HRESULT {
        ComPtr<CDrvItem> target;
        if (!folder || FAILED(target.QueryFrom(folder, kIidOwnItem)))
            return E_INVALIDARG;
        const std::lock_guard guard(TreeLock());
        const bool taken =
            std::any_of(target->m_children.begin(), target->m_children.end(),
                        [&](const auto& child) { return child->m_fullName == m_fullName; });
        if ((target->m_flags & WiaItemTypeFolder) == 0 || m_parent || taken ||
            target->IsBelow(this))
            return E_INVALIDARG;
        target->m_children.emplace_back(this);
        m_parent = target.Get();
        return S_OK;
    });
}

// Under the lock. `loose` keeps the items until the lock is given back.
void CDrvItem::Disconnect(LONG flags, Children& loose) {
    m_flags |= flags & WiaItemTypeDisconnected;
    for (auto& child : std::exchange(m_children, {})) {
        child->m_parent = nullptr;
        child->Disconnect(flags, loose);
        loose.push_back(std::move(child));
    }
}

// The driver is told of its memory without the lock: it may ask for other items in there. That it
// is told once is what the exchange of the pointer is for.
HRESULT CDrvItem::UnlinkItemTree(LONG flags) {
    return Contained([&]() -> HRESULT {
        Children loose;
        {
            const std::lock_guard guard(TreeLock());
            loose.emplace_back(this);
            Disconnect(flags, loose);
        }
        for (const auto& item : loose) {
            IWiaMiniDrv* const driver = std::exchange(item->m_driver, nullptr);
            LONG deviceError = 0;
            if (driver && !item->m_deviceContext.empty())
                driver->drvFreeDrvItemContext(0, item->m_deviceContext.data(), &deviceError);
        }
        return S_OK;
    });
}

// The reference of its own keeps the item while its folder's goes under the lock.
HRESULT CDrvItem::RemoveItemFromFolder(LONG flags) {
    return Contained([&]() -> HRESULT {
        ComPtr<CDrvItem> removed;
        const std::lock_guard guard(TreeLock());
        if (!m_parent)
            return E_INVALIDARG;
        removed = ComPtr<CDrvItem>(this);
        auto& siblings = m_parent->m_children;
        std::erase_if(siblings, [this](const auto& child) { return child.Get() == this; });
        m_parent = nullptr;
        m_flags |= flags & WiaItemTypeDisconnected;
        return S_OK;
    });
}

// With a reference for the caller.
HRESULT CDrvItem::Give(const ComPtr<CDrvItem>& found, IWiaDrvItem** item) const {
    *item = ComPtr<CDrvItem>(found).Detach();
    return *item ? S_OK : S_FALSE;
}

// Under the lock.
ComPtr<CDrvItem> CDrvItem::FindBelow(std::u16string_view fullName) {
    if (m_fullName == fullName)
        return ComPtr<CDrvItem>(this);
    for (const auto& child : m_children) {
        if (auto found = child->FindBelow(fullName))
            return found;
    }
    return nullptr;
}

HRESULT CDrvItem::FindItemByName(LONG, BSTR name, IWiaDrvItem** item) {
    if (!name || !item)
        return E_INVALIDARG;
    const std::lock_guard guard(TreeLock());
    return Give(FindBelow(ViewText(name)), item);
}

HRESULT CDrvItem::FindChildItemByName(BSTR name, IWiaDrvItem** item) {
    if (!name || !item)
        return E_INVALIDARG;
    const std::lock_guard guard(TreeLock());
    const auto found = std::find_if(m_children.begin(), m_children.end(), [&](const auto& child) {
        return child->m_name == ViewText(name);
    });
    return Give(found == m_children.end() ? nullptr : *found, item);
}

HRESULT CDrvItem::GetParentItem(IWiaDrvItem** item) {
    if (!item)
        return E_INVALIDARG;
    ComPtr<CDrvItem> parent;
    const std::lock_guard guard(TreeLock());
    if (m_parent && m_parent->TryAddRef())
        parent.Attach(m_parent);
    return Give(parent, item);
}

HRESULT CDrvItem::GetFirstChildItem(IWiaDrvItem** item) {
    if (!item)
        return E_INVALIDARG;
    const std::lock_guard guard(TreeLock());
    return Give(m_children.empty() ? nullptr : m_children.front(), item);
}

HRESULT CDrvItem::GetNextSiblingItem(IWiaDrvItem** item) {
    if (!item)
        return E_INVALIDARG;
    *item = nullptr;
    const std::lock_guard guard(TreeLock());
    if (!m_parent)
        return S_FALSE;
    const auto& siblings = m_parent->m_children;
    auto next = std::find_if(siblings.begin(), siblings.end(),
                             [this](const auto& child) { return child.Get() == this; });
    if (next == siblings.end() || ++next == siblings.end())
        return S_FALSE;
    return Give(*next, item);
}

// For people: "0000\\Root\\Top, flags 67".
HRESULT CDrvItem::DumpItemData(BSTR* text) {
    if (!text)
        return E_INVALIDARG;
    return Contained([&]() -> HRESULT {
        const std::lock_guard guard(TreeLock());
        const std::u16string flags = WideFromText(std::to_string(m_flags));
        return CopyName(m_fullName + u", flags " + flags, text);
    });
}
