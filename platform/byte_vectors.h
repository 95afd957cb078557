// Vectors of 16 bytes, for kernels that move bytes about in ways that the vectoriser does not find.
// Shuffle with __builtin_shufflevector; little-endian samples.
#pragma once

#include <cstdint>
#include <cstring>

using ByteVector = std::uint8_t __attribute__((vector_size(16)));

inline __attribute__((always_inline)) ByteVector LoadBytes(const void* source) {
    ByteVector vector;
    std::memcpy(&vector, source, sizeof(vector));
    return vector;
}

inline __attribute__((always_inline)) void StoreBytes(void* target, ByteVector vector) {
    std::memcpy(target, &vector, sizeof(vector));
}
