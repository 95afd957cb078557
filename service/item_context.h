// The items of a device as one client has them: each of the driver's items with properties of the
// client's own, and the context by which a driver knows it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/wia.h"
#include "service/property_store.h"
#include "service/scan_status.h"

class CItemSet;

// A context is a number out of a counter that never comes round, in the form of a pointer: a stale
// or wild one is refused, and none is ever followed.
class CItemContext {
  public:
    explicit CItemContext(std::weak_ptr<CItemSet> set);

    BYTE* Handle() const { return m_handle; }
    std::shared_ptr<CItemSet> Set() const { return m_set.lock(); }
    CPropertyStore& Store() { return m_store; }
    const CPropertyStore& Store() const { return m_store; }

    // Null until the driver has made its items.
    IWiaDrvItem* Item() const { return m_item.Get(); }
    // The driver's names as they are.
    const std::string& Name() const { return m_name; }
    const std::string& FullName() const { return m_fullName; }
    LONG Flags() const;

    // Takes a reference; reads the names.
    HRESULT SetItem(IWiaDrvItem* item);

  private:
    BYTE* const m_handle;
    const std::weak_ptr<CItemSet> m_set;
    ComPtr<IWiaDrvItem> m_item;
    std::string m_name;
    std::string m_fullName;
    CPropertyStore m_store;
};

using ItemContextPtr = std::shared_ptr<CItemContext>;

// The context behind a handle that a driver passes; null if there is none.
ItemContextPtr FindContext(BYTE* handle);

// A tree in the order of a walk, root first. The root's context exists before its item: the driver
// gets it with the call that makes the items.
class CItemSet : public std::enable_shared_from_this<CItemSet> {
  public:
    static constexpr std::size_t kMaxItems = 1024;

    static std::shared_ptr<CItemSet> Create();
    ~CItemSet();

    const ItemContextPtr& Root() const { return m_items.front(); }
    const std::vector<ItemContextPtr>& Items() const { return m_items; }
    // By full name, or by name without the backslash that it may begin with; null if there is none.
    ItemContextPtr Find(const std::string& name) const;

    // Takes the driver's tree in, in place of one that was here; the root keeps its context.
    // WIA_ERROR_INVALID_DRIVER_RESPONSE for one of more than kMaxItems items.
    HRESULT TakeTree(IWiaDrvItem* root);

    // CPropertyStore's, for all items: a write to one may change another.
    void BeginWrite();
    void Rollback();
    void EndWrite();

  private:
    CItemSet() = default;
    ItemContextPtr NewContext();
    HRESULT TakeChildren(IWiaDrvItem* folder);
    void DropBehindRoot();

    std::vector<ItemContextPtr> m_items;
};

// A name without the backslash that drivers put in front.
std::string ShownItemName(const std::string& name);
