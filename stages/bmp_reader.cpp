#include "stages/bmp_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "frame/fixed_point.h"
#include "frame/try_new.h"
#include "platform/bitmap_headers.h"
#include "platform/com.h"
#include "platform/files.h"

namespace {

// For headers that tell no resolution. Dots of a screen, as bitmaps without one mostly come from
// there.
constexpr std::int32_t kDefaultDpi = 72;

}  // namespace

std::int64_t CBmpReader::Stride() const {
    return BitmapStride(m_info);
}

// Depths below 8 count bits: a byte that a row only begins is not delivered.
std::int64_t CBmpReader::RowBytes() const {
    return std::int64_t{m_info.biWidth} * m_info.biBitCount / 8;
}

std::int32_t CBmpReader::Height() const {
    // The sides have been checked: it fits 31 bits.
    return static_cast<std::int32_t>(BitmapLines(m_info));
}

std::int64_t CBmpReader::ColorCount() const {
    return BitmapColorCount(m_info);
}

std::int64_t CBmpReader::RowOffset(std::int32_t line) const {
    // The last line of a bottom-up image comes first in the file.
    const std::int64_t row = IsBottomUp() ? std::int64_t{Height()} - line - 1 : line;
    return row * Stride() + m_file.bfOffBits;
}

std::int32_t CBmpReader::Dpi(std::int32_t pelsPerMeter) {
    if (pelsPerMeter == 0)
        return kDefaultDpi;
    // 0.0254 metres are an inch; the 5 dots a metre more are an eighth of a dot per inch. 11811 is
    // 300.
    return RoundToI32((static_cast<double>(pelsPerMeter) + 5.0) * 254.0 / 10000.0);
}

std::uint32_t CBmpReader::BlockBytes(std::int32_t count) const {
    const std::int64_t bytes = Stride() * count;
    return bytes > 0 && bytes <= std::numeric_limits<std::uint32_t>::max()
               ? static_cast<std::uint32_t>(bytes)
               : 0;
}

std::uint8_t* CBmpReader::BlockTarget(std::uint8_t* buffer, std::int32_t count) {
    if (Stride() == RowBytes())
        return buffer;
    const std::size_t bytes = BlockBytes(count);
    // Kept from pull to pull: bands of one image are all of nearly the same size.
    if (bytes > m_scratchSize) {
        m_scratchSize = 0;
        m_scratch = TryNewRaw<std::uint8_t>(bytes);
        if (!m_scratch)
            return nullptr;
        m_scratchSize = bytes;
        // What a short read leaves is the same on every run.
        std::memset(m_scratch.get(), 0xFF, bytes);
    }
    return m_scratch.get();
}

void CBmpReader::DeliverBlock(std::uint8_t* buffer, const std::uint8_t* block,
                              std::int32_t count) const {
    const auto row = static_cast<std::size_t>(RowBytes());
    const auto stride = static_cast<std::size_t>(Stride());
    // Without padding the rows were read into their place, and at most stand on their heads.
    if (block == buffer) {
        if (!IsBottomUp())
            return;
        std::uint8_t* first = buffer;
        std::uint8_t* last = buffer + row * static_cast<std::size_t>(count - 1);
        for (; first < last; first += row, last -= row)
            std::swap_ranges(first, first + row, last);
        return;
    }
    for (std::int32_t line = 0; line < count; ++line) {
        // Padding stays behind; the same copy sets the order right.
        const auto from = static_cast<std::size_t>(IsBottomUp() ? count - 1 - line : line);
        std::memcpy(buffer + row * static_cast<std::size_t>(line), block + stride * from, row);
    }
}

CBmpFileReader::CBmpFileReader(const char* path)
    : m_hFile(CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                          FILE_ATTRIBUTE_NORMAL, nullptr)) {
    // One way out for all that can be wrong with a file: it is closed, and closed means refused.
    if (m_hFile != INVALID_HANDLE_VALUE && !(ReadHeaders() && Validate()))
        Close();
    if (m_hFile == INVALID_HANDLE_VALUE)
        throw std::runtime_error(kBadBitmapText);
}

CBmpFileReader::~CBmpFileReader() {
    Close();
}

