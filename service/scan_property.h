// Items and their properties, as clients see them and as the service keeps them.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "platform/wia.h"

struct ScanItem {
    std::string name;      // "Top"
    std::string fullName;  // "0000\\Root\\Top"
    LONG flags = 0;        // WiaItemType... bits
};

// In place of std::monostate. libstdc++ 12 takes a variant of types that all move without failure
// for one that always has a value, and destroys one that was never made when a copy fails for want
// of memory. With a type that has a copy of its own it looks first.
struct EmptyValue {
    EmptyValue() = default;
    EmptyValue(const EmptyValue&) noexcept {}
    EmptyValue& operator=(const EmptyValue&) noexcept { return *this; }
    bool operator==(const EmptyValue&) const = default;
};

// Texts are UTF-8. Empty: a property that has a name and no value yet.
using PropertyValue = std::variant<EmptyValue, LONG, std::string, GUID, std::vector<BYTE>>;

// VT_I4, VT_BSTR, VT_CLSID, VT_VECTOR | VT_UI1, or VT_EMPTY.
VARTYPE TypeOf(const PropertyValue& value);

enum class ValidKind { Anything, Range, List, Flags };

// What a client may write.
struct ValidValues {
    ValidKind kind = ValidKind::Anything;
    LONG min = 0;  // of a range, both ends included
    LONG max = 0;
    LONG step = 1;
    LONG bits = 0;  // of flags: those that may be set
    PropertyValue nominal;
    std::vector<PropertyValue> list;
};

// One property, with what a client must know to write it.
struct ScanProperty {
    PROPID id = 0;
    std::string name;
    VARTYPE type = VT_EMPTY;
    ULONG access = WIA_PROP_READ | WIA_PROP_NONE;  // WIA_PROP_... bits
    PropertyValue value;
    ValidValues valid;

    bool IsWritable() const { return (access & WIA_PROP_WRITE) != 0; }
};

// A value for a property of an item that is told beside it.
struct PropertyWrite {
    PROPID id;
    PropertyValue value;
};
