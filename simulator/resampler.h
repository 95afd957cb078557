// From a medium's pixels to the pixels of a scan.
//
// The medium lies in an endless plane of lid. A scanned pixel is the square of its resolution's
// size; across and along are treated alike, one after the other, with 16-bit light.
//
// - Where the medium is as fine as the scan or finer, a scanned pixel is the mean of what its
//   square covers: a pixel of the medium counts by the part of the square that it fills.
// - Where the medium is coarser, a scanned pixel lies between the centres of two of the medium's,
//   and is their mean, weighted by the distances.
// - At the medium's own resolution, with a window that begins on a whole pixel, both give the
//   medium's pixels themselves.
//
// Weights are whole numbers of 1/65536 that sum up to exactly one: of the sums of the true weights
// from the first on, each rounded to the nearest. A result is the sum of weight x light, rounded.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "simulator/medium.h"

// How one direction of a scan is put together.
class CScanAxis {
  public:
    struct CTaps {
        std::int64_t first;   // pixel of the medium; may lie outside
        std::uint32_t begin;  // of its weights
        std::uint32_t count;
    };

    // `count` scanned pixels at `resolution`, the first `origin` 1/300 inch behind the medium's
    // edge, from a medium of `dpi`.
    CScanAxis(std::uint32_t count, std::uint32_t resolution, std::int64_t origin,
              std::uint32_t dpi);

    const CTaps& At(std::size_t index) const { return m_taps[index]; }
    std::span<const std::uint32_t> Weights(const CTaps& taps) const {
        return {m_weights.data() + taps.begin, taps.count};
    }
    std::uint32_t Count() const { return static_cast<std::uint32_t>(m_taps.size()); }
    // Each scanned pixel is one pixel of the medium, in a row.
    bool IsExact() const { return m_exact; }
    // Of all pixels that are looked at.
    std::int64_t First() const { return m_first; }
    std::int64_t End() const { return m_end; }

  private:
    void AddMean(std::int64_t from, std::int64_t length, std::int64_t unit);
    void AddBetween(std::int64_t from, std::int64_t length, std::int64_t unit);

    std::vector<CTaps> m_taps;
    std::vector<std::uint32_t> m_weights;
    bool m_exact = false;
    std::int64_t m_first = 0;
    std::int64_t m_end = 0;
};

// Gives the lines of a window one after the other.
class CResampler {
  public:
    // The medium outlives this.
    CResampler(CMedium& medium, CScanAxis across, CScanAxis along, CRgb lid);

    // Line `line`, red, green, blue of 16 bits; lines are asked for in their order.
    void Line(std::uint32_t line, std::uint16_t* rgb);
    // The medium's values stand in the lines as they are, each for itself; ExactLine can be used
    // instead.
    bool IsExact() const { return m_across.IsExact() && m_along.IsExact() && !m_medium.Film(); }
    // The values of a line, before the medium's light tables, for the pixels that lie on the
    // medium; the others, outside `begin` to `end`, are left as they are.
    void ExactLine(std::uint32_t line, std::uint8_t* rgb, std::uint32_t* begin, std::uint32_t* end);

    std::uint32_t Pixels() const { return m_across.Count(); }
    std::uint32_t Lines() const { return m_along.Count(); }

  private:
    const std::uint16_t* RowAt(std::int64_t y);
    void Sense(std::int64_t from, std::int64_t to, std::uint16_t* light) const;
    void MakeRow(std::int64_t y, std::uint16_t* row);

    CMedium& m_medium;
    const CScanAxis m_across;
    const CScanAxis m_along;
    std::vector<std::uint8_t> m_values;  // a line of the medium
    std::vector<std::uint16_t> m_light;  // the part of it that is looked at, with lid around
    // Rows that are right across, and not yet along. Two neighbours are needed at once.
    std::vector<std::uint16_t> m_rows[2];
    std::int64_t m_rowIndex[2];
    std::vector<std::uint16_t> m_lidRow;
    std::vector<std::uint32_t> m_sum;
};
