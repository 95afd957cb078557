#include "tools/property_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "engine/item_properties.h"
#include "frame/palette_table.h"
#include "platform/sti.h"
#include "platform/text.h"
#include "tools/text_values.h"

namespace {

// Values that have a word of their own, in tables and behind --set.
struct CWordRow {
    PROPID id;
    LONG value;
    const char* word;
};
// clang-format off
constexpr CWordRow kWords[] = {
    {WIA_IPA_DATATYPE, WIA_DATA_THRESHOLD, "line art"},
    {WIA_IPA_DATATYPE, WIA_DATA_DITHER, "dithered"},
    {WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE, "gray"},
    {WIA_IPA_DATATYPE, WIA_DATA_COLOR, "colour"},
    {WIA_IPA_TYMED, TYMED_FILE, "file"},
    {WIA_IPA_TYMED, TYMED_CALLBACK, "callback"},
    {WIA_IPA_COMPRESSION, 0, "none"},
    {WIA_IPA_PLANAR, 0, "pixel by pixel"},
    {WIA_IPA_PLANAR, 1, "channel by channel"},
    {WIA_IPS_PHOTOMETRIC_INTERP, 0, "the most is white"},
    {WIA_IPS_PHOTOMETRIC_INTERP, 1, "the most is black"},
    {WIA_DIP_DEV_TYPE, 0x10003, "scanner"},
    {WIA_DPA_CONNECT_STATUS, 0, "not connected"},
    {WIA_DPA_CONNECT_STATUS, 1, "connected"},
    {WIA_DPS_PREVIEW, 0, "off"},
    {WIA_DPS_PREVIEW, 1, "on"},
    {WIA_DPS_SHEET_FEEDER_REGISTRATION, 0, "left"},
    {WIA_DPS_SHEET_FEEDER_REGISTRATION, 1, "centre"},
    {WIA_DPS_SHEET_FEEDER_REGISTRATION, 2, "right"},
    {WIA_DPS_VERTICAL_BED_REGISTRATION, 0, "top"},
    {WIA_DPS_VERTICAL_BED_REGISTRATION, 1, "centre"},
    {WIA_DPS_VERTICAL_BED_REGISTRATION, 2, "bottom"},
    {WIA_DPS_PAGES, 0, "all"},
    {QL_PROP_TMA_SELECT, 0, "off"},
    {QL_PROP_TMA_SELECT, 1, "on"},
    {QL_PROP_TMA_METHOD, 0, "slide"},
    {QL_PROP_TMA_METHOD, 1, "negative"},
    {QL_PROP_SCANNER_CHANNEL, 0, "all colours"},
    {QL_PROP_SCANNER_CHANNEL, 1, "gray"},
    {QL_PROP_SCANNER_CHANNEL, 2, "red"},
    {QL_PROP_SCANNER_CHANNEL, 3, "green"},
    {QL_PROP_SCANNER_CHANNEL, 4, "blue"},
    {QL_PROP_SCANNER_CHANNEL, 5, "the device's gray"},
    {QL_PROP_EXPOSURE_METHOD, 0, "brightness and contrast"},
    {QL_PROP_EXPOSURE_METHOD, 1, "levels"},
    {QL_PROP_SHARPEN_LEVEL, 5, "off"},
    {QL_PROP_MIRROR, 0, "off"},
    {QL_PROP_MIRROR, 1, "on"},
    {QL_PROP_SMOOTHING, 0, "off"},
    {QL_PROP_SMOOTHING, 1, "light"},
    {QL_PROP_SMOOTHING, 2, "strong"},
    {QL_PROP_STREAKS, 0, "off"},
    {QL_PROP_STREAK_DETAIL, 0, "none"},
    {QL_PROP_STREAK_DETAIL, 1, "red"},
    {QL_PROP_STREAK_DETAIL, 2, "green"},
    {QL_PROP_STREAK_DETAIL, 3, "blue"},
    {QL_PROP_PALETTE, 0, "none"},
    {QL_PROP_PALETTE, QL_PALETTE_SYSTEM, "system"},
    {QL_PROP_PALETTE, QL_PALETTE_CUBE, "cube"},
    {QL_PROP_PALETTE, QL_PALETTE_USER, "own colours"},
};

// Values that are sums of bits, each with its word.
constexpr CWordRow kBitWords[] = {
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeImage, "image"},
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeFile, "file"},
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeFolder, "folder"},
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeRoot, "root"},
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeDevice, "device"},
    {WIA_IPA_ITEM_FLAGS, WiaItemTypeDisconnected, "disconnected"},
    {WIA_DIP_STI_GEN_CAPABILITIES, STI_GENCAP_NOTIFICATIONS, "tells of buttons"},
    {WIA_DIP_STI_GEN_CAPABILITIES, STI_GENCAP_POLLING_NEEDED, "must be asked for buttons"},
    {WIA_IPA_ACCESS_RIGHTS, 1, "read"},
    {WIA_IPA_ACCESS_RIGHTS, 2, "write"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER, "feeder"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED, "flatbed"},
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, DUPLEX, "duplex"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, FEED, "feeder"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, FLAT, "flatbed"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, DUP, "duplex"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, DETECT_FEED, "sees paper in the feeder"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, DETECT_FEED_AVAIL, "sees the feeder"},
    {WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES, DETECT_DUP_AVAIL, "sees duplex"},
    {WIA_DPS_DOCUMENT_HANDLING_STATUS, FEED_READY, "feeder ready"},
    {WIA_DPS_DOCUMENT_HANDLING_STATUS, FLAT_READY, "flatbed ready"},
    {WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_COLOR, "colour"},
    {WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_GRAYSCALE, "gray"},
    {WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_TEXT, "text"},
    {WIA_IPS_CUR_INTENT, WIA_INTENT_MINIMIZE_SIZE, "small"},
    {WIA_IPS_CUR_INTENT, WIA_INTENT_MAXIMIZE_QUALITY, "good"},
};

