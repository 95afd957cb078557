// Palette of an indexed image: the colours that its pixels are numbers of.
#pragma once

#include <cstdint>

struct QLPaletteTable {
    static constexpr std::int32_t kMaxEntries = 256;

    struct Entry {
        std::uint16_t m_index = 0;       // left alone by colour operations
        std::uint16_t m_colors[3] = {};  // red, green, blue, 0 to 255
    };

    std::uint16_t m_count = 0;  // entries in use, from the first on
    Entry m_entries[kMaxEntries] = {};
};
static_assert(sizeof(QLPaletteTable::Entry) == 8);
