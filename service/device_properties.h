// All properties of an open device, as they were at one moment.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/scan_client.h"

struct ItemState {
    ScanItem item;
    std::vector<ScanProperty> properties;
};

// Writes to one item, by its full name.
struct ItemWrite {
    std::string item;
    std::vector<PropertyWrite> writes;
    std::string words;  // in which the user asked for them; messages begin with these
};

struct PropertyChange {
    std::string item;  // name
    ScanProperty before;
    ScanProperty after;
};

class CDeviceProperties {
  public:
    // Reads every item of the device; the driver asks the scanner for what only that knows. A
    // failure leaves `properties` as they were.
    static ScanStatus Read(const CScanDevice& device, CDeviceProperties& properties);

    // Root first. What was read has at least one item.
    const std::vector<ItemState>& Items() const { return m_items; }
    const ItemState& Root() const { return m_items.front(); }
    // The first item that holds an image; the root if there is none.
    const ItemState& Image() const;

    // Null if the item doesn't have it.
    static const ScanProperty* Find(const ItemState& item, PROPID id);
    static std::optional<LONG> Number(const ItemState& item, PROPID id);

    // What differs from `before`: value, access or valid values. A property that is new counts.
    std::vector<PropertyChange> ChangesSince(const CDeviceProperties& before) const;

  private:
    std::vector<ItemState> m_items;
};
