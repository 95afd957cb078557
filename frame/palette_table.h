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

// What QL_ATTR_PALETTE_KIND holds. With any other value the palette in force stays.
enum QLPaletteKind : std::int32_t {
    QL_PALETTE_SYSTEM = 1,
    QL_PALETTE_CUBE = 2,
    QL_PALETTE_ADAPTIVE = 3,
    QL_PALETTE_USER = 4,
};

// No entries in use; all are black, each with its position as its index. So begin the fixed
// palettes.
void InitIdentity(QLPaletteTable* table);
// The 216 colours of six steps a channel, from white to black; blue changes fastest.
void FillCube(QLPaletteTable* table);
// The cube, the sixteen classic colours that it lacks, and ramps of gray, red, green and blue: 256.
void FillSystem(QLPaletteTable* table);
// `count` grays (0 to 256) from black up in steps of 256 / (count - 1), of 1 with 256.
void FillGrayRamp(QLPaletteTable* table, std::int32_t count);
bool Contains(const QLPaletteTable& table, int red, int green, int blue);
// Adds a colour behind the last, if there is room.
void AddColor(QLPaletteTable* table, int red, int green, int blue);
// Adds what a general palette has to a short one, as far as it has room and hasn't got it yet.
void FillRest(QLPaletteTable* table);
// Makes a table from outside one that can be used: at most 256 entries, colours of 8 bits, and
// indices that name each entry in use once. Where they don't, positions take their place.
void MakeSound(QLPaletteTable* table);
