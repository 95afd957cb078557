// The palette that an image has of its own: colours are counted in a grid of 16 x 16 x 16 cells,
// the fullest cells become entries by their mean colour, and the others join those.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/palette_table.h"

class CAdaptivePalette {
  public:
    static constexpr int kCells = 4096;
    // Entries made from cells; the rest of a palette is for what a system needs.
    static constexpr int kMostEntries = 240;

    // Counts `count` pixels of three samples, red first.
    void Collect(const std::uint16_t* samples, std::size_t count);
    // Makes the palette, and fills it up with general colours if the image has few. The number of
    // entries that come from the image.
    int Build(QLPaletteTable* table);

  private:
    // A filled cell, or several that have joined.
    struct Mean {
        std::uint64_t m_count = 0;
        double m_inverse = 0.0;
        double m_color[3] = {};
    };
    struct Key {
        std::uint64_t m_count;
        std::uint16_t m_cell;
    };

    int SortCells();
    Mean MeanOf(int place) const;
    static void Join(const Mean& cell, Mean (&top)[kMostEntries]);

    // Count, and sums of the three channels: 2^56 values of 8 bits fit.
    std::uint64_t m_cells[kCells][4] = {};
    Key m_sorted[kCells] = {};  // fullest first
};
