#include "stages/source_control.h"

std::span<const QLAttribRow> CSourceControlStage::Rows() {
    using S = CSourceControlStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // A request stands whatever is written, and whether it is written or fired.
        R::Provides(QL_ATTR_AUTO_TONE)
            .Reads<&S::m_autoToneRequested>()
            .Writes<&S::RequestTone>()
            .OnFire<&S::RequestTone>(),
        R::Provides(QL_ATTR_AUTO_COLOR)
            .Reads<&S::m_autoColorRequested>()
            .Writes<&S::RequestColor>()
            .OnFire<&S::RequestColor>(),
        R::Provides(QL_ATTR_ANALYSIS_RECT).Reads<&S::AnalysisRect>().Writes<&S::SetAnalysisRect>(),
        R::Provides(QL_ATTR_HISTOGRAM_ON).Keeps<&S::m_histogramOn>().LowByte(),
        // These two choose the road of the image: a change makes the chain build the stages of the
        // other.
        R::Provides(QL_ATTR_NEGATIVE).Reads<&S::m_negative>().Writes<&S::SetNegative>().LowByte(),
        R::Provides(QL_ATTR_TMA).Reads<&S::m_tma>().Writes<&S::SetTma>(),
        R::Provides(QL_ATTR_CURVE_SELECT).Reads<&S::m_curveSelect>().Writes<&S::SetCurveSelect>(),
    };
    return rows;
}

CSourceControlStage::CSourceControlStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    AttachRows(this);
}

// A window that is taken away keeps its sides for the time when another comes.
void CSourceControlStage::SetAnalysisRect(const QLRect* rect) {
    m_rectValid = rect != nullptr;
    if (rect)
        m_analysisRect = *rect;
}

// The three switches compare the word as it came: any other than the one that stands counts.

void CSourceControlStage::SetCurveSelect(std::uint64_t value) {
    if (value == std::uint64_t{m_curveSelect})
        return;
    m_curveSelect = value != 0;
    Notify(QL_ATTR_CURVE_SELECT);
}

void CSourceControlStage::SetNegative(std::uint64_t value) {
    if (value == std::uint64_t{m_negative})
        return;
    // The new value first: the build reads it.
    m_negative = static_cast<std::uint8_t>(value);
    Notify(QL_ATTR_CMD_START);
}

void CSourceControlStage::SetTma(std::uint64_t value) {
    if (value == std::uint64_t{m_tma})
        return;
    m_tma = value != 0;
    // A word that is neither off nor on is kept as on, and builds nothing.
    if (value <= 1)
        Notify(QL_ATTR_CMD_START);
}

QLStatus CSourceControlStage::OnAfterClose() {
    m_autoToneRequested = false;
    m_autoColorRequested = false;
    return QL_OK;
}
