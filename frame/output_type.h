// The data type of the result: what QL_ATTR_OUTPUT_TYPE holds.
#pragma once

#include <cstdint>

enum QLOutputType : std::int32_t {
    QL_OUTPUT_LINE_ART = 0,
    QL_OUTPUT_HALFTONE = 1,
    QL_OUTPUT_GRAY = 2,
    QL_OUTPUT_COLOR = 3,
    QL_OUTPUT_INDEXED = 4,
};
inline constexpr std::int32_t kOutputTypes = 5;

constexpr bool HasColors(std::int32_t type) {
    return type == QL_OUTPUT_COLOR || type == QL_OUTPUT_INDEXED;
}
// Whether tone and exposure are set on its way: dots stand for the tones of gray.
constexpr bool HasTones(std::int32_t type) {
    return HasColors(type) || type == QL_OUTPUT_GRAY || type == QL_OUTPUT_HALFTONE;
}
