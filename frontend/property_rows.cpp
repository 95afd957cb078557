#include "frontend/property_rows.h"

namespace {

constexpr LONG kStep = 1;

void AddRow(CPropertySet& set, const PropertyRow& row, std::span<const LONG> computed,
            LPCOLESTR foundText) {
    using Kind = PropertyRow::Kind;
    const LONG value = row.value.In(computed);
    switch (row.kind) {
        case Kind::Long:
            return set.AddLong(row.id, row.name, row.access, value);
        case Kind::Flag:
            return set.AddFlag(row.id, row.name, row.access, value, row.low.In(computed));
        case Kind::Range:
            return set.AddRange(row.id, row.name, row.access, value, value, row.low.In(computed),
                                row.high.In(computed), kStep);
        case Kind::List:
            return set.AddList(row.id, row.name, row.access, value, value, row.list);
        case Kind::Text:
            return set.AddString(row.id, row.name, row.access, row.text ? row.text : foundText);
        case Kind::Guid:
            return set.AddGuid(row.id, row.name, row.access, row.guids.front());
        case Kind::GuidList:
            return set.AddGuidList(row.id, row.name, row.access, row.guids.front(),
                                   row.guids.front(), row.guids);
    }
}

}  // namespace

void AddRows(CPropertySet& set, std::span<const PropertyRow> rows, std::span<const LONG> computed,
             LPCOLESTR foundText) {
    for (const PropertyRow& row : rows)
        AddRow(set, row, computed, foundText);
}
