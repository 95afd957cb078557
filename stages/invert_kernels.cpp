#include "stages/invert_kernels.h"

#include "platform/target_clones.h"

NVQ_KERNEL void ComplementBytes(std::uint8_t* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(~bytes[i]);
}
