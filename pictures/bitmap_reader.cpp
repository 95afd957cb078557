#include "pictures/bitmap_reader.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "pictures/file_failure.h"
#include "platform/bitmap_headers.h"

namespace {

// The later ones only add colour spaces behind the fields that count here.
constexpr DWORD kInfoHeaderSizes[] = {sizeof(BITMAPINFOHEADER), 52, 56, 108, 124};
// Of the methods of compression: none, and none with masks that say where in a pixel the colours
// are.
constexpr DWORD kUncompressed = 0;
constexpr DWORD kBitFields = 3;
// As they lie in pixels without masks, from the lowest byte on: blue, green, red.
constexpr std::array<DWORD, 3> kUsualMasks = {0xFF0000, 0xFF00, 0xFF};
constexpr WORD kDepths[] = {1, 4, 8, 24, 32};

}  // namespace

CBitmapReader::CBitmapReader(CInputFile file) : m_file(std::move(file)) {
    ReadHeaders();
    CheckInfo();
    CheckExtent();
    CheckPlaces();
    m_info.m_width = m_infoHeader.biWidth;
    m_info.m_height = static_cast<std::int32_t>(Height());
    m_mapper = MakeMapper();
    m_info.m_bitsPerPixel = m_mapper.TargetBits();
    m_info.m_xPelsPerMeter = std::max(m_infoHeader.biXPelsPerMeter, 0);
    m_info.m_yPelsPerMeter = std::max(m_infoHeader.biYPelsPerMeter, 0);
    m_info.m_isPlainBitmap =
        m_infoHeader.biBitCount == 24 && m_infoHeader.biSize == sizeof(BITMAPINFOHEADER);
    const std::int64_t lines = std::clamp<std::int64_t>(kFileBandBytes / Stride(), 1, Height());
    m_band.resize(static_cast<std::size_t>(lines * Stride()));
}

// The info header tells its own size, which is looked at before the rest of it is read.
void CBitmapReader::ReadHeaders() {
    const auto need = [this](std::size_t bytes) {
        if (m_file.Size() < static_cast<std::int64_t>(bytes)) {
            Fail("ends at byte " + std::to_string(m_file.Size()) +
                 ", inside the headers of a bitmap");
        }
    };
    constexpr std::size_t kFileHeader = sizeof(m_fileHeader);
    need(kFileHeader + sizeof(m_infoHeader.biSize));
    m_file.ReadAt(&m_fileHeader, kFileHeader, 0);
    m_file.ReadAt(&m_infoHeader.biSize, sizeof(m_infoHeader.biSize), kFileHeader);
    const DWORD size = m_infoHeader.biSize;
    if (std::ranges::find(kInfoHeaderSizes, size) == std::end(kInfoHeaderSizes)) {
        Fail("has an info header of " + std::to_string(size) +
             " bytes; headers of 40, 52, 56, 108 or 124 bytes are read");
    }
    need(kFileHeader + size);
    m_file.ReadAt(&m_infoHeader, sizeof(m_infoHeader), kFileHeader);
}

// What kind of pixels these are.
void CBitmapReader::CheckInfo() const {
    const BITMAPINFOHEADER& info = m_infoHeader;
    if (info.biPlanes != 1)
        Fail("has " + std::to_string(info.biPlanes) + " planes; bitmaps of 1 plane are read");
    if (std::ranges::find(kDepths, info.biBitCount) == std::end(kDepths)) {
        Fail("holds " + std::to_string(info.biBitCount) +
             " bits a pixel; bitmaps of 1, 4, 8, 24 or 32 bits are read");
    }
    if (info.biBitCount == 32 && info.biCompression == kBitFields) {
        CheckMasks();
    } else if (info.biCompression != kUncompressed) {
        Fail("is compressed by method " + std::to_string(info.biCompression) +
             "; uncompressed bitmaps (method 0) are read");
    }
    if (info.biClrUsed > kMaxBitmapColors) {
        Fail("has a palette of " + std::to_string(info.biClrUsed) +
             " colours; at most 256 are read");
    }
}

// In long headers they stand where short ones have them behind.
void CBitmapReader::CheckMasks() const {
    constexpr std::int64_t kPlace = kBitmapHeaderBytes;
    std::array<DWORD, 3> masks = {};
    if (m_file.Size() < kPlace + std::int64_t{sizeof(masks)})
        Fail("ends inside the masks of its colours");
    m_file.ReadAt(masks.data(), sizeof(masks), kPlace);
    if (masks != kUsualMasks)
        Fail("has masks that put its colours elsewhere than blue, green, red; those are read");
}

