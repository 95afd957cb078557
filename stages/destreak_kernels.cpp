#include "stages/destreak_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"

using std::int32_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;

namespace {

// sqrt(x * 65536) truncated, by way of single precision: 256 times the root has 24 bits, of which
// the last may have been rounded up to a whole number. What is too large shows when it is squared,
// in integers, which hold both sides exactly.
NVQ_INLINE uint16_t RootOf(uint16_t x) {
    const auto root = static_cast<int32_t>(256.0F * std::sqrt(static_cast<float>(x)));
    const auto r = static_cast<uint32_t>(root);
    return static_cast<uint16_t>(root - (r * r > static_cast<uint32_t>(x) << 16 ? 1 : 0));
}

NVQ_INLINE uint16_t SquareOf(uint16_t x) {
    return static_cast<uint16_t>(static_cast<uint32_t>(x) * x >> 16);
}

// Where a window's mean lies among a channel's samples.
struct Neighbourhood {
    int32_t root, mean, thirdMean;

    NVQ_INLINE bool IsNear(const QLStreakLimits& limits) const {
        return std::abs(mean - root) < limits.difference;
    }
    NVQ_INLINE bool IsDim(const QLStreakLimits& limits) const {
        return !((thirdMean <= mean) & (mean >= limits.level));
    }
};

template <int kRestriction>
NVQ_INLINE bool Holds(const Neighbourhood& at, const QLStreakLimits& limits) {
    if constexpr (kRestriction == 0)
        return true;
    else if constexpr (kRestriction == 1)
        return at.IsNear(limits);
    else if constexpr (kRestriction == 3)
        return at.IsNear(limits) & (at.mean > at.root);
    else
        return at.IsNear(limits) & at.IsDim(limits);
}

template <int kRestriction>
NVQ_INLINE void Rebuild(const QLStreakPlanes& planes, const int32_t* __restrict terms,
                        const QLStreakLimits& limits, size_t first, size_t last) {
    QLRoots root0 = planes.roots[0];
    QLRoots root1 = planes.roots[1];
    QLRoots root2 = planes.roots[2];
    const int32_t* __restrict mean0 = planes.means[0];
    const int32_t* __restrict mean1 = planes.means[1];
    const int32_t* __restrict mean2 = planes.means[2];
    uint16_t* __restrict out0 = planes.out[0];
    uint16_t* __restrict out1 = planes.out[1];
    uint16_t* __restrict out2 = planes.out[2];
    const QLStreakLimits held = limits;
    for (size_t x = first; x < last; ++x) {
        const Neighbourhood at0 = {root0[x], mean0[x], mean2[x]};
        const Neighbourhood at1 = {root1[x], mean1[x], mean2[x]};
        bool rebuilt0 = Holds<kRestriction>(at0, held);
        bool rebuilt1 = Holds<kRestriction>(at1, held);
        bool both = false;
        if constexpr (kRestriction >= 4)
            rebuilt0 = rebuilt1 = both = rebuilt0 & rebuilt1;
        const int32_t term = terms[x];
        const int32_t detail = root2[x] + (kRestriction == 4 && both ? 0 : term);
        const int32_t new0 = rebuilt0 ? at0.mean - at0.thirdMean + detail : at0.root + term;
        const int32_t new1 = rebuilt1 ? at1.mean - at1.thirdMean + detail : at1.root + term;
        const bool white = kRestriction == 5 && both;
        out0[x] = ClampSample(white ? kSampleMax : new0);
        out1[x] = ClampSample(white ? kSampleMax : new1);
        out2[x] = ClampSample(white ? kSampleMax : detail);
    }
}

// The divisor is a constant, and so becomes a multiplication.
template <int kLines>
NVQ_INLINE void AddColumns(const uint16_t* const* lines, int32_t* __restrict shares,
                           size_t pixels) {
    const uint16_t* line[kLines];
    std::copy_n(lines, kLines, line);
    for (size_t x = 0; x < pixels; ++x) {
        uint32_t sum = 0;
        for (int i = 0; i < kLines; ++i)
            sum += line[i][x];
        shares[x] = static_cast<int32_t>(sum / (kLines * kLines));
    }
}

template <int kColumns>
NVQ_INLINE void AddShares(const int32_t* __restrict shares, int32_t rest, int32_t* __restrict means,
                          size_t first, size_t last) {
    for (size_t x = first; x < last; ++x) {
        int32_t sum = rest;
        for (int i = 0; i < kColumns; ++i)
            sum += shares[x + static_cast<size_t>(i) - kColumns / 2];
        means[x] = sum;
    }
}

}  // namespace

NVQ_KERNEL void RootLine(const uint16_t* __restrict line, uint16_t* __restrict roots, size_t pixels,
                         size_t channels) {
    if (channels == 1) {
        for (size_t x = 0; x < pixels; ++x)
            roots[x] = RootOf(line[x]);
        return;
    }
    for (size_t x = 0; x < pixels; ++x) {
        roots[x] = RootOf(line[3 * x]);
        roots[pixels + x] = RootOf(line[3 * x + 1]);
        roots[2 * pixels + x] = RootOf(line[3 * x + 2]);
    }
}

