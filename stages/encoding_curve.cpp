#include "stages/encoding_curve.h"

namespace {

// The slope near black is held: a gamma of 1.8 alone rises without bound there.
constexpr double kGamma = 1.8;
constexpr double kMaxSlope = 16.0;

}  // namespace

std::span<const QLAttribRow> CEncodingCurveStage::Rows() {
    using R = QLRowsOf<CEncodingCurveStage>;
    static constexpr QLAttribRow rows[] = {
        // Readers hold the table itself. Whenever it is rebuilt the id is fired, so that they look
        // again.
        R::Provides(QL_ATTR_ENCODING_LUT).Reads<&CEncodingCurveStage::Curve>(),
        R::Follows(QL_ATTR_CURVE_SELECT)
            .Keeps<&CEncodingCurveStage::m_gammaMode>()
            .Calls<&CEncodingCurveStage::BuildCurve>()
            .Fires(QL_ATTR_ENCODING_LUT),
    };
    return rows;
}

CEncodingCurveStage::CEncodingCurveStage(QLAttribTree* tree) : CLutStage(tree) {
    NeedTable(kGray);
    BuildCurve();
    AttachRows(this);
}

// Behind an automatic tone, as in most chains.
QLStatus CEncodingCurveStage::OnAfterOpen() {
    JoinTables();
    return CLutStage::OnAfterOpen();
}

// A table that is missing leaves lines as they are: this stage has no status to tell of it.
void CEncodingCurveStage::BuildCurve() {
    if (!m_ownLut[kGray])
        return;
    if (m_gammaMode)
        m_ownLut[kGray]->BuildGammaLimited(kGamma, kMaxSlope);
    else
        m_ownLut[kGray]->BuildSrgb();
}
