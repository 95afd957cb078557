// The accessor through which the engine reads and writes the properties of an image item. The
// settings of a scan are spread over the device's tree: what the item doesn't carry itself is read
// from the root item.
#pragma once

#include "engine/item_properties.h"
#include "platform/wia.h"

class CItemProperties final : public IQLItemProperties {
  public:
    // The item is borrowed. E_INVALIDARG for null.
    HRESULT Attach(BYTE* item);

    // E_INVALIDARG for a null argument, E_POINTER without an item, else the service's own.
    HRESULT ReadLong(DWORD id, LONG* out) override;
    HRESULT ReadString(DWORD id, BSTR* out) override;
    HRESULT ReadGuid(DWORD id, GUID* out) override;
    // A property of `size` bytes.
    HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) override;
    HRESULT WriteLong(DWORD id, LONG value) override;
    // Texts are nothing that the engine has to tell: S_OK, and nothing is written.
    HRESULT WriteString(DWORD id, const OLECHAR* value) override;
    HRESULT WriteGuid(DWORD id, const GUID& value) override;

  private:
    template <class Value>
    HRESULT Read(HRESULT (*read)(BYTE*, PROPID, Value*, Value*, BOOL), DWORD id, Value* out);

    BYTE* m_item = nullptr;
};
