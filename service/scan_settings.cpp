#include "service/scan_settings.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "service/page_count.h"

namespace {

constexpr double kMillimetersPerInch = 25.4;

struct SourceRow {
    ScanSource source;
    const char* lack;  // told when the device hasn't got it
    LONG select;       // "Document Handling Select"
    LONG adapter;      // "TMA Select"
    LONG method;       // "TMA Method": 0 slides, 1 negatives
};
constexpr SourceRow kSources[] = {
    {ScanSource::Flatbed, "the scanner has no flatbed", FLATBED, 0, 0},
    {ScanSource::Feeder, "the scanner has no document feeder", FEEDER, 0, 0},
    {ScanSource::Duplex, "the scanner has no document feeder for both sides", DUPLEX, 0, 0},
    {ScanSource::Slide, "the scanner has no transparency adapter", FLATBED, 1, 0},
    {ScanSource::Negative, "the scanner has no transparency adapter", FLATBED, 1, 1},
};

// Whether the property has the value among its valid ones; a range is left to the write to judge.
bool Takes(const ScanProperty* property, LONG value) {
    if (!property)
        return false;
    const ValidValues& valid = property->valid;
    return valid.kind == ValidKind::Flags  ? (valid.bits & value) == value
           : valid.kind == ValidKind::List ? std::find(valid.list.begin(), valid.list.end(),
                                                       PropertyValue(value)) != valid.list.end()
                                           : true;
}

// A plain flatbed needs no select.
bool HasSource(const ItemState& root, const SourceRow& row) {
    const ScanProperty* select = CDeviceProperties::Find(root, WIA_DPS_DOCUMENT_HANDLING_SELECT);
    if (row.adapter != 0)
        return Takes(CDeviceProperties::Find(root, QL_PROP_TMA_SELECT), row.adapter);
    return select ? Takes(select, row.select) : row.source == ScanSource::Flatbed;
}

// Writes step by step; after a failure nothing more is done.
class CSettingsWriter {
  public:
    CSettingsWriter(CScanDevice& device, CDeviceProperties& properties)
        : m_device(device), m_properties(properties) {}

    const ScanStatus& Status() const { return m_status; }

    void Source(ScanSource source);
    void Mode(ScanMode mode, const ScanPalette& palette);
    void Resolution(LONG dpi);
    void Area(const ScanArea& area);
    // To the item that holds images.
    void Image(const char* what, const std::vector<PropertyWrite>& writes) {
        Write(what, m_properties.Image(), writes);
    }
    void Others(const std::vector<ItemWrite>& writes, bool isRoot);

  private:
    void Write(const std::string& what, const ItemState& item,
               const std::vector<PropertyWrite>& writes);
    void Refuse(const std::string& text) { m_status = {E_INVALIDARG, text}; }

