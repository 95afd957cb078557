#include "frame/lut.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

constexpr double kNeutralGammaLow = 0.99;
constexpr double kNeutralGammaHigh = 1.01;
constexpr double kSameGamma = 0.001;
// Black of the sRGB curve: below it a line, above it a power.
constexpr double kSrgbBreak = 0.00304;

bool IsNeutralGamma(double gamma) {
    return gamma >= kNeutralGammaLow && gamma <= kNeutralGammaHigh;
}

// A gamma that has an inverse: 0, negative values and not-a-number have none.
double UsableGamma(double gamma) {
    constexpr double kSmallest = 1.0 / 65536.0;
    return gamma > kSmallest ? gamma : kSmallest;
}

}  // namespace

CQLLut::CQLLut(std::int32_t size, std::int32_t kind) : m_kind(kind) {
    if (size > 0)
        m_table = TryNewRaw<std::uint16_t>(static_cast<std::size_t>(size));
    if (m_table)
        m_size = size;
    SetIdentity();
}

std::unique_ptr<CQLLut> CQLLut::MakeFull(std::int32_t kind) {
    auto lut = TryNew<CQLLut>(kFullSize, kind);
    if (lut && !lut->Table())
        lut.reset();
    return lut;
}

void CQLLut::MarkEdited() {
    m_identity = false;
    m_curveReady = false;
    m_monotonic = false;
    m_monotonicStale = true;
}

void CQLLut::Set(std::int32_t index, std::uint16_t value) {
    if (index < 0 || index >= m_size)
        return;
    m_table[index] = value;
    if (value != index)
        m_identity = false;
    m_monotonicStale = true;
}

void CQLLut::SetIdentity() {
    if (!m_table || m_identity)
        return;
    for (std::int32_t i = 0; i < m_size; ++i)
        m_table[i] = static_cast<std::uint16_t>(i);
    m_monotonic = true;
    m_monotonicStale = false;
    m_identity = true;
    m_curveReady = false;
}

void CQLLut::DrawSegment(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1,
                         bool clip) {
    if (!m_table)
        return;
    const std::int32_t max = m_size - 1;
    if (x0 == x1) {
        const auto index = static_cast<std::uint16_t>(x0);
        if (index <= max)
            m_table[index] = static_cast<std::uint16_t>(std::clamp(y0, 0, max));
        MarkEdited();
        return;
    }
    if (x0 > x1) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }
    // The 15-bit fraction is part of the result. 64 bits hold every step of it.
    const std::int64_t run = std::int64_t{x1} - x0;
    const std::int64_t slope = (std::int64_t{y1} - y0) * 32768 / run;
    const std::int32_t top = clip ? max : kSampleMax;
    const std::int32_t first = std::max(x0, 0);
    const std::int32_t last = std::min(x1, max);
    std::int64_t accumulator = std::int64_t{y0} * 32768 + slope * (std::int64_t{first} - x0);
    for (std::int32_t x = first; x <= last; ++x) {
        m_table[x] = static_cast<std::uint16_t>(Clamp(accumulator >> 15, 0, top));
        accumulator += slope;
    }
    MarkEdited();
}

void CQLLut::BuildGamma(double gamma) {
    if (!m_table)
        return;
    if (IsNeutralGamma(gamma)) {
        SetIdentity();
        m_gamma = gamma;
        m_curveReady = true;
        return;
    }
    if (m_curveReady && std::abs(m_gamma - gamma) < kSameGamma)
        return;
    const double inverse = 1.0 / UsableGamma(gamma);
    const double max = m_size - 1;
    const auto curve = [&](std::int32_t i) {
        return std::min(RoundToI32(std::pow(i / max, inverse) * max), m_size - 1);
    };
    const std::int32_t step = m_kind == kFine ? 2 : std::max(m_size / 256, 1);
    for (std::int32_t i = 0; i < m_size; i += step)
        DrawSegment(i, curve(i), std::min(i + step, m_size - 1), curve(i + step), true);
    if (m_kind == kFine) {
        for (std::int32_t i = 0; i < std::min(step, m_size); ++i)
            m_table[i] = static_cast<std::uint16_t>(curve(i));
    }
    m_gamma = gamma;
    m_monotonic = true;
    m_monotonicStale = false;
    m_identity = false;
    m_curveReady = true;
}

