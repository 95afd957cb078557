#include "simulator/resampler.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

// Weights count in 1/65536, so that a sum of them times 16-bit light fits 32 bits: one x 65535 is
// below 2^32.
constexpr std::int64_t kOne = 65536;
constexpr std::uint32_t kHalf = kOne / 2;
constexpr std::int64_t kUnitsPerInch = 300;
// Of m_rowIndex: nothing has been made there yet.
constexpr std::int64_t kNoRow = std::numeric_limits<std::int64_t>::min();

// Toward minus infinity, where / goes toward zero: windows may begin left of the medium.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// part / whole in 1/65536, rounded.
std::int64_t Share(std::int64_t part, std::int64_t whole) {
    return (part * kOne * 2 + whole) / (whole * 2);
}

void FillRgb(std::uint16_t* rgb, std::size_t pixels, CRgb color) {
    for (std::size_t i = 0; i < pixels; ++i, rgb += 3) {
        rgb[0] = LightOf(color.m_red);
        rgb[1] = LightOf(color.m_green);
        rgb[2] = LightOf(color.m_blue);
    }
}

}  // namespace

// Lengths are counted in units of which a pixel of the medium has 300 x resolution, and a scanned
// one 300 x dpi: so every edge is a whole number.
CScanAxis::CScanAxis(std::uint32_t count, std::uint32_t resolution, std::int64_t origin,
                     std::uint32_t dpi) {
    const std::int64_t unit = kUnitsPerInch * resolution;
    const std::int64_t length = kUnitsPerInch * dpi;
    const std::int64_t start = origin * resolution * dpi;
    // Squares that coincide with the medium's pixels need no arithmetic.
    m_exact = resolution == dpi && start % unit == 0;
    m_taps.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::int64_t from = start + std::int64_t{i} * length;
        if (dpi >= resolution)
            AddMean(from, length, unit);
        else
            AddBetween(from, length, unit);
    }
    if (count > 0) {
        m_first = m_taps.front().first;
        m_end = m_taps.back().first + m_taps.back().count;
    }
}

// The scanned square covers the medium from `from` on for `length`. A pixel's weight is the part of
// the square up to its end less that up to its begin, both rounded, so that the weights sum up to
// one whatever the rounding was.
void CScanAxis::AddMean(std::int64_t from, std::int64_t length, std::int64_t unit) {
    const std::int64_t first = FloorDiv(from, unit);
    const auto begin = static_cast<std::uint32_t>(m_weights.size());
    std::int64_t before = 0;
    for (std::int64_t pixel = first; before < kOne; ++pixel) {
        const std::int64_t covered = std::min((pixel + 1) * unit - from, length);
        const std::int64_t upTo = Share(covered, length);
        m_weights.push_back(static_cast<std::uint32_t>(upTo - before));
        before = upTo;
    }
    m_taps.push_back({first, begin, static_cast<std::uint32_t>(m_weights.size()) - begin});
}

void CScanAxis::AddBetween(std::int64_t from, std::int64_t length, std::int64_t unit) {
    // Twice the way from the centre of the medium's first pixel to that of the scanned one.
    const std::int64_t twice = 2 * from + length - unit;
    const std::int64_t first = FloorDiv(twice, 2 * unit);
    const std::int64_t behind = Share(twice - first * 2 * unit, 2 * unit);
    m_taps.push_back({first, static_cast<std::uint32_t>(m_weights.size()), 2});
    m_weights.push_back(static_cast<std::uint32_t>(kOne - behind));
    m_weights.push_back(static_cast<std::uint32_t>(behind));
}

// The lid is filled in once around the part of a line that is looked at; lines of the medium then
// overwrite what lies on it.
CResampler::CResampler(CMedium& medium, CScanAxis across, CScanAxis along, CRgb lid)
    : m_medium(medium),
      m_across(std::move(across)),
      m_along(std::move(along)),
      m_rowIndex{kNoRow, kNoRow} {
    m_values.resize(static_cast<std::size_t>(medium.Width()) * 3);
    const std::size_t looked = static_cast<std::size_t>(m_across.End() - m_across.First());
    m_light.resize(looked * 3);
    FillRgb(m_light.data(), looked, lid);
    const std::size_t pixels = m_across.Count();
    for (auto& row : m_rows)
        row.resize(pixels * 3);
    m_sum.resize(pixels * 3);
    m_lidRow.resize(pixels * 3);
    FillRgb(m_lidRow.data(), pixels, lid);
}

