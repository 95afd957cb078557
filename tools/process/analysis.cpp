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
