#include "stages/smooth.h"

#include "stages/smooth_kernels.h"

std::span<const QLAttribRow> CSmoothStage::Rows() {
    using S = CSmoothStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_SMOOTH_ON).Keeps<&S::m_smoothOn>(),
    };
    return rows;
}

CSmoothStage::CSmoothStage(QLAttribTree* tree) : CFiveLineStage(tree) {
    AttachRows(this);
}

QLStatus CSmoothStage::OnAfterOpen() {
    m_passThrough = !m_smoothOn || m_inFormat.m_bytesPerSample != sizeof(std::uint16_t);
    return CFiveLineStage::OnAfterOpen();
}

std::int32_t CSmoothStage::FilterLine(std::uint16_t* out, const std::uint16_t*,
                                      const std::uint16_t* line1, const std::uint16_t* line2,
                                      const std::uint16_t* line3, const std::uint16_t*) {
    SmoothLine(line1, line2, line3, out, static_cast<std::size_t>(m_inFormat.m_width),
               m_inFormat.m_samplesPerPixel);
    return 1;
}
