#include "service/scan_settings.h"

#include <algorithm>

#include "service/page_count.h"

namespace {

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

// A plain flatbed needs no select.
bool HasSource(const ItemState& root, const SourceRow& row) {
    const ScanProperty* select = CDeviceProperties::Find(root, WIA_DPS_DOCUMENT_HANDLING_SELECT);
    if (row.adapter != 0)
        return TakesValue(CDeviceProperties::Find(root, QL_PROP_TMA_SELECT), row.adapter);
    return select ? TakesValue(select, row.select) : row.source == ScanSource::Flatbed;
}

// Writes step by step; after a failure nothing more is done.
class CSettingsWriter {
  public:
    CSettingsWriter(CScanDevice& device, CDeviceProperties& properties)
        : m_device(device), m_properties(properties) {}

    const ScanStatus& Status() const { return m_status; }

    void Source(ScanSource source);
    void Mode(ScanMode mode, const ScanPalette& palette);
    void Preview();
    void Resolution(const ScanSettings& settings);
    void Area(const ScanArea& area, const ScanSettings& settings);
    void CheckReduction(const ScanSettings& settings);
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
        if (!what.empty())
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
    if (indexed && !TakesValue(property, palette.kind))
        return Refuse("the scanner's driver has no indexed colour");
    std::vector<PropertyWrite> writes;
    if (property)
        writes = PaletteWrites(indexed ? palette.kind : 0, palette.colors);
    writes.push_back({WIA_IPA_DATATYPE, DataTypeOf(mode)});
    Image("the mode", writes);
}

// A device without the property has no feeder that would have to know.
void CSettingsWriter::Preview() {
    if (CDeviceProperties::Find(m_properties.Root(), WIA_DPS_PREVIEW))
        Write("the preview", m_properties.Root(), {{WIA_DPS_PREVIEW, 1}});
}

// Asked first, for words that tell what the source can do.
void CSettingsWriter::Resolution(const ScanSettings& settings) {
    if (!m_status.Ok())
        return;
    std::vector<PropertyWrite> writes;
    for (const ScanAxis& axis : kScanAxes) {
        const ScanProperty* property =
            CDeviceProperties::Find(m_properties.Image(), axis.resolution);
        LONG dpi = LowestResolution(m_properties.Image(), axis.resolution);
        if (settings.resolution) {
            const LONG asked = (*settings.resolution).*axis.dpi;
            const auto scanned = ScannedResolution(property, asked, settings.reduces);
            if (!scanned)
                return Refuse("the scanner can't do " + std::to_string(asked) +
                              " dpi from this source, but " + NumberList(*property));
            dpi = *scanned;
        }
        writes.push_back({axis.resolution, dpi});
    }
    Image("the resolution", writes);
}

// Larger extents are valid only behind the positions that leave room for them.
void CSettingsWriter::Area(const ScanArea& area, const ScanSettings& settings) {
    if (!m_status.Ok())
        return;
    const ItemState& image = m_properties.Image();
    const ScanResolution result = ResultResolution(m_properties, settings);
    std::vector<PropertyWrite> positions;
    std::vector<PropertyWrite> extents;
    bool isInside = true;
    bool isEmpty = false;
    for (const ScanAxis& axis : kScanAxes) {
        const ScanSpan span = SpanOf(area, axis, image, result.*axis.dpi);
        isInside = isInside && span.isInside;
        isEmpty = isEmpty || span.length < 1;
        positions.push_back({axis.position, span.start});
        extents.push_back({axis.extent, span.length});
    }
    if (!isInside)
        return Refuse((area.paper.empty() ? "the area leaves " : area.paper + " is larger than ") +
                      MediumWords(m_properties) + ", which has " + ReachWords(image));
    if (isEmpty)
        return Refuse("the area is smaller than a pixel");
    Image("the area", positions);
    Image("the area", extents);
}

// Dots and numbers of colours have no mean that is one again.
void CSettingsWriter::CheckReduction(const ScanSettings& settings) {
    const ItemState& image = m_properties.Image();
    const ScanResolution result = ResultResolution(m_properties, settings);
    const auto type = CDeviceProperties::Number(image, WIA_IPA_DATATYPE);
    const bool isDots = type == WIA_DATA_DITHER;
    const bool isIndexed = type == WIA_DATA_COLOR &&
                           CDeviceProperties::Number(image, QL_PROP_PALETTE).value_or(0) != 0;
    if (!m_status.Ok() || (!isIndexed && !isDots))
        return;
    for (const ScanAxis& axis : kScanAxes) {
        const ScanProperty* property = CDeviceProperties::Find(image, axis.resolution);
        if (CDeviceProperties::Number(image, axis.resolution) == result.*axis.dpi)
            continue;
        return Refuse("the scanner can't do " + std::to_string(result.*axis.dpi) +
                      " dpi from this source, and " +
                      (isDots ? "a dithered picture" : "a picture of indexed colours") +
                      " can't be made smaller; it does " + NumberList(*property));
    }
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

ScanResolution ResultResolution(const CDeviceProperties& properties, const ScanSettings& settings) {
    ScanResolution result;
    for (const ScanAxis& axis : kScanAxes) {
        const ScanProperty* property = CDeviceProperties::Find(properties.Image(), axis.resolution);
        result.*axis.dpi =
            CDeviceProperties::Number(properties.Image(), axis.resolution).value_or(0);
        if (!settings.reduces || !settings.resolution || !property)
            continue;
        const LONG asked = (*settings.resolution).*axis.dpi;
        if (!TakesValue(property, asked))
            result.*axis.dpi = std::min(result.*axis.dpi, asked);
    }
    return result;
}

ScanStatus ApplySettings(CScanDevice& device, const ScanSettings& settings,
                         CDeviceProperties& properties) {
    if (ScanStatus status = CDeviceProperties::Read(device, properties); !status.Ok())
        return status;
    CSettingsWriter writer(device, properties);
    writer.Source(settings.source);
    writer.Others(settings.others, true);
    if (settings.preview)
        writer.Preview();
    if (settings.resolution || settings.preview)
        writer.Resolution(settings);
    if (settings.mode != ScanMode::Unchanged)
        writer.Mode(settings.mode, settings.palette);
    if (settings.area)
        writer.Area(*settings.area, settings);
    // The driver's words name the property.
    writer.Image("", ToneWrites(settings));
    if (settings.mirror)
        writer.Image("the mirror", {{QL_PROP_MIRROR, 1}});
    if (settings.rotation)
        writer.Image("the rotation", {{QL_PROP_ROTATION, *settings.rotation}});
    writer.Image("sharpening, smoothing or removal of streaks", FilterWrites(settings.filters));
    writer.Others(settings.others, false);
    writer.CheckReduction(settings);
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