    CScanDevice& m_device;
    CDeviceProperties& m_properties;
    ScanStatus m_status;
};

// All properties are read again behind it: the driver makes the others fit.
void CSettingsWriter::Write(const std::string& what, const ItemState& item,
                            const std::vector<PropertyWrite>& writes) {
    if (!m_status.Ok() || writes.empty())
        return;
    m_status = m_device.Write(item.item.fullName, writes);
    if (!m_status.Ok()) {
        m_status.text = what + ": " + m_status.text;
        return;
    }
    m_status = CDeviceProperties::Read(m_device, m_properties);
}

// Two properties choose between three places: the adapter goes ahead of glass and feeder, so that
// the choice of one of these also takes the adapter back.
void CSettingsWriter::Source(ScanSource source) {
    const auto* row = std::find_if(std::begin(kSources), std::end(kSources),
                                   [source](const SourceRow& r) { return r.source == source; });
    if (row == std::end(kSources))
        return;
    const ItemState& root = m_properties.Root();
    const ScanProperty* select = CDeviceProperties::Find(root, WIA_DPS_DOCUMENT_HANDLING_SELECT);
    const ScanProperty* adapter = CDeviceProperties::Find(root, QL_PROP_TMA_SELECT);
    if (!HasSource(root, *row))
        return Refuse(row->lack);
    std::vector<PropertyWrite> writes;
    if (row->adapter == 0 && select)
        writes.push_back({WIA_DPS_DOCUMENT_HANDLING_SELECT, row->select});
    if (adapter && CDeviceProperties::Number(root, QL_PROP_TMA_SELECT) != row->adapter)
        writes.push_back({QL_PROP_TMA_SELECT, row->adapter});
    Write("the source", root, writes);
    if (!m_status.Ok() || row->adapter == 0)
        return;
    // The driver may find that it isn't there after all.
    if (CDeviceProperties::Number(m_properties.Root(), QL_PROP_TMA_SELECT) != 1)
        return Refuse("the transparency adapter isn't connected");
    Image("the source", {{QL_PROP_TMA_METHOD, row->method}});
}

// The palette goes with the type, so that none is left of another scan's.
void CSettingsWriter::Mode(ScanMode mode, const ScanPalette& palette) {
    if (!m_status.Ok())
        return;
    const bool indexed = mode == ScanMode::Indexed;
    const ScanProperty* property = CDeviceProperties::Find(m_properties.Image(), QL_PROP_PALETTE);
    if (indexed && !Takes(property, palette.kind))
        return Refuse("the scanner's driver has no indexed colour");
    std::vector<PropertyWrite> writes;
    if (property)
        writes = PaletteWrites(indexed ? palette.kind : 0, palette.colors);
    writes.push_back({WIA_IPA_DATATYPE, DataTypeOf(mode)});
    Image("the mode", writes);
}

// Asked first, for words that tell what the source can do.
void CSettingsWriter::Resolution(LONG dpi) {
    const ScanProperty* across = CDeviceProperties::Find(m_properties.Image(), WIA_IPS_XRES);
    if (m_status.Ok() && across && !Takes(across, dpi)) {
        std::string text;
        for (const PropertyValue& value : across->valid.list)
            text += (text.empty() ? "" : ", ") + std::to_string(std::get<LONG>(value));
        return Refuse("the scanner can't do " + std::to_string(dpi) +
                      " dpi from this source, but " + text);
    }
    Image("the resolution", {{WIA_IPS_XRES, dpi}, {WIA_IPS_YRES, dpi}});
}

void CSettingsWriter::Area(const ScanArea& area) {
    if (!m_status.Ok())
        return;
    const ItemState& image = m_properties.Image();
    const LONG xDpi = CDeviceProperties::Number(image, WIA_IPS_XRES).value_or(0);
    const LONG yDpi = CDeviceProperties::Number(image, WIA_IPS_YRES).value_or(0);
    const LONG left = area.Pixels(area.left, xDpi);
    const LONG top = area.Pixels(area.top, yDpi);
    const LONG width = area.Pixels(area.width, xDpi);
    const LONG height = area.Pixels(area.height, yDpi);
    const ScanProperty* across = CDeviceProperties::Find(image, WIA_IPS_XPOS);
    const ScanProperty* along = CDeviceProperties::Find(image, WIA_IPS_YPOS);
    if (width < 1 || height < 1)
        return Refuse("the area is smaller than a pixel");
    // A position may be anywhere up to the far edge, so its greatest value is the glass's size.
    if (across && along &&
        (LONGLONG{left} + width > across->valid.max || LONGLONG{top} + height > along->valid.max))
        return Refuse("the area leaves the scanner's glass, which has " +
                      std::to_string(across->valid.max) + " x " + std::to_string(along->valid.max) +
                      " pixels at " + std::to_string(xDpi) + " dpi");
    // Larger extents are valid only behind the positions that leave room for them.
    Image("the area", {{WIA_IPS_XPOS, left}, {WIA_IPS_YPOS, top}});
    Image("the area", {{WIA_IPS_XEXTENT, width}, {WIA_IPS_YEXTENT, height}});
}

// Each write with the words in which it was asked for.
void CSettingsWriter::Others(const std::vector<ItemWrite>& writes, bool isRoot) {
    const auto& items = m_properties.Items();
    for (const ItemWrite& write : writes) {
        if (!m_status.Ok())
            return;
        const auto item = std::find_if(items.begin(), items.end(), [&](const ItemState& state) {
            return state.item.fullName == write.item;
        });
        if (item == items.end())
            Refuse("the device has no item " + write.item);
        else if ((item == items.begin()) == isRoot)
            Write(write.words, *item, write.writes);
    }
}

std::vector<PropertyWrite> ToneWrites(const ScanSettings& settings) {
    std::vector<PropertyWrite> writes;
    if (settings.brightness)
        writes.push_back({WIA_IPS_BRIGHTNESS, *settings.brightness});
    if (settings.contrast)
        writes.push_back({WIA_IPS_CONTRAST, *settings.contrast});
    if (settings.threshold)
        writes.push_back({WIA_IPS_THRESHOLD, *settings.threshold});
    return writes;
}

}  // namespace

std::vector<PropertyWrite> FilterWrites(const ScanFilters& filters) {
    std::vector<PropertyWrite> writes;
    if (filters.sharpening)
        writes.push_back({QL_PROP_SHARPEN_LEVEL, *filters.sharpening});
    if (filters.smoothing)
        writes.push_back({QL_PROP_SMOOTHING, *filters.smoothing});
    if (filters.streaks)
        writes.push_back({QL_PROP_STREAKS, *filters.streaks});
    if (filters.streakDetail)
        writes.push_back({QL_PROP_STREAK_DETAIL, *filters.streakDetail});
    return writes;
}

