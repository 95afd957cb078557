#include "frontend/property_rows.h"

namespace {

constexpr LONG kStep = 1;  // no range of an item has gaps

// The value of a row is its nominal value too: what a client finds is what is recommended.
void AddRow(CPropertySet& set, const PropertyRow& row, const ComputedValues& computed) {
    using Kind = PropertyRow::Kind;
    const LONG value = row.value.In(computed.numbers);
    switch (row.kind) {
        case Kind::Long:
            return set.AddLong(row.id, row.name, row.access, value);
        case Kind::Flag:
            return set.AddFlag(row.id, row.name, row.access, value, row.low.In(computed.numbers));
        case Kind::Range:
            return set.AddRange(row.id, row.name, row.access, value, value,
                                row.low.In(computed.numbers), row.high.In(computed.numbers), kStep);
        case Kind::List:
            return set.AddList(row.id, row.name, row.access, value, value,
                               row.list.In(computed.lists));
        case Kind::Text:
            return set.AddString(row.id, row.name, row.access, row.text ? row.text : computed.text);
        case Kind::Guid:
            return set.AddGuid(row.id, row.name, row.access, row.guids.front());
        case Kind::GuidList:
            return set.AddGuidList(row.id, row.name, row.access, row.guids.front(),
                                   row.guids.front(), row.guids);
    }
}

}  // namespace

// The order of the rows is the one in which clients see the properties.
void AddRows(CPropertySet& set, std::span<const PropertyRow> rows, const ComputedValues& computed) {
    for (const PropertyRow& row : rows)
        AddRow(set, row, computed);
}
