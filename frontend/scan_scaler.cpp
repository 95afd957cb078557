// The scaler of the band loop.
#include <algorithm>
#include <cstring>

#include "frontend/scan_lines.h"
#include "platform/bitmap_headers.h"
#include "platform/target_clones.h"

namespace {

constexpr std::uint32_t kColor = 3;  // bytes a pixel
constexpr std::uint32_t kGray = 1;

// The whole part of x * from / to for one x after the other, without a division each.
class Walk {
  public:
    Walk(std::uint32_t from, std::uint32_t to)
        : m_step(from / to), m_stepRest(from % to), m_to(to) {}

    std::size_t Place() const { return m_place; }
    void Next() {
        m_place += m_step;
        m_rest += m_stepRest;
        if (m_rest >= m_to) {
            m_rest -= m_to;
            ++m_place;
        }
    }

  private:
    std::size_t m_place = 0;
    std::uint64_t m_rest = 0;
    const std::uint64_t m_step;
    const std::uint64_t m_stepRest;
    const std::uint64_t m_to;
};

// Output coordinate x lies at x * from / to in the source. The whole part is taken from integers,
// the rest from single precision, because the result's bytes depend on how it is rounded.
//
// What of x * from / to lies behind its whole part. All in single precision.
float Fraction(std::size_t x, std::uint32_t from, std::uint32_t to, std::size_t whole) {
    return static_cast<float>(x) * static_cast<float>(from) / static_cast<float>(to) -
           static_cast<float>(whole);
}

// Columns at the source's last pixel are copied, rows at the band's last line are weighed with the
// line above, and both sets are settled once for a band.
//
// How many of the last coordinates lie at the source's last place. The first one never counts.
std::uint32_t CountLast(std::uint32_t from, std::uint32_t to) {
    std::uint32_t count = 0;
    while (count + 1 < to && std::uint64_t{to - 1 - count} * from / to == from - 1)
        ++count;
    return count;
}

// A run of output columns: where their pixels lie in a source line, the same for all lines.
constexpr std::size_t kRun = 256;
struct Columns {
    std::size_t count = 0;
    std::size_t right = 0;  // bytes to the pixel at the right; 0 where there is none
    std::uint32_t offset[kRun];
    float fx[kRun];
};

// An output line's source: the line, its neighbour, and the neighbour's weight.
struct LinePair {
    const BYTE* line;
    const BYTE* neighbour;
    float fy;
};

struct Weights {
    // Of the pixel, the one at its right, the one in the neighbour line, and that one's right:
    // (1 - fx)(1 - fy), fx(1 - fy), (1 - fx)fy and fx fy. Together they are 1, but for rounding.
    float here, right, along, across;

    Weights(float fx, float fy)
        : here((1 - fx) * (1 - fy)), right(fx * (1 - fy)), along((1 - fx) * fy), across(fx * fy) {}

    // The order of the sums is part of the result. Rounded weights can leave 0 to 1 by a little,
    // which shows only on lines that no scanner has.
    std::uint32_t Sum(float p, float pRight, float pAlong, float pAcross) const {
        const float sum = here * p + right * pRight + along * pAlong + across * pAcross;
        return static_cast<std::uint32_t>(std::clamp(static_cast<int>(sum), 0, 255));
    }
};

template <std::uint32_t kBytes>
void WeighOneByOne(const LinePair& pair, BYTE* target, const Columns& columns, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const Weights weights(columns.fx[i], pair.fy);
        const BYTE* p = pair.line + columns.offset[i];
        const BYTE* n = pair.neighbour + columns.offset[i];
        for (std::size_t c = 0; c < kBytes; ++c) {
            target[kBytes * i + c] = static_cast<BYTE>(
                weights.Sum(p[c], p[c + columns.right], n[c], n[c + columns.right]));
        }
    }
}

NVQ_KERNEL void WeighGray(const LinePair& pair, BYTE* target, const Columns& columns) {
    WeighOneByOne<kGray>(pair, target, columns, columns.count);
}

float Sample(std::uint32_t word, int shift) {
    return static_cast<float>(static_cast<int>(word >> shift & 0xFF));
}

// Four columns or eight at a time, one colour after the other: first the bytes of each column are
// brought to fixed places, two before the pixel, the pixel, and the pixel at its right.
NVQ_KERNEL void WeighColor(const LinePair& pair, BYTE* target, const Columns& columns) {
    // Before a line's first pixel there are no two bytes.
    std::size_t first = 0;
    while (first < columns.count && columns.offset[first] == 0)
        ++first;
    WeighOneByOne<kColor>(pair, target, columns, first);
    if (first == columns.count)
        return;
    const std::size_t count = columns.count - first;
    const std::uint32_t* offset = columns.offset + first;
    const float* fx = columns.fx + first;
    std::uint32_t line[2 * kRun];
    std::uint32_t neighbour[2 * kRun];
    std::uint32_t out[kRun];
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(line + 2 * i, pair.line + offset[i] - 2, 8);
        std::memcpy(neighbour + 2 * i, pair.neighbour + offset[i] - 2, 8);
    }
    const float fy = pair.fy;
    for (std::size_t i = 0; i < count; ++i) {
        const Weights weights(fx[i], fy);
        const std::uint32_t a = line[2 * i];
        const std::uint32_t b = line[2 * i + 1];
        const std::uint32_t c = neighbour[2 * i];
        const std::uint32_t d = neighbour[2 * i + 1];
        out[i] = weights.Sum(Sample(a, 16), Sample(b, 8), Sample(c, 16), Sample(d, 8)) |
                 weights.Sum(Sample(a, 24), Sample(b, 16), Sample(c, 24), Sample(d, 16)) << 8 |
                 weights.Sum(Sample(b, 0), Sample(b, 24), Sample(d, 0), Sample(d, 24)) << 16;
    }
    BYTE* to = target + kColor * first;
    // Each pixel takes the next one's first byte along, which comes right then.
    for (std::size_t i = 0; i + 1 < count; ++i)
        std::memcpy(to + kColor * i, out + i, 4);
    std::memcpy(to + kColor * (count - 1), out + count - 1, kColor);
}

