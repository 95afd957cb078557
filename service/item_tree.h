// The items of a device as its driver makes them.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/wia.h"

// A folder counts its children, a child knows its folder. A driver's own memory with an item, if it
// asked for some, goes with the item; the driver is told when the tree is unlinked.
class CDrvItem final : public IWiaDrvItem {
  public:
    // Both names as the driver gave them; `contextBytes` bytes of zeroed memory are the driver's.
    CDrvItem(LONG flags, std::u16string name, std::u16string fullName, IWiaMiniDrv* driver,
             std::size_t contextBytes);

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // WiaItemType... bits; WiaItemTypeDisconnected once the tree was taken apart.
    HRESULT GetItemFlags(LONG* flags) override;
    // The driver's memory, which stays the item's. E_INVALIDARG when it has asked for none.
    HRESULT GetDeviceSpecContext(BYTE** context) override;
    // Copies, for the caller to free; as the driver wrote them.
    HRESULT GetFullItemName(BSTR* name) override;
    HRESULT GetItemName(BSTR* name) override;
    // E_INVALIDARG for what is no folder, for an item that has one already or would hold itself,
    // and for a name that the folder has already.
    HRESULT AddItemToFolder(IWiaDrvItem* folder) override;
    // Takes the tree below apart. With WiaItemTypeDisconnected its items say so from then on.
    HRESULT UnlinkItemTree(LONG flags) override;
    // Takes one item out, with what is below it. E_INVALIDARG for one that is in no folder.
    HRESULT RemoveItemFromFolder(LONG flags) override;
    // These give S_FALSE and null when there is no such item. By full name, here and below; by name
    // among the children.
    HRESULT FindItemByName(LONG flags, BSTR name, IWiaDrvItem** item) override;
    HRESULT FindChildItemByName(BSTR name, IWiaDrvItem** item) override;
    HRESULT GetParentItem(IWiaDrvItem** item) override;
    HRESULT GetFirstChildItem(IWiaDrvItem** item) override;
    HRESULT GetNextSiblingItem(IWiaDrvItem** item) override;
    HRESULT DumpItemData(BSTR* text) override;

  private:
    using Children = std::vector<ComPtr<CDrvItem>>;

    ~CDrvItem() = default;
    // False for an item whose last reference has gone.
    bool TryAddRef();
    bool IsBelow(const CDrvItem* folder) const;
    ComPtr<CDrvItem> FindBelow(std::u16string_view fullName);
    void Disconnect(LONG flags, Children& loose);
    HRESULT Give(const ComPtr<CDrvItem>& found, IWiaDrvItem** item) const;

    const std::u16string m_name;
    const std::u16string m_fullName;
    std::vector<BYTE> m_deviceContext;
    std::atomic<ULONG> m_refs{1};

    // Under the lock of all trees.
    LONG m_flags;
    IWiaMiniDrv* m_driver;  // borrowed, until the tree is unlinked
    CDrvItem* m_parent = nullptr;
    Children m_children;
};