// Formats of pictures.
constexpr std::pair<GUID, const char*> kGuidWords[] = {
    {WiaImgFmt_BMP, "bitmap file"},
    {WiaImgFmt_MEMORYBMP, "bitmap in memory"},
};
// clang-format on

std::string WordOf(PROPID id, LONG number) {
    for (const CWordRow& row : kWords) {
        if (row.id == id && row.value == number)
            return row.word;
    }
    std::string words;
    for (const CWordRow& row : kBitWords) {
        if (row.id == id && (row.value & number) != 0)
            words += (words.empty() ? "" : ", ") + std::string(row.word);
    }
    return words;
}

// "3 (colour)", or the number alone.
std::string NumberText(PROPID id, LONG number) {
    const std::string word = WordOf(id, number);
    return std::to_string(number) + (word.empty() ? "" : " (" + word + ')');
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

// A word of the property, in any case, or several of a sum of bits with commas between them.
std::optional<LONG> NumberOf(PROPID id, std::string_view text) {
    for (const CWordRow& row : kWords) {
        if (row.id == id && EqualNoCase(row.word, text))
            return row.value;
    }
    LONG bits = 0;
    for (;;) {
        const std::size_t comma = text.find(',');
        const std::string_view word = text.substr(0, comma);
        const auto* row = std::find_if(
            std::begin(kBitWords), std::end(kBitWords),
            [&](const CWordRow& r) { return r.id == id && EqualNoCase(r.word, word); });
        if (row == std::end(kBitWords))
            return std::nullopt;
        bits |= row->value;
        if (comma == std::string_view::npos)
            return bits;
        text.remove_prefix(std::min(text.find_first_not_of(' ', comma + 1), text.size()));
    }
}

// Words, or a number that fits 32 bits.
bool ParseNumber(PROPID id, const std::string& text, PropertyValue& value) {
    if (const auto word = NumberOf(id, text)) {
        value = *word;
        return true;
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

std::string ValueWords(PROPID id, const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return WordOf(id, *number);
    const GUID* guid = std::get_if<GUID>(&value);
    const auto* row = std::find_if(std::begin(kGuidWords), std::end(kGuidWords),
                                   [&](const auto& r) { return guid && r.first == *guid; });
    return row == std::end(kGuidWords) ? "" : row->second;
}

std::string ValueText(PROPID id, const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return NumberText(id, *number);
    if (const std::string* text = std::get_if<std::string>(&value))
        return *text;
    if (const GUID* guid = std::get_if<GUID>(&value)) {
        const std::string words = ValueWords(id, value);
        return words.empty() ? GuidText(*guid) : words;
    }
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
