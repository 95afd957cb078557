#include "tools/process/model_item.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iterator>
#include <optional>
#include <ostream>
#include <span>

#include "platform/wia.h"
#include "profile/attrib_records.h"
#include "tools/text_values.h"

namespace {

// A property of one number. Lists have their values in `list`; ranges have none.
struct LongRow {
    DWORD id;
    const char* name;
    LONG value;
    LONG low;
    LONG high;
    std::span<const LONG> list = {};
};

constexpr std::size_t kIdWidth = 7;
constexpr std::size_t kNameWidth = 28;
constexpr std::size_t kValueWidth = 8;

constexpr LONG kSwitch[] = {0, 1};
constexpr LONG kDataTypes[] = {WIA_DATA_THRESHOLD, WIA_DATA_DITHER, WIA_DATA_GRAYSCALE,
                               WIA_DATA_COLOR};
constexpr LONG kPaperPaths[] = {FEEDER, FLATBED, DUPLEX};

// clang-format off
constexpr LongRow kLongs[] = {
    {WIA_DPS_DOCUMENT_HANDLING_SELECT, "Document Handling Select", FLATBED, 0, 0, kPaperPaths},
    {WIA_IPA_DATATYPE,        "Data Type",       WIA_DATA_COLOR, 0, 0, kDataTypes},
    {WIA_IPS_BRIGHTNESS,      "Brightness",      0,    -1000, 1000},
    {WIA_IPS_CONTRAST,        "Contrast",        0,    -1000, 1000},
    {WIA_IPS_THRESHOLD,       "Threshold",       55,   0,     128},
    {QL_PROP_TMA_SELECT,      "TMA Select",      0,    0,     0, kSwitch},
    {QL_PROP_TMA_METHOD,      "TMA Method",      0,    0,     0, kSwitch},
    {QL_PROP_EXPOSURE_METHOD, "Exposure Method", 0,    0,     0, kSwitch},
    {QL_PROP_HIGHLIGHT_LEVEL, "Highlight Level", 0,    -100,  100},
    {QL_PROP_SHADOW_LEVEL,    "Shadow Level",    0,    -100,  100},
    {QL_PROP_MIDTONE_LEVEL,   "Midtone Level",   0,    -100,  100},
    {QL_PROP_GAMMA,           "Gamma",           2200, 0,     4000},
    {QL_PROP_HUE_X,           "Hue X",           0,    -100,  100},
    {QL_PROP_HUE_Y,           "Hue Y",           0,    -100,  100},
    {QL_PROP_SHARPEN_LEVEL,   "Sharpen Level",   2,    0,     5},
    {QL_PROP_SATURATION,      "Saturation",      1000, 0,     1500},
};
// clang-format on

// How the numbers of a record lie in its bytes.
enum class RecordKind { Matrix, Coefficients, Gray, Defaults };

// The numbers of the profile that is built into the driver, for scanners that bring none.
constexpr double kDefaults[] = {200, 200, 1, 0, 1, 1200, 980, 0, 1, 240, 180};
constexpr double kIdentity[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr double kNoDensity[18] = {};
// Three blacks, three gains, three gammas; behind those of negatives their density step.
constexpr double kCurves[] = {0, 0, 0, 1, 1, 1, 1, 1, 1};
constexpr double kNegativeCurves[] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 0.069};
// Weights of red, green, blue; black, gain, gamma.
constexpr double kGray[] = {0.30, 0.59, 0.11, 0, 1, 1};

// A binary record of numbers between `low` and `high`.
struct RecordRow {
    DWORD id;
    const char* name;  // as shown
    const char* content;
    RecordKind kind;
    double low;
    double high;
    std::span<const double> numbers;
};

using enum RecordKind;
constexpr char kPrivate[] = "Private Property";

// clang-format off
constexpr RecordRow kRecords[] = {
    {QL_PROP_DEFAULTS,       "Private Defaults", "defaults",     Defaults,     0,  2000, kDefaults},
    {QL_PROP_FLATBED_MATRIX, kPrivate, "flatbed matrix",         Matrix,       -5, 5,    kIdentity},
    {QL_PROP_SLIDE_MATRIX,   kPrivate, "slide matrix",           Matrix,       -5, 5,    kIdentity},
    {QL_PROP_FEEDER_MATRIX,  kPrivate, "feeder matrix",          Matrix,       -5, 5,    kIdentity},
    {QL_PROP_DENSITY_MATRIX, kPrivate, "negative matrix",        Matrix,       -5, 5,    kNoDensity},
    {QL_PROP_POST_MATRIX,    kPrivate, "post matrix",            Matrix,       -5, 5,    kIdentity},
    {QL_PROP_FLATBED_COEFFS, kPrivate, "flatbed coefficients",   Coefficients, 0,  1000, kCurves},
    {QL_PROP_FEEDER_COEFFS,  kPrivate, "feeder coefficients",    Coefficients, 0,  1000, kCurves},
    {QL_PROP_SLIDE_COEFFS,   kPrivate, "slide coefficients",     Coefficients, -5, 5,    kCurves},
    {QL_PROP_SLIDE_COEFFS_B, kPrivate, "second slide coefficients", Coefficients, -5, 5, kCurves},
    {QL_PROP_NEG_COEFFS,     kPrivate, "negative coefficients",  Coefficients, -5, 5,
     kNegativeCurves},
    {QL_PROP_GRAY,           kPrivate, "gray weights and curve", Gray,         -5, 5,    kGray},
};
// clang-format on

// Where each number of the defaults stands in its record, and in how many bytes.
#define NVQ_FIELD(field) \
    { offsetof(DefaultsRecord, field), sizeof(DefaultsRecord::field) }
constexpr struct {
    std::size_t offset;
    std::size_t size;
} kDefaultsFields[] = {
    NVQ_FIELD(m_defaultPhotoResolution),
    NVQ_FIELD(m_defaultXPAResolution),
    NVQ_FIELD(m_negativeCapable),
    NVQ_FIELD(m_XPAneedsAutoMirror),
    NVQ_FIELD(m_grayChannel),
    NVQ_FIELD(m_highlight),
    NVQ_FIELD(m_adfShadow),
    NVQ_FIELD(m_scannerGammaFixed),
    NVQ_FIELD(m_enhancedColorByDefault),
    NVQ_FIELD(m_lidColor),
    NVQ_FIELD(m_adfLidColor),
};
#undef NVQ_FIELD
static_assert(std::size(kDefaultsFields) == std::size(kDefaults));
constexpr std::size_t kEncodedFlag = 7;  // m_scannerGammaFixed

// The real numbers of the other records stand one behind the other, from here on.
constexpr std::size_t kFirstReal = 8;
static_assert(offsetof(CoeffRecord, m_offset) == kFirstReal);
static_assert(offsetof(GrayRecord, m_matrix) == kFirstReal);

void PutReals(std::span<const double> numbers, std::size_t offset, std::vector<BYTE>* bytes) {
    std::memcpy(bytes->data() + offset, numbers.data(), numbers.size_bytes());
}

// Numbers of bytes and words are whole, as a profile's are: cut off behind the point.
void PutDefaults(std::span<const double> numbers, std::vector<BYTE>* bytes) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto& [offset, size] = kDefaultsFields[i];
        if (size == 1) {
            (*bytes)[offset] = static_cast<BYTE>(std::min(numbers[i], 255.0));
        } else {
            const auto word = static_cast<std::uint32_t>(numbers[i]);
            std::memcpy(bytes->data() + offset, &word, sizeof(word));
        }
    }
}

