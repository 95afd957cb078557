#include "tools/property_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "engine/item_properties.h"
#include "platform/text.h"
#include "tools/text_values.h"

namespace {

// Values that have a word of their own, in tables and behind --set.
struct CWordRow {
    PROPID id;
    LONG value;
    const char* word;
};
constexpr CWordRow kWords[] = {
    {WIA_IPA_DATATYPE, WIA_DATA_THRESHOLD, "line art"},
    {WIA_IPA_DATATYPE, WIA_DATA_DITHER, "dithered"},
    {WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE, "gray"},
    {WIA_IPA_DATATYPE, WIA_DATA_COLOR, "colour"},
    {WIA_IPA_TYMED, TYMED_FILE, "file"},
    {WIA_IPA_TYMED, TYMED_CALLBACK, "callback"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER, "feeder"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED, "flatbed"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, DUPLEX, "duplex"},
    {QL_PROP_TMA_SELECT, 0, "off"},
    {QL_PROP_TMA_SELECT, 1, "on"},
    {QL_PROP_TMA_METHOD, 0, "slide"},
    {QL_PROP_TMA_METHOD, 1, "negative"},
};

// "3 (colour)", or the number alone.
std::string NumberText(PROPID id, LONG number) {
    const std::string text = std::to_string(number);
    const auto* row = std::find_if(std::begin(kWords), std::end(kWords), [&](const CWordRow& r) {
        return r.id == id && r.value == number;
    });
    return row == std::end(kWords) ? text : text + " (" + row->word + ')';
}

// The first eight bytes of a longer run; --json has them all.
std::string BytesText(const std::vector<BYTE>& bytes) {
    constexpr std::ptrdiff_t kShown = 8;

    if (bytes.size() <= static_cast<std::size_t>(kShown))
        return HexText(bytes);
    return HexText({bytes.begin(), bytes.begin() + kShown}) + "... (" +
           std::to_string(bytes.size()) + " bytes)";
}

// Each with its word.
std::string ListText(PROPID id, const std::vector<PropertyValue>& values) {
    std::string text;
    for (const PropertyValue& value : values)
        text += (text.empty() ? "" : ", ") + ValueText(id, value);
    return text;
}

// Bit by bit: any combination of them may be written.
std::string FlagsText(PROPID id, LONG bits) {
    std::string text;
    for (ULONG bit = 1; bit != 0; bit <<= 1) {
        if ((static_cast<ULONG>(bits) & bit) != 0)
            text += (text.empty() ? "any of " : ", ") + NumberText(id, static_cast<LONG>(bit));
    }
    return text;
}

// A word of the property, in any case, or a number that fits 32 bits.
bool ParseNumber(PROPID id, const std::string& text, PropertyValue& value) {
    for (const CWordRow& row : kWords) {
        if (row.id == id && EqualNoCase(row.word, text)) {
            value = row.value;
            return true;
        }
    }
    const auto number = ParseInteger(text);
    if (!number || *number < std::numeric_limits<LONG>::min() ||
        *number > std::numeric_limits<LONG>::max())
        return false;
    value = static_cast<LONG>(*number);
    return true;
}

// Pairs of digits without blanks, as HexText writes them.
bool ParseBytes(const std::string& text, PropertyValue& value) {
    if (text.size() % 2 != 0)
        return false;
    auto& bytes = value.emplace<std::vector<BYTE>>(text.size() / 2);
    const char* at = text.data();
    for (BYTE& byte : bytes) {
        const auto [end, error] = std::from_chars(at, at + 2, byte, 16);
        if (error != std::errc() || end != at + 2)
            return false;
        at += 2;
    }
    return true;
}

bool ParseByType(const ScanProperty& property, const std::string& text, PropertyValue& value) {
    switch (property.type) {
        case VT_I4:
            return ParseNumber(property.id, text, value);
        case VT_BSTR:
            value = text;
            return true;
        case VT_CLSID:
            return GuidFromText(text, value.emplace<GUID>());
        default:
            return ParseBytes(text, value);
    }
}

// A text can't be wrong, so it has no name here.
const char* KindName(VARTYPE type) {
    return type == VT_I4 ? "number" : type == VT_CLSID ? "class identifier" : "run of bytes";
}

}  // namespace

std::string HexText(const std::vector<BYTE>& bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const BYTE byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

// The two formats of pictures have names that people know.
std::string ValueText(PROPID id, const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return NumberText(id, *number);
    if (const std::string* text = std::get_if<std::string>(&value))
        return *text;
    if (const GUID* guid = std::get_if<GUID>(&value))
        return *guid == WiaImgFmt_BMP         ? "bitmap file"
               : *guid == WiaImgFmt_MEMORYBMP ? "bitmap in memory"
                                              : GuidText(*guid);
    const auto* bytes = std::get_if<std::vector<BYTE>>(&value);
    return bytes ? BytesText(*bytes) : "";
}

std::string ValidText(const ScanProperty& property) {
    const ValidValues& valid = property.valid;
    switch (valid.kind) {
        case ValidKind::Range:
            return std::to_string(valid.min) + " to " + std::to_string(valid.max) +
                   (valid.step > 1 ? " in steps of " + std::to_string(valid.step) : "");
        case ValidKind::List:
            return ListText(property.id, valid.list);
        case ValidKind::Flags:
            return FlagsText(property.id, valid.bits);
        case ValidKind::Anything:
            break;
    }
    return {};
}

std::optional<PropertyValue> ParseValue(const ScanProperty& property, const std::string& text,
                                        std::string* error) {
    std::optional<PropertyValue> value(std::in_place);
    if (!ParseByType(property, text, *value)) {
        *error = property.name + ": '" + text + "' is no " + KindName(property.type);
        value.reset();
    }
    return value;
}
