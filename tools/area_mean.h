// Pictures made smaller, row by row, by the mean of the area that becomes a pixel.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

// `from` pixels become `to` pixels, at most as many. What doesn't fill a pixel at the far edge is
// left out.
struct CSizeRatio {
    CSizeRatio() = default;
    // Without common factors; 1 to 1'000'000 each. `pixels` are all that there are: fewer than
    // one pixel needs become one.
    CSizeRatio(std::int32_t fromPixels, std::int32_t toPixels, std::int32_t pixels);

    std::int32_t Of(std::int64_t pixels) const {
        return static_cast<std::int32_t>(pixels * to / from);
    }

    std::int32_t from = 1;
    std::int32_t to = 1;
};

// A pixel's value is the exact mean of what lies under it, rounded to nearest: pixels that it
// covers in part count by that part. Holds one row, whatever the picture's height.
class CAreaMean {
  public:
    // `bits` a pixel: 8 and 24 are one and three samples; of single bits the value `ink` wins with
    // a third of the area, so that a stroke of one pixel stays whole.
    CAreaMean(int bits, std::uint8_t ink, std::int32_t width, CSizeRatio across, CSizeRatio along);

    // A row of `width` pixels. Gives back the row that it completes, or nothing; its bytes are
    // there until the next call.
    std::span<const std::uint8_t> Add(const std::uint8_t* row);

  private:
    void SumAcross(const std::uint8_t* row);
    void AddSums(std::int32_t weight);
    void MakeRow();

    const bool m_isBits;
    const std::uint8_t m_ink;
    const std::size_t m_channels;
    const CSizeRatio m_across;
    const CSizeRatio m_along;
    std::int32_t m_missing;  // of the present row of the result, in parts of a row
    std::vector<std::uint8_t> m_samples;
    std::vector<std::uint32_t> m_line;
    std::vector<std::uint64_t> m_sums;
    std::vector<std::uint8_t> m_row;
};
