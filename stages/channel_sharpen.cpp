#include "stages/channel_sharpen.h"

#include <algorithm>

#include "frame/output_type.h"

namespace {

constexpr std::size_t kGreen = 1;

}  // namespace

std::span<const QLAttribRow> CChannelSharpenStage::Rows() {
    using S = CChannelSharpenStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Follows(QL_ATTR_CHANNEL_SHARPEN_0, QL_ATTR_CHANNEL_SHARPEN_2)
            .Keeps<&S::m_strength>()
            .Range(-100, 150),
    };
    return rows;
}

CChannelSharpenStage::CChannelSharpenStage(QLAttribTree* tree) : CFiveLineStage(tree) {
    AttachRows(this);
}

QLStatus CChannelSharpenStage::OnAfterOpen() {
    m_passThrough = IsTooSmallOrPacked() ||
                    WordInteger(GetValue(QL_ATTR_OUTPUT_TYPE)) == QL_OUTPUT_LINE_ART ||
                    GetValue(QL_ATTR_TMA) != 0 ||
                    std::ranges::all_of(m_strength, [](std::int32_t s) { return s == 0; });
    const QLStatus status = CFiveLineStage::OnAfterOpen();
    if (status != QL_OK || m_passThrough)
        return status;
    double slopes[kChannels];
    for (std::size_t k = 0; k < kChannels; ++k)
        slopes[k] = SharpenSlope(m_strength[k], m_inFormat);
    const bool gray = m_inFormat.m_samplesPerPixel == 1;
    const bool built = m_response.Build(gray ? std::span<const double>(slopes + kGreen, 1)
                                             : std::span<const double>(slopes));
    return built ? QL_OK : QL_ERR_NO_MEMORY;
}

QLStatus CChannelSharpenStage::OnAfterClose() {
    m_response.Release();
    return CFiveLineStage::OnAfterClose();
}

std::int32_t CChannelSharpenStage::FilterLine(std::uint16_t* out, const std::uint16_t*,
                                              const std::uint16_t* line1,
                                              const std::uint16_t* line2,
                                              const std::uint16_t* line3, const std::uint16_t*) {
    m_response.Apply(line1, line2, line3, out, m_inFormat);
    return 1;
}
