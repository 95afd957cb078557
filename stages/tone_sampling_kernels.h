// Line kernel of the sampling for tone analysers.
#pragma once

#include <cstddef>
#include <cstdint>

struct QLSampleRange {
    std::int32_t m_least = 65535;
    std::int32_t m_most = 0;
};

// The least and the greatest of some samples.
QLSampleRange FindRange(const std::uint16_t* samples, std::size_t count);
