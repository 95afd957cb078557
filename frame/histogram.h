// Counts of samples by value: mean and percentiles of an image without the image.
#pragma once

#include <cstdint>
#include <memory>

class CQLLut;

class CQLHistogram {
  public:
    // A 16-bit sample s of a tone statistic is counted in bin s >> kToneShift.
    static constexpr std::int32_t kToneBins = 4096;
    static constexpr int kToneShift = 4;
    // Results on the scale of samples are asked for with this range.
    static constexpr std::int32_t kSampleRange = 65536;

    // Empty. Without memory it has size 0, counts nothing and answers 0.
    explicit CQLHistogram(std::int32_t size);

    std::int32_t Size() const { return m_size; }
    // Size() counts, for loops that keep to it.
    std::uint32_t* Bins() { return m_bins.get(); }
    const std::uint32_t* Bins() const { return m_bins.get(); }

    void Clear();
    // Bins that don't exist hold 0 and count nothing.
    std::uint32_t At(std::int32_t i) const { return Has(i) ? m_bins[i] : 0; }
    void Increment(std::int32_t i) {
        if (Has(i))
            ++m_bins[i];
    }
    // The bins `first` to `last`, both included.
    std::uint64_t Sum(std::int32_t first, std::int32_t last) const;
    std::uint64_t Total() const { return Sum(0, m_size - 1); }

    // The mean bin, as such and on a scale of `n`; 0 when nothing was counted.
    double Mean() const;
    double MeanScaled(std::int32_t n) const;
    // The bin at which the counts from bin 0 upwards, or from the top bin downwards, reach `p`
    // percent of all, as such and on a scale of `n`.
    std::int32_t LowPercentile(double p) const;
    std::int32_t HighPercentile(double p) const;
    std::int32_t LowPercentileScaled(double p, std::int32_t n) const;
    std::int32_t HighPercentileScaled(double p, std::int32_t n) const;
    // Percent of all counts in the bins up to `i`, or up to that of `x` on a scale of `range`.
    double CumulativePercent(std::int32_t i) const;
    double CumulativePercentAt(std::int32_t x, std::int32_t range) const;

    // Becomes the histogram that `source`, of the same size, would be had its samples gone through
    // `lut`, a larger table: all of a source bin goes where its lowest sample goes. Empty when the
    // sizes don't fit.
    void RemapFrom(const CQLLut& lut, const CQLHistogram& source);

  private:
    bool Has(std::int32_t i) const { return i >= 0 && i < m_size; }
    std::int32_t Scaled(std::int32_t bin, std::int32_t n) const;

    std::int32_t m_size = 0;
    std::unique_ptr<std::uint32_t[]> m_bins;
};
