// How strongly sharpening answers to the difference between a sample and its neighbours.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "frame/image_format.h"
#include "frame/lut.h"
#include "stages/sharpen_kernels.h"

// What a strength in percent comes to, as the response to a difference of 1: (strength / 100)^1.5;
// a negative one softens, at half of that. The format may boost it.
double SharpenSlope(std::int32_t strength, const QLImageFormat& format);

// The responses of a line's channels, made at open and released at close.
//
// Each is a curve over differences, slope times i rounded down, at most a quarter of full scale, so
// that a hard edge doesn't ring. Below 0 it lags by one: R(-1) is -R(0).
class CSharpenResponse {
  public:
    // One slope for all channels, or one for each. False without memory.
    bool Build(std::span<const double> slopes);
    void Release();
    // Sharpens `centre`, the line between the other two, into `out`.
    void Apply(const std::uint16_t* up, const std::uint16_t* centre, const std::uint16_t* down,
               std::uint16_t* out, const QLImageFormat& format) const;

    // True when all responses are products with a factor of 32 bits, which saves their tables.
    bool IsProduct() const { return m_isProduct; }

  private:
    static constexpr std::size_t kChannels = 3;

    bool FillTable(std::size_t channel, const CQLLut& strengthCurve, bool softens);

    bool m_isProduct = false;
    QLSharpenFactors m_factors;
    // Signed, over differences of -65536 to 65535. Of one channel for all, or of each.
    std::unique_ptr<std::int32_t[]> m_response[kChannels];
};
