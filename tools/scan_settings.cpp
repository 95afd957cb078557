#include "tools/scan_settings.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/item_properties.h"
#include "tools/text_values.h"

namespace {

constexpr double kMillimetersPerInch = 25.4;

struct CUnitRow {
    const char* name;
    CScanArea::EUnit unit;
};
constexpr CUnitRow kUnits[] = {
    {"mm", CScanArea::EUnit::Millimeters},
    {"in", CScanArea::EUnit::Inches},
    {"px", CScanArea::EUnit::Pixels},
};

struct CSourceRow {
    EScanSource source;
    const char* lack;
    LONG select;  // for "Document Handling Select"
    LONG adapter;
    LONG method;
};
constexpr CSourceRow kSources[] = {
    {EScanSource::Flatbed, "the scanner has no flatbed", FLATBED, 0, 0},
    {EScanSource::Feeder, "the scanner has no document feeder", FEEDER, 0, 0},
    {EScanSource::Duplex, "the scanner has no document feeder for both sides", DUPLEX, 0, 0},
    {EScanSource::Slide, "the scanner has no transparency adapter", FLATBED, 1, 0},
    {EScanSource::Negative, "the scanner has no transparency adapter", FLATBED, 1, 1},
};

constexpr LONG DataTypeOf(EScanMode mode) {
    return mode == EScanMode::LineArt ? WIA_DATA_THRESHOLD
           : mode == EScanMode::Gray  ? WIA_DATA_GRAYSCALE
                                      : WIA_DATA_COLOR;
}

// Writes step by step; after a failure nothing more is done.
class CSettingsWriter {
  public:
    CSettingsWriter(CScanDevice& device, CDeviceProperties& properties)
        : m_device(device), m_properties(properties) {}

    const ScanStatus& Status() const { return m_status; }

    void Source(EScanSource source);
    void Resolution(int dpi);
    void Area(const CScanArea& area);
    // To the item that holds images.
    void Image(const char* what, const std::vector<PropertyWrite>& writes) {
        Write(what, m_properties.Image(), writes);
    }
    void Named(const std::vector<CNamedWrite>& writes, bool isRoot);
    void Fail(HRESULT code, const std::string& text) { m_status = {code, text}; }

  private:
    void Write(const std::string& what, const CItemState& item,
               const std::vector<PropertyWrite>& writes);

    CScanDevice& m_device;
    CDeviceProperties& m_properties;
    ScanStatus m_status;
};

void CSettingsWriter::Write(const std::string& what, const CItemState& item,
                            const std::vector<PropertyWrite>& writes) {
    if (!m_status.Ok() || writes.empty())
        return;
    m_status = m_device.Write(item.m_item.fullName, writes);
    if (!m_status.Ok()) {
        m_status.text = what + ": " + m_status.text;
        return;
    }
    m_status = CDeviceProperties::Read(m_device, m_properties);
}

bool Takes(const ScanProperty* property, LONG value) {
    if (!property)
        return false;
    const ValidValues& valid = property->valid;
    return valid.kind == ValidKind::Flags  ? (valid.bits & value) == value
           : valid.kind == ValidKind::List ? std::find(valid.list.begin(), valid.list.end(),
                                                       PropertyValue(value)) != valid.list.end()
                                           : true;
}

void CSettingsWriter::Source(EScanSource source) {
    const auto* row = std::find_if(std::begin(kSources), std::end(kSources),
                                   [source](const CSourceRow& r) { return r.source == source; });
    if (row == std::end(kSources))
        return;
    const CItemState& root = m_properties.Root();
    const ScanProperty* select = CDeviceProperties::Find(root, WIA_DPS_DOCUMENT_HANDLING_SELECT);
    const ScanProperty* adapter = CDeviceProperties::Find(root, QL_PROP_TMA_SELECT);
    if (row->adapter != 0 ? !Takes(adapter, 1) : !Takes(select, row->select)) {
        // A plain flatbed needs no select.
        if (source != EScanSource::Flatbed || select)
            return Fail(E_INVALIDARG, row->lack);
    }
    std::vector<PropertyWrite> writes;
    if (row->adapter == 0 && select)
        writes.push_back({WIA_DPS_DOCUMENT_HANDLING_SELECT, row->select});
    if (adapter && CDeviceProperties::Number(root, QL_PROP_TMA_SELECT) != row->adapter)
        writes.push_back({QL_PROP_TMA_SELECT, row->adapter});
    Write("the source", root, writes);
    // The driver may find that it isn't there after all.
    if (m_status.Ok() && row->adapter != 0 &&
        CDeviceProperties::Number(m_properties.Root(), QL_PROP_TMA_SELECT) != 1)
        return Fail(E_INVALIDARG, "the transparency adapter isn't connected");
    if (m_status.Ok() && row->adapter != 0)
        Image("the source", {{QL_PROP_TMA_METHOD, row->method}});
}

void CSettingsWriter::Resolution(int dpi) {
    const ScanProperty* across = CDeviceProperties::Find(m_properties.Image(), WIA_IPS_XRES);
    if (m_status.Ok() && across && !Takes(across, dpi)) {
        std::string text;
        for (const PropertyValue& value : across->valid.list)
            text += (text.empty() ? "" : ", ") + std::to_string(std::get<LONG>(value));
        return Fail(E_INVALIDARG, "the scanner can't do " + std::to_string(dpi) +
                                      " dpi from this source, but " + text);
    }
    Image("the resolution", {{WIA_IPS_XRES, dpi}, {WIA_IPS_YRES, dpi}});
}

void CSettingsWriter::Area(const CScanArea& area) {
    if (!m_status.Ok())
        return;
    const CItemState& image = m_properties.Image();
    const LONG xDpi = CDeviceProperties::Number(image, WIA_IPS_XRES).value_or(0);
    const LONG yDpi = CDeviceProperties::Number(image, WIA_IPS_YRES).value_or(0);
    const LONG left = area.Pixels(area.m_left, xDpi);
    const LONG top = area.Pixels(area.m_top, yDpi);
    const LONG width = area.Pixels(area.m_width, xDpi);
    const LONG height = area.Pixels(area.m_height, yDpi);
    const ScanProperty* across = CDeviceProperties::Find(image, WIA_IPS_XPOS);
    const ScanProperty* along = CDeviceProperties::Find(image, WIA_IPS_YPOS);
    if (width < 1 || height < 1)
        return Fail(E_INVALIDARG, "the area is smaller than a pixel");
    if (across && along &&
        (std::int64_t{left} + width > across->valid.max ||
         std::int64_t{top} + height > along->valid.max))
        return Fail(E_INVALIDARG, "the area leaves the scanner's glass, which has " +
                                      std::to_string(across->valid.max) + " x " +
                                      std::to_string(along->valid.max) + " pixels at " +
                                      std::to_string(xDpi) + " dpi");
    // Larger extents are valid only behind the positions that leave room for them.
    Image("the area", {{WIA_IPS_XPOS, left}, {WIA_IPS_YPOS, top}});
    Image("the area", {{WIA_IPS_XEXTENT, width}, {WIA_IPS_YEXTENT, height}});
}

void CSettingsWriter::Named(const std::vector<CNamedWrite>& writes, bool isRoot) {
    for (const CItemWrite& write : GroupByItem(writes, m_properties)) {
        const auto& items = m_properties.Items();
        const auto item = std::find_if(items.begin(), items.end(), [&](const CItemState& state) {
            return state.m_item.fullName == write.m_item;
        });
        if (item != items.end() && (item == items.begin()) == isRoot)
            Write(write.m_words, *item, write.m_writes);
    }
}

std::vector<PropertyWrite> ToneWrites(const CScanSettings& settings) {
    std::vector<PropertyWrite> writes;
    if (settings.m_brightness)
        writes.push_back({WIA_IPS_BRIGHTNESS, *settings.m_brightness});
    if (settings.m_contrast)
        writes.push_back({WIA_IPS_CONTRAST, *settings.m_contrast});
    if (settings.m_threshold)
        writes.push_back({WIA_IPS_THRESHOLD, *settings.m_threshold});
    return writes;
}

}  // namespace