NVQ_KERNEL void SquareLine(QLRoots roots, uint16_t* __restrict line, size_t pixels, size_t channels,
                           size_t first, size_t last) {
    if (channels == 1) {
        for (size_t x = first; x < last; ++x)
            line[x] = SquareOf(roots[x]);
        return;
    }
    for (size_t x = first; x < last; ++x) {
        line[3 * x] = SquareOf(roots[x]);
        line[3 * x + 1] = SquareOf(roots[pixels + x]);
        line[3 * x + 2] = SquareOf(roots[2 * pixels + x]);
    }
}

// In thousandths, the weights are whole numbers, and a plane without detail is its own mean
// exactly.
NVQ_KERNEL void SmoothRoots(QLRoots plane, int32_t* __restrict smooth, size_t pixels,
                            size_t spacing) {
    const size_t first = std::min(2 * spacing, pixels);
    const size_t last = std::max(first, pixels - std::min(2 * spacing, pixels));
    for (size_t x = 0; x < first; ++x)
        smooth[x] = 1000 * plane[x];
    for (size_t x = first; x < last; ++x) {
        smooth[x] = 138 * (plane[x - 2 * spacing] + plane[x + 2 * spacing]) +
                    222 * (plane[x - spacing] + plane[x + spacing]) + 280 * plane[x];
    }
    for (size_t x = last; x < pixels; ++x)
        smooth[x] = 1000 * plane[x];
}

// All differences are whole thousandths, exact in the real numbers that they are divided in: with
// D = 1000 d, the weight 3 / (d - m + 1) is 3000 / (D - M + 1000).
NVQ_KERNEL void SharpenTerms(QLRoots plane, const int32_t* __restrict smooth,
                             int32_t* __restrict terms, size_t pixels, size_t spacing,
                             double strength) {
    for (size_t x = 2 * spacing; x + 2 * spacing < pixels; ++x) {
        const int32_t here = 1000 * plane[x];
        const int32_t d1 = std::abs(here - smooth[x - spacing]);
        const int32_t d2 = std::abs(here - smooth[x]);
        const int32_t d3 = std::abs(here - smooth[x + spacing]);
        const int32_t m = std::min(d1, std::min(d2, d3)) - 1000;
        const double w1 = std::min(1.0, 3000.0 / (d1 - m));
        const double w2 = std::min(1.0, 3000.0 / (d2 - m));
        const double w3 = std::min(1.0, 3000.0 / (d3 - m));
        const double above = w1 * (1000 * plane[x - spacing] - smooth[x - spacing]) +
                             w2 * (here - smooth[x]) +
                             w3 * (1000 * plane[x + spacing] - smooth[x + spacing]);
        const double term = strength * above / (1000.0 * (w1 + w2 + w3));
        // Rounded down: the sums that it goes into are truncated when they are above 0.
        const auto whole = static_cast<int32_t>(term);
        terms[x] = whole - (whole > term ? 1 : 0);
    }
}

NVQ_KERNEL void ColumnShares(const uint16_t* const* lines, int count, int32_t* __restrict shares,
                             size_t pixels) {
    if (count == 3)
        AddColumns<3>(lines, shares, pixels);
    else
        AddColumns<5>(lines, shares, pixels);
}

NVQ_KERNEL void WindowMeans(const int32_t* __restrict shares, int count, int32_t rest,
                            int32_t* __restrict means, size_t first, size_t last) {
    if (count == 3)
        AddShares<3>(shares, rest, means, first, last);
    else
        AddShares<5>(shares, rest, means, first, last);
}

NVQ_KERNEL void AddTerms(QLRoots plane, const int32_t* __restrict terms, uint16_t* __restrict out,
                         size_t first, size_t last) {
    for (size_t x = first; x < last; ++x)
        out[x] = ClampSample(plane[x] + terms[x]);
}

NVQ_KERNEL void RebuildPlane(const int32_t* __restrict means, const int32_t* __restrict detailMeans,
                             QLRoots detail, const int32_t* __restrict terms,
                             uint16_t* __restrict out, size_t first, size_t last) {
    for (size_t x = first; x < last; ++x)
        out[x] = ClampSample(means[x] - detailMeans[x] + detail[x] + terms[x]);
}

NVQ_KERNEL void RebuildFromThird(const QLStreakPlanes& planes, const int32_t* __restrict terms,
                                 const QLStreakLimits& limits, size_t first, size_t last) {
    switch (limits.restriction) {
        case 0:
            return Rebuild<0>(planes, terms, limits, first, last);
        case 1:
            return Rebuild<1>(planes, terms, limits, first, last);
        case 3:
            return Rebuild<3>(planes, terms, limits, first, last);
        case 4:
            return Rebuild<4>(planes, terms, limits, first, last);
        case 5:
            return Rebuild<5>(planes, terms, limits, first, last);
        default:
            return Rebuild<2>(planes, terms, limits, first, last);
    }
}