void CQLLut::BuildGammaLimited(double gamma, double maxSlope) {
    m_kind = kPlain;
    BuildGamma(gamma);
    if (m_size < 2)
        return;
    std::int32_t i = 1;
    while (i < m_size - 1 && static_cast<double>(m_table[i]) / i > maxSlope)
        ++i;
    DrawSegment(0, 0, i, m_table[i], true);
}

void CQLLut::ApplyGamma(double gamma) {
    if (!m_table || IsNeutralGamma(gamma))
        return;
    const double inverse = 1.0 / UsableGamma(gamma);
    const double max = m_size - 1;
    const std::int32_t step = std::max(m_size / 256, 1);
    const auto node = [&](std::int32_t k) {
        return std::min(RoundToI32(std::pow(m_table[k] / max, inverse) * max), m_size - 1);
    };
    std::int32_t y0 = node(0);
    for (std::int32_t i = 0; i < m_size; i += step) {
        const std::int32_t next = std::min(i + step, m_size);
        const std::int32_t j = std::min(next, m_size - 1);
        const std::int32_t y1 = node(j);
        // A 12-bit fraction here, against the 15 bits of DrawSegment.
        const std::int32_t slope = j > i ? (y1 - y0) * 4096 / (j - i) : 0;
        for (std::int32_t k = i; k < next; ++k)
            m_table[k] = static_cast<std::uint16_t>(y0 + (((k - i) * slope) >> 12));
        y0 = y1;
    }
    MarkEdited();
}

void CQLLut::BuildPolyline(const Point* points, std::int32_t count) {
    if (!m_table || !points || count < 1)
        return;
    const Point& first = points[0];
    const Point& last = points[count - 1];
    DrawSegment(0, first.output, first.input, first.output, true);
    for (std::int32_t i = 0; i + 1 < count; ++i) {
        DrawSegment(points[i].input, points[i].output, points[i + 1].input, points[i + 1].output,
                    true);
    }
    DrawSegment(last.input, last.output, m_size - 1, last.output, true);
}

void CQLLut::BuildSrgb() {
    if (!m_table)
        return;
    const double max = m_size - 1;
    for (std::int32_t i = 0; i < m_size; ++i) {
        const double x = i / max;
        const double y =
            x <= kSrgbBreak
                ? 12.92 * x * max
                : std::min((1.055 * std::pow(x, 0.4166666666666667) - 0.055) * max, max);
        m_table[i] = static_cast<std::uint16_t>(RoundToI32(y));
    }
    m_curveReady = true;
    m_monotonic = true;
    m_identity = false;
    m_monotonicStale = false;
    m_gamma = 2.2;
}

void CQLLut::BuildClipRamp(std::int32_t low, std::int32_t high) {
    if (!m_table)
        return;
    const std::int32_t max = m_size - 1;
    DrawSegment(0, 0, std::min(low, max), 0, true);
    DrawSegment(low, 0, high, max, true);
    if (high <= max)
        DrawSegment(std::max(high, 0), max, max, max, true);
}

void CQLLut::RemapValues(std::int32_t inLow, std::int32_t inHigh, std::int32_t outLow,
                         std::int32_t outHigh) {
    for (std::int32_t i = 0; i < m_size; ++i) {
        m_table[i] = static_cast<std::uint16_t>(
            Clamp(Remap(m_table[i], inLow, inHigh, outLow, outHigh), 0, kSampleMax));
    }
    MarkEdited();
}

void CQLLut::Scale(double gain) {
    for (std::int32_t i = 0; i < m_size; ++i) {
        m_table[i] =
            static_cast<std::uint16_t>(Clamp(RoundToI32(gain * m_table[i]), 0, m_size - 1));
    }
    MarkEdited();
}

