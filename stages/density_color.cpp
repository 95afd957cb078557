#include "stages/density_color.h"

#include "frame/try_new.h"

std::span<const QLAttribRow> CDensityColorStage::Rows() {
    using S = CDensityColorStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Listens(QL_ATTR_DENSITY_MATRIX).Marks<&S::m_stale>().Numbers(18),
        R::Listens(QL_ATTR_POST_MATRIX).Marks<&S::m_stale>().Numbers(9),
    };
    return rows;
}

CDensityColorStage::CDensityColorStage(QLAttribTree* tree) : CInPlaceStage(tree) {
    AttachRows(this);
}

QLStatus CDensityColorStage::OnBeforeOpen() {
    // Settled behind this: an open that fails here leaves a stage that does nothing.
    m_active = false;
    if (m_stale)
        m_core = TryNew<CDensityColorCore>(*this);
    // Without memory the next open tries again.
    m_stale = !m_core || !m_core->Ready();
    return m_stale ? QL_ERR_NO_MEMORY : QL_OK;
}

QLStatus CDensityColorStage::OnAfterOpen() {
    m_active = m_outFormat.IsInternalColor();
    return QL_OK;
}

QLStatus CDensityColorStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    m_core->ApplyPixels(samples, count);
    return QL_OK;
}

QLStatus CDensityColorStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CInPlaceStage::TransformColor(query);
    if (answer != 0 && IsActive())
        m_core->ApplyPixels(query->Samples(), 1);
    return answer;
}
