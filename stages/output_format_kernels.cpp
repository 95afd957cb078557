#include "stages/output_format_kernels.h"

#include "platform/target_clones.h"

NVQ_KERNEL void TakeGreen(const std::uint16_t* __restrict pixels, std::uint16_t* __restrict gray,
                          std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        gray[i] = pixels[3 * i + 1];
}
