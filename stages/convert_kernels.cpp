#include "stages/convert_kernels.h"

#include <cstring>

#include "platform/byte_vectors.h"
#include "platform/target_clones.h"

using std::size_t;
using std::uint16_t;
using std::uint8_t;

// 8 bits become the high byte of 16, and the low byte stays 0: full scale is 65280 here.
NVQ_KERNEL void WidenSamples(const uint8_t* __restrict source, uint16_t* __restrict target,
                             size_t samples) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = static_cast<uint16_t>(source[i] << 8);
}

void WidenBehindPad(const uint8_t* __restrict source, uint16_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c)
            target[3 * i + c] = static_cast<uint16_t>(source[4 * i + 1 + c] << 8);
    }
}

void DecodeSamples(const uint8_t* __restrict source, uint16_t* __restrict target, size_t samples,
                   const uint16_t* __restrict table) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = table[source[i]];
}

void DecodeBlueFirst(const uint8_t* __restrict source, uint16_t* __restrict target, size_t pixels,
                     const uint16_t* __restrict table) {
    for (size_t i = 0; i < pixels; ++i) {
        target[3 * i] = table[source[3 * i + 2]];
        target[3 * i + 1] = table[source[3 * i + 1]];
        target[3 * i + 2] = table[source[3 * i]];
    }
}

// Two loops instead of a test within one: the vectoriser takes each.
NVQ_KERNEL void ShiftSamples(const uint16_t* __restrict source, uint16_t* __restrict target,
                             size_t samples, int shift, bool highByteFirst) {
    if (highByteFirst) {
        for (size_t i = 0; i < samples; ++i) {
            const auto sample = static_cast<uint16_t>((source[i] << 8) | (source[i] >> 8));
            target[i] = static_cast<uint16_t>(sample << shift);
        }
    } else {
        for (size_t i = 0; i < samples; ++i)
            target[i] = static_cast<uint16_t>(source[i] << shift);
    }
}

// The way back drops the low byte without rounding: what came in as 8 bits and met no table leaves
// as it came.
NVQ_KERNEL void NarrowSamples(const uint16_t* __restrict source, uint8_t* __restrict target,
                              size_t samples, uint8_t invert) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = static_cast<uint8_t>((source[i] >> 8) ^ invert);
}

void NarrowBehindPad(const uint16_t* __restrict source, uint8_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        target[4 * i] = 0;
        for (size_t c = 0; c < 3; ++c)
            target[4 * i + 1 + c] = static_cast<uint8_t>(source[3 * i + c] >> 8);
    }
}

void CopyBlueFirst(const uint16_t* __restrict source, uint8_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const uint16_t turned[3] = {source[3 * i + 2], source[3 * i + 1], source[3 * i]};
        std::memcpy(target + 6 * i, turned, sizeof(turned));
    }
}

// The vectoriser finds no good way to turn threes round. Written as shuffles, both kernels cost a
// third of the plain loop or less.

// Eight pixels a turn. Behind 16 a shuffle takes bytes of the second vector, here a low byte of 0.
NVQ_KERNEL void WidenBlueFirst(const std::uint8_t* __restrict source,
                               std::uint16_t* __restrict target, std::size_t pixels) {
    const ByteVector zero = {};
    std::size_t i = 0;
    for (; i + 8 <= pixels; i += 8) {
        const std::uint8_t* from = source + 3 * i;
        std::uint16_t* to = target + 3 * i;
        // clang-format off
        StoreBytes(to, __builtin_shufflevector(LoadBytes(from), zero,
            16, 2, 16, 1, 16, 0, 16, 5, 16, 4, 16, 3, 16, 8, 16, 7));
        StoreBytes(to + 8, __builtin_shufflevector(LoadBytes(from + 4), zero,
            16, 2, 16, 7, 16, 6, 16, 5, 16, 10, 16, 9, 16, 8, 16, 13));
        StoreBytes(to + 16, __builtin_shufflevector(LoadBytes(from + 8), zero,
            16, 8, 16, 7, 16, 12, 16, 11, 16, 10, 16, 15, 16, 14, 16, 13));
        // clang-format on
    }
    for (; i < pixels; ++i) {
        for (std::size_t c = 0; c < 3; ++c)
            target[3 * i + c] = static_cast<std::uint16_t>(source[3 * i + 2 - c] << 8);
    }
}

namespace {

// The high bytes of 16 samples.
inline __attribute__((always_inline)) ByteVector HighBytes(const std::uint16_t* samples) {
    return __builtin_shufflevector(LoadBytes(samples), LoadBytes(samples + 8), 1, 3, 5, 7, 9, 11,
                                   13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}

}  // namespace

// Sixteen pixels a turn: 48 high bytes in three vectors, red first, and out of those three vectors
// blue first. The middle one takes bytes of all three.
NVQ_KERNEL void NarrowBlueFirst(const std::uint16_t* __restrict source,
                                std::uint8_t* __restrict target, std::size_t pixels) {
    std::size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const std::uint16_t* from = source + 3 * i;
        std::uint8_t* to = target + 3 * i;
        const ByteVector a = HighBytes(from);
        const ByteVector b = HighBytes(from + 16);
        const ByteVector c = HighBytes(from + 32);
        // clang-format off
        StoreBytes(to, __builtin_shufflevector(a, b,
            2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 17));
        const ByteVector ab = __builtin_shufflevector(a, b,
            16, 15, 20, 19, 18, 23, 22, 21, 26, 25, 24, 29, 28, 27, 0, 31);
        StoreBytes(to + 16, __builtin_shufflevector(ab, c,
            0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 15));
        StoreBytes(to + 32, __builtin_shufflevector(b, c,
            14, 19, 18, 17, 22, 21, 20, 25, 24, 23, 28, 27, 26, 31, 30, 29));
        // clang-format on
    }
    for (; i < pixels; ++i) {
        for (std::size_t c = 0; c < 3; ++c)
            target[3 * i + c] = static_cast<std::uint8_t>(source[3 * i + 2 - c] >> 8);
    }
}