// A record as the engine reads it, with its valid flag; what no number takes is 0.
std::vector<BYTE> RecordBytes(RecordKind kind, std::span<const double> numbers) {
    std::vector<BYTE> bytes(numbers.size_bytes());
    switch (kind) {
        case Matrix:
            PutReals(numbers, 0, &bytes);
            return bytes;
        case Coefficients:
            bytes.resize(sizeof(CoeffRecord));
            PutReals(numbers, kFirstReal, &bytes);
            break;
        case Gray:
            bytes.resize(sizeof(GrayRecord));
            PutReals(numbers, kFirstReal, &bytes);
            break;
        case Defaults:
            bytes.resize(sizeof(DefaultsRecord));
            PutDefaults(numbers, &bytes);
            break;
    }
    bytes[0] = 1;
    return bytes;
}

std::string AllowedText(const LongRow& row) {
    if (row.list.empty())
        return std::to_string(row.low) + " to " + std::to_string(row.high);
    std::string text;
    for (const LONG value : row.list)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

std::string AllowedText(const RecordRow& row) {
    return std::to_string(row.numbers.size()) + " numbers from " + ToText(row.low) + " to " +
           ToText(row.high) + ", commas between them";
}

bool Allows(const LongRow& row, std::int64_t value) {
    if (row.list.empty())
        return value >= row.low && value <= row.high;
    return std::ranges::find(row.list, value) != row.list.end();
}

bool Allows(const RecordRow& row, const std::vector<double>& numbers) {
    return numbers.size() == row.numbers.size() &&
           std::ranges::all_of(numbers, [&row](double n) { return n >= row.low && n <= row.high; });
}

template <typename Row>
std::string Refusal(const char* name, const std::string& value, const Row& row) {
    return std::string(name) + " cannot be '" + value + "' (allowed: " + AllowedText(row) + ")";
}

bool Names(const std::string& text, DWORD id, const char* name) {
    return EqualNoCase(text, name) || ParseInteger(text) == std::int64_t{id};
}

const LongRow* FindLong(const std::string& text) {
    const auto* row = std::ranges::find_if(
        kLongs, [&text](const LongRow& r) { return Names(text, r.id, r.name); });
    return row != std::end(kLongs) ? row : nullptr;
}

const RecordRow* FindRecord(const std::string& text, std::string* error) {
    const RecordRow* found = nullptr;
    for (const RecordRow& row : kRecords) {
        if (Names(text, row.id, row.content))
            return &row;
        if (!EqualNoCase(text, row.name))
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

CModelItem::CModelItem() {
    for (const LongRow& row : kLongs)
        m_longs[row.id] = row.value;
    for (const RecordRow& row : kRecords)
        m_records[row.id].assign(row.numbers.begin(), row.numbers.end());
}

bool CModelItem::Assign(std::string_view text, std::string* error) {
    const auto parts = SplitAssignment(text, error);
    if (!parts)
        return false;
    const auto& [name, value] = *parts;
    if (const LongRow* row = FindLong(name)) {
        const auto number = ParseInteger(value);
        if (!number || !Allows(*row, *number)) {
            *error = Refusal(row->name, value, *row);
            return false;
        }
        m_longs[row->id] = static_cast<LONG>(*number);
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
    m_records[row->id] = *numbers;
    return true;
}

void CModelItem::SetEncodedSamples() {
    m_records[QL_PROP_DEFAULTS][kEncodedFlag] = 1;
}

void CModelItem::List(std::ostream& out) const {
    const auto column = [&out](std::size_t width) -> std::ostream& {
        return out << std::left << std::setw(static_cast<int>(width));
    };
    column(kIdWidth) << "id";
    column(kNameWidth) << "name";
    column(kValueWidth) << "value"
                        << "allowed\n";
    for (const LongRow& row : kLongs) {
        column(kIdWidth) << row.id;
        column(kNameWidth) << row.name;
        column(kValueWidth) << m_longs.at(row.id) << AllowedText(row) << '\n';
    }
    for (const RecordRow& row : kRecords) {
        column(kIdWidth) << row.id;
        column(kNameWidth) << row.name;
        column(kValueWidth) << "record" << row.content << ": " << AllowedText(row) << '\n';
        column(kIdWidth) << "" << ToText(m_records.at(row.id)) << '\n';
    }
}

HRESULT CModelItem::ReadLong(DWORD id, LONG* out) {
    const auto found = m_longs.find(id);
    if (!out || found == m_longs.end())
        return E_INVALIDARG;
    *out = found->second;
    return S_OK;
}

HRESULT CModelItem::ReadBin(DWORD id, ULONG size, BYTE* buffer) {
    const auto* row = std::ranges::find(kRecords, id, &RecordRow::id);
    if (!buffer || row == std::end(kRecords))
        return E_INVALIDARG;
    const std::vector<BYTE> bytes = RecordBytes(row->kind, m_records.at(id));
    if (bytes.size() != size)
        return E_INVALIDARG;
    std::ranges::copy(bytes, buffer);
    return S_OK;
}

HRESULT CModelItem::WriteLong(DWORD id, LONG value) {
    const auto found = m_longs.find(id);
    if (found == m_longs.end())
        return E_INVALIDARG;
    found->second = value;
    return S_OK;
}
