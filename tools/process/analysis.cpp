#include "tools/process/analysis.h"

#include <algorithm>

#include "engine/engine.h"
#include "frontend/item_tables.h"
#include "platform/bitmap_headers.h"
#include "platform/text.h"

namespace {

// What an automatic analysis settles, by the names that it has for the engine and for people.
constexpr struct {
    std::int32_t attribute;
    PROPID property;
} kExposure[] = {
    {QL_ATTR_AUTO_WHITE, QL_PROP_HIGHLIGHT_LEVEL},
    {QL_ATTR_HIGHLIGHT, QL_PROP_HIGHLIGHT_LEVEL},
    {QL_ATTR_AUTO_MID, QL_PROP_MIDTONE_LEVEL},
    {QL_ATTR_MIDTONE, QL_PROP_MIDTONE_LEVEL},
    {QL_ATTR_AUTO_BLACK, QL_PROP_SHADOW_LEVEL},
    {QL_ATTR_SHADOW, QL_PROP_SHADOW_LEVEL},
    {QL_ATTR_HUE_X, QL_PROP_HUE_X},
    {QL_ATTR_HUE_Y, QL_PROP_HUE_Y},
};

}  // namespace

bool AnalysePicture(const CPageSource& source, CQLEngine& engine, const AutoWish& wish,
                    std::optional<FoundExposure>* found, std::string* error) {
    const std::unique_ptr<CPictureReader> reader = source.Open(error);
    if (!reader)
        return false;
    const CPictureInfo& picture = reader->Info();
    const RowSource rows = [&](BYTE* row) { return reader->ReadLines(row, 1); };
    *found = AnalyseImage(engine,
                          MakeInfoHeader(picture.m_width, picture.m_height, picture.m_bitsPerPixel),
                          rows, wish);
    *error = reader->Error();
    return error->empty();
}

bool LeaveRoomForLevels(std::span<const PropertyWrite> writes, std::string* error) {
    const bool leave = std::ranges::none_of(writes, [](const PropertyWrite& write) {
        return write.id == WIA_IPS_BRIGHTNESS || write.id == WIA_IPS_CONTRAST ||
               (write.id == QL_PROP_EXPOSURE_METHOD && write.value == PropertyValue{LONG{0}});
    });
    if (!leave)
        *error =
            "--auto tone and expose find levels in place of brightness and contrast, by exposure "
            "method 1: only one of them can be had";
    return leave;
}

std::vector<PROPID> SetAgain(const CModelItem& settings, std::span<const CAttributeWrite> given,
                             const FoundExposure& found, CQLEngine& engine) {
    const std::vector<PropertyWrite> writes = found.Writes();
    std::vector<PROPID> kept;
    for (const PropertyWrite& assigned : settings.Assigned()) {
        if (std::ranges::find(writes, assigned.id, &PropertyWrite::id) != writes.end())
            kept.push_back(assigned.id);
    }
    CModelItem item = settings;
    item.WriteLong(QL_PROP_EXPOSURE_METHOD, 1);
    std::vector<PROPID> read = kept;
    read.push_back(QL_PROP_EXPOSURE_METHOD);
    item.KeepOnly(read);
    engine.ReadItemSettings(&item);
    for (const CAttributeWrite& write : given) {
        for (const auto& row : kExposure) {
            if (row.attribute != write.Id())
                continue;
            write.Apply(engine);
            kept.push_back(row.property);
        }
    }
    return kept;
}

std::string ExposureText(const FoundExposure& found, std::span<const PROPID> kept) {
    std::string text;
    for (const PropertyWrite& write : found.Writes()) {
        const auto row = std::ranges::find(UserRows(), write.id, &PropertyRow::id);
        if (row == UserRows().end() || std::ranges::find(kept, write.id) != kept.end())
            continue;
        text += (text.empty() ? "" : ", ") + TextFromWide(row->name) + ' ' +
                std::to_string(std::get<LONG>(write.value));
    }
    return text;
}
