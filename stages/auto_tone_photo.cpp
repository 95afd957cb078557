#include "stages/auto_tone_photo.h"

std::span<const QLAttribRow> CAutoTonePhotoStage::Rows() {
    using S = CAutoTonePhotoStage;
    using R = QLRowsOf<S>;
    constexpr double kLevel = CToneAnalyser::kMostLevel;
    static constexpr auto rows = JoinRows(
        SharedRows<S>(), std::array<QLAttribRow, 4>{
                             R::Provides(QL_ATTR_HIGHLIGHT)
                                 .Reads<&S::White>()
                                 .Writes<&S::SetWhite>()
                                 .Clamps(-kLevel, kLevel),
                             R::Provides(QL_ATTR_SHADOW)
                                 .Reads<&S::Black>()
                                 .Writes<&S::SetBlack>()
                                 .Clamps(-kLevel, kLevel),
                             R::Provides(QL_ATTR_MIDTONE)
                                 .Reads<&S::Mid>()
                                 .Writes<&S::SetMid>()
                                 .Clamps(-kLevel, kLevel),
                             R::Listens(QL_ATTR_AUTO_EXPOSE_COLOR).Calls<&S::RequestExposure>(),
                         });
    return rows;
}

CAutoTonePhotoStage::CAutoTonePhotoStage(QLAttribTree* tree)
    : CAutoToneBase(tree), m_analyser(tree) {
    AttachRows(this);
}

void CAutoTonePhotoStage::SettleAnalyser() {
    m_analyser.SetSourceMode(GetInteger(QL_ATTR_TONE_MODE));
}

QLStatus CAutoTonePhotoStage::OnAfterOpen() {
    SetGrayInput(m_inFormat.m_samplesPerPixel == 1);
    m_analyser.SetGray(GrayInput());
    return CAutoToneBase::OnAfterOpen();
}

std::span<const std::int32_t> CAutoTonePhotoStage::LevelIds() const {
    static constexpr std::int32_t ids[] = {QL_ATTR_HIGHLIGHT, QL_ATTR_MIDTONE,
                                           QL_ATTR_SHADOW,    QL_ATTR_AUTO_WHITE,
                                           QL_ATTR_AUTO_MID,  QL_ATTR_AUTO_BLACK};
    return ids;
}

// A choice of the exposure variant asks for an analysis: of tone, and of colour as far as it is
// wanted.
void CAutoTonePhotoStage::RequestExposure() {
    if (GetValue(QL_ATTR_AUTO_AVAILABLE) != 0)
        Request(GetValue(QL_ATTR_AUTO_EXPOSE_COLOR) != 0 || GetValue(QL_ATTR_AUTO_COLOR_ON) != 0);
}
