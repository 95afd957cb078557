#include "tools/process/attribute_writes.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

#include "tools/text_values.h"

namespace {

struct Range {
    double low;
    double high;

    bool Holds(double value) const { return value >= low && value <= high; }
};

constexpr Range kIntegers = {-2147483648.0, 2147483647.0};
constexpr Range kFixedNumbers = {-32768.0, 32767.99999};
constexpr Range kSamples = {0, 65535};
constexpr Range kLevels = {-100, 100};
constexpr Range kResolutions = {12, 999999};

// Attributes whose provider takes less than its kind could hold.
constexpr struct {
    std::int32_t id;
    Range range;
} kRanges[] = {
    {QL_ATTR_OUTPUT_TYPE, {0, 4}},
    {QL_ATTR_MATRIX_MODE, {0, 5}},
    {QL_ATTR_THRESHOLD, kSamples},
    {QL_ATTR_THRESHOLD_DEFAULT, kSamples},
    {QL_ATTR_THRESHOLD_PRESET, {1, 5}},
    {QL_ATTR_EXPOSURE_PRESET, {1, 5}},
    {QL_ATTR_BRIGHTNESS, {-127, 128}},
    {QL_ATTR_CONTRAST, {-127, 128}},
    {QL_ATTR_HIGHLIGHT, kLevels},
    {QL_ATTR_SHADOW, kLevels},
    {QL_ATTR_MIDTONE, kLevels},
    {QL_ATTR_AUTO_WHITE, kLevels},
    {QL_ATTR_AUTO_BLACK, kLevels},
    {QL_ATTR_AUTO_MID, kLevels},
    {QL_ATTR_SATURATION, {0, 1.5}},
    {QL_ATTR_HUE_X, {-1, 1}},
    {QL_ATTR_HUE_Y, {-1, 1}},
    {QL_ATTR_SHARPEN_LEVEL, {0, 5}},
    {QL_ATTR_RES_OPTICAL, kResolutions},
    {QL_ATTR_RES_SCAN_X, kResolutions},
    {QL_ATTR_RES_SCAN_Y, kResolutions},
};

// Pointer attributes that take a matrix, with the count of its elements.
constexpr struct {
    std::int32_t id;
    std::size_t count;
} kMatrices[] = {
    {QL_ATTR_DEVICE_MATRIX, 9},
    {QL_ATTR_TMA_MATRIX, 9},
    {QL_ATTR_POST_MATRIX, 9},
    {QL_ATTR_DENSITY_MATRIX, 18},
};

Range RangeOf(const QLAttribInfo& attrib) {
    for (const auto& row : kRanges) {
        if (row.id == attrib.m_id)
            return row.range;
    }
    return attrib.m_kind == QLAttribKind::Fixed ? kFixedNumbers : kIntegers;
}

// 0 for a pointer that can't be written.
std::size_t MatrixElements(const QLAttribInfo& attrib) {
    for (const auto& row : kMatrices) {
        if (row.id == attrib.m_id)
            return row.count;
    }
    return 0;
}

std::string AllowedText(const QLAttribInfo& attrib) {
    switch (attrib.m_kind) {
        case QLAttribKind::Bool:
            return "true or false";
        case QLAttribKind::Integer:
        case QLAttribKind::Fixed: {
            const Range range = RangeOf(attrib);
            return ToText(range.low) + " to " + ToText(range.high);
        }
        case QLAttribKind::Rect:
            return "top,left,bottom,right";
        case QLAttribKind::Event:
            return "fire";
        case QLAttribKind::Pointer: {
            const std::size_t count = MatrixElements(attrib);
            return count == 0 ? "nothing" : std::to_string(count) + " numbers, commas between them";
        }
    }
    return "";
}

const QLAttribInfo* FindByNameOrNumber(const std::string& name) {
    const auto number = ParseInteger(name);
    if (!number)
        return FindAttrib(std::string_view(name));
    return kIntegers.Holds(static_cast<double>(*number))
               ? FindAttrib(static_cast<std::int32_t>(*number))
               : nullptr;
}

std::string ValueText(CQLAttribStore& board, const QLAttribInfo& attrib) {
    if (attrib.m_kind == QLAttribKind::Event)
        return "";
    // Where nobody answers, the copy of the word stays as it was.
    std::uint64_t copy = ~std::uint64_t{0};
    const std::uint64_t word = board.GetValue(attrib.m_id, &copy);
    if (copy != word)
        return "-";
    switch (attrib.m_kind) {
        case QLAttribKind::Bool:
            return word != 0 ? "true" : "false";
        case QLAttribKind::Integer:
            return std::to_string(WordInteger(word));
        case QLAttribKind::Fixed:
            return ToText(FromFixed(word));
        default:
            return word != 0 ? "set" : "none";
    }
}

}  // namespace

