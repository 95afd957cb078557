#include "frontend/scan_lines.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/bitmap_headers.h"

// ---- Strides

LONG PadScanLines(BYTE* buffer, LONG byteCount, LONG stride, LONG lineBytes) {
    if (!buffer)
        return E_INVALIDARG;
    if (stride < 1 || lineBytes < 1)
        return 0;
    if (lineBytes % 4 == 0 && stride <= lineBytes)
        return byteCount;
    const std::int64_t lines = byteCount / lineBytes;
    if (lines * stride > std::numeric_limits<LONG>::max())
        return E_INVALIDARG;
    // From the last line to the first, so that none is overwritten before it has moved.
    for (std::int64_t line = lines - 1; line > 0; --line) {
        std::memmove(buffer + line * stride, buffer + line * lineBytes,
                     static_cast<std::size_t>(lineBytes));
    }
    return static_cast<LONG>(lines * stride);
}

void CutScanLines(BYTE* buffer, DWORD lines, DWORD stride, DWORD lineBytes) {
    for (std::size_t line = 1; line < lines; ++line)
        std::memmove(buffer + line * stride, buffer + line * lineBytes, stride);
}

// 255 is white in each depth that a stream has.
void WhitenLineEnds(BYTE* buffer, DWORD lines, DWORD stride, DWORD from) {
    if (from >= stride)
        return;
    for (std::size_t line = 0; line < lines; ++line)
        std::memset(buffer + line * stride + from, 0xFF, stride - from);
}

// ---- A bitmap file's rows

namespace {

template <class Field>
Field FieldAt(const BYTE* view, std::size_t offset) {
    Field field;
    std::memcpy(&field, view + offset, sizeof(field));
    return field;
}

}  // namespace

// The header comes from a file that anybody may have written to meanwhile: every size is checked
// against the file's own.
HRESULT FlipBitmapRows(BYTE* view, std::size_t size) {
    if (!view || size < sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER))
        return E_FAIL;
    const auto file = FieldAt<BITMAPFILEHEADER>(view, 0);
    const auto info = FieldAt<BITMAPINFOHEADER>(view, sizeof(file));
    if (info.biWidth < 0 || file.bfOffBits > size)
        return E_FAIL;
    const auto stride = static_cast<std::uint64_t>(BitmapStride(info));
    const auto rows = static_cast<std::uint64_t>(BitmapLines(info));
    if (stride != 0 && rows > (size - file.bfOffBits) / stride)
        return E_FAIL;
    BYTE* first = view + file.bfOffBits;
    for (std::uint64_t row = 0; row < rows / 2; ++row)
        std::swap_ranges(first + row * stride, first + (row + 1) * stride,
                         first + (rows - 1 - row) * stride);
    return S_OK;
}
