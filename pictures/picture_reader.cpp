#include "pictures/picture_reader.h"

#include <utility>

#include "pictures/bitmap_reader.h"
#include "pictures/decoded_reader.h"
#include "pictures/file_failure.h"

std::size_t CPictureReader::LineBytes() const {
    return static_cast<std::size_t>(m_info.m_width) *
           static_cast<std::size_t>(m_info.m_bitsPerPixel / 8);
}

// A caller that asks for too many has miscounted: it gets none, rather than a part.
bool CPictureReader::AreLeft(std::int32_t lines) {
    const std::int32_t left = m_info.m_height - m_nextLine;
    if (lines >= 0 && lines <= left)
        return true;
    m_error =
        "has " + std::to_string(left) + " lines left; " + std::to_string(lines) + " were asked for";
    return false;
}

// Bitmaps are told by their first two bytes and read by own code, in bands: they may be larger than
// what Leptonica holds in memory.
std::unique_ptr<CPictureReader> OpenPicture(const std::string& path, std::string* error) {
    std::unique_ptr<CPictureReader> reader;
    RunGuarded(error, [&] {
        CInputFile file(path);
        WORD magic = 0;
        if (file.Size() >= std::int64_t{sizeof(magic)})
            file.ReadAt(&magic, sizeof(magic), 0);
        if (magic == BITMAP_FILE_TYPE)
            reader = std::make_unique<CBitmapReader>(std::move(file));
        else
            reader = std::make_unique<CDecodedReader>(path, file.Size());
    });
    return reader;
}
