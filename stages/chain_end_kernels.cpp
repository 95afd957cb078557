#include "stages/chain_end_kernels.h"

#include "platform/target_clones.h"

NVQ_KERNEL void TakeGreen(const std::uint16_t* __restrict pixels, std::uint16_t* __restrict gray,
                          std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        gray[i] = pixels[3 * i + 1];
}

NVQ_KERNEL void ComplementBytes(std::uint8_t* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(~bytes[i]);
}
