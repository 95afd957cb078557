#include "service/item_context.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "platform/text.h"

namespace {

// All contexts that live, by handle. Handles are steps of a counter, far from any address that a
// process has (its lowest page is never mapped), so that one that is followed by mistake fails.
class CContextTable {
  public:
    static CContextTable& Instance() {
        static auto& table = *new CContextTable;
        return table;
    }

    BYTE* NewHandle() {
        const std::lock_guard guard(m_lock);
        m_last += kStep;
        return reinterpret_cast<BYTE*>(m_last);
    }
    void Add(const ItemContextPtr& context) {
        const std::lock_guard guard(m_lock);
        m_contexts[context->Handle()] = context;
    }
    void Remove(BYTE* handle) {
        const std::lock_guard guard(m_lock);
        m_contexts.erase(handle);
    }
    ItemContextPtr Find(BYTE* handle) {
        const std::lock_guard guard(m_lock);
        const auto found = m_contexts.find(handle);
        return found == m_contexts.end() ? nullptr : found->second.lock();
    }

  private:
    static constexpr ULONG_PTR kStep = 16;

    std::mutex m_lock;
    ULONG_PTR m_last = 0x10000;
    std::map<BYTE*, std::weak_ptr<CItemContext>> m_contexts;
};

// And frees it.
std::string TakeText(BSTR text) {
    std::string taken = TextFromBstr(text);
    SysFreeString(text);
    return taken;
}

}  // namespace

ItemContextPtr FindContext(BYTE* handle) {
    return CContextTable::Instance().Find(handle);
}

std::string ShownItemName(const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('\\'), name.size()));
}

// ---- CItemContext

CItemContext::CItemContext(std::weak_ptr<CItemSet> set)
    : m_handle(CContextTable::Instance().NewHandle()), m_set(std::move(set)) {}

LONG CItemContext::Flags() const {
    LONG flags = 0;
    return m_item && SUCCEEDED(m_item->GetItemFlags(&flags)) ? flags : 0;
}

// What was read is taken in also when a name can't be had: the caller drops the whole tree then.
HRESULT CItemContext::SetItem(IWiaDrvItem* item) {
    BSTR name = nullptr;
    BSTR fullName = nullptr;
    HRESULT hr = item->GetItemName(&name);
    if (SUCCEEDED(hr))
        hr = item->GetFullItemName(&fullName);
    m_name = TakeText(name);
    m_fullName = TakeText(fullName);
    m_item = ComPtr<IWiaDrvItem>(item);
    return hr;
}

// ---- CItemSet

std::shared_ptr<CItemSet> CItemSet::Create() {
    std::shared_ptr<CItemSet> set(new CItemSet);
    set->m_items.push_back(set->NewContext());
    return set;
}

CItemSet::~CItemSet() {
    for (const auto& context : m_items)
        CContextTable::Instance().Remove(context->Handle());
}

ItemContextPtr CItemSet::NewContext() {
    auto context = std::make_shared<CItemContext>(weak_from_this());
    CContextTable::Instance().Add(context);
    return context;
}

// The first that matches, in the order of the walk.
ItemContextPtr CItemSet::Find(const std::string& name) const {
    for (const auto& context : m_items) {
        if (context->FullName() == name || ShownItemName(context->Name()) == name)
            return context;
    }
    return nullptr;
}

void CItemSet::DropBehindRoot() {
    while (m_items.size() > 1) {
        CContextTable::Instance().Remove(m_items.back()->Handle());
        m_items.pop_back();
    }
}

// Handles of former items behind the root are stale from here on, whatever comes of it.
HRESULT CItemSet::TakeTree(IWiaDrvItem* root) {
    DropBehindRoot();
    HRESULT hr = Root()->SetItem(root);
    if (SUCCEEDED(hr))
        hr = TakeChildren(root);
    if (FAILED(hr))
        DropBehindRoot();
    return hr;
}

// A driver's own kind of item might form a ring; the limit ends the walk.
HRESULT CItemSet::TakeChildren(IWiaDrvItem* folder) {
    ComPtr<IWiaDrvItem> child;
    HRESULT hr = folder->GetFirstChildItem(child.Out());
    while (hr == S_OK && child) {
        if (m_items.size() == kMaxItems)
            return WIA_ERROR_INVALID_DRIVER_RESPONSE;
        m_items.push_back(NewContext());
        if (hr = m_items.back()->SetItem(child.Get()); FAILED(hr))
            return hr;
        if (hr = TakeChildren(child.Get()); FAILED(hr))
            return hr;
        ComPtr<IWiaDrvItem> next;
        hr = child->GetNextSiblingItem(next.Out());
        child = next;
    }
    return FAILED(hr) ? hr : S_OK;
}

void CItemSet::BeginWrite() {
    for (const auto& context : m_items)
        context->Store().BeginWrite();
}

void CItemSet::Rollback() {
    for (const auto& context : m_items)
        context->Store().Rollback();
}

void CItemSet::EndWrite() {
    for (const auto& context : m_items)
        context->Store().EndWrite();
}