std::optional<CAttributeWrite> CAttributeWrite::Parse(std::string_view text, std::string* error) {
    const auto parts = SplitAssignment(text, error);
    if (!parts)
        return std::nullopt;
    const auto& [name, value] = *parts;
    CAttributeWrite write;
    write.m_attrib = FindByNameOrNumber(name);
    if (!write.m_attrib) {
        *error = "there is no attribute '" + name + "' (see --list-attributes)";
        return std::nullopt;
    }
    if (!write.TakeValue(value)) {
        *error = std::string(write.m_attrib->m_name) + " cannot be '" + value +
                 "' (allowed: " + AllowedText(*write.m_attrib) + ")";
        return std::nullopt;
    }
    return write;
}

bool CAttributeWrite::TakeValue(const std::string& value) {
    switch (m_attrib->m_kind) {
        case QLAttribKind::Bool: {
            const auto on = ParseSwitch(value);
            m_word = on.value_or(false);
            return on.has_value();
        }
        case QLAttribKind::Integer: {
            const auto number = ParseInteger(value);
            if (!number || !RangeOf(*m_attrib).Holds(static_cast<double>(*number)))
                return false;
            m_word = IntegerWord(static_cast<std::int32_t>(*number));
            return true;
        }
        case QLAttribKind::Fixed: {
            const auto number = ParseReal(value);
            if (!number || !RangeOf(*m_attrib).Holds(*number))
                return false;
            m_word = ToFixed(*number);
            return true;
        }
        case QLAttribKind::Rect:
            return TakeRect(value);
        case QLAttribKind::Pointer: {
            auto elements = ParseReals(value);
            if (!elements || elements->size() != MatrixElements(*m_attrib))
                return false;
            m_matrix = std::move(*elements);
            return true;
        }
        case QLAttribKind::Event:
            return EqualNoCase(value, "fire");
    }
    return false;
}

bool CAttributeWrite::TakeRect(const std::string& value) {
    const auto sides = ParseIntegers(value);
    if (!sides || sides->size() != 4 || !std::ranges::all_of(*sides, [](std::int64_t side) {
            return kIntegers.Holds(static_cast<double>(side));
        }))
        return false;
    const auto side = [&sides](std::size_t i) { return static_cast<std::int32_t>((*sides)[i]); };
    m_rect = {side(0), side(1), side(2), side(3)};
    return true;
}

void CAttributeWrite::Apply(CQLAttribStore& board) const {
    switch (m_attrib->m_kind) {
        case QLAttribKind::Event:
            board.Notify(m_attrib->m_id);
            break;
        // Providers copy what such a word points to.
        case QLAttribKind::Pointer:
            board.SetValue(m_attrib->m_id, PointerWord(m_matrix.data()));
            break;
        case QLAttribKind::Rect:
            board.SetValue(m_attrib->m_id, PointerWord(&m_rect));
            break;
        default:
            board.SetValue(m_attrib->m_id, m_word);
            break;
    }
}

void ListAttributes(CQLAttribStore& board, std::ostream& out) {
    out << std::left << std::setw(7) << "id" << std::setw(32) << "name" << std::setw(11) << "kind"
        << std::setw(10) << "value"
        << "allowed\n";
    for (const QLAttribInfo& attrib : AttribTable()) {
        out << std::setw(7) << attrib.m_id << std::setw(32) << attrib.m_name << std::setw(11)
            << AttribKindName(attrib.m_kind) << std::setw(10) << ValueText(board, attrib)
            << AllowedText(attrib) << '\n';
    }
}
