#include "stages/line_sharpen.h"

std::span<const QLAttribRow> CLineSharpenStage::Rows() {
    using S = CLineSharpenStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_LINE_SHARPEN_ON).Keeps<&S::m_strength>().Clamps(0, 2),
    };
    return rows;
}

CLineSharpenStage::CLineSharpenStage(QLAttribTree* tree) : CNewLineStage(tree) {
    AttachRows(this);
}

QLStatus CLineSharpenStage::OnAfterOpen() {
    m_active = m_strength != 0 && m_inFormat.m_bytesPerSample == sizeof(std::uint16_t);
    m_bypass = !m_active;
    m_kernel = m_strength == 1 ? &SharpenLineByFive : &SharpenLineByNine;
    return QL_OK;
}

void CLineSharpenStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                   std::uint8_t* target) {
    const auto pixels = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t channels = m_inFormat.m_samplesPerPixel;
    const std::uint16_t* from = source.Samples();
    auto* to = reinterpret_cast<std::uint16_t*>(target);
    for (std::int32_t i = 0; i < lines; ++i, from += pixels * channels, to += pixels * channels)
        m_kernel(from, to, pixels, channels);
}
