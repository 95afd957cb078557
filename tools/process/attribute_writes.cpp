#include "tools/process/attribute_writes.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

#include "engine/attrib_owners.h"
#include "tools/text_values.h"

namespace {

struct Range {
    double low;
    double high;

    bool Holds(double value) const { return value >= low && value <= high; }
};

constexpr Range kIntegers = {-2147483648.0, 2147483647.0};
constexpr Range kFixedNumbers = {-32768.0, 32767.99999};

// Who takes what is written: the provider, or one who hears of what a client brings.
const QLAttribRow* TakerOf(const QLAttribInfo& attrib) {
    const QLAttribRow* holder = FindHolder(attrib.m_id).m_row;
    return holder ? holder : FindTakerOfClients(attrib.m_id);
}

Range RangeOf(const QLAttribInfo& attrib) {
    const QLAttribRow* row = TakerOf(attrib);
    if (row && row->HasRange())
        return {row->m_low, row->m_high};
    return attrib.m_kind == QLAttribKind::Fixed ? kFixedNumbers : kIntegers;
}

// 0 for a pointer that can't be written.
std::size_t MatrixElements(const QLAttribInfo& attrib) {
    const QLAttribRow* row = TakerOf(attrib);
    return row ? static_cast<std::size_t>(row->m_elements) : 0;
}

// True when a write or a firing has an effect.
bool IsTaken(const QLAttribInfo& attrib) {
    if (attrib.m_kind == QLAttribKind::Event)
        return IsActedUpon(attrib.m_id);
    const QLAttribRow* row = TakerOf(attrib);
    return row && row->m_put &&
           (attrib.m_kind != QLAttribKind::Pointer || MatrixElements(attrib) > 0);
}

std::string AllowedText(const QLAttribInfo& attrib) {
    if (!IsTaken(attrib))
        return "";
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
        case QLAttribKind::Pointer:
            return std::to_string(MatrixElements(attrib)) + " numbers, commas between them";
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
    if (!IsTaken(*write.m_attrib)) {
        *error = "nothing in the engine takes " + std::string(write.m_attrib->m_name) +
                 " (see --list-attributes)";
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

std::uint64_t CAttributeWrite::Word() const {
    switch (m_attrib->m_kind) {
        case QLAttribKind::Pointer:
            return PointerWord(m_matrix.data());
        case QLAttribKind::Rect:
            return PointerWord(&m_rect);
        default:
            return m_word;
    }
}

void CAttributeWrite::Apply(CQLAttribStore& board) const {
    // Providers copy what a word points to.
    if (m_attrib->m_kind == QLAttribKind::Event)
        board.Notify(Id());
    else
        board.SetValue(Id(), Word());
}

bool CAttributeWrite::IsClients() const {
    return m_attrib->m_kind != QLAttribKind::Event && !FindHolder(Id()).m_row;
}

void CClientAttributes::Give(const CAttributeWrite& write) {
    m_given.insert_or_assign(write.Id(), write);
    // Who hears of it is told, at the first time and at each later one.
    RegisterProvider(write.Id());
}

std::uint64_t CClientAttributes::GetAttrib(std::int32_t id) {
    const auto given = m_given.find(id);
    return given == m_given.end() ? 0 : given->second.Word();
}

void ListAttributes(CQLAttribStore& board, std::ostream& out) {
    const auto line = [&out](const auto& id, std::string_view name, std::string_view kind,
                             std::string_view owner, std::string_view value,
                             std::string_view allowed) {
        out << std::left << std::setw(7) << id << std::setw(31) << name << std::setw(11) << kind
            << std::setw(22) << owner << std::setw(10) << value << allowed << '\n';
    };
    line("id", "name", "kind", "holder", "value", "allowed");
    for (const QLAttribInfo& attrib : AttribTable()) {
        const QLAttribOwner* owner = FindHolder(attrib.m_id).m_owner;
        line(attrib.m_id, attrib.m_name, AttribKindName(attrib.m_kind),
             owner ? owner->m_className : "-", ValueText(board, attrib), AllowedText(attrib));
    }
}
