#include "tools/process/model_item.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <ostream>
#include <span>

#include "frontend/item_tables.h"
#include "platform/text.h"
#include "profile/attrib_layout.h"
#include "profile/scan_attrib.h"
#include "tools/profile/file.h"
#include "tools/text_values.h"

namespace {

constexpr std::size_t kIdWidth = 7;
constexpr std::size_t kNameWidth = 28;
constexpr std::size_t kValueWidth = 8;

// The numbers that the engine reads, in the order in which they are shown. An item of the driver
// has more: its window and format are the stream's here, which is read from a file.
constexpr PROPID kEngineReads[] = {
    WIA_DPS_DOCUMENT_HANDLING_SELECT,
    WIA_IPA_DATATYPE,
    WIA_IPS_BRIGHTNESS,
    WIA_IPS_CONTRAST,
    WIA_IPS_THRESHOLD,
    QL_PROP_TMA_SELECT,
    QL_PROP_TMA_METHOD,
    QL_PROP_EXPOSURE_METHOD,
    QL_PROP_HIGHLIGHT_LEVEL,
    QL_PROP_SHADOW_LEVEL,
    QL_PROP_MIDTONE_LEVEL,
    QL_PROP_GAMMA,
    QL_PROP_HUE_X,
    QL_PROP_HUE_Y,
    QL_PROP_SHARPEN_LEVEL,
    QL_PROP_SATURATION,
    QL_PROP_ROTATION,
    QL_PROP_MIRROR,
    QL_PROP_SMOOTHING,
    QL_PROP_STREAKS,
    QL_PROP_STREAK_DETAIL,
    QL_PROP_PALETTE,
};

// ---- Numbers

// What a device tells of itself: this one has every source, and the flatbed is chosen.
LONG NumberIn(const RowNumber& number) {
    LONG told[kRootNumbers] = {};
    told[kSelect] = FLATBED;
    told[kSelectBits] = FEEDER | FLATBED | DUPLEX;
    return number.In(told);
}

std::string NameOf(const PropertyRow& row) {
    return TextFromWide(row.name);
}

// Of whichever of the two items has it: to the engine they are one.
const PropertyRow* FindRow(PROPID id) {
    for (const auto rows : {RootRows(), TopRows(), UserRows()}) {
        const auto row = std::ranges::find(rows, id, &PropertyRow::id);
        if (row != rows.end())
            return &*row;
    }
    return nullptr;
}

// The values to choose from: those of a list, or of flags, one of which is set. A range has none.
std::vector<LONG> ChoicesOf(const PropertyRow& row) {
    if (row.kind == PropertyRow::Kind::Flag) {
        std::vector<LONG> bits;
        for (LONG bit = 1; bit <= NumberIn(row.low); bit <<= 1) {
            if (NumberIn(row.low) & bit)
                bits.push_back(bit);
        }
        return bits;
    }
    const auto list = row.list.In({});
    return {list.begin(), list.end()};
}

std::string AllowedText(const PropertyRow& row) {
    const std::vector<LONG> choices = ChoicesOf(row);
    if (choices.empty())
        return std::to_string(NumberIn(row.low)) + " to " + std::to_string(NumberIn(row.high));
    std::string text;
    for (const LONG value : choices)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

bool Allows(const PropertyRow& row, std::int64_t value) {
    const std::vector<LONG> choices = ChoicesOf(row);
    if (choices.empty())
        return value >= NumberIn(row.low) && value <= NumberIn(row.high);
    return std::ranges::find(choices, value) != choices.end();
}

// ---- Records
//
// People write a record as the numbers that a profile has for it, in the profile's order and
// ranges. It is kept as the bytes that the driver would hand over, so that the engine can't tell
// the two apart.

std::string AllowedText(const RecordRow& row) {
    const ScanTableFacts& facts = FactsOf(row.table);
    return std::to_string(facts.m_count) + " numbers from " + ToText(facts.m_low) + " to " +
           ToText(facts.m_high) + ", commas between them";
}

bool Allows(const RecordRow& row, const std::vector<double>& numbers) {
    const ScanTableFacts& facts = FactsOf(row.table);
    return numbers.size() == facts.m_count && std::ranges::all_of(numbers, [&facts](double n) {
               return n >= facts.m_low && n <= facts.m_high;
           });
}

// ---- By name

template <typename Row>
std::string Refusal(const std::string& name, const std::string& value, const Row& row) {
    return name + " cannot be '" + value + "' (allowed: " + AllowedText(row) + ")";
}

bool Names(const std::string& text, PROPID id, const std::string& name) {
    return EqualNoCase(text, name) || ParseInteger(text) == std::int64_t{id};
}

const PropertyRow* FindNumber(const std::string& text) {
    for (const PROPID id : kEngineReads) {
        const PropertyRow* row = FindRow(id);
        if (row && Names(text, row->id, NameOf(*row)))
            return row;
    }
    return nullptr;
}

// By id, by content, or by the shown name where only one has it. Null with a line in `error`.
const RecordRow* FindRecord(const std::string& text, std::string* error) {
    const RecordRow* found = nullptr;
    for (const RecordRow& row : RecordRows()) {
        if (Names(text, row.id, row.content))
            return &row;
        if (!EqualNoCase(text, TextFromWide(row.name)))
            continue;
        if (found) {
            *error = "several properties are shown as '" + text +
                     "'; one of them goes by its id (see --list-properties)";
            return nullptr;
        }
        found = &row;
    }
    if (!found)
        *error = "there is no property '" + text + "' (see --list-properties)";
    return found;
}

}  // namespace

// The tables of the profile that the driver carries: what it uses for a scanner of a model that
// nobody has a profile for.
CModelItem::CModelItem() {
    for (const PROPID id : kEngineReads) {
        if (const PropertyRow* row = FindRow(id))
            m_longs[id] = NumberIn(row->value);
    }
    const CScannerProfile profile(ReadBuiltinProfile().m_text);
    const CScanAttrib attrib(profile);
    for (const RecordRow& row : RecordRows()) {
        std::vector<BYTE>& bytes = m_records[row.id];
        bytes.resize(row.bytes);
        row.fromAttrib(attrib, bytes.data());
    }
}

// Numbers first: no record goes by the name of one.
bool CModelItem::Assign(std::string_view text, std::string* error) {
    const auto parts = SplitAssignment(text, error);
    if (!parts)
        return false;
    const auto& [name, value] = *parts;
    if (const PropertyRow* row = FindNumber(name)) {
        const auto number = ParseInteger(value);
        if (!number || !Allows(*row, *number)) {
            *error = Refusal(NameOf(*row), value, *row);
            return false;
        }
        m_longs[row->id] = static_cast<LONG>(*number);
        m_assigned.emplace_back(row->id, m_longs[row->id]);
        return true;
    }
    const RecordRow* row = FindRecord(name, error);
    if (!row)
        return false;
    const auto numbers = ParseReals(value);
    if (!numbers || !Allows(*row, *numbers)) {
        *error = Refusal(row->content, value, *row);
        return false;
    }
    PutNumbers(row->table, numbers->data(), m_records[row->id].data());
    return true;
}

void CModelItem::KeepOnly(std::span<const PROPID> ids) {
    std::erase_if(m_longs, [ids](const auto& number) {
        return std::ranges::find(ids, number.first) == ids.end();
    });
    m_records.clear();
}

void CModelItem::SetEncodedSamples() {
    m_records[QL_PROP_DEFAULTS][offsetof(DefaultsRecord, m_scannerGammaFixed)] = 1;
}

void CModelItem::List(std::ostream& out) const {
    const auto column = [&out](std::size_t width) -> std::ostream& {
        return out << std::left << std::setw(static_cast<int>(width));
    };
    column(kIdWidth) << "id";
    column(kNameWidth) << "name";
    column(kValueWidth) << "value"
                        << "allowed\n";
    for (const auto& id : kEngineReads) {
        const PropertyRow* row = FindRow(id);
        if (!row)
            continue;
        column(kIdWidth) << id;
        column(kNameWidth) << NameOf(*row);
        column(kValueWidth) << m_longs.at(id) << AllowedText(*row) << '\n';
    }
    for (const RecordRow& row : RecordRows()) {
        column(kIdWidth) << row.id;
        column(kNameWidth) << TextFromWide(row.name);
        column(kValueWidth) << "record" << row.content << ": " << AllowedText(row) << '\n';
        column(kIdWidth) << "" << ToText(TakeNumbers(row.table, m_records.at(row.id).data()))
                         << '\n';
    }
}

HRESULT CModelItem::ReadLong(DWORD id, LONG* out) {
    const auto found = m_longs.find(id);
    if (!out || found == m_longs.end())
        return E_INVALIDARG;
    *out = found->second;
    return S_OK;
}

// Sizes are agreed on by id; another one is a fault of the caller's.
HRESULT CModelItem::ReadBin(DWORD id, ULONG size, BYTE* buffer) {
    const auto found = m_records.find(id);
    if (!buffer || found == m_records.end() || found->second.size() != size)
        return E_INVALIDARG;
    std::ranges::copy(found->second, buffer);
    return S_OK;
}

HRESULT CModelItem::WriteLong(DWORD id, LONG value) {
    const auto found = m_longs.find(id);
    if (found == m_longs.end())
        return E_INVALIDARG;
    found->second = value;
    return S_OK;
}
