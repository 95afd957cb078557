#include "tools/text_writes.h"

#include "tools/property_text.h"
#include "tools/text_values.h"

namespace {

// A name in any case, or the id as a number.
bool IsMeant(const ScanProperty& property, const std::string& name) {
    if (EqualNoCase(property.name, name))
        return true;
    const auto id = ParseInteger(name);
    return id && *id == static_cast<std::int64_t>(property.id);
}

}  // namespace

// A name may stand on both items, as "Item Name" does: the writable one is wanted, else the first.
std::optional<ItemWrite> ParseWrite(const CDeviceProperties& properties,
                                    const std::string& assignment, std::string* error) {
    const auto parts = SplitAssignment(assignment, error);
    if (!parts)
        return std::nullopt;
    const ItemState* owner = nullptr;
    const ScanProperty* meant = nullptr;
    for (const ItemState& state : properties.Items()) {
        for (const ScanProperty& property : state.properties) {
            if (IsMeant(property, parts->first) &&
                (!meant || (property.IsWritable() && !meant->IsWritable()))) {
                owner = &state;
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
    return ItemWrite{
        owner->item.fullName, {{meant->id, std::move(*value)}}, meant->name + '=' + parts->second};
}

std::optional<std::vector<ItemWrite>> ParseWrites(const CDeviceProperties& properties,
                                                  const std::vector<std::string>& assignments,
                                                  std::string* error) {
    std::vector<ItemWrite> writes;
    for (const std::string& assignment : assignments) {
        auto write = ParseWrite(properties, assignment, error);
        if (!write)
            return std::nullopt;
        writes.push_back(std::move(*write));
    }
    return writes;
}

// Values of one item that are written together are judged together.
std::vector<ItemWrite> GroupByItem(const std::vector<ItemWrite>& writes,
                                   const CDeviceProperties& properties) {
    std::vector<ItemWrite> groups;
    for (const ItemState& state : properties.Items()) {
        ItemWrite group{state.item.fullName, {}, {}};
        for (const ItemWrite& write : writes) {
            if (write.item != group.item)
                continue;
            group.writes.insert(group.writes.end(), write.writes.begin(), write.writes.end());
            group.words += (group.words.empty() ? "" : ", ") + write.words;
        }
        if (!group.writes.empty())
            groups.push_back(std::move(group));
    }
    return groups;
}
