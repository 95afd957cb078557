// Line kernels of the removal of streaks. They work on planes: all samples of one channel of a line
// side by side, in the root domain, where x stands for x x / 65536.
#pragma once

#include <cstddef>
#include <cstdint>

using QLRoots = const std::uint16_t* __restrict;

// A line of pixels to planes of roots: the truncated square root of x * 65536. Plane k begins at
// roots + k * pixels.
void RootLine(const std::uint16_t* __restrict line, std::uint16_t* __restrict roots,
              std::size_t pixels, std::size_t channels);
// The way back, of pixels `first` to `last` - 1 into a line of pixels: x * x / 65536.
void SquareLine(QLRoots roots, std::uint16_t* __restrict line, std::size_t pixels,
                std::size_t channels, std::size_t first, std::size_t last);

// What sharpens a plane: `smooth` gets 1000 times the weighed mean of five pixels that stand
// `spacing` apart, weighed 138 222 280 222 138, or the pixel itself where there aren't five.
void SmoothRoots(QLRoots plane, std::int32_t* __restrict smooth, std::size_t pixels,
                 std::size_t spacing);
// The term that is added to each pixel from 2 * spacing on up to pixels - 2 * spacing, rounded
// down: `strength` times the mean of how far the plane lies above `smooth` here and `spacing` to
// both sides. Each of the three is weighed by min(1, 3 / (d - m + 1)), d being how far that smooth
// value is from this pixel and m the least of the three d.
void SharpenTerms(QLRoots plane, const std::int32_t* __restrict smooth,
                  std::int32_t* __restrict terms, std::size_t pixels, std::size_t spacing,
                  double strength);

// The mean of the samples of a column over three or five lines of one plane, `lines` of them,
// truncated after the division by `count` squared: a column's share of a square window's mean.
void ColumnShares(const std::uint16_t* const* lines, int count, std::int32_t* __restrict shares,
                  std::size_t pixels);
// The mean of a window of `count` columns around each of the pixels `first` to `last` - 1: the sum
// of its columns' shares and `rest`, which they lost by truncation.
void WindowMeans(const std::int32_t* __restrict shares, int count, std::int32_t rest,
                 std::int32_t* __restrict means, std::size_t first, std::size_t last);

// plane + terms, held within 16 bits.
void AddTerms(QLRoots plane, const std::int32_t* __restrict terms, std::uint16_t* __restrict out,
              std::size_t first, std::size_t last);
// means - detailMeans + detail + terms, held within 16 bits: a channel rebuilt from another one.
void RebuildPlane(const std::int32_t* __restrict means, const std::int32_t* __restrict detailMeans,
                  QLRoots detail, const std::int32_t* __restrict terms,
                  std::uint16_t* __restrict out, std::size_t first, std::size_t last);

// What limits the rebuilding of channels 0 and 1 from channel 2.
struct QLStreakLimits {
    std::int32_t restriction = 0;  // 0 to 5
    std::int32_t difference = 0;   // of a pixel from its mean
    std::int32_t level = 0;        // of a mean
};
// Planes, means and results of the three channels.
struct QLStreakPlanes {
    const std::uint16_t* roots[3];
    const std::int32_t* means[3];
    std::uint16_t* out[3];
};
// Rebuilds channels 0 and 1 from channel 2 where the limits allow it:
//
//   0  everywhere
//   1  where the pixel is near its mean
//   2  and where not both the mean is at or above the level and channel 2's mean no more than it
//   3  where the pixel is near its mean, and below it
//   4  as 2, where it holds for both channels; without the sharpening term then
//   5  the same, and shows where in white
void RebuildFromThird(const QLStreakPlanes& planes, const std::int32_t* __restrict terms,
                      const QLStreakLimits& limits, std::size_t first, std::size_t last);
