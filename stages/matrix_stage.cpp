#include "stages/matrix_stage.h"

#include <algorithm>

#include "stages/matrix_kernels.h"

namespace {

// A window beyond this many 1/256 of the sample range does not fit 32 bits.
constexpr std::int32_t kLargestWindow = 1 << 22;

}  // namespace

QLStatus CMatrixStage::OnBeforeOpen() {
    m_isIdentity = IsIdentityMatrix();
    return QL_OK;
}

QLStatus CMatrixStage::OnAfterOpen() {
    m_linesDone = 0;
    // Gray, bilevel and all other lines pass.
    if (!m_outFormat.IsInternalColor())
        m_isIdentity = true;
    m_active = !m_isIdentity;
    return QL_OK;
}

QLStatus CMatrixStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    // Once a block, not once a pixel.
    const QLFixedMatrix matrix(m_matrix.m_v);
    // 1/256 of the sample range are 256 codes.
    const std::int32_t center = std::clamp(m_windowCenter, -kLargestWindow, kLargestWindow) * 256;
    const std::int32_t width = std::clamp(m_windowWidth, -kLargestWindow, kLargestWindow) * 256;
    const QLFadeWindow window{center - width / 2, center + width / 2, width};
    // No sample lies below 0: every pixel takes the plain matrix.
    if (window.high <= 0)
        MixPixels(samples, count, matrix);
    else
        MixPixelsFading(samples, count, matrix, window);
    return QL_OK;
}

QLStatus CMatrixStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CInPlaceStage::TransformColor(query);
    if (answer != 0 && m_outFormat.IsInternalColor() && !m_isIdentity)
        MixPixels(query->Samples(), 1, QLFixedMatrix(m_matrix.m_v));
    return answer;
}
