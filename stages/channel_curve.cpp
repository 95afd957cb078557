#include "stages/channel_curve.h"

#include "frame/fixed_point.h"

std::span<const QLAttribRow> CChannelCurveStage::Rows() {
    using S = CChannelCurveStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // Nine numbers of the profile in a row: black of the three channels, then gain, then gamma.
        // Each announcement makes the tables stale, changed or not: a take-over of the profile
        // rebuilds them.
        R::Follows(QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_2)
            .Keeps<&S::m_black>()
            .Marks<&S::m_dirty>()
            .Always(),
        R::Follows(QL_ATTR_NEG_CURVE_3, QL_ATTR_NEG_CURVE_5)
            .Keeps<&S::m_gain>()
            .Marks<&S::m_dirty>()
            .Always(),
        R::Follows(QL_ATTR_NEG_CURVE_6, QL_ATTR_NEG_CURVE_8)
            .Keeps<&S::m_gamma>()
            .Marks<&S::m_dirty>()
            .Always(),
    };
    return rows;
}

CChannelCurveStage::CChannelCurveStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    AttachRows(this);
}

QLStatus CChannelCurveStage::OnBeforeOpen() {
    m_active = true;
    m_bypass = false;
    const QLStatus status = NeedTables(kGray, &m_dirty);
    return status == QL_OK && m_dirty ? RebuildCurves() : status;
}

QLStatus CChannelCurveStage::RebuildCurves() {
    // Fine: these curves lie in front of a logarithm, which stretches what 256 straight pieces
    // leave of black.
    const std::unique_ptr<CQLLut> gamma = CQLLut::MakeFull(CQLLut::kFine);
    if (!gamma)
        return QL_ERR_NO_MEMORY;
    // Black, gain, gamma: what the gain clips stays clipped.
    for (int c = 0; c < 3; ++c) {
        m_ownLut[c]->SetIdentity();
        // Black b: 0 up to b, and the rest stretched back over the whole range.
        m_ownLut[c]->RemapValues(TruncToU16(m_black[c]), kSampleMax, 0, kSampleMax);
        m_ownLut[c]->Scale(m_gain[c]);
        gamma->BuildGamma(m_gamma[c]);
        m_ownLut[c]->ComposeWith(*gamma);
    }
    m_neutral = AreNeutral(kGray);
    m_dirty = false;
    return QL_OK;
}
