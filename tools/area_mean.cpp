#include "tools/area_mean.h"

#include <algorithm>
#include <numeric>

namespace {

// Sums of the pixels that lie under each pixel of the result, by their parts.
template <std::size_t kChannels>
void SumPixels(const std::uint8_t* pixel, CSizeRatio ratio, std::span<std::uint32_t> line) {
    auto left = static_cast<std::uint32_t>(ratio.to);  // parts of the present pixel
    for (std::size_t x = 0; x < line.size(); x += kChannels) {
        std::uint32_t sums[kChannels] = {};
        auto missing = static_cast<std::uint32_t>(ratio.from);
        while (missing > 0) {
            const std::uint32_t weight = std::min(left, missing);
            for (std::size_t i = 0; i < kChannels; ++i)
                sums[i] += weight * pixel[i];
            missing -= weight;
            left -= weight;
            if (left == 0) {
                pixel += kChannels;
                left = static_cast<std::uint32_t>(ratio.to);
            }
        }
        std::copy_n(sums, kChannels, line.begin() + static_cast<std::ptrdiff_t>(x));
    }
}

}  // namespace

// Both grids stand on a finer one that they share: a pixel of the source has `to` of its parts each
// way and one of the result `from`, so that every weight is a whole number.

CSizeRatio::CSizeRatio(std::int32_t fromPixels, std::int32_t toPixels, std::int32_t pixels) {
    const std::int32_t common = std::gcd(fromPixels, toPixels);
    from = fromPixels / common;
    to = toPixels / common;
    if (Of(pixels) < 1) {
        from = pixels;
        to = 1;
    }
}

CAreaMean::CAreaMean(int bits, std::uint8_t ink, std::int32_t width, CSizeRatio across,
                     CSizeRatio along)
    : m_isBits(bits == 1),
      m_ink(ink),
      m_channels(bits == 24 ? 3 : 1),
      m_across(across),
      m_along(along),
      m_missing(along.from),
      m_samples(m_isBits ? static_cast<std::size_t>(width) : 0),
      m_line(static_cast<std::size_t>(across.Of(width)) * m_channels),
      m_sums(m_line.size()),
      m_row(m_isBits ? (m_line.size() + 7) / 8 : m_line.size()) {}

// A row is no higher than one of the result, so it completes one at most.
std::span<const std::uint8_t> CAreaMean::Add(const std::uint8_t* row) {
    SumAcross(row);
    const std::int32_t weight = std::min(m_along.to, m_missing);
    AddSums(weight);
    m_missing -= weight;
    if (m_missing > 0)
        return {};
    MakeRow();
    std::ranges::fill(m_sums, 0);
    AddSums(m_along.to - weight);
    m_missing = m_along.from - (m_along.to - weight);
    return m_row;
}

// Single bits become samples, of which ink is 1.
void CAreaMean::SumAcross(const std::uint8_t* row) {
    for (std::size_t x = 0; x < m_samples.size(); ++x)
        m_samples[x] = ((row[x / 8] >> (7 - x % 8)) & 1) == m_ink ? 1 : 0;
    if (m_channels == 3)
        SumPixels<3>(row, m_across, m_line);
    else
        SumPixels<1>(m_isBits ? m_samples.data() : row, m_across, m_line);
}

void CAreaMean::AddSums(std::int32_t weight) {
    for (std::size_t i = 0; i < m_sums.size(); ++i)
        m_sums[i] += std::uint64_t{m_line[i]} * static_cast<std::uint32_t>(weight);
}

void CAreaMean::MakeRow() {
    const auto area =
        static_cast<std::uint64_t>(m_across.from) * static_cast<std::uint64_t>(m_along.from);
    if (!m_isBits) {
        std::ranges::transform(m_sums, m_row.begin(), [area](std::uint64_t sum) {
            return static_cast<std::uint8_t>((sum + area / 2) / area);
        });
        return;
    }
    std::ranges::fill(m_row, 0);
    for (std::size_t x = 0; x < m_sums.size(); ++x) {
        const bool isInk = 3 * m_sums[x] >= area;
        if (isInk == (m_ink == 1))
            m_row[x / 8] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
    }
}
