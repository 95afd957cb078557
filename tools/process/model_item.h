// A scan item that nobody has touched: every property that the engine reads, with the driver's
// default and limits, and the per-model tables as a scanner without a profile of its own hands them
// over.
#pragma once

#include <iosfwd>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/item_properties.h"
#include "service/scan_property.h"

class CModelItem final : public IQLItemProperties {
  public:
    CModelItem();

    // Writes "NAME_OR_ID=VALUE": a property by its shown name or its id. Numbers are held against
    // the property's valid values; records are given as their numbers with commas between them, and
    // as most of them are shown under one name, also go by what they hold ("flatbed matrix").
    // False with an `error` that names property, value and what is allowed.
    bool Assign(std::string_view text, std::string* error);

    // What was assigned of numbers, in that order.
    const std::vector<PropertyWrite>& Assigned() const { return m_assigned; }
    // From here on the item has these properties alone.
    void KeepOnly(std::span<const PROPID> ids);

    // The device tells that its samples are encoded for a screen (sRGB) already, not linear.
    void SetEncodedSamples();

    // A table of all properties with their values and what is allowed.
    void List(std::ostream& out) const;

    HRESULT ReadLong(DWORD id, LONG* out) override;
    HRESULT ReadString(DWORD, BSTR*) override { return E_INVALIDARG; }
    HRESULT ReadGuid(DWORD, GUID*) override { return E_INVALIDARG; }
    HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) override;
    HRESULT WriteLong(DWORD id, LONG value) override;
    HRESULT WriteString(DWORD, const OLECHAR*) override { return S_OK; }
    HRESULT WriteGuid(DWORD, const GUID&) override { return E_INVALIDARG; }

  private:
    std::vector<PropertyWrite> m_assigned;
    std::map<DWORD, LONG> m_longs;
    std::map<DWORD, std::vector<BYTE>> m_records;  // as the engine reads them
};