std::int64_t CBitmapReader::HeadersEnd() const {
    const bool masksFollow =
        m_infoHeader.biCompression == kBitFields && m_infoHeader.biSize == sizeof(BITMAPINFOHEADER);
    return std::int64_t{sizeof(m_fileHeader)} + m_infoHeader.biSize +
           (masksFollow ? std::int64_t{sizeof(kUsualMasks)} : 0);
}

// The width first: the stride that bounds the height comes from it. Both bounds keep every product
// of sizes below within 64 bits.
void CBitmapReader::CheckExtent() const {
    const std::string width = std::to_string(m_infoHeader.biWidth);
    if (m_infoHeader.biWidth < 1 || m_infoHeader.biWidth > kMaxPictureWidth) {
        Fail("is " + width + " pixels wide; 1 to " + std::to_string(kMaxPictureWidth) +
             " are read");
    }
    const std::int64_t mostLines = kMaxBitmapFileBytes / Stride();
    if (Height() < 1 || Height() > mostLines) {
        Fail("is " + std::to_string(m_infoHeader.biHeight) + " lines high; 1 to " +
             std::to_string(mostLines) + " are read at a width of " + width +
             " pixels, with a minus sign when the top line comes first");
    }
}

// That headers, palette and pixels stand one behind the other, and that the file has the size that
// it says. biSizeImage is not asked: it is wrong in many a file that is whole.
void CBitmapReader::CheckPlaces() const {
    const std::int64_t size = m_file.Size();
    const std::int64_t headers = HeadersEnd();
    const std::int64_t palette =
        headers + std::int64_t{BitmapColorCount(m_infoHeader)} * std::int64_t{sizeof(RGBQUAD)};
    const std::int64_t offset = m_fileHeader.bfOffBits;
    const std::string pixelsBegin = "has pixels from byte " + std::to_string(offset);
    if (offset < headers)
        Fail(pixelsBegin + " on, inside its headers of " + std::to_string(headers) + " bytes");
    if (palette > size) {
        Fail("has a palette up to byte " + std::to_string(palette) + ", beyond its end at " +
             std::to_string(size));
    }
    if (offset < palette) {
        Fail(pixelsBegin + " on, inside its palette, which ends at byte " +
             std::to_string(palette));
    }
    if (offset >= size)
        Fail(pixelsBegin + " on, beyond its end at " + std::to_string(size));
    const std::int64_t pixels = BitmapImageBytes(m_infoHeader);
    if (pixels > size - offset) {
        Fail("holds " + std::to_string(size - offset) + " bytes of pixels; " +
             std::to_string(m_infoHeader.biWidth) + " x " + std::to_string(Height()) +
             " pixels take " + std::to_string(pixels));
    }
    if (m_fileHeader.bfSize != BitmapSizeField(size)) {
        Fail("says that it has " + std::to_string(m_fileHeader.bfSize) + " bytes; it has " +
             std::to_string(size));
    }
}

// Depths with a table of colours have indices into it; what is delivered is gray or colour.
CRowMapper CBitmapReader::MakeMapper() const {
    const int bits = m_infoHeader.biBitCount;
    if (FullColorCount(bits) == 0)
        return CRowMapper(bits == 32 ? EPixelLayout::Bgrx : EPixelLayout::Bgr);
    std::vector<RGBQUAD> palette(BitmapColorCount(m_infoHeader));
    m_file.ReadAt(palette.data(), palette.size() * sizeof(RGBQUAD), HeadersEnd());
    return {bits, palette};
}

// The next lines of the image, as many as fit. In a file that begins with the bottom row they lie
// ahead of those that were read before, so bands are taken from its end on.
void CBitmapReader::FillBand() {
    const std::int64_t capacity = static_cast<std::int64_t>(m_band.size()) / Stride();
    const std::int64_t left = Height() - m_nextLine;
    const std::int64_t count = std::min(capacity, left);
    const std::int64_t firstRow = m_infoHeader.biHeight > 0 ? left - count : m_nextLine;
    m_file.ReadAt(m_band.data(), static_cast<std::size_t>(count * Stride()),
                  m_fileHeader.bfOffBits + firstRow * Stride());
    m_bandLines = static_cast<std::int32_t>(count);
    m_bandUsed = 0;
}

// Within the band rows stand as in the file.
void CBitmapReader::ReadLine(std::uint8_t* target) {
    if (m_bandUsed == m_bandLines)
        FillBand();
    const bool bottomUp = m_infoHeader.biHeight > 0;
    const std::int32_t row = bottomUp ? m_bandLines - 1 - m_bandUsed : m_bandUsed;
    m_mapper.Map(target, m_band.data() + row * Stride(), m_info.m_width);
    ++m_bandUsed;
}
