// From rows of the item tables to property records.
#pragma once

#include "frontend/item_tables.h"
#include "frontend/property_set.h"

// What a build has worked out, by the places that the rows name.
struct ComputedValues {
    std::span<const LONG> numbers = {};
    std::span<const std::span<const LONG>> lists = {};
    LPCOLESTR text = nullptr;
};

// Failures stay in the set.
void AddRows(CPropertySet& set, std::span<const PropertyRow> rows,
             const ComputedValues& computed = {});
