#include "frame/lut.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

// A gamma within 1 % of 1 makes the identity: its curve is off by some 240 of 65535 at most, and
// the identity saves a pass.
constexpr double kNeutralGammaLow = 0.99;
constexpr double kNeutralGammaHigh = 1.01;
// Closer to the gamma before than this, a table stands as it is.
constexpr double kSameGamma = 0.001;
// The encoding breaks a little earlier than the published curve (0.0031308); both branches meet
// there to within one code.
// Black of the sRGB curve: below it a line, above it a power.
constexpr double kSrgbBreak = 0.00304;

// A gamma that has an inverse: 0, negative values and not-a-number have none.
// The smallest is one step of the 16.16 words that gammas travel in.
double UsableGamma(double gamma) {
    constexpr double kSmallest = 1.0 / 65536.0;
    return gamma > kSmallest ? gamma : kSmallest;
}

}  // namespace

bool CQLLut::IsNeutralGamma(double gamma) {
    return gamma >= kNeutralGammaLow && gamma <= kNeutralGammaHigh;
}

// Without memory the size stays 0, and builders find nothing to walk over.
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

// Nothing is known of a table that was edited. A builder that knows better says so behind this.
void CQLLut::MarkEdited() {
    m_identity = false;
    m_curveReady = false;
    m_monotonic = false;
    m_monotonicStale = true;
    ++m_edits;
}

// An entry can only cost the table its identity; what else the flags say is for the builder that
// sets entries.
void CQLLut::Set(std::int32_t index, std::uint16_t value) {
    if (index < 0 || index >= m_size)
        return;
    m_table[index] = value;
    if (value != index)
        m_identity = false;
    m_monotonicStale = true;
    ++m_edits;
}

void CQLLut::Fill(std::int32_t first, std::int32_t end, std::uint16_t value) {
    first = std::max(first, 0);
    end = std::min(end, m_size);
    if (first < end)
        std::fill(m_table.get() + first, m_table.get() + end, value);
    MarkEdited();
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
    ++m_edits;
}

void CQLLut::DrawSegment(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1,
                         bool clip) {
    if (!m_table)
        return;
    const std::int32_t max = m_size - 1;
    if (x0 == x1) {
        // A vertical line has no slope to go by: its first end alone is drawn.
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
    // A start left of the table is not walked through: the sum is taken forward to the first entry
    // in one step.
    // The 15-bit fraction is part of the result. 64 bits hold every step of it.
    const std::int64_t run = std::int64_t{x1} - x0;
    // y0 + slope x (x - x0), with slope and sum in 1/32768. What the fractions drop puts entries
    // off the exact line by a code or so.
    const std::int64_t slope = (std::int64_t{y1} - y0) * 32768 / run;
    const std::int32_t top = clip ? max : kSampleMax;
    const std::int32_t first = std::max(x0, 0);
    const std::int32_t last = std::min(x1, max);
    if (first == x0 && last == x1 && std::min(y0, y1) >= 0 && std::max(y0, y1) <= top) {
        DrawInside(x0, y0, x1, static_cast<std::uint32_t>(slope));
        MarkEdited();
        return;
    }
    std::int64_t accumulator = std::int64_t{y0} * 32768 + slope * (std::int64_t{first} - x0);
    for (std::int32_t x = first; x <= last; ++x) {
        m_table[x] = static_cast<std::uint16_t>(Clamp(accumulator >> 15, 0, top));
        accumulator += slope;
    }
    MarkEdited();
}

// Both ends lie in the table and on its scale: the sums stay between them, and 32 bits hold them.
// Most tables are drawn of such lines, which the processor does several entries at a time.
void CQLLut::DrawInside(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::uint32_t slope) {
    std::uint16_t* const entries = m_table.get() + x0;
    const auto start = static_cast<std::uint32_t>(y0) << 15;
    const auto count = static_cast<std::uint32_t>(x1 - x0 + 1);
    for (std::uint32_t i = 0; i < count; ++i)
        entries[i] = static_cast<std::uint16_t>((start + slope * i) >> 15);
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
    // Lines of 256 entries each: 257 powers in place of 65536, and a finite slope at black,
    // where the true curve rises without bound. The fine kind pays for the curve in steps of two.
    const std::int32_t step = m_kind == kFine ? 2 : std::max(m_size / 256, 1);
    std::int32_t from = curve(0);
    for (std::int32_t i = 0; i < m_size; i += step) {
        const std::int32_t to = curve(i + step);
        DrawSegment(i, from, std::min(i + step, m_size - 1), to, true);
        from = to;
    }
    // The first line would flatten the steepest part; its entries are worked out one by one.
    if (m_kind == kFine) {
        for (std::int32_t i = 0; i < std::min(step, m_size); ++i)
            m_table[i] = static_cast<std::uint16_t>(curve(i));
    }
    m_gamma = gamma;
    // A chain of lines between points of a rising curve: inverse look-ups need no check.
    m_monotonic = true;
    m_monotonicStale = false;
    m_identity = false;
    m_curveReady = true;
    ++m_edits;
}

void CQLLut::BuildGammaLimited(double gamma, double maxSlope) {
    m_kind = kPlain;
    BuildGamma(gamma);
    if (m_size < 2)
        return;
    std::int32_t i = 1;
    // The first entry that a line of this slope from black reaches; the line takes the curve's
    // place up to there.
    while (i < m_size - 1 && static_cast<double>(m_table[i]) / i > maxSlope)
        ++i;
    DrawSegment(0, 0, i, m_table[i], true);
}

// Y becomes Y^(1/gamma) at every 256th entry; between those nodes what the table held gives way to
// a line.
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
        // The last node is the last entry itself, one entry nearer than the others.
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
    // Segments overlap in their end points, where both give the same output.
    const Point& first = points[0];
    const Point& last = points[count - 1];
    DrawSegment(0, first.output, first.input, first.output, true);
    for (std::int32_t i = 0; i + 1 < count; ++i) {
        DrawSegment(points[i].input, points[i].output, points[i + 1].input, points[i + 1].output,
                    true);
    }
    DrawSegment(last.input, last.output, m_size - 1, last.output, true);
}

