#include "stages/turn_kernels.h"

#include <algorithm>

#include "platform/target_clones.h"

namespace {

// Source rows of a tile. Each gives a few pixels that lie side by side in one or two cache lines,
// and is visited once for every target row: 64 x 64 bytes stay in the first cache meanwhile.
constexpr std::size_t kTileRows = 64;

template <std::size_t kSamples>
inline void Reverse(const std::uint16_t* __restrict source, std::uint16_t* __restrict target,
                    std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < kSamples; ++c)
            target[kSamples * i + c] = source[kSamples * (count - 1 - i) + c];
    }
}

template <std::size_t kSamples>
inline void Turn(const std::uint16_t* __restrict source, std::ptrdiff_t step,
                 std::ptrdiff_t columnStep, std::uint16_t* __restrict target, std::size_t width,
                 std::size_t lines) {
    for (std::size_t begin = 0; begin < width; begin += kTileRows) {
        const std::size_t end = std::min(begin + kTileRows, width);
        for (std::size_t j = 0; j < lines; ++j) {
            const std::uint16_t* column = source + static_cast<std::ptrdiff_t>(j) * columnStep;
            std::uint16_t* row = target + kSamples * width * j;
            for (std::size_t i = begin; i < end; ++i) {
                for (std::size_t c = 0; c < kSamples; ++c)
                    row[kSamples * i + c] = column[static_cast<std::ptrdiff_t>(i) * step +
                                                   static_cast<std::ptrdiff_t>(c)];
            }
        }
    }
}

// The bits of a byte in the opposite order: halves, pairs and single bits change places.
inline std::uint8_t ReverseByte(std::uint32_t b) {
    b = (b & 0x0F) << 4 | (b & 0xF0) >> 4;
    b = (b & 0x33) << 2 | (b & 0xCC) >> 2;
    return static_cast<std::uint8_t>((b & 0x55) << 1 | (b & 0xAA) >> 1);
}

}  // namespace

NVQ_KERNEL void ReversePixels(const std::uint16_t* source, std::uint16_t* target,
                              std::size_t count) {
    Reverse<3>(source, target, count);
}

NVQ_KERNEL void ReverseGray(const std::uint16_t* source, std::uint16_t* target, std::size_t count) {
    Reverse<1>(source, target, count);
}

// Bytes and their bits turned round bring the padding to the front; moving all bits up by its
// length puts the first pixel into bit 7 again.
void ReverseBits(std::uint8_t* line, std::size_t width) {
    const std::size_t bytes = (width + 7) / 8;
    if (bytes == 0)
        return;
    const auto padding = static_cast<std::uint32_t>(8 * bytes - width);
    const std::uint8_t last = line[bytes - 1];
    std::reverse(line, line + bytes);
    for (std::size_t i = 0; i < bytes; ++i)
        line[i] = ReverseByte(line[i]);
    if (padding == 0)
        return;
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::uint32_t next = i + 1 < bytes ? line[i + 1] : 0;
        line[i] = static_cast<std::uint8_t>((std::uint32_t{line[i]} << 8 | next) >> (8 - padding));
    }
    const auto mask = static_cast<std::uint8_t>((1u << padding) - 1);
    line[bytes - 1] = static_cast<std::uint8_t>((line[bytes - 1] & ~mask) | (last & mask));
}

NVQ_KERNEL void TurnPixels(const std::uint16_t* source, std::ptrdiff_t step,
                           std::ptrdiff_t columnStep, std::uint16_t* target, std::size_t width,
                           std::size_t lines) {
    Turn<3>(source, step, columnStep, target, width, lines);
}

NVQ_KERNEL void TurnGray(const std::uint16_t* source, std::ptrdiff_t step,
                         std::ptrdiff_t columnStep, std::uint16_t* target, std::size_t width,
                         std::size_t lines) {
    Turn<1>(source, step, columnStep, target, width, lines);
}
