#include "stages/band_sink.h"

std::span<const QLAttribRow> CBandSinkStage::Rows() {
    using S = CBandSinkStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_TAP_HEADER).Points<&S::m_bitmap>(),
        R::Provides(QL_ATTR_TAP_BAND).Reads<&S::m_band>(),
        R::Provides(QL_ATTR_TAP_RECT).Points<&S::m_bandRect>(),
        R::Provides(QL_ATTR_TAP_ON).Reads<&S::m_ready>(),
    };
    return rows;
}

CBandSinkStage::CBandSinkStage(QLAttribTree* tree) : CBitmapSinkStage(tree) {
    AttachRows(this);
}

QLStatus CBandSinkStage::OnAfterOpen() {
    // Each image counts its lines anew: the count is the place of the next band.
    m_linesDone = 0;
    m_bitmap.Build(m_outFormat);
    // From here on whoever hears the announcement finds a header behind it.
    m_ready = true;
    Notify(QL_ATTR_TAP_HEADER);
    return QL_OK;
}

QLStatus CBandSinkStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    // Set before the announcement: who hears it reads rectangle and lines at once, and copies what
    // it wants to keep. A band of no lines is announced too; it closes an image that ended early.
    m_bandRect.top = static_cast<std::int32_t>(m_linesDone);
    m_bandRect.left = 0;
    m_bandRect.bottom = m_bandRect.top + *lines;
    m_bandRect.right = m_bitmap.Header().biWidth;
    m_band = buffer;
    Notify(QL_ATTR_TAP_BAND);
    CountLines(*lines);
    return QL_OK;
}
