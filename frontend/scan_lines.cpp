#include "frontend/scan_lines.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/bitmap_headers.h"
#include "platform/byte_vectors.h"
#include "platform/target_clones.h"

// ---- Red and blue

// Sixteen pixels a turn, in three vectors whose edges cut pixels in two.
NVQ_KERNEL void SwapRedBlue(BYTE* buffer, std::size_t byteCount) {
    std::size_t i = 0;
    for (; i + 48 <= byteCount; i += 48) {
        BYTE* at = buffer + i;
        const ByteVector a = LoadBytes(at);
        const ByteVector b = LoadBytes(at + 16);
        const ByteVector c = LoadBytes(at + 32);
        // clang-format off
        StoreBytes(at, __builtin_shufflevector(a, b,
            2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 17));
        // Behind 16 the second vector: first a's last byte, then c's first, get their places.
        const ByteVector ab = __builtin_shufflevector(a, b,
            16, 15, 20, 19, 18, 23, 22, 21, 26, 25, 24, 29, 28, 27, 0, 31);
        StoreBytes(at + 16, __builtin_shufflevector(ab, c,
            0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 15));
        StoreBytes(at + 32, __builtin_shufflevector(b, c,
            14, 19, 18, 17, 22, 21, 20, 25, 24, 23, 28, 27, 26, 31, 30, 29));
        // clang-format on
    }
    for (; i + 3 <= byteCount; i += 3)
        std::swap(buffer[i], buffer[i + 2]);
}

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
