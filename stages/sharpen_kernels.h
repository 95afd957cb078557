// Line kernels of sharpening. Each makes one line of `pixels` pixels of `channels` samples, 3 or 1;
// its first and its last pixel are those of `centre`. u and d are the samples above and below c, l
// and r those of the pixels to its left and right.
#pragma once

#include <cstddef>
#include <cstdint>

// Samples that are made together: a whole number of pixels and of vectors.
inline constexpr std::size_t kSharpenRun = 48;

// The most that a sample is moved, a quarter of full scale.
inline constexpr std::uint16_t kMostSharpenResponse = 16384;

// How strongly each sample of a run is sharpened. The response to a difference i is
// factor * i / 2^32, rounded down, at most kMostSharpenResponse.
struct QLSharpenFactors {
    std::uint16_t high[kSharpenRun];  // upper half of the factor
    std::uint16_t low[kSharpenRun];
    std::uint16_t flip[kSharpenRun];  // 0xFFFF where it softens instead, else 0
};

// With e = 4c - u - d - l - r, held within -65535 to 65535: c plus the response to e, or minus that
// to -e - 1 where e is below 0; held within 16 bits.
void SharpenByFactor(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                     const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                     std::size_t pixels, std::size_t channels, const QLSharpenFactors& factors);

// The same with the signed response to e read from a table for each channel, at its middle.
void SharpenByTable(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                    const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                    std::size_t pixels, std::size_t channels,
                    const std::int32_t* const (&responses)[3]);

// What becomes of samples of a range of tones: (own * c + around * (u + d + l + r)) / 8, rounded
// down, held within 16 bits.
struct QLToneStep {
    std::int32_t own;
    std::int32_t around;
};
inline constexpr std::size_t kToneRanges = 5;
struct QLToneSteps {
    std::int32_t breaks[kToneRanges - 1];  // the least sample of each range, from the top
    QLToneStep steps[kToneRanges];
};
void SharpenByTone(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                   const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                   std::size_t pixels, std::size_t channels, const QLToneSteps& tones);
// The same, of samples other than the mean of l and r, rounded down; that one stays.
void SharpenDetail(const std::uint16_t* __restrict up, const std::uint16_t* __restrict centre,
                   const std::uint16_t* __restrict down, std::uint16_t* __restrict out,
                   std::size_t pixels, std::size_t channels, const QLToneSteps& tones);
