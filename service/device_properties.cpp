#include "service/device_properties.h"

#include <algorithm>
#include <tuple>

namespace {

// The nominal value aside: it limits nothing.
bool IsEqual(const ValidValues& a, const ValidValues& b) {
    return std::tie(a.kind, a.min, a.max, a.step, a.bits, a.list) ==
           std::tie(b.kind, b.min, b.max, b.step, b.bits, b.list);
}

bool IsEqual(const ScanProperty& a, const ScanProperty& b) {
    return a.value == b.value && a.access == b.access && IsEqual(a.valid, b.valid);
}

}  // namespace

ScanStatus CDeviceProperties::Read(const CScanDevice& device, CDeviceProperties& properties) {
    std::vector<ScanItem> items;
    std::vector<ItemState> read;
    ScanStatus status = device.Items(items);
    for (std::size_t i = 0; status.Ok() && i < items.size(); ++i) {
        ItemState& state = read.emplace_back(ItemState{items[i], {}});
        status = device.Read(state.item.fullName, {}, state.properties);
    }
    if (status.Ok() && items.empty())
        status = {E_UNEXPECTED, "the driver shows no items"};
    if (status.Ok())
        properties.m_items = std::move(read);
    return status;
}

const ItemState& CDeviceProperties::Image() const {
    const auto image = std::find_if(m_items.begin(), m_items.end(), [](const ItemState& state) {
        return (state.item.flags & WiaItemTypeImage) != 0;
    });
    return image == m_items.end() ? m_items.front() : *image;
}

const ScanProperty* CDeviceProperties::Find(const ItemState& item, PROPID id) {
    const auto found = std::find_if(item.properties.begin(), item.properties.end(),
                                    [id](const ScanProperty& p) { return p.id == id; });
    return found == item.properties.end() ? nullptr : &*found;
}

std::optional<LONG> CDeviceProperties::Number(const ItemState& item, PROPID id) {
    const ScanProperty* property = Find(item, id);
    const LONG* number = property ? std::get_if<LONG>(&property->value) : nullptr;
    return number ? std::optional(*number) : std::nullopt;
}

std::vector<PropertyChange> CDeviceProperties::ChangesSince(const CDeviceProperties& before) const {
    std::vector<PropertyChange> changes;
    for (const ItemState& state : m_items) {
        const auto former = std::find_if(
            before.m_items.begin(), before.m_items.end(),
            [&](const ItemState& other) { return other.item.fullName == state.item.fullName; });
        if (former == before.m_items.end())
            continue;
        for (const ScanProperty& property : state.properties) {
            const ScanProperty* old = Find(*former, property.id);
            if (!old || !IsEqual(*old, property))
                changes.push_back({state.item.name, old ? *old : ScanProperty{}, property});
        }
    }
    return changes;
}
