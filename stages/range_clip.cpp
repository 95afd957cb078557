#include "stages/range_clip.h"

#include <algorithm>

#include "stages/range_clip_kernels.h"

std::span<const QLAttribRow> CRangeClipStage::Rows() {
    using S = CRangeClipStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_CLIP_HIGH).Keeps<&S::m_clipHigh>(),
        R::Provides(QL_ATTR_CLIP_LOW).Keeps<&S::m_clipLow>(),
        R::Follows(QL_ATTR_CLIP_RECT).Writes<&S::SetRect>(),
        R::Follows(QL_ATTR_INVERT).Keeps<&S::m_invert>(),
    };
    return rows;
}

CRangeClipStage::CRangeClipStage(QLAttribTree* tree) : CInPlaceStage(tree) {
    AttachRows(this);
}

void CRangeClipStage::SetRect(const QLRect* rect) {
    m_clipRect = rect ? *rect : QLRect{};
}

QLStatus CRangeClipStage::OnBeforeOpen() {
    m_active = m_clipHigh || m_clipLow;
    m_currentLine = 0;
    return QL_OK;
}

QLStatus CRangeClipStage::OnAfterOpen() {
    m_active = m_active && m_inFormat.IsInternal();
    return QL_OK;
}

// The rectangle may reach beyond the image, or be empty.
QLStatus CRangeClipStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    const std::int32_t width = m_outFormat.m_width;
    const auto channels = static_cast<std::size_t>(m_outFormat.m_samplesPerPixel);
    const auto left = static_cast<std::size_t>(std::clamp(m_clipRect.left, 0, width));
    const auto right = static_cast<std::size_t>(std::clamp(m_clipRect.right, 0, width));
    const bool high = m_invert ? m_clipLow : m_clipHigh;
    const bool low = m_invert ? m_clipHigh : m_clipLow;
    const auto lines = static_cast<std::int32_t>(count / static_cast<std::size_t>(width));
    for (std::int32_t i = 0; i < lines; ++i, ++m_currentLine) {
        if (m_currentLine >= m_clipRect.top && m_currentLine < m_clipRect.bottom && left < right) {
            std::uint16_t* first = samples + left * channels;
            if (channels == 3)
                MarkColorEnds(first, right - left, high, low);
            else
                MarkGrayEnds(first, right - left, high, low);
        }
        samples += static_cast<std::size_t>(width) * channels;
    }
    return QL_OK;
}
