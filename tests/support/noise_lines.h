// Lines of bytes that repeat in no simple way.
#pragma once

#include <cstdint>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline Bytes Noise(std::size_t count, std::uint32_t seed = 7) {
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<std::uint8_t>(seed >> 24);
    }
    return bytes;
}

// Packed lines of `bytes` each as bitmap rows, each filled up with `filler`.
inline Bytes Padded(const Bytes& packed, std::size_t bytes, std::uint8_t filler) {
    Bytes rows;
    for (std::size_t i = 0; i < packed.size(); ++i) {
        rows.push_back(packed[i]);
        if ((i + 1) % bytes == 0)
            rows.resize((rows.size() + 3) / 4 * 4, filler);
    }
    return rows;
}