std::optional<CScanArea> CScanArea::Parse(const std::string& text, std::string* error) {
    const auto fail = [&] {
        *error = "--area '" + text + "': is not of the form X,Y,W,H followed by mm, in or px";
        return std::nullopt;
    };
    for (const CUnitRow& row : kUnits) {
        const std::string unit = row.name;
        if (text.size() <= unit.size() ||
            !EqualNoCase(text.substr(text.size() - unit.size()), unit))
            continue;
        const auto numbers = ParseReals(text.substr(0, text.size() - unit.size()));
        constexpr double kMost = 1e6;
        if (!numbers || numbers->size() != 4 ||
            std::any_of(numbers->begin(), numbers->end(),
                        [](double n) { return n < 0 || n > kMost; }))
            return fail();
        return CScanArea{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3], row.unit};
    }
    return fail();
}

LONG CScanArea::Pixels(double length, LONG dpi) const {
    const double pixels = m_unit == EUnit::Pixels   ? length
                          : m_unit == EUnit::Inches ? length * dpi
                                                    : length * dpi / kMillimetersPerInch;
    constexpr double kMost = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(std::lround(std::clamp(pixels, 0.0, kMost)));
}

CSettingsResult ApplySettings(CScanDevice& device, const CScanSettings& settings,
                              CDeviceProperties& properties) {
    ScanStatus status = CDeviceProperties::Read(device, properties);
    if (!status.Ok())
        return {status};
    std::vector<CNamedWrite> named;
    for (const std::string& set : settings.m_sets) {
        std::string error;
        auto write = properties.Parse(set, &error);
        if (!write)
            return {{E_INVALIDARG, error}, true};
        named.push_back(std::move(*write));
    }
    CSettingsWriter writer(device, properties);
    writer.Source(settings.m_source);
    writer.Named(named, true);
    if (settings.m_resolution)
        writer.Resolution(*settings.m_resolution);
    if (settings.m_mode != EScanMode::Unchanged)
        writer.Image("the mode", {{WIA_IPA_DATATYPE, DataTypeOf(settings.m_mode)}});
    if (settings.m_area)
        writer.Area(*settings.m_area);
    writer.Image("brightness, contrast or threshold", ToneWrites(settings));
    writer.Named(named, false);
    if (settings.m_medium == EMedium::File)
        writer.Image("the medium", {{WIA_IPA_TYMED, TYMED_FILE}});
    return {writer.Status()};
}
