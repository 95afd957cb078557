#include "stages/auto_tone_tma.h"

#include <algorithm>

#include "frame/fixed_point.h"

namespace {

constexpr std::int32_t kPlainSource = 0;  // no tone mode of its own
// However bright the midtone, the curve makes no light more than this many times as bright.
constexpr double kMostGain = 6.0;

}  // namespace

std::span<const QLAttribRow> CAutoToneTmaStage::Rows() {
    static constexpr auto rows = SharedRows<CAutoToneTmaStage>();
    return rows;
}

CAutoToneTmaStage::CAutoToneTmaStage(QLAttribTree* tree) : CAutoToneBase(tree), m_analyser(tree) {
    m_analyser.SetSourceMode(kPlainSource);
    AttachRows(this);
}

QLStatus CAutoToneTmaStage::OnAfterOpen() {
    const QLStatus status = CAutoToneBase::OnAfterOpen();
    m_active = m_inFormat.IsInternalColor();
    m_bypass = !m_active;
    if (status != QL_OK || m_bypass)
        return status;
    if (!m_densityCurve)
        m_densityCurve = CQLLut::MakeFull();
    if (!m_densityCurve || !m_balance.Ready())
        return QL_ERR_NO_MEMORY;
    if (m_curveLevel != m_analyser.Midtone())
        BuildDensityCurve(m_analyser.Midtone());
    const auto white = m_analyser.WhitePoint();
    m_balance.SetOffsets(white[0], white[1], white[2]);
    return QL_OK;
}

// Density times 1 / (1 + part) brightens, and more so where it is dark; a negative level divides by
// at least a half.
void CAutoToneTmaStage::BuildDensityCurve(std::int32_t midtone) {
    m_densityCurve->SetIdentity();
    if (midtone >= 0)
        Brighten(midtone / 100.0);
    else
        m_densityCurve->Scale(1.0 / (midtone * 0.5 / 100.0 + 1.0));
    m_curveLevel = midtone;
}

void CAutoToneTmaStage::Brighten(double part) {
    const CDensityTables& tables = m_balance.Tables();
    const auto factor = static_cast<std::int64_t>(RoundToI32(1.0 / (part + 1.0) * 65536.0));
    for (std::int32_t i = 0; i <= kSampleMax; ++i) {
        const double light = tables.FromDensity(i) / 65535.0;
        const std::int32_t floor = tables.ToDensity(RoundToI32(light * kMostGain * 65535.0));
        const auto scaled = static_cast<std::int32_t>(i * factor >> 16);
        m_densityCurve->Set(i, static_cast<std::uint16_t>(std::max(scaled, floor)));
    }
}

void CAutoToneTmaStage::PrepareLines(std::uint16_t* samples, std::size_t count) {
    // An analysis of tone looks at what the film shows; the exposure variant has it all in the
    // tables.
    if (!ExposeFlag() && !WantsTone())
        m_balance.ApplyPixels(*m_densityCurve, samples, count);
}

QLStatus CAutoToneTmaStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CAutoToneBase::TransformColor(query);
    // Made at the first open.
    if (answer == 0 || m_bypass || !m_densityCurve || !m_curveLevel)
        return answer;
    m_balance.ApplyPixels(*m_densityCurve, query->Samples(), 1);
    return answer;
}
