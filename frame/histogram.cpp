#include "frame/histogram.h"

#include <algorithm>
#include <cmath>

#include "frame/fixed_point.h"
#include "frame/lut.h"
#include "frame/try_new.h"

CQLHistogram::CQLHistogram(std::int32_t size) {
    if (size > 0)
        m_bins = TryNewArray<std::uint32_t>(static_cast<std::size_t>(size));
    if (m_bins)
        m_size = size;
}

void CQLHistogram::Clear() {
    std::fill_n(m_bins.get(), m_size, 0U);
}

std::uint64_t CQLHistogram::Sum(std::int32_t first, std::int32_t last) const {
    std::uint64_t sum = 0;
    for (std::int32_t i = std::max(first, 0); i <= std::min(last, m_size - 1); ++i)
        sum += m_bins[i];
    return sum;
}

// Doubles hold both sums exactly: 2^32 pixels in bin 65535 make 2^48.
double CQLHistogram::Mean() const {
    std::uint64_t total = 0;
    double weighted = 0.0;
    for (std::int32_t i = 0; i < m_size; ++i) {
        total += m_bins[i];
        weighted += static_cast<double>(m_bins[i]) * i;
    }
    return total == 0 ? 0.0 : weighted / static_cast<double>(total);
}

double CQLHistogram::MeanScaled(std::int32_t n) const {
    return m_size == 0 ? 0.0 : Mean() * n / m_size;
}

// The bin that reaches the share, at least the first one looked at; the last one when the share is
// more than all.
std::int32_t CQLHistogram::LowPercentile(double p) const {
    const double target = p / 100.0 * static_cast<double>(Total());
    std::uint64_t sum = 0;
    for (std::int32_t i = 0; i < m_size; ++i) {
        sum += m_bins[i];
        if (!(static_cast<double>(sum) < target))
            return i;
    }
    return std::max(m_size - 1, 0);
}

std::int32_t CQLHistogram::HighPercentile(double p) const {
    const double target = p / 100.0 * static_cast<double>(Total());
    std::uint64_t sum = 0;
    for (std::int32_t i = m_size - 1; i >= 0; --i) {
        sum += m_bins[i];
        if (!(static_cast<double>(sum) < target))
            return i;
    }
    return 0;
}

std::int32_t CQLHistogram::Scaled(std::int32_t bin, std::int32_t n) const {
    return m_size == 0 ? 0 : RoundToI32(static_cast<double>(bin) * n / m_size);
}

std::int32_t CQLHistogram::LowPercentileScaled(double p, std::int32_t n) const {
    return Scaled(LowPercentile(p), n);
}

std::int32_t CQLHistogram::HighPercentileScaled(double p, std::int32_t n) const {
    return Scaled(HighPercentile(p), n);
}

double CQLHistogram::CumulativePercent(std::int32_t i) const {
    const std::uint64_t total = Total();
    if (total == 0)
        return 0.0;
    const std::uint64_t sum = Sum(0, std::clamp(i, 0, m_size - 1));
    return static_cast<double>(sum) * 100.0 / static_cast<double>(total);
}

double CQLHistogram::CumulativePercentAt(std::int32_t x, std::int32_t range) const {
    return CumulativePercent(RoundToI32(static_cast<double>(x) / range * m_size));
}

void CQLHistogram::RemapFrom(const CQLLut& lut, const CQLHistogram& source) {
    if (&source == this)
        return;
    Clear();
    if (m_size == 0 || source.m_size != m_size || lut.Size() < m_size)
        return;
    const int shift = TruncToI32(std::log2(static_cast<double>(lut.Size()) / m_size) + 0.5);
    // The shift is rounded where the sizes are no power of two apart: it may lead beyond the table.
    const std::int64_t last = lut.Size() - 1;
    for (std::int32_t i = 0; i < m_size; ++i) {
        const std::int64_t entry = std::min(std::int64_t{i} << shift, last);
        const std::int32_t target = lut.At(static_cast<std::int32_t>(entry)) >> shift;
        if (Has(target))
            m_bins[target] += source.m_bins[i];
    }
}
