#include "stages/encoding_curve.h"

namespace {

// The slope near black is held: a gamma of 1.8 alone rises without bound there.
constexpr double kGamma = 1.8;
constexpr double kMaxSlope = 16.0;

}  // namespace

std::span<const QLAttribRow> CEncodingCurveStage::Rows() {
    using R = QLRowsOf<CEncodingCurveStage>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_ENCODING_LUT).Reads<&CEncodingCurveStage::Curve>(),
        R::Follows(QL_ATTR_CURVE_SELECT)
            .Keeps<&CEncodingCurveStage::m_gammaMode>()
            .Calls<&CEncodingCurveStage::BuildCurve>()
            .Fires(QL_ATTR_ENCODING_LUT),
    };
    return rows;
}

CEncodingCurveStage::CEncodingCurveStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lut[kGray] = CQLLut::MakeFull();
    BuildCurve();
    AttachRows(this);
}

void CEncodingCurveStage::BuildCurve() {
    if (!m_lut[kGray])
        return;
    if (m_gammaMode)
        m_lut[kGray]->BuildGammaLimited(kGamma, kMaxSlope);
    else
        m_lut[kGray]->BuildSrgb();
}
