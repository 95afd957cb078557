#include "service/property_rules.h"

#include <algorithm>

#include "platform/com.h"
#include "platform/text.h"

namespace {

// Of a text; and how many values of a list a refusal names.
constexpr std::size_t kMaxTextBytes = 4096;
constexpr std::size_t kShownValues = 16;

ScanStatus Refuse(const ScanProperty& property, const std::string& why) {
    return {E_INVALIDARG, ShownName(property) + ": " + why};
}

const char* TypeName(VARTYPE type) {
    switch (type) {
        case VT_I4:
            return "a number";
        case VT_BSTR:
            return "a text";
        case VT_CLSID:
            return "an identifier";
        case VT_VECTOR | VT_UI1:
            return "bytes";
        default:
            return "nothing";
    }
}

// Steps count from the least value. In 64 bits: the ends may be 32 bits apart.
ScanStatus CheckRange(const ScanProperty& property, LONG value) {
    const ValidValues& valid = property.valid;
    if (value < valid.min || value > valid.max)
        return Refuse(property, std::to_string(value) + " is outside the range from " +
                                    std::to_string(valid.min) + " to " + std::to_string(valid.max));
    if ((LONGLONG{value} - valid.min) % valid.step != 0)
        return Refuse(property, std::to_string(value) + " is no multiple of " +
                                    std::to_string(valid.step) + " above " +
                                    std::to_string(valid.min));
    return {};
}

ScanStatus CheckList(const ScanProperty& property, const PropertyValue& value) {
    const auto& list = property.valid.list;
    if (std::find(list.begin(), list.end(), value) != list.end())
        return {};
    std::string known;
    for (std::size_t i = 0; i < std::min(list.size(), kShownValues); ++i)
        known += (i == 0 ? "" : ", ") + ShownValue(list[i]);
    if (list.size() > kShownValues)
        known += ", ...";
    return Refuse(property, ShownValue(value) + " is none of its values: " + known);
}

ScanStatus CheckSize(const ScanProperty& property, const PropertyValue& value) {
    if (const auto* text = std::get_if<std::string>(&value); text && text->size() > kMaxTextBytes)
        return Refuse(property, "a text has at most " + std::to_string(kMaxTextBytes) + " bytes");
    const auto* bytes = std::get_if<std::vector<BYTE>>(&value);
    const auto* current = std::get_if<std::vector<BYTE>>(&property.value);
    // A record's readers know its size.
    if (bytes && current && bytes->size() != current->size())
        return Refuse(property, "has " + std::to_string(current->size()) + " bytes, not " +
                                    std::to_string(bytes->size()));
    return {};
}

}  // namespace

std::string ShownName(const ScanProperty& property) {
    return property.name.empty() ? "property " + std::to_string(property.id) : property.name;
}

std::string ShownValue(const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return std::to_string(*number);
    if (const std::string* text = std::get_if<std::string>(&value))
        return '"' + *text + '"';
    if (const GUID* guid = std::get_if<GUID>(&value))
        return GuidText(*guid);
    if (const auto* bytes = std::get_if<std::vector<BYTE>>(&value))
        return std::to_string(bytes->size()) + " bytes";
    return "nothing";
}

ScanStatus CheckValue(const ScanProperty& property, const PropertyValue& value) {
    if (TypeOf(value) != property.type)
        return Refuse(property, std::string("takes ") + TypeName(property.type) + ", not " +
                                    TypeName(TypeOf(value)));
    if (ScanStatus size = CheckSize(property, value); !size.Ok())
        return size;
    const LONG* number = std::get_if<LONG>(&value);
    switch (property.valid.kind) {
        case ValidKind::Range:
            return number ? CheckRange(property, *number) : ScanStatus{};
        case ValidKind::List:
            return CheckList(property, value);
        case ValidKind::Flags:
            if (number && (*number & ~property.valid.bits) != 0)
                return Refuse(property, std::to_string(*number) + " has bits other than those of " +
                                            std::to_string(property.valid.bits));
            return {};
        case ValidKind::Anything:
            break;
    }
    return {};
}

// Access goes ahead of the value: no value would do.
ScanStatus CheckWrite(const ScanProperty& property, const PropertyValue& value) {
    if (!property.IsWritable())
        return {STG_E_ACCESSDENIED, ShownName(property) + ": can't be written"};
    return CheckValue(property, value);
}