std::size_t StrideOf(std::uint32_t width, std::uint32_t bytesPerPixel) {
    return static_cast<std::size_t>(
        BitmapStride(width, static_cast<std::int32_t>(8 * bytesPerPixel)));
}

// A band on its way from one size to another.
class Scaler {
  public:
    Scaler(const BYTE* source, BYTE* target, std::uint32_t sourceWidth, std::uint32_t targetWidth,
           std::uint32_t sourceLines, std::uint32_t targetLines, std::uint32_t bytes)
        : m_source(source),
          m_target(target),
          m_sourceWidth(sourceWidth),
          m_targetWidth(targetWidth),
          m_sourceLines(sourceLines),
          m_targetLines(targetLines),
          m_bytes(bytes),
          m_sourceStride(StrideOf(sourceWidth, bytes)),
          m_targetStride(StrideOf(targetWidth, bytes)),
          m_copiedColumns(CountLast(sourceWidth, targetWidth)),
          m_bottomLines(CountLast(sourceLines, targetLines)) {}

    // Runs of columns go through all lines before the next run: their offsets and weights are
    // worked out once and stay in the processor's cache.
    void Run() {
        Columns columns;
        columns.right = m_sourceWidth > 1 ? m_bytes : 0;
        Walk place(m_sourceWidth, m_targetWidth);
        const std::size_t weighed = m_targetWidth - m_copiedColumns;
        for (std::size_t x = 0; x < weighed; x += columns.count) {
            columns.count = std::min(kRun, weighed - x);
            for (std::size_t i = 0; i < columns.count; ++i, place.Next()) {
                columns.offset[i] = static_cast<std::uint32_t>(place.Place() * m_bytes);
                columns.fx[i] = Fraction(x + i, m_sourceWidth, m_targetWidth, place.Place());
            }
            Weigh(columns, x);
        }
        CopyLastColumns(weighed);
    }

  private:
    const BYTE* Line(std::size_t line) const { return m_source + line * m_sourceStride; }
    BYTE* Target(std::size_t y, std::size_t x) const {
        return m_target + y * m_targetStride + x * m_bytes;
    }

    void Weigh(const Columns& columns, std::size_t x) const {
        Walk place(m_sourceLines, m_targetLines);
        for (std::size_t y = 0; y < m_targetLines; ++y, place.Next()) {
            const std::size_t line = place.Place();
            const bool bottom = y >= m_targetLines - m_bottomLines;
            if (bottom && m_bytes == kGray) {
                for (std::size_t i = 0; i < columns.count; ++i)
                    Target(y, x)[i] = Line(line)[columns.offset[i]];
                continue;
            }
            // At the band's edge the line stands in for a neighbour that isn't there.
            const std::size_t neighbour =
                bottom ? std::max<std::size_t>(line, 1) - 1 : std::min(line + 1, m_sourceLines - 1);
            const LinePair pair = {Line(line), Line(neighbour),
                                   Fraction(y, static_cast<std::uint32_t>(m_sourceLines),
                                            static_cast<std::uint32_t>(m_targetLines), line)};
            if (m_bytes == kColor)
                WeighColor(pair, Target(y, x), columns);
            else
                WeighGray(pair, Target(y, x), columns);
        }
    }

    // Lies over the corner that the weighing of the bottom lines has made.
    void CopyLastColumns(std::size_t from) const {
        Walk place(static_cast<std::uint32_t>(m_sourceLines),
                   static_cast<std::uint32_t>(m_targetLines));
        for (std::size_t y = 0; y < m_targetLines; ++y, place.Next()) {
            const BYTE* last = Line(place.Place()) + (m_sourceWidth - 1) * m_bytes;
            for (std::size_t x = from; x < m_targetWidth; ++x)
                std::memcpy(Target(y, x), last, m_bytes);
        }
    }

    const BYTE* const m_source;
    BYTE* const m_target;
    const std::uint32_t m_sourceWidth;
    const std::uint32_t m_targetWidth;
    const std::size_t m_sourceLines;
    const std::size_t m_targetLines;
    const std::size_t m_bytes;  // a pixel
    const std::size_t m_sourceStride;
    const std::size_t m_targetStride;
    const std::size_t m_copiedColumns;
    const std::size_t m_bottomLines;
};

}  // namespace

void BilinearInterp(const BYTE* source, BYTE* target, DWORD sourceWidth, DWORD targetWidth,
                    DWORD sourceLines, DWORD targetLines, DWORD bitsPerPixel) {
    if (!source || !target || (bitsPerPixel != 8 && bitsPerPixel != 24) || sourceWidth == 0 ||
        targetWidth == 0 || sourceLines == 0 || targetLines == 0)
        return;
    Scaler(source, target, sourceWidth, targetWidth, sourceLines, targetLines, bitsPerPixel / 8)
        .Run();
}
