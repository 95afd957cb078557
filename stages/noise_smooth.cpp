#include "stages/noise_smooth.h"

#include "frame/fixed_point.h"
#include "stages/noise_smooth_kernels.h"

namespace {

constexpr std::int32_t kUnits = 4095;  // full scale of the limits

}  // namespace

std::span<const QLAttribRow> CNoiseSmoothStage::Rows() {
    using S = CNoiseSmoothStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_NOISE_SMOOTH_ON).Keeps<&S::m_useOn>(),
        R::Follows(QL_ATTR_NOISE_SMOOTH_A).Keeps<&S::m_limitOn>().Range(0, kUnits),
        R::Follows(QL_ATTR_NOISE_SMOOTH_B).Keeps<&S::m_limitOff>().Range(0, kUnits),
    };
    return rows;
}

CNoiseSmoothStage::CNoiseSmoothStage(QLAttribTree* tree) : CFiveLineStage(tree) {
    AttachRows(this);
}

QLStatus CNoiseSmoothStage::OnAfterOpen() {
    const std::int64_t chosen = m_useOn ? m_limitOn : m_limitOff;
    m_passThrough = m_limitOn == 0 || chosen == 0 || IsTooSmallOrPacked();
    // In colour of the sum of eight differences, of which no more count than the kernel knows; in
    // gray of their mean.
    m_limit = m_inFormat.m_samplesPerPixel == 3
                  ? Clamp(chosen * 8 * kSampleMax / kUnits, 0, kMostColorDifference)
                  : static_cast<std::int32_t>(chosen * kSampleMax / kUnits);
    return CFiveLineStage::OnAfterOpen();
}

std::int32_t CNoiseSmoothStage::FilterLine(std::uint16_t* out, const std::uint16_t*,
                                           const std::uint16_t* line1, const std::uint16_t* line2,
                                           const std::uint16_t* line3, const std::uint16_t*) {
    const auto pixels = static_cast<std::size_t>(m_inFormat.m_width);
    if (m_inFormat.m_samplesPerPixel == 3)
        SmoothNoiseColor(line1, line2, line3, out, pixels, static_cast<std::uint16_t>(m_limit));
    else
        SmoothNoiseGray(line1, line2, line3, out, pixels, m_limit);
    return 1;
}