// 12.92 x in the dark, 1.055 x^(1/2.4) - 0.055 above, each on the scale 0 to 1. The table passes
// for gamma 2.2 afterwards, which it comes close to: BuildGamma(2.2) would leave it as it is.
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
    ++m_edits;
}

void CQLLut::BuildClipRamp(std::int32_t low, std::int32_t high) {
    if (!m_table)
        return;
    const std::int32_t max = m_size - 1;
    // `low` may lie below the table, `high` behind it: the line between them keeps its slope, and
    // what falls outside is not drawn.
    DrawSegment(0, 0, std::min(low, max), 0, true);
    DrawSegment(low, 0, high, max, true);
    if (high <= max)
        DrawSegment(std::max(high, 0), max, max, max, true);
}

// Works on outputs. On an identity table, (b, max, 0, max) sets a black point of b.
void CQLLut::RemapValues(std::int32_t inLow, std::int32_t inHigh, std::int32_t outLow,
                         std::int32_t outHigh) {
    for (std::int32_t i = 0; i < m_size; ++i) {
        m_table[i] = static_cast<std::uint16_t>(
            Clamp(Remap(m_table[i], inLow, inHigh, outLow, outHigh), 0, kSampleMax));
    }
    MarkEdited();
}

// What a gain above 1 lifts beyond full scale is clipped there for good.
void CQLLut::Scale(double gain) {
    for (std::int32_t i = 0; i < m_size; ++i) {
        m_table[i] =
            static_cast<std::uint16_t>(Clamp(RoundToI32(gain * m_table[i]), 0, m_size - 1));
    }
    MarkEdited();
}

// Another size is another scale on both axes: the place is scaled to the source, its value back.
std::uint16_t CQLLut::ResampledEntry(const CQLLut& source, std::int32_t index) const {
    if (source.m_size == m_size)
        return source.m_table[index];
    const std::int32_t from = Remap(index, 0, m_size - 1, 0, source.m_size - 1);
    const std::int32_t value = Remap(source.m_table[from], 0, source.m_size - 1, 0, m_size - 1);
    return static_cast<std::uint16_t>(value);
}

// Resampling rounds, so that even the identity of another size is only nearly one.
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
    if (source.m_size != m_size) {
        for (std::int32_t i = 0; i < m_size; ++i)
            Set(i, ResampledEntry(source, i));
    } else if (&source != this) {
        bool same = true;
        for (std::int32_t i = 0; i < m_size; ++i) {
            m_table[i] = source.m_table[i];
            same &= m_table[i] == i;
        }
        m_identity = m_identity && same;
    }
    m_curveReady = false;
    m_monotonic = false;
    m_monotonicStale = true;
    ++m_edits;
}

bool CQLLut::ComposeWith(const CQLLut& other) {
    if (!m_table || !other.m_table)
        return true;
    if (m_identity) {
        CopyFrom(other);
        return true;
    }
    // Nothing changes behind the identity. In front of it, above, the other table is copied,
    // whatever its size.
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
        // A small table can hold values that are longer than it: they take its last entry.
        m_table[i] = other.m_table[std::min<std::int32_t>(m_table[i], m_size - 1)];
    MarkEdited();
    return true;
}

// Entry i: the input that `source` maps to i, or comes closest with.
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

// Which way a table goes is read off its two ends; a table of equal ends counts as falling.
void CQLLut::CheckMonotonic() const {
    const std::uint16_t* first = m_table.get();
    const std::uint16_t* end = first + m_size;
    m_monotonic = IsRising() ? std::is_sorted(first, end)
                             : std::is_sorted(first, end, std::greater<std::uint16_t>());
    m_monotonicStale = false;
}

// On a flat run any entry of the run may come out. The last step is 1, which may leave the search
// one entry short of the value.
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
    // Up and down: there is no inverse. The first input that reaches the value counts, or the last.
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
    // In doubles: differences and product of two full 32-bit ranges fit nothing else.
    double v = (static_cast<double>(x) - x0) / (static_cast<double>(x1) - x0) *
                   (static_cast<double>(y1) - y0) +
               y0;
    const bool rising = x1 > x0;
    if (rising ? x < x0 : x > x0)
        v = y0;
    else if (rising ? x > x1 : x < x1)
        v = y1;
    // Not 0.5: a value that lies exactly between two codes goes to the one nearer to zero.
    return TruncToI32(v >= 0.0 ? v + 0.499 : v - 0.499);
}
