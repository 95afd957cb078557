#include "stages/adaptive_palette.h"

#include <algorithm>
#include <utility>

#include "frame/fixed_point.h"
#include "stages/palette_kernels.h"

namespace {

// The farthest that a cell can be from the entry that it joins.
constexpr double kFarthest = 1.96608e12;

}  // namespace

void CAdaptivePalette::Collect(const std::uint16_t* samples, std::size_t count) {
    CountColors(samples, count, &m_cells[0][0]);
}

// By exchange of each place with every fuller one behind it. That isn't stable: cells that are
// alike come out in an order of their own, which decides who is an entry and who joins whom. It
// ends at the first empty cell.
int CAdaptivePalette::SortCells() {
    for (std::uint16_t i = 0; i < kCells; ++i)
        m_sorted[i] = {m_cells[i][0], i};
    for (int i = 0; i < kCells; ++i) {
        Key top = m_sorted[i];
        for (int j = i + 1; j < kCells; ++j) {
            if (m_sorted[j].m_count > top.m_count)
                std::swap(m_sorted[j], top);
        }
        m_sorted[i] = top;
        if (top.m_count == 0)
            return i;
    }
    return kCells;
}

CAdaptivePalette::Mean CAdaptivePalette::MeanOf(int place) const {
    const auto& cell = m_cells[m_sorted[place].m_cell];
    Mean mean = {cell[0], 1.0 / static_cast<double>(cell[0]), {}};
    for (int c = 0; c < 3; ++c)
        mean.m_color[c] = static_cast<double>(cell[c + 1]) * mean.m_inverse;
    return mean;
}

// What a join costs: the squared distance, weighted by the counts of both. Of equal ones the
// earlier entry.
void CAdaptivePalette::Join(const Mean& cell, Mean (&top)[kMostEntries]) {
    Mean* nearest = top;
    double least = kFarthest;
    for (Mean& entry : top) {
        double squares = 0.0;
        for (int c = 0; c < 3; ++c) {
            const double difference = entry.m_color[c] - cell.m_color[c];
            squares += difference * difference;
        }
        const double cost = squares / (cell.m_inverse + entry.m_inverse);
        if (cost < least) {
            least = cost;
            nearest = &entry;
        }
    }
    const auto cellCount = static_cast<double>(cell.m_count);
    const auto entryCount = static_cast<double>(nearest->m_count);
    for (int c = 0; c < 3; ++c) {
        nearest->m_color[c] = (cellCount * cell.m_color[c] + entryCount * nearest->m_color[c]) /
                              (cellCount + entryCount);
    }
    nearest->m_count += cell.m_count;
    nearest->m_inverse = 1.0 / static_cast<double>(nearest->m_count);
}

int CAdaptivePalette::Build(QLPaletteTable* table) {
    const int filled = SortCells();
    const int entries = std::min(filled, kMostEntries);
    Mean top[kMostEntries];
    for (int i = 0; i < entries; ++i)
        top[i] = MeanOf(i);
    for (int i = entries; i < filled; ++i)
        Join(MeanOf(i), top);
    InitIdentity(table);
    for (int i = 0; i < entries; ++i) {
        const double* color = top[i].m_color;
        AddColor(table, RoundToI32(color[0]), RoundToI32(color[1]), RoundToI32(color[2]));
    }
    if (entries < kMostEntries)
        FillRest(table);
    return entries;
}
