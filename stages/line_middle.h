// What a line kernel of neighbours does with the ends of a line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/target_clones.h"

// The samples that have all their neighbours, `reach` pixels to each side. The others, at both
// ends, are copied.
struct QLLineMiddle {
    NVQ_INLINE QLLineMiddle(const std::uint16_t* source, std::uint16_t* target, std::size_t pixels,
                            std::size_t channels, std::size_t reach) {
        const std::size_t samples = pixels * channels;
        first = std::min(reach * channels, samples);
        last = std::max(first, samples - first);
        std::copy_n(source, first, target);
        std::copy(source + last, source + samples, target + last);
    }
    std::size_t first;
    std::size_t last;  // one behind
};
