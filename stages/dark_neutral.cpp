#include "stages/dark_neutral.h"

#include "frame/fixed_point.h"
#include "stages/lut_kernels.h"

namespace {

// Any pull attribute above this sets the limit; up to it the pull runs with the limit it has.
constexpr std::int32_t kLargestPlainPull = 10;

}  // namespace

std::span<const QLAttribRow> CDarkNeutralStage::Rows() {
    using S = CDarkNeutralStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // Nine numbers of the profile in a row: black of the three channels, then gain, then gamma.
        R::Follows(QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_CURVE_2)
            .Keeps<&S::m_black>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_SLIDE_CURVE_3, QL_ATTR_SLIDE_CURVE_5)
            .Keeps<&S::m_gain>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_SLIDE_CURVE_6, QL_ATTR_SLIDE_CURVE_8)
            .Keeps<&S::m_gamma>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_SLIDE_TENTH).Keeps<&S::m_blackOffset>().Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_DARK_WINDOW_LOW).Keeps<&S::m_spliceCenter>().Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_DARK_WINDOW_HIGH).Keeps<&S::m_spliceWidth>().Marks<&S::m_dirty>(),
    };
    return rows;
}

CDarkNeutralStage::CDarkNeutralStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    AttachRows(this);
}

QLStatus CDarkNeutralStage::OnAfterOpen() {
    QLStatus status = NeedTables(kGray, &m_dirty);
    if (status == QL_OK && m_dirty)
        status = RebuildDark();
    if (status != QL_OK)
        return status;
    // 0 switches the pull off. A number n above 10 sets its limit to 1/n of full scale, which stays
    // for the images behind this one.
    const std::int32_t pull = GetInteger(QL_ATTR_DARK_PULL);
    m_neutralOn = pull != 0;
    if (pull > kLargestPlainPull)
        m_darkLimit = kSampleMax / pull;
    // Gray lines have no colour that could be pulled, and no table here.
    m_active = m_outFormat.IsInternalColor();
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CDarkNeutralStage::RebuildDark() {
    const std::unique_ptr<CQLLut> gamma = CQLLut::MakeFull();
    if (!gamma)
        return QL_ERR_NO_MEMORY;
    for (int c = 0; c < 3; ++c) {
        // Black at its point, white at full scale; then gamma; the gain last, so that it clips what
        // the curve has lifted and nothing before.
        m_ownLut[c]->BuildClipRamp(RoundToI32(m_black[c] + m_blackOffset), kSampleMax);
        gamma->BuildGamma(m_gamma[c]);
        m_ownLut[c]->ComposeWith(*gamma);
        m_ownLut[c]->Scale(m_gain[c]);
    }
    // Below the window a table is the identity: a steep curve would amplify the noise of dark
    // pixels.
    Splice(kGray, m_spliceCenter, m_spliceWidth);
    m_neutral = AreNeutral(kGray);
    m_dirty = false;
    return QL_OK;
}

QLStatus CDarkNeutralStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    const QLStatus status = CLutStage::ProcessPixels(samples, count);
    // Behind the tables: what counts as dark is told in the light that leaves them.
    if (status == QL_OK && m_neutralOn && !m_neutralHold)
        PullDarkPixels(samples, count, m_darkLimit);
    return status;
}