std::uint16_t CQLLut::ResampledEntry(const CQLLut& source, std::int32_t index) const {
    if (source.m_size == m_size)
        return source.m_table[index];
    const std::int32_t from = Remap(index, 0, m_size - 1, 0, source.m_size - 1);
    const std::int32_t value = Remap(source.m_table[from], 0, source.m_size - 1, 0, m_size - 1);
    return static_cast<std::uint16_t>(value);
}

void CQLLut::CopyFrom(const CQLLut& source) {
    if (!m_table || !source.m_table || &source == this)
        return;
    for (std::int32_t i = 0; i < m_size; ++i)
        m_table[i] = ResampledEntry(source, i);
    MarkEdited();
    m_identity = source.m_size == m_size && source.m_identity;
}

void CQLLut::AssignFrom(const CQLLut& source) {
    if (!m_table || !source.m_table)
        return;
    for (std::int32_t i = 0; i < m_size; ++i)
        Set(i, ResampledEntry(source, i));
    m_curveReady = false;
    m_monotonic = false;
    m_monotonicStale = true;
}

bool CQLLut::ComposeWith(const CQLLut& other) {
    if (!m_table || !other.m_table)
        return true;
    if (m_identity) {
        CopyFrom(other);
        return true;
    }
    if (other.m_identity || other.m_size != m_size)
        return true;
    if (&other == this) {
        CQLLut copy(m_size, m_kind);
        if (!copy.m_table)
            return false;
        copy.CopyFrom(*this);
        return ComposeWith(copy);
    }
    for (std::int32_t i = 0; i < m_size; ++i)
        m_table[i] = other.m_table[std::min<std::int32_t>(m_table[i], m_size - 1)];
    MarkEdited();
    return true;
}

bool CQLLut::Invert(const CQLLut& source) {
    if (!m_table || source.m_size != m_size)
        return true;
    if (&source == this) {
        CQLLut copy(m_size, m_kind);
        if (!copy.m_table)
            return false;
        copy.CopyFrom(*this);
        return Invert(copy);
    }
    for (std::int32_t i = 0; i < m_size; ++i)
        m_table[i] = static_cast<std::uint16_t>(source.InverseLookup(i));
    MarkEdited();
    return true;
}

void CQLLut::CheckMonotonic() const {
    const std::uint16_t* first = m_table.get();
    const std::uint16_t* end = first + m_size;
    m_monotonic = IsRising() ? std::is_sorted(first, end)
                             : std::is_sorted(first, end, std::greater<std::uint16_t>());
    m_monotonicStale = false;
}

std::int32_t CQLLut::Bisect(std::int32_t value) const {
    const bool rising = IsRising();
    const std::int32_t max = m_size - 1;
    std::int32_t step = m_size / 2;
    std::int32_t i = std::max(step - 1, 0);
    for (; step != 0; step /= 2) {
        if (m_table[i] == value)
            break;
        const bool up = (m_table[i] < value) == rising;
        i = std::clamp(up ? i + step : i - step, 0, max);
    }
    if (m_table[i] < value) {
        if (rising && i < m_size - 2)
            return i + 1;
        if (!rising && i >= 1)
            return i - 1;
    }
    return i;
}

std::int32_t CQLLut::InverseLookup(std::int32_t value) const {
    if (!m_table)
        return 0;
    if (m_monotonicStale)
        CheckMonotonic();
    if (m_monotonic)
        return Bisect(value);
    const bool rising = IsRising();
    for (std::int32_t i = 0; i < m_size; ++i) {
        if (rising ? m_table[i] >= value : m_table[i] <= value)
            return i;
    }
    return m_size - 1;
}

std::int32_t CQLLut::Remap(std::int32_t x, std::int32_t x0, std::int32_t x1, std::int32_t y0,
                           std::int32_t y1) {
    if (x1 == x0)
        return y1;
    double v = (static_cast<double>(x) - x0) / (static_cast<double>(x1) - x0) *
                   (static_cast<double>(y1) - y0) +
               y0;
    const bool rising = x1 > x0;
    if (rising ? x < x0 : x > x0)
        v = y0;
    else if (rising ? x > x1 : x < x1)
        v = y1;
    return TruncToI32(v >= 0.0 ? v + 0.499 : v - 0.499);
}
