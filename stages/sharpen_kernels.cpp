#include "stages/sharpen_kernels.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"
#include "stages/line_middle.h"

using std::int16_t;
using std::int32_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;

namespace {

// All in 16 bits, as many lanes as vectors have. The difference e has 19: h, that of the samples
// without their low three bits over 8, keeps to 16, and what it lacks, e - 8h, is within -28 to 28,
// so that e modulo 65536 tells it. With both, q = e / 8 rounded down is known, and from that the
// sign of e and whether it has to be held.
NVQ_INLINE void SharpenRun(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                           const uint16_t* __restrict down, uint16_t* __restrict out,
                           size_t channels, const QLSharpenFactors& factors, size_t count) {
    const uint16_t* __restrict left = centre - channels;
    const uint16_t* __restrict right = centre + channels;
    for (size_t i = 0; i < count; ++i) {
        const uint16_t u = up[i], d = down[i], l = left[i], r = right[i], c = centre[i];
        const auto e = static_cast<uint16_t>(4 * c - u - d - l - r);
        const auto h =
            static_cast<int16_t>(4 * (c >> 3) - (u >> 3) - (d >> 3) - (l >> 3) - (r >> 3));
        const auto rest = static_cast<int16_t>(e - 8 * h);
        const auto q = static_cast<int16_t>(h + (rest >> 3));
        // All ones below 0, where the response is that to -e - 1, which is ~e.
        const auto sign = static_cast<uint16_t>(q >> 15);
        const auto eighth = static_cast<uint16_t>(q ^ sign);
        const auto held = static_cast<uint16_t>(eighth > 8191 ? 0xFFFF : e ^ sign);
        const auto most = static_cast<uint16_t>(0xFFFF - (sign >> 15));
        const uint16_t size = std::min(held, most);
        // size * factor / 2^32 in halves: the upper product, and the carry into it. The lower half
        // in a type of its own, or the compiler takes both out of a whole product.
        const uint16_t high = factors.high[i];
        const auto below = static_cast<uint16_t>(std::uint64_t{size} * high);
        const auto under = static_cast<uint16_t>((uint32_t{size} * factors.low[i]) >> 16);
        const auto carry = static_cast<uint16_t>(static_cast<uint16_t>(below + under) < below);
        const auto product = static_cast<uint16_t>(((uint32_t{size} * high) >> 16) + carry);
        const uint16_t response = std::min(product, kMostSharpenResponse);
        // Up or down, as far as there is room.
        const auto falls = static_cast<uint16_t>(sign ^ factors.flip[i]);
        const auto room = static_cast<uint16_t>(c ^ ~falls);
        const uint16_t step = std::min(response, room);
        out[i] = static_cast<uint16_t>(c + (step ^ falls) - falls);
    }
}

template <bool kDetail>
NVQ_INLINE void SharpenTones(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                             const uint16_t* __restrict down, uint16_t* __restrict out,
                             size_t pixels, size_t channels, const QLToneSteps& tones) {
    const QLLineMiddle middle(centre, out, pixels, channels, 1);
    const QLToneSteps held = tones;
    for (size_t i = middle.first; i < middle.last; ++i) {
        const int32_t c = centre[i], l = centre[i - channels], r = centre[i + channels];
        QLToneStep step = held.steps[kToneRanges - 1];
        for (size_t range = kToneRanges - 1; range-- > 0;) {
            step.own = c >= held.breaks[range] ? held.steps[range].own : step.own;
            step.around = c >= held.breaks[range] ? held.steps[range].around : step.around;
        }
        const int32_t sum = step.own * c + step.around * (up[i] + down[i] + l + r);
        out[i] = kDetail && (l + r) >> 1 == c ? static_cast<uint16_t>(c) : ClampSample(sum >> 3);
    }
}

}  // namespace

NVQ_KERNEL void SharpenByFactor(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                                const uint16_t* __restrict down, uint16_t* __restrict out,
                                size_t pixels, size_t channels, const QLSharpenFactors& factors) {
    const QLLineMiddle middle(centre, out, pixels, channels, 1);
    size_t i = middle.first;
    for (; i + kSharpenRun <= middle.last; i += kSharpenRun)
        SharpenRun(up + i, centre + i, down + i, out + i, channels, factors, kSharpenRun);
    SharpenRun(up + i, centre + i, down + i, out + i, channels, factors, middle.last - i);
}

NVQ_KERNEL void SharpenByTable(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                               const uint16_t* __restrict down, uint16_t* __restrict out,
                               size_t pixels, size_t channels,
                               const int32_t* const (&responses)[3]) {
    const QLLineMiddle middle(centre, out, pixels, channels, 1);
    for (size_t i = middle.first; i < middle.last; i += channels) {
        for (size_t k = 0; k < channels; ++k) {
            const size_t at = i + k;
            const int32_t e =
                4 * centre[at] - up[at] - down[at] - centre[at - channels] - centre[at + channels];
            const int32_t held = std::min(std::max(e, -kSampleMax), kSampleMax);
            out[at] = ClampSample(centre[at] + responses[k][held]);
        }
    }
}

NVQ_KERNEL void SharpenByTone(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                              const uint16_t* __restrict down, uint16_t* __restrict out,
                              size_t pixels, size_t channels, const QLToneSteps& tones) {
    SharpenTones<false>(up, centre, down, out, pixels, channels, tones);
}

NVQ_KERNEL void SharpenDetail(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                              const uint16_t* __restrict down, uint16_t* __restrict out,
                              size_t pixels, size_t channels, const QLToneSteps& tones) {
    SharpenTones<true>(up, centre, down, out, pixels, channels, tones);
}
