#include "tools/bitmap_feed.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"
#include "pictures/input_file.h"
#include "platform/bitmap_white.h"

namespace {

// Where the rows of a file lie, and in which order.
struct CBitmap {
    BITMAPINFOHEADER m_info = {};  // biHeight is positive
    std::vector<RGBQUAD> m_palette;
    std::int64_t m_offset = 0;  // of the rows
    std::int64_t m_stride = 0;
    bool m_isTopDown = false;
};

// Checked like a stranger's file: between the driver and here anything may have come to it.
CBitmap ReadHeaders(const CInputFile& file, bool mayBeShort) {
    BITMAPFILEHEADER header = {};
    CBitmap bitmap;
    BITMAPINFOHEADER& info = bitmap.m_info;
    if (file.Size() < static_cast<std::int64_t>(sizeof(header) + sizeof(info)))
        Fail("is no bitmap file");
    file.ReadAt(&header, sizeof(header), 0);
    file.ReadAt(&info, sizeof(info), sizeof(header));
    const bool isKnown = info.biBitCount == 1 || info.biBitCount == 8 || info.biBitCount == 24;
    if (header.bfType != BITMAP_FILE_TYPE || !isKnown || !IsPlainInfo(info))
        Fail("is no bitmap file of 1, 8 or 24 bits");
    bitmap.m_isTopDown = info.biHeight < 0;
    info.biHeight = bitmap.m_isTopDown ? -info.biHeight : info.biHeight;
    bitmap.m_palette.resize(std::min(BitmapColorCount(info), FullColorCount(info.biBitCount)));
    bitmap.m_offset = header.bfOffBits;
    bitmap.m_stride = BitmapStride(info);
    if (!mayBeShort && bitmap.m_offset + bitmap.m_stride * info.biHeight > file.Size())
        Fail("is shorter than its header says");
    file.ReadAt(bitmap.m_palette.data(), bitmap.m_palette.size() * sizeof(RGBQUAD),
                sizeof(header) + sizeof(info));
    return bitmap;
}

}  // namespace

// A row at a time: the file may be larger than memory.
bool FeedBitmapFile(const std::string& path, bool mayBeShort, const BitmapTaker& taker,
                    std::string* error) {
    return RunGuarded(error, [&] {
        const CInputFile file(path);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        const CBitmap bitmap = ReadHeaders(file, mayBeShort);
        const BITMAPINFOHEADER& info = bitmap.m_info;
        bool goOn = taker.begin(info, bitmap.m_palette);
        const BYTE white = WhiteByte(info.biBitCount, bitmap.m_palette);
        std::vector<std::uint8_t> row(static_cast<std::size_t>(bitmap.m_stride));
        for (LONG y = 0; goOn && y < info.biHeight; ++y) {
            const LONG line = bitmap.m_isTopDown ? y : info.biHeight - 1 - y;
            const std::int64_t place = bitmap.m_offset + line * bitmap.m_stride;
            if (place + bitmap.m_stride <= file.Size())
                file.ReadAt(row.data(), row.size(), place);
            else
                std::ranges::fill(row, white);
            goOn = taker.row(row.data(), row.size());
        }
    });
}
