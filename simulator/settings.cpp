#include "simulator/settings.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "simulator/operations.h"
#include "simulator/setting_rows.h"

namespace {

constexpr std::size_t kMaxModelChars = kOstrelModelChars - 1;
// Of a feeder's list: a misspelt number mustn't make a list of millions.
constexpr std::size_t kMaxPages = 1000;

struct CFacetName {
    const char* name;
    EFacet facet;
};
// As the interfaces are called, without their "IOstrel".
constexpr CFacetName kFacetNames[] = {
    {"ADF", kFacetAdf},
    {"ADF2", kFacetAdf2},
    {"ADF3", kFacetAdf3},
    {"XPA", kFacetXpa},
    {"XPALamp", kFacetXpaLamp},
    {"XPAMedia", kFacetXpaMedia},
    {"Nvram", kFacetNvram},
    {"Compression", kFacetCompression},
    {"ExtendedLamp", kFacetExtendedLamp},
    {"Panel", kFacetPanel},
    {"Properties", kFacetProperties},
    {"ColorMatrix", kFacetColorMatrix},
    {"JobGate", kFacetJobGate},
    {"Profile", kFacetProfile},
    {"Resolutions", kFacetResolutions},
    {"Buttons", kFacetButtons},
    {"InstantLamp", kFacetInstantLamp},
    {"PendingTask", kFacetPendingTask},
};

// ---- Values

// Decimal, or hexadecimal behind "0x".
// All of the text must be the number: "3x" is a mistake, not a 3.
std::optional<std::uint32_t> ToNumber(std::string_view text) {
    const bool hex = text.starts_with("0x");
    if (hex)
        text.remove_prefix(2);
    std::uint32_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// The parts between any of the signs; none is empty.
std::vector<std::string_view> Split(std::string_view text, std::string_view signs) {
    std::vector<std::string_view> parts;
    for (std::size_t end = 0; !text.empty(); text.remove_prefix(end)) {
        const std::size_t begin = text.find_first_not_of(signs);
        if (begin == std::string_view::npos)
            break;
        text.remove_prefix(begin);
        end = std::min(text.find_first_of(signs), text.size());
        parts.push_back(text.substr(0, end));
    }
    return parts;
}

// Reads one entry into its place, or says what is wrong with it.
class CValueReader {
  public:
    CValueReader(const CIniFile& ini, const CIniEntry& entry, CNumbers& numbers)
        : m_ini(ini), m_entry(entry), m_numbers(numbers) {}

    void Read(const CSettingRow& row) const;
    std::uint32_t Number(std::string_view text, std::uint32_t least, std::uint32_t most) const;
    [[noreturn]] void Fail(const std::string& what) const {
        m_ini.Fail(m_entry.m_line, m_entry.m_key + ' ' + what);
    }

  private:
    template <class T>
    void Store(const CSettingRow& row, T value, std::size_t index = 0) const {
        std::memcpy(reinterpret_cast<std::uint8_t*>(&m_numbers) + row.offset + index * sizeof(T),
                    &value, sizeof(T));
    }
    void ReadDepths(const CSettingRow& row) const;
    void ReadBytes(const CSettingRow& row) const;
    void ReadRgb(const CSettingRow& row) const;
    void ReadDpi(const CSettingRow& row) const;
    void ReadChoice(const CSettingRow& row) const;

    const CIniFile& m_ini;
    const CIniEntry& m_entry;
    CNumbers& m_numbers;
};

std::uint32_t CValueReader::Number(std::string_view text, std::uint32_t least,
                                   std::uint32_t most) const {
    const auto value = ToNumber(text);
    if (!value || *value < least || *value > most)
        Fail("is \"" + std::string(text) + "\", and must be a number from " +
             std::to_string(least) + " to " + std::to_string(most));
    return *value;
}

// The kinds that are more than one number have readers of their own.
void CValueReader::Read(const CSettingRow& row) const {
    switch (row.kind) {
        case ESetting::Depths:
            return ReadDepths(row);
        case ESetting::ByteList:
            return ReadBytes(row);
        case ESetting::Rgb:
            return ReadRgb(row);
        case ESetting::Dpi:
            return ReadDpi(row);
        case ESetting::Choice:
            return ReadChoice(row);
        default:
            break;
    }
    const std::uint32_t value = Number(m_entry.m_value, row.least, LargestOf(row));
    if (row.kind == ESetting::Byte)
        Store(row, static_cast<BYTE>(value));
    else if (row.kind == ESetting::Word)
        Store(row, static_cast<WORD>(value));
    else
        Store(row, value);
}

// 8 and 16 bits are what the simulator delivers beside single bits.
void CValueReader::ReadDepths(const CSettingRow& row) const {
    BYTE depths[kOstrelDepths] = {};
    std::size_t count = 0;
    for (const std::string_view part : Split(m_entry.m_value, " ,")) {
        const std::uint32_t depth = Number(part, 8, 16);
        if ((depth != 8 && depth != 16) || count == 2 || (count > 0 && depth <= depths[count - 1]))
            Fail("must be 8, 16, or both in this order");
        depths[count++] = static_cast<BYTE>(depth);
    }
    for (std::size_t i = 0; i < kOstrelDepths; ++i)
        Store(row, depths[i], i);
}

// Fewer values than there is room for leave the rest at its default.
void CValueReader::ReadBytes(const CSettingRow& row) const {
    std::size_t index = 0;
    for (const std::string_view part : Split(m_entry.m_value, " ,")) {
        if (index == row.most)
            Fail("has more than " + std::to_string(row.most) + " values");
        Store(row, static_cast<BYTE>(Number(part, 0, 255)), index++);
    }
}

void CValueReader::ReadRgb(const CSettingRow& row) const {
    const auto parts = Split(m_entry.m_value, " ,");
    if (parts.size() != 3)
        Fail("must be three numbers: red, green, blue");
    for (std::size_t i = 0; i < parts.size(); ++i)
        Store(row, static_cast<BYTE>(Number(parts[i], 0, 255)), i);
}

// One number counts for both directions.
void CValueReader::ReadDpi(const CSettingRow& row) const {
    const auto parts = Split(m_entry.m_value, " x");
    if (parts.empty() || parts.size() > 2)
        Fail("must be one resolution, or two as in \"300x600\"");
    Store(row, Number(parts.front(), row.least, row.most), 0);
    Store(row, Number(parts.back(), row.least, row.most), 1);
}

// Stored as the place of the name, counted from the row's least.
void CValueReader::ReadChoice(const CSettingRow& row) const {
    const auto names = Split(row.choices, " ");
    const auto found = std::find(names.begin(), names.end(), m_entry.m_value);
    if (found == names.end())
        Fail("is \"" + m_entry.m_value + "\", and must be one of: " + row.choices);
    Store(row, row.least + static_cast<std::uint32_t>(found - names.begin()));
}

// What a file leaves out: read by the same reader as what it has.
CNumbers DefaultNumbers() {
    CNumbers numbers = {};
    const CIniFile table("defaults", {});
    for (const CSettingRow& row : SettingRows()) {
        if (row.initial)
            CValueReader(table, {row.section, row.key, row.initial}, numbers).Read(row);
    }
    return numbers;
}

// ---- Settings that are no numbers. Each reader says whether the entry was its own.

// A path in a settings file is meant from where the file lies.
std::string PathFrom(const std::string& folder, const std::string& value) {
    return value.empty() || value.front() == '/' || value == kNoPicture ? value
                                                                        : folder + '/' + value;
}

bool ReadPath(const CIniEntry& entry, const std::string& folder, CSettings& settings) {
    const struct {
        const char* section;
        const char* key;
        std::string CSettings::*path;
    } kPaths[] = {
        {"flatbed", "picture", &CSettings::m_flatbedPicture},
        {"slide", "picture", &CSettings::m_slidePicture},
        {"negative", "picture", &CSettings::m_negativePicture},
        {"profile", "file", &CSettings::m_profile},
    };
    for (const auto& row : kPaths) {
        if (entry.m_section == row.section && entry.m_key == row.key) {
            settings.*row.path = PathFrom(folder, entry.m_value);
            return true;
        }
    }
    if (entry.m_section != "properties" || entry.m_key != "firmware")
        return false;
    settings.m_firmware = entry.m_value;
    return true;
}

// "page2=front.png", "page2.back=back.png".
bool ReadPage(const CValueReader& reader, const CIniEntry& entry, const std::string& folder,
              CSettings& settings) {
    constexpr std::string_view kPage = "page";
    constexpr std::string_view kBack = ".back";
    std::string_view key = entry.m_key;
    if (entry.m_section != "feeder" || !key.starts_with(kPage))
        return false;
    key.remove_prefix(kPage.size());
    const bool back = key.ends_with(kBack);
    if (back)
        key.remove_suffix(kBack.size());
    const std::size_t number = reader.Number(key, 1, kMaxPages);
    settings.m_pages.resize(std::max(settings.m_pages.size(), number));
    CSheet& sheet = settings.m_pages[number - 1];
    (back ? sheet.m_back : sheet.m_front) = PathFrom(folder, entry.m_value);
    return true;
}

// "[media.1]" has width, height and type.
bool ReadMedia(const CValueReader& reader, const CIniEntry& entry, CSettings& settings) {
    constexpr std::string_view kMedia = "media.";
    std::string_view section = entry.m_section;
    if (!section.starts_with(kMedia))
        return false;
    section.remove_prefix(kMedia.size());
    const std::size_t number = reader.Number(section, 1, 16);
    settings.m_media.resize(std::max(settings.m_media.size(), number));
    OstrelMedia& media = settings.m_media[number - 1];
    if (entry.m_key == "width")
        media.width = reader.Number(entry.m_value, 1, 12000);
    else if (entry.m_key == "height")
        media.height = reader.Number(entry.m_value, 1, 12000);
    else if (entry.m_key == "type")
        media.type = static_cast<WORD>(reader.Number(entry.m_value, 0, 0xFFFF));
    else
        return false;
    return true;
}

// "flatbed=150x150 4800x4800/4": across, along, and the scale byte.
bool ReadResolutions(const CValueReader& reader, const CIniEntry& entry, CSettings& settings) {
    const std::string_view kSourceNames[kSources] = {"flatbed", "feeder", "adapter"};
    const auto source = std::find(std::begin(kSourceNames), std::end(kSourceNames), entry.m_key);
    if (entry.m_section != "resolutions" || source == std::end(kSourceNames))
        return false;
    OstrelResolutionTable table = {};
    for (const std::string_view part : Split(entry.m_value, " ,")) {
        const auto numbers = Split(part, "x/");
        if (numbers.size() < 2 || numbers.size() > 3 || table.count == kOstrelMaxResolutions)
            reader.Fail("must be at most 86 pairs as \"600x600\" or \"4800x4800/4\"");
        OstrelResolution& resolution = table.entries[table.count++];
        resolution.x = static_cast<WORD>(reader.Number(numbers[0], 1, 9600));
        resolution.y = static_cast<WORD>(reader.Number(numbers[1], 1, 9600));
        resolution.scale =
            static_cast<BYTE>(numbers.size() > 2 ? reader.Number(numbers[2], 2, 4) : 0);
    }
    settings.m_resolutions[static_cast<std::size_t>(source - std::begin(kSourceNames))] = table;
    return true;
}

// "StartScan=2:12, 5+:100": the second call fails with code 12, and from the fifth on with 100.
bool ReadFault(const CValueReader& reader, const CIniEntry& entry, CSettings& settings) {
    if (entry.m_section != "faults")
        return false;
    EOperation operation = EOperation::OpenDevice;
    if (!FindOperation(entry.m_key, &operation))
        reader.Fail("is no operation that can be called");
    CFaultPlan plan{operation, {}};
    for (const std::string_view part : Split(entry.m_value, " ,")) {
        const auto numbers = Split(part, ":");
        if (numbers.size() != 2)
            reader.Fail("must be pairs of call and code, as in \"2:12\" or \"2+:12\"");
        std::string_view call = numbers[0];
        const bool onwards = call.ends_with('+');
        if (onwards)
            call.remove_suffix(1);
        plan.m_faults.push_back(
            {reader.Number(call, 1, 0xFFFFFFFFu), onwards, reader.Number(numbers[1], 1, 0xFFFF)});
    }
    settings.m_faults.push_back(std::move(plan));
    return true;
}

// A key that nobody knows is an error: a misspelt line that was passed over would be looked for
// elsewhere.
void ApplyEntry(const CIniFile& ini, const CIniEntry& entry, const std::string& folder,
                CSettings& settings) {
    const CValueReader reader(ini, entry, settings.m_numbers);
    for (const CSettingRow& row : SettingRows()) {
        if (entry.m_section == row.section && entry.m_key == row.key)
            return reader.Read(row);
    }
    if (ReadPath(entry, folder, settings) || ReadPage(reader, entry, folder, settings) ||
        ReadMedia(reader, entry, settings) || ReadResolutions(reader, entry, settings) ||
        ReadFault(reader, entry, settings))
        return;
    ini.Fail(entry.m_line, "[" + entry.m_section + "] knows no \"" + entry.m_key + '"');
}

// ---- What must fit together

// Records that the driver divides by or builds lists from must hold something.
void CheckLimits(const CIniFile& ini, const char* what, WORD least, WORD mostX, WORD mostY) {
    if (least == 0 || mostX < least || mostY < least)
        ini.Fail(0, std::string("the resolutions of [") + what +
                        "] need minResolution, maxXResolution and maxYResolution, the first the "
                        "smallest");
}

// After each file, so that a device's own settings can't break its model.
void CheckTogether(const CIniFile& ini, const CSettings& settings) {
    const CNumbers& n = settings.m_numbers;
    const auto& device = n.m_device;
    CheckLimits(ini, "device", device.minResolution, device.maxXResolution, device.maxYResolution);
    if (device.bedWidth == 0 || device.bedHeight == 0 || device.colorDepths[0] == 0)
        ini.Fail(0, "[device] needs bedWidth, bedHeight and colorDepths");
    if (device.tonemapLength == 0 || device.tonemapMaxValue == 0 || device.tonemapEntrySize == 0 ||
        (device.tonemapEntrySize == 1 && device.tonemapMaxValue > 255))
        ini.Fail(1,
                 "[device] needs tonemapLength, tonemapMaxValue and tonemapEntrySize, and the "
                 "largest value must fit the entry");
    if (settings.Has(kFacetAdf2)) {
        CheckLimits(ini, "adf2", n.m_adf2.minResolution, n.m_adf2.maxXResolution,
                    n.m_adf2.maxYResolution);
        if (n.m_adf2.simplexWidth == 0 || n.m_adf2.simplexHeight == 0 ||
            n.m_adf2.colorDepths[0] == 0)
            ini.Fail(0, "[adf2] needs simplexWidth, simplexHeight and colorDepths");
    }
    if (settings.Has(kFacetXpa)) {
        CheckLimits(ini, "xpa", n.m_xpa.minResolution, n.m_xpa.maxXResolution,
                    n.m_xpa.maxYResolution);
        if (n.m_xpa.xpaWidth == 0 || n.m_xpa.xpaHeight == 0 || n.m_xpa.depths[0] == 0)
            ini.Fail(0, "[xpa] needs xpaWidth, xpaHeight and depths");
    }
    if (device.wPaperPath == OSTREL_PAPER_PATH_FEEDER_ONLY && !settings.Has(kFacetAdf2))
        ini.Fail(0, "a device that has only the feeder needs the facet ADF2");
    for (const OstrelMedia& media : settings.m_media) {
        if (media.width == 0 || media.height == 0)
            ini.Fail(0, "each [media] needs width and height, and no number may be left out");
    }
}

// It becomes part of a path and fills sixteen bytes of the device record with its zero.
bool IsModelName(std::string_view name) {
    constexpr std::string_view kChars =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return !name.empty() && name.size() <= kMaxModelChars &&
           name.find_first_not_of(kChars) == std::string_view::npos;
}

}  // namespace

std::uint32_t FacetByName(std::string_view name) {
    for (const CFacetName& row : kFacetNames) {
        if (name == row.name)
            return row.facet;
    }
    return 0;
}

// Works on the text alone: pictures and profiles are only looked for when they are needed.
CSettings ReadModel(const CIniFile& ini, const std::string& folder) {
    CSettings settings;
    settings.m_numbers = DefaultNumbers();
    for (const CIniEntry& entry : ini.Entries()) {
        if (entry.m_section != "model") {
            ApplyEntry(ini, entry, folder, settings);
        } else if (entry.m_key == "name") {
            if (!IsModelName(entry.m_value))
                ini.Fail(entry.m_line, "a model's name has 1 to 15 letters, digits, '-' and '_'");
            settings.m_model = entry.m_value;
        } else if (entry.m_key == "facets") {
            for (const std::string_view name : Split(entry.m_value, " ,")) {
                const std::uint32_t facet = FacetByName(name);
                if (facet == 0)
                    ini.Fail(entry.m_line, "there is no facet \"" + std::string(name) + '"');
                settings.m_facets |= facet;
            }
        } else {
            ini.Fail(entry.m_line, "[model] knows no \"" + entry.m_key + '"');
        }
    }
    if (settings.m_model.empty())
        ini.Fail(0, "[model] needs a name");
    settings.m_model.copy(settings.m_numbers.m_device.model, kMaxModelChars);
    CheckTogether(ini, settings);
    return settings;
}

void ApplyDeviceSettings(const CIniFile& ini, const std::string& folder, CSettings& settings) {
    bool pagesReplaced = false;
    for (const CIniEntry& entry : ini.Entries()) {
        if (entry.m_section == "simulator" && entry.m_key == "model")
            continue;
        // Pages of the model's own don't mix with the device's.
        if (!pagesReplaced && entry.m_section == "feeder" && entry.m_key.starts_with("page")) {
            settings.m_pages.clear();
            pagesReplaced = true;
        }
        ApplyEntry(ini, entry, folder, settings);
    }
    CheckTogether(ini, settings);
}
