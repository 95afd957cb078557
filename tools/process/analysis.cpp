#include "tools/process/analysis.h"

#include <algorithm>

#include "engine/engine.h"
#include "frontend/item_tables.h"
#include "pictures/picture_reader.h"
#include "platform/bitmap_headers.h"
#include "platform/text.h"

bool AnalysePicture(const std::string& path, CQLEngine& engine, const AutoWish& wish,
                    std::optional<FoundExposure>* found, std::string* error) {
    const std::unique_ptr<CPictureReader> reader = OpenPicture(path, error);
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
