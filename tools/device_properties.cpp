#include "tools/device_properties.h"

#include <algorithm>

#include "service/text.h"
#include "tools/property_text.h"
#include "tools/text_values.h"

namespace {

bool IsMeant(const ScanProperty& property, const std::string& name) {
    if (EqualNoCase(property.name, name))
        return true;
    const auto id = ParseInteger(name);
    return id && *id == static_cast<std::int64_t>(property.id);
}

bool IsEqual(const ScanProperty& a, const ScanProperty& b) {
    return a.value == b.value && a.access == b.access && ValidText(a) == ValidText(b);
}

CItemWrite Single(const CNamedWrite& write) {
    return {write.m_item, {write.m_write}, write.m_words};
}

}  // namespace

ScanStatus CDeviceProperties::Read(CScanDevice& device, CDeviceProperties& properties) {
    std::vector<ScanItem> items;
    ScanStatus status = device.Items(items);
    properties.m_items.clear();
    for (std::size_t i = 0; status.Ok() && i < items.size(); ++i) {
        CItemState state{items[i], {}};
        status = device.Read(state.m_item.fullName, {}, state.m_properties);
        properties.m_items.push_back(std::move(state));
    }
    if (status.Ok() && items.empty())
        status = {E_UNEXPECTED, "the driver shows no items"};
    return status;
}

const CItemState& CDeviceProperties::Image() const {
    const auto image = std::find_if(m_items.begin(), m_items.end(), [](const CItemState& state) {
        return (state.m_item.flags & WiaItemTypeImage) != 0;
    });
    return image == m_items.end() ? m_items.front() : *image;
}

const ScanProperty* CDeviceProperties::Find(const CItemState& item, PROPID id) {
    const auto found = std::find_if(item.m_properties.begin(), item.m_properties.end(),
                                    [id](const ScanProperty& p) { return p.id == id; });
    return found == item.m_properties.end() ? nullptr : &*found;
}

std::optional<LONG> CDeviceProperties::Number(const CItemState& item, PROPID id) {
    const ScanProperty* property = Find(item, id);
    const LONG* number = property ? std::get_if<LONG>(&property->value) : nullptr;
    return number ? std::optional(*number) : std::nullopt;
}

std::optional<CNamedWrite> CDeviceProperties::Parse(const std::string& assignment,
                                                    std::string* error) const {
    const auto parts = SplitAssignment(assignment, error);
    if (!parts)
        return std::nullopt;
    const CItemState* owner = nullptr;
    const ScanProperty* meant = nullptr;
    for (const CItemState& item : m_items) {
        for (const ScanProperty& property : item.m_properties) {
            if (IsMeant(property, parts->first) &&
                (!meant || (property.IsWritable() && !meant->IsWritable()))) {
                owner = &item;
                meant = &property;
            }
        }
    }
    if (!meant) {
        *error = "there is no property '" + parts->first + "'; nvqscan properties lists them";
        return std::nullopt;
    }
    auto value = ParseValue(*meant, parts->second, error);
    if (!value)
        return std::nullopt;
    return CNamedWrite{
        owner->m_item.fullName, {meant->id, std::move(*value)}, meant->name + '=' + parts->second};
}

std::vector<CPropertyChange> CDeviceProperties::ChangesSince(
    const CDeviceProperties& before) const {
    std::vector<CPropertyChange> changes;
    for (const CItemState& item : m_items) {
        const auto former = std::find_if(
            before.m_items.begin(), before.m_items.end(),
            [&](const CItemState& other) { return other.m_item.fullName == item.m_item.fullName; });
        if (former == before.m_items.end())
            continue;
        for (const ScanProperty& property : item.m_properties) {
            const ScanProperty* old = Find(*former, property.id);
            if (!old || !IsEqual(*old, property))
                changes.push_back({item.m_item.name, old ? *old : ScanProperty{}, property});
        }
    }
    return changes;
}

std::vector<CItemWrite> GroupByItem(const std::vector<CNamedWrite>& writes,
                                    const CDeviceProperties& properties) {
    std::vector<CItemWrite> groups;
    for (const CItemState& item : properties.Items()) {
        CItemWrite group{item.m_item.fullName, {}, {}};
        for (const CNamedWrite& write : writes) {
            if (write.m_item != group.m_item)
                continue;
            group.m_writes.push_back(write.m_write);
            group.m_words += (group.m_words.empty() ? "" : ", ") + write.m_words;
        }
        if (!group.m_writes.empty())
            groups.push_back(std::move(group));
    }
    return groups;
}

std::vector<CItemWrite> OneByOne(const std::vector<CNamedWrite>& writes) {
    std::vector<CItemWrite> singles;
    std::transform(writes.begin(), writes.end(), std::back_inserter(singles), Single);
    return singles;
}
