#include "pictures/picture_reader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "pictures/bitmap_reader.h"
#include "pictures/decoded_reader.h"
#include "pictures/file_failure.h"
#include "pictures/jpeg_reader.h"
#include "pictures/png_reader.h"
#include "pictures/tiff_reader.h"

using namespace std::string_view_literals;

namespace {

using ReaderPtr = std::unique_ptr<CPictureReader>;

template <typename TReader>
ReaderPtr Make(CInputFile file) {
    return std::make_unique<TReader>(std::move(file));
}

// The kinds that are told by the first bytes of a file, whatever its name. Leptonica knows the
// first bytes of its own.
struct CKind {
    const char* m_name;
    std::string_view m_magic;
    ReaderPtr (*m_make)(CInputFile file);  // null: TIFF
};
constexpr CKind kKinds[] = {
    {"bitmap", "BM"sv, Make<CBitmapReader>},
    {"PNG", "\x89PNG\r\n\x1A\n"sv, Make<CPngReader>},
    {"TIFF", "II*\0"sv, nullptr},
    {"TIFF", "MM\0*"sv, nullptr},
    {"TIFF", "II+\0"sv, nullptr},
    {"TIFF", "MM\0+"sv, nullptr},
    {"JPEG", "\xFF\xD8\xFF"sv, Make<CJpegReader>},
};

const CKind* KindOf(const CInputFile& file) {
    std::array<char, 8> head = {};
    const auto length = static_cast<std::size_t>(std::min<std::int64_t>(file.Size(), head.size()));
    file.ReadAt(head.data(), length, 0);
    const auto* kind = std::ranges::find_if(kKinds, [&](const CKind& row) {
        return std::string_view(head.data(), length).starts_with(row.m_magic);
    });
    return kind == std::end(kKinds) ? nullptr : kind;
}

ReaderPtr Open(const std::string& path, int page) {
    CInputFile file(path);
    const CKind* kind = KindOf(file);
    if (kind && !kind->m_make)
        return std::make_unique<CTiffReader>(path, std::move(file), page);
    if (page != 1)
        Fail("has one page");
    return kind ? kind->m_make(std::move(file))
                : std::make_unique<CDecodedReader>(path, file.Size());
}

}  // namespace

std::size_t CPictureReader::LineBytes() const {
    return static_cast<std::size_t>(m_info.m_width) *
           static_cast<std::size_t>(m_info.m_bitsPerPixel / 8);
}

// A caller that asks for too many has miscounted: it gets none, rather than a part.
bool CPictureReader::ReadLines(std::uint8_t* target, std::int32_t lines) {
    const std::int32_t left = m_info.m_height - m_nextLine;
    if (lines < 0 || lines > left) {
        m_error = "has " + std::to_string(left) + " lines left; " + std::to_string(lines) +
                  " were asked for";
        return false;
    }
    return RunGuarded(&m_error, [&] {
        for (; lines > 0; --lines, ++m_nextLine, target += LineBytes())
            ReadLine(target);
    });
}

std::unique_ptr<CPictureReader> OpenPicture(const std::string& path, std::string* error, int page) {
    ReaderPtr reader;
    RunGuarded(error, [&] { reader = Open(path, page); });
    return reader;
}

int CountPages(const std::string& path, int most, std::string* error) {
    int count = 0;
    RunGuarded(error, [&] {
        const CInputFile file(path);
        const CKind* kind = KindOf(file);
        const bool isTiff = kind && !kind->m_make;
        count = isTiff ? static_cast<int>(FindTiffPages(file, most).size()) : 1;
    });
    return count;
}

std::string ReadableKinds() {
    std::string text;
    const char* last = "";
    for (const CKind& kind : kKinds) {
        if (kind.m_name != std::string_view(last))
            text.append(kind.m_name).append(", ");
        last = kind.m_name;
    }
    return text + CDecodedReader::kKinds;
}
