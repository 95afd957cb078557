#include "tools/text_writes.h"

#include <algorithm>

#include "tools/property_text.h"
#include "tools/text_values.h"

namespace {

struct CUnitRow {
    const char* name;
    ScanArea::Unit unit;
};
constexpr CUnitRow kUnits[] = {
    {"mm", ScanArea::Unit::Millimeters},
    {"in", ScanArea::Unit::Inches},
    {"px", ScanArea::Unit::Pixels},
};

// A name in any case, or the id as a number.
bool IsMeant(const ScanProperty& property, const std::string& name) {
    if (EqualNoCase(property.name, name))
        return true;
    const auto id = ParseInteger(name);
    return id && *id == static_cast<std::int64_t>(property.id);
}

// Four numbers that can be a window.
bool IsWindow(const std::optional<std::vector<double>>& numbers) {
    constexpr double kMost = 1e6;  // in any unit more than a scanner's glass
    return numbers && numbers->size() == 4 &&
           std::all_of(numbers->begin(), numbers->end(),
                       [](double n) { return n >= 0 && n <= kMost; });
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

// The unit is the end of the text, in any case; four numbers with commas stand ahead of it.
std::optional<ScanArea> ParseArea(const std::string& text, std::string* error) {
    for (const CUnitRow& row : kUnits) {
        const std::string unit = row.name;
        if (text.size() <= unit.size() ||
            !EqualNoCase(text.substr(text.size() - unit.size()), unit))
            continue;
        const auto n = ParseReals(text.substr(0, text.size() - unit.size()));
        if (IsWindow(n))
            return ScanArea{(*n)[0], (*n)[1], (*n)[2], (*n)[3], row.unit};
    }
    *error = "--area '" + text + "': is not of the form X,Y,W,H followed by mm, in or px";
    return std::nullopt;
}
