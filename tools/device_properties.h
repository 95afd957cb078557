// All properties of an open device, and writes to them by name.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/scan_client.h"

struct CItemState {
    ScanItem m_item;
    std::vector<ScanProperty> m_properties;
};

// A value for one property, with the words in which the user asked for it.
struct CNamedWrite {
    std::string m_item;  // full name
    PropertyWrite m_write;
    std::string m_words;
};

struct CPropertyChange {
    std::string m_item;
    ScanProperty m_before;
    ScanProperty m_after;
};

class CDeviceProperties {
  public:
    // Root first.
    static ScanStatus Read(CScanDevice& device, CDeviceProperties& properties);

    const std::vector<CItemState>& Items() const { return m_items; }
    const CItemState& Root() const { return m_items.front(); }
    // The first item that holds an image; the root if there is none.
    const CItemState& Image() const;

    // Null if the item doesn't have it.
    static const ScanProperty* Find(const CItemState& item, PROPID id);
    static std::optional<LONG> Number(const CItemState& item, PROPID id);

    // From "NAME=VALUE", with the property's shown name in any case, or its id. Of items that both
    // have it, the one on which it can be written is meant. Nothing with one line in `error`.
    std::optional<CNamedWrite> Parse(const std::string& assignment, std::string* error) const;

    // What differs from `before`; properties that are in one of the two alone count as well.
    std::vector<CPropertyChange> ChangesSince(const CDeviceProperties& before) const;

  private:
    std::vector<CItemState> m_items;
};

// One write for each item, in the order of the items.
struct CItemWrite {
    std::string m_item;
    std::vector<PropertyWrite> m_writes;
    std::string m_words;
};
std::vector<CItemWrite> GroupByItem(const std::vector<CNamedWrite>& writes,
                                    const CDeviceProperties& properties);
// Each for itself.
std::vector<CItemWrite> OneByOne(const std::vector<CNamedWrite>& writes);
