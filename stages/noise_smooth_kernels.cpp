#include "stages/noise_smooth_kernels.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"
#include "stages/line_middle.h"

using std::int16_t;
using std::int32_t;
using std::size_t;
using std::uint16_t;

namespace {

constexpr size_t kEnd = 2;  // pixels at each end that are copied
constexpr size_t kColor = 3;
// Samples of a run: its sums stay in the processor's first cache.
constexpr size_t kRun = 480;

// In 16 bits, as many lanes as vectors have. The difference e has 21: h, that of the samples
// without their low four bits over 16, keeps to 16, and e is within 120 of 16h, so that e modulo
// 65536 tells it. With h held within -2040 to 2040, e keeps to 16 bits too; where that changes it,
// it stays beyond all that counts.
constexpr int16_t kMostHigh = 2040;

NVQ_INLINE void SmoothRun(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                          const uint16_t* __restrict down, uint16_t* __restrict out, size_t count,
                          uint16_t limit) {
    // Of the three lines, column by column, from the pixel to the left of the run on.
    uint16_t sum[kRun + 2 * kColor];
    uint16_t high[kRun + 2 * kColor];
    for (size_t i = 0; i < count + 2 * kColor; ++i) {
        const uint16_t u = (up - kColor)[i], c = (centre - kColor)[i], d = (down - kColor)[i];
        sum[i] = static_cast<uint16_t>(u + c + d);
        high[i] = static_cast<uint16_t>((u >> 4) + (c >> 4) + (d >> 4));
    }
    for (size_t i = 0; i < count; ++i) {
        const uint16_t c = centre[i];
        const auto e = static_cast<int16_t>(sum[i] + sum[i + kColor] + sum[i + 2 * kColor] - 9 * c);
        const auto h =
            static_cast<int16_t>(high[i] + high[i + kColor] + high[i + 2 * kColor] - 9 * (c >> 4));
        const int16_t near = std::min(std::max(h, static_cast<int16_t>(-kMostHigh)), kMostHigh);
        const auto held = static_cast<int16_t>(e + 16 * (near - h));
        const auto falls = static_cast<uint16_t>(held >> 15);  // all ones below 0
        const auto size = static_cast<uint16_t>((held ^ falls) - falls);
        const uint16_t most = std::min(size, limit);
        const auto way = static_cast<uint16_t>(static_cast<uint16_t>(most * 3) >> 5);
        // Up or down, as far as there is room.
        const auto room = static_cast<uint16_t>(c ^ ~falls);
        const uint16_t step = std::min(way, room);
        out[i] = static_cast<uint16_t>(c + (step ^ falls) - falls);
    }
}

}  // namespace

NVQ_KERNEL void SmoothNoiseColor(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                                 const uint16_t* __restrict down, uint16_t* __restrict out,
                                 size_t pixels, uint16_t limit) {
    const QLLineMiddle middle(centre, out, pixels, kColor, kEnd);
    size_t i = middle.first;
    for (; i + kRun <= middle.last; i += kRun)
        SmoothRun(up + i, centre + i, down + i, out + i, kRun, limit);
    if (i < middle.last)
        SmoothRun(up + i, centre + i, down + i, out + i, middle.last - i, limit);
}

NVQ_KERNEL void SmoothNoiseGray(const uint16_t* __restrict up, const uint16_t* __restrict centre,
                                const uint16_t* __restrict down, uint16_t* __restrict out,
                                size_t pixels, int32_t limit) {
    const QLLineMiddle middle(centre, out, pixels, 1, kEnd);
    for (size_t i = middle.first; i < middle.last; ++i) {
        const int32_t around = up[i - 1] + up[i] + up[i + 1] + centre[i - 1] + centre[i + 1] +
                               down[i - 1] + down[i] + down[i + 1];
        const int32_t way = (around - 8 * centre[i]) >> 3;
        out[i] = ClampSample(centre[i] + std::min(std::max(way, -limit), limit));
    }
}
