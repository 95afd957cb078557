#include "platform/pixel_order.h"

#include <utility>

#include "platform/byte_vectors.h"
#include "platform/target_clones.h"

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