void CBmpFileReader::Close() {
    if (m_hFile != INVALID_HANDLE_VALUE)
        CloseHandle(m_hFile);
    m_hFile = INVALID_HANDLE_VALUE;
}

bool CBmpFileReader::ReadExactly(void* target, std::uint32_t bytes) {
    DWORD got = 0;
    return ReadFile(m_hFile, target, bytes, &got, nullptr) && got == bytes;
}

bool CBmpFileReader::ReadHeaders() {
    return SetFilePointer(m_hFile, 0, nullptr, FILE_BEGIN) == 0 &&
           ReadExactly(&m_file, sizeof(m_file)) && ReadExactly(&m_info, sizeof(m_info));
}

bool CBmpFileReader::Validate() const {
    DWORD high = 0;
    // The low half alone may look like the mark of a failure.
    const DWORD low = GetFileSize(m_hFile, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
        return false;
    const std::int64_t size = static_cast<std::int64_t>(std::uint64_t{high} << 32 | low);
    // A cut file has the size of another image, and would scan as a whole one.
    // Depth and sides first: they keep the size of the rows within 64 bits.
    return m_info.biBitCount == 24 && HasSoundSides(m_info) &&
           size >= ColorCount() * 4 + Height() * Stride() + kBitmapHeaderBytes &&
           m_file.bfSize == size && m_file.bfType == BITMAP_FILE_TYPE &&
           m_info.biSize == sizeof(BITMAPINFOHEADER);
}

bool CBmpFileReader::ReadRows(std::uint8_t* buffer, std::int32_t firstLine, std::int32_t count) {
    if (!buffer || count < 1 || firstLine < 0 || count > Height() - firstLine)
        return false;
    const std::uint32_t bytes = BlockBytes(count);
    std::uint8_t* block = bytes != 0 ? BlockTarget(buffer, count) : nullptr;
    if (!block)
        return false;
    // The wanted lines lie together in the file whatever its order: one seek to the lowest, one
    // read.
    const std::int64_t offset = RowOffset(IsBottomUp() ? firstLine + count - 1 : firstLine);
    LONG high = static_cast<LONG>(offset >> 32);
    const DWORD low =
        SetFilePointer(m_hFile, static_cast<LONG>(offset & 0xFFFFFFFF), &high, FILE_BEGIN);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != ERROR_SUCCESS)
        return false;
    if (!ReadExactly(block, bytes))
        return false;
    DeliverBlock(buffer, block, count);
    m_rowsRead = count;
    return true;
}

CBmpStreamReader::CBmpStreamReader(IStream* stream) : m_stream(stream) {
    ULONG got = 0;
    // The last read decides: behind a failed one there is nothing to be had.
    m_stream->Read(&m_file, sizeof(m_file), &got);
    HRESULT hr = m_stream->Read(&m_info, sizeof(m_info), &got);
    // The colours themselves are not needed: gray rows are a ramp.
    if (m_info.biClrUsed == 2 || m_info.biClrUsed == 256) {
        RGBQUAD skipped[256];
        hr = m_stream->Read(skipped, m_info.biClrUsed * sizeof(RGBQUAD), &got);
    }
    // Rows of any other depth have no pixel type to go by.
    const bool knownDepth =
        m_info.biBitCount == 24 || (m_info.biBitCount >= 1 && m_info.biBitCount <= 8);
    if (FAILED(hr) || !knownDepth || !HasSoundSides(m_info))
        throw std::runtime_error(kBadBitmapText);
}

bool CBmpStreamReader::ReadRows(std::uint8_t* buffer, std::int32_t, std::int32_t count) {
    const std::uint32_t bytes = BlockBytes(count);
    if (!buffer || count < 1 || bytes == 0)
        return false;
    std::uint8_t* block = BlockTarget(buffer, count);
    if (!block)
        return false;
    ULONG got = 0;
    m_stream->Read(block, bytes, &got);
    const std::int64_t rows = (std::min(got, bytes) + Stride() - 1) / Stride();
    m_rowsRead = static_cast<std::int32_t>(rows);
    DeliverBlock(buffer, block, m_rowsRead);
    return true;
}