PaletteRecord RecordOf(const QLPaletteTable& table) {
    PaletteRecord record = {};
    record.m_count = table.m_count;
    for (std::size_t i = 0; i < table.m_count; ++i)
        std::ranges::transform(table.m_entries[i].m_colors, record.m_colors[i],
                               [](std::uint16_t color) { return static_cast<BYTE>(color); });
    return record;
}

std::vector<PropertyWrite> PaletteWrites(LONG kind, const PaletteRecord& colors) {
    std::vector<PropertyWrite> writes;
    if (kind == QL_PALETTE_USER) {
        const auto* bytes = reinterpret_cast<const BYTE*>(&colors);
        writes.push_back(
            {QL_PROP_PALETTE_COLORS, std::vector<BYTE>(bytes, bytes + sizeof(colors))});
    }
    writes.push_back({QL_PROP_PALETTE, kind});
    return writes;
}

LONG DataTypeOf(ScanMode mode) {
    switch (mode) {
        case ScanMode::LineArt:
            return WIA_DATA_THRESHOLD;
        case ScanMode::Dithered:
            return WIA_DATA_DITHER;
        case ScanMode::Gray:
            return WIA_DATA_GRAYSCALE;
        default:
            return WIA_DATA_COLOR;
    }
}

// Inches and millimetres by the resolution; pixels are taken as they are.
LONG ScanArea::Pixels(double length, LONG dpi) const {
    const double pixels = unit == Unit::Pixels   ? length
                          : unit == Unit::Inches ? length * dpi
                                                 : length * dpi / kMillimetersPerInch;
    constexpr double kMost = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(std::lround(std::clamp(pixels, 0.0, kMost)));
}

ScanStatus ApplySettings(CScanDevice& device, const ScanSettings& settings,
                         CDeviceProperties& properties) {
    if (ScanStatus status = CDeviceProperties::Read(device, properties); !status.Ok())
        return status;
    CSettingsWriter writer(device, properties);
    writer.Source(settings.source);
    writer.Others(settings.others, true);
    if (settings.resolution)
        writer.Resolution(*settings.resolution);
    if (settings.mode != ScanMode::Unchanged)
        writer.Mode(settings.mode, settings.palette);
    if (settings.area)
        writer.Area(*settings.area);
    writer.Image("brightness, contrast or threshold", ToneWrites(settings));
    if (settings.mirror)
        writer.Image("the mirror", {{QL_PROP_MIRROR, 1}});
    if (settings.rotation)
        writer.Image("the rotation", {{QL_PROP_ROTATION, *settings.rotation}});
    writer.Image("sharpening, smoothing or removal of streaks", FilterWrites(settings.filters));
    writer.Others(settings.others, false);
    if (settings.medium == ScanMedium::File)
        writer.Image("the medium", {{WIA_IPA_TYMED, TYMED_FILE}});
    return writer.Status();
}

ScanStatus FindSources(CScanDevice& device, const CDeviceProperties& properties,
                       std::vector<ScanSource>& sources) {
    const ItemState& root = properties.Root();
    ScanStatus status;
    std::vector<ScanProperty> made = root.properties;
    if (CDeviceProperties::Number(root, QL_PROP_TMA_SELECT) == 0)
        status = device.Try(root.item.fullName, {{QL_PROP_TMA_SELECT, 1}}, made);
    const bool hasAdapter =
        status.Ok() && CDeviceProperties::Number({root.item, made}, QL_PROP_TMA_SELECT) == 1;
    sources.clear();
    for (const SourceRow& row : kSources) {
        if (HasSource(root, row) && (row.adapter == 0 || hasAdapter))
            sources.push_back(row.source);
    }
    return status;
}

ScanSource SourceOf(const CDeviceProperties& properties) {
    const ItemState& root = properties.Root();
    const LONG select =
        CDeviceProperties::Number(root, WIA_DPS_DOCUMENT_HANDLING_SELECT).value_or(FLATBED);
    const LONG adapter = CDeviceProperties::Number(root, QL_PROP_TMA_SELECT).value_or(0);
    const LONG method =
        CDeviceProperties::Number(properties.Image(), QL_PROP_TMA_METHOD).value_or(0);
    const auto* row = std::ranges::find_if(kSources, [&](const SourceRow& r) {
        return r.select == select && r.adapter == adapter && (adapter == 0 || r.method == method);
    });
    return row == std::end(kSources) ? ScanSource::Unchanged : row->source;
}

int PagesOfScan(const CDeviceProperties& properties, int asked) {
    const ItemState& root = properties.Root();
    return PagesOfScan(CDeviceProperties::Number(root, WIA_DPS_DOCUMENT_HANDLING_SELECT),
                       CDeviceProperties::Number(root, WIA_DPS_PREVIEW),
                       CDeviceProperties::Number(root, WIA_DPS_PAGES), asked);
}