void CResampler::ExactLine(std::uint32_t line, std::uint8_t* rgb, std::uint32_t* begin,
                           std::uint32_t* end) {
    const std::int64_t y = m_along.At(line).first;
    const std::int64_t left = m_across.First();  // the medium's pixel of the first scanned one
    const std::int64_t pixels = m_across.Count();
    const std::int64_t from = std::clamp<std::int64_t>(-left, 0, pixels);
    const std::int64_t to = std::clamp<std::int64_t>(m_medium.Width() - left, from, pixels);
    const bool isOnMedium = y >= 0 && y < m_medium.Height();
    *begin = static_cast<std::uint32_t>(from);
    *end = static_cast<std::uint32_t>(isOnMedium ? to : from);
    if (*begin == *end)
        return;
    if (left == 0 && to == m_medium.Width())
        return m_medium.ReadLine(static_cast<std::int32_t>(y), rgb);
    m_medium.ReadLine(static_cast<std::int32_t>(y), m_values.data());
    std::memcpy(rgb + from * 3, m_values.data() + (left + from) * 3,
                static_cast<std::size_t>(to - from) * 3);
}

// The light of the medium's pixels `from` to `to`.
// Without tables the values are the light, and one multiplication does.
void CResampler::Sense(std::int64_t from, std::int64_t to, std::uint16_t* light) const {
    const std::uint8_t* value = m_values.data() + from * 3;
    const std::uint8_t* const end = m_values.data() + to * 3;
    if (const CColorNegative* film = m_medium.Film())
        return film->Light(value, static_cast<std::size_t>(to - from), light);
    const CLightTables* tables = m_medium.Light();
    if (!tables) {
        for (; value < end; ++value)
            *light++ = LightOf(*value);
        return;
    }
    for (; value < end; value += 3, light += 3) {
        light[0] = (*tables)[0][value[0]];
        light[1] = (*tables)[1][value[1]];
        light[2] = (*tables)[2][value[2]];
    }
}

// Across first: a row of the medium becomes one of the scan's width, and is kept for as many
// scanned lines as touch it.
void CResampler::MakeRow(std::int64_t y, std::uint16_t* row) {
    m_medium.ReadLine(static_cast<std::int32_t>(y), m_values.data());
    const std::int64_t from = std::max<std::int64_t>(m_across.First(), 0);
    const std::int64_t to = std::min<std::int64_t>(m_across.End(), m_medium.Width());
    if (from < to)
        Sense(from, to, m_light.data() + (from - m_across.First()) * 3);
    if (m_across.IsExact()) {
        std::copy(m_light.begin(), m_light.end(), row);
        return;
    }
    for (std::uint32_t x = 0; x < m_across.Count(); ++x, row += 3) {
        const CScanAxis::CTaps& taps = m_across.At(x);
        const std::uint16_t* pixel = m_light.data() + (taps.first - m_across.First()) * 3;
        std::uint32_t sum[3] = {kHalf, kHalf, kHalf};
        for (const std::uint32_t weight : m_across.Weights(taps)) {
            sum[0] += weight * pixel[0];
            sum[1] += weight * pixel[1];
            sum[2] += weight * pixel[2];
            pixel += 3;
        }
        row[0] = static_cast<std::uint16_t>(sum[0] >> 16);
        row[1] = static_cast<std::uint16_t>(sum[1] >> 16);
        row[2] = static_cast<std::uint16_t>(sum[2] >> 16);
    }
}

// Lines are asked for in their order and touch neighbours, so two rows are enough: even and odd
// ones have a place each.
const std::uint16_t* CResampler::RowAt(std::int64_t y) {
    if (y < 0 || y >= m_medium.Height())
        return m_lidRow.data();
    const std::size_t place = static_cast<std::size_t>(y % 2);
    if (m_rowIndex[place] != y) {
        MakeRow(y, m_rows[place].data());
        m_rowIndex[place] = y;
    }
    return m_rows[place].data();
}

void CResampler::Line(std::uint32_t line, std::uint16_t* rgb) {
    const CScanAxis::CTaps& taps = m_along.At(line);
    const std::size_t samples = m_sum.size();
    // One row of the medium is all that the line covers.
    if (taps.count == 1) {
        std::copy_n(RowAt(taps.first), samples, rgb);
        return;
    }
    std::uint32_t* __restrict sum = m_sum.data();
    std::fill_n(sum, samples, kHalf);
    std::int64_t y = taps.first;
    for (const std::uint32_t weight : m_along.Weights(taps)) {
        if (weight > 0) {
            const std::uint16_t* __restrict row = RowAt(y);
            for (std::size_t i = 0; i < samples; ++i)
                sum[i] += weight * row[i];
        }
        ++y;
    }
    for (std::size_t i = 0; i < samples; ++i)
        rgb[i] = static_cast<std::uint16_t>(sum[i] >> 16);
}
