// Rounding, truncating and narrowing, each once. Doubles never become integers unguarded: a value
// that the target cannot hold is held at its ends, not-a-number becomes 0.
#pragma once

#include <cstdint>
#include <limits>

constexpr std::int32_t TruncToI32(double x) {
    if (x != x)
        return 0;
    if (x <= -2147483648.0)
        return std::numeric_limits<std::int32_t>::min();
    if (x >= 2147483647.0)
        return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(x);
}

// Truncated towards zero into 0 to 65535.
constexpr std::uint16_t TruncToU16(double x) {
    if (!(x > 0.0))
        return 0;
    return x >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(x);
}

// x + 0.5, truncated towards zero.
constexpr std::int32_t RoundToI32(double x) {
    return TruncToI32(x + 0.5);
}

constexpr std::int32_t Clamp(std::int64_t x, std::int32_t low, std::int32_t high) {
    if (x < low)
        return low;
    return x > high ? high : static_cast<std::int32_t>(x);
}

inline constexpr std::int32_t kSampleMax = 65535;

// A sample of the internal 16-bit form. In two steps, of which the compiler makes a maximum and a
// minimum of vectors.
constexpr std::uint16_t ClampSample(std::int32_t x) {
    const std::int32_t raised = x < 0 ? 0 : x;
    return static_cast<std::uint16_t>(raised > kSampleMax ? kSampleMax : raised);
}
