// How the engine reads and writes the properties of an image item. The front end implements it.
#pragma once

#include "engine/private_properties.h"
#include "platform/types.h"

// Each operation gives S_OK when it did its work; with anything else the engine keeps the setting
// that it has. Strings that are read belong to the caller.
class IQLItemProperties {
  public:
    virtual ~IQLItemProperties() = default;
    virtual HRESULT ReadLong(DWORD id, LONG* out) = 0;
    virtual HRESULT ReadString(DWORD id, BSTR* out) = 0;
    virtual HRESULT ReadGuid(DWORD id, GUID* out) = 0;
    // Exactly `size` bytes.
    virtual HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) = 0;
    virtual HRESULT WriteLong(DWORD id, LONG value) = 0;
    virtual HRESULT WriteString(DWORD id, const OLECHAR* value) = 0;
    virtual HRESULT WriteGuid(DWORD id, const GUID& value) = 0;
};
