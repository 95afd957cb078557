// The tables of an item's properties: a row for each, in the order in which they are added.
#pragma once

#include <span>

#include "frontend/property_set.h"

// A number in a row: a constant, or one of those that a build works out, told by its place among
// them.
class RowNumber {
  public:
    constexpr RowNumber(LONG constant) : m_number(constant) {}
    static constexpr RowNumber Computed(int place) {
        RowNumber number(place);
        number.m_computed = true;
        return number;
    }
    LONG In(std::span<const LONG> computed) const {
        return m_computed ? computed[static_cast<std::size_t>(m_number)] : m_number;
    }

  private:
    LONG m_number;
    bool m_computed = false;
};

// Nominal values are the values, and steps are 1.
struct PropertyRow {
    enum class Kind { Long, Flag, Range, List, Text, Guid, GuidList };

    Kind kind;
    PROPID id;
    LPCOLESTR name;
    ULONG access;
    RowNumber value = 0;
    RowNumber low = 0;   // of a range, or the valid bits of a flag
    RowNumber high = 0;  // of a range
    std::span<const LONG> list = {};
    LPCOLESTR text = nullptr;          // null: the one that a build finds out
    std::span<const GUID> guids = {};  // the first is the value
};

// Access of most properties.
inline constexpr ULONG kReadOnly = WIA_PROP_READ | WIA_PROP_NONE;
inline constexpr ULONG kReadWriteRange = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_RANGE;
inline constexpr ULONG kReadWriteList = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_LIST;
inline constexpr ULONG kReadWriteFlag = WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_FLAG;

constexpr PropertyRow LongRow(PROPID id, LPCOLESTR name, RowNumber value) {
    return {PropertyRow::Kind::Long, id, name, kReadOnly, value};
}
constexpr PropertyRow FlagRow(PROPID id, LPCOLESTR name, ULONG access, RowNumber value,
                              RowNumber bits) {
    return {PropertyRow::Kind::Flag, id, name, access, value, bits};
}
constexpr PropertyRow RangeRow(PROPID id, LPCOLESTR name, RowNumber value, RowNumber low,
                               RowNumber high) {
    return {PropertyRow::Kind::Range, id, name, kReadWriteRange, value, low, high};
}
constexpr PropertyRow ListRow(PROPID id, LPCOLESTR name, ULONG access, RowNumber value,
                              std::span<const LONG> list) {
    return {PropertyRow::Kind::List, id, name, access, value, 0, 0, list};
}
constexpr PropertyRow TextRow(PROPID id, LPCOLESTR name, ULONG access, LPCOLESTR text) {
    return {PropertyRow::Kind::Text, id, name, access, 0, 0, 0, {}, text};
}
constexpr PropertyRow GuidRow(PROPID id, LPCOLESTR name, std::span<const GUID> guid) {
    return {PropertyRow::Kind::Guid, id, name, kReadOnly, 0, 0, 0, {}, nullptr, guid};
}
constexpr PropertyRow GuidListRow(PROPID id, LPCOLESTR name, std::span<const GUID> guids) {
    return {PropertyRow::Kind::GuidList, id, name, kReadWriteList, 0, 0, 0, {}, nullptr, guids};
}

// Failures stay in the set.
void AddRows(CPropertySet& set, std::span<const PropertyRow> rows, std::span<const LONG> computed,
             LPCOLESTR foundText = nullptr);
