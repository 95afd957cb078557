#include "stages/lut_sharpen.h"

#include "frame/output_type.h"

namespace {

constexpr std::int32_t kStrengths = 5;    // one a level
constexpr std::int32_t kMiddleLevel = 2;  // towards which a boosted image is drawn

}  // namespace

// In percent; 0 for levels that have none.
std::int32_t CLutSharpenStage::Strength() {
    if (GetValue(QL_ATTR_ATTR_230) != 0 &&
        WordInteger(GetValue(QL_ATTR_OUTPUT_TYPE)) == QL_OUTPUT_LINE_ART)
        return 0;
    std::int32_t strength = 0;
    if (m_level >= 0 && m_level < kStrengths)
        strength = WordInteger(GetValue(QL_ATTR_SHARPEN_TABLE_0 + m_level));
    if (m_inFormat.m_sharpenBoostOn) {
        const std::int64_t middle = WordInteger(GetValue(QL_ATTR_SHARPEN_TABLE_0 + kMiddleLevel));
        strength = static_cast<std::int32_t>((strength + middle) / 2);
    }
    return strength;
}

QLStatus CLutSharpenStage::OnAfterOpen() {
    if (m_applyDefault)
        ForceDefaultLevel();
    const double slope = SharpenSlope(Strength(), m_inFormat);
    m_passThrough = slope == 0.0 || GetValue(QL_ATTR_SHARPEN_ON) == 0;
    const QLStatus status = CSharpenStage::OnAfterOpen();
    if (status == QL_OK && !m_passThrough && !m_response.Build({&slope, 1}))
        return QL_ERR_NO_MEMORY;
    return status;
}

QLStatus CLutSharpenStage::OnAfterClose() {
    m_response.Release();
    return CSharpenStage::OnAfterClose();
}

// The level before it stays what it was.
void CLutSharpenStage::ForceDefaultLevel() {
    if (m_level == kDefaultLevel)
        return;
    m_level = kDefaultLevel;
    Notify(QL_ATTR_SHARPEN_LEVEL);
}

std::int32_t CLutSharpenStage::FilterLine(std::uint16_t* out, const std::uint16_t*,
                                          const std::uint16_t* line1, const std::uint16_t* line2,
                                          const std::uint16_t* line3, const std::uint16_t*) {
    m_response.Apply(line1, line2, line3, out, m_inFormat);
    return 1;
}
