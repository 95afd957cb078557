#include "stages/auto_tone.h"

#include <algorithm>

#include "stages/auto_tone_kernels.h"

namespace {

// What counts of a window is its centre: two thirds of each side, a sixth away from the edges. As
// single precision holds it.
constexpr double kCentre = 0.6669999957084656;
constexpr std::int32_t kSixths = 6;
constexpr double kMostShift = 4.0;  // density

}  // namespace

std::span<const QLAttribRow> CAutoToneStage::Rows() {
    using S = CAutoToneStage;
    using R = QLRowsOf<S>;
    static constexpr auto rows =
        JoinRows(SharedRows<S>(), std::array<QLAttribRow, 5>{
                                      R::Provides(QL_ATTR_EXPOSURE_SHIFT)
                                          .Reads<&S::ExposureShift>()
                                          .Writes<&S::SetExposureShift>()
                                          .Range(-kMostShift, kMostShift),
                                      R::Provides(QL_ATTR_CHANNEL_SHIFT_R)
                                          .Reads<&S::ChannelShiftOf<0>>()
                                          .Writes<&S::SetChannelShift<0>>()
                                          .Range(-kMostShift, kMostShift),
                                      R::Provides(QL_ATTR_CHANNEL_SHIFT_G)
                                          .Reads<&S::ChannelShiftOf<1>>()
                                          .Writes<&S::SetChannelShift<1>>()
                                          .Range(-kMostShift, kMostShift),
                                      R::Provides(QL_ATTR_CHANNEL_SHIFT_B)
                                          .Reads<&S::ChannelShiftOf<2>>()
                                          .Writes<&S::SetChannelShift<2>>()
                                          .Range(-kMostShift, kMostShift),
                                      // Known only when the tables of the model have been taken
                                      // over, which may be after the stage was made.
                                      R::Follows(QL_ATTR_NEG_TENTH).Writes<&S::SetFilmStep>(),
                                  });
    return rows;
}

CAutoToneStage::CAutoToneStage(QLAttribTree* tree) : CAutoToneBase(tree) {
    AttachRows(this);
}

void CAutoToneStage::SettleAnalyser() {
    m_analyser.SetSampleMode(GrayInput() ? QL_SAMPLE_MONO : QL_SAMPLE_COLOR);
}

QLStatus CAutoToneStage::OnAfterOpen() {
    const QLStatus status = CAutoToneBase::OnAfterOpen();
    const std::int32_t dx = OuterRect().Width() / kSixths;
    const std::int32_t dy = OuterRect().Height() / kSixths;
    m_innerRect = OuterRect();
    m_innerRect.Resize(kCentre);
    m_innerRect.Offset(dx, dy);
    m_ringCounter = 0;
    return status;
}

void CAutoToneStage::PrepareLines(std::uint16_t* samples, std::size_t count) {
    if (GrayInput() && m_outFormat.IsInternalColor())
        ::MixToGray(samples, count);
}

// The ring around the centre is a hint only: a fifth of its pixels count, and all of them as
// candidates for the brightest.
void CAutoToneStage::SampleLine(const QLPixelRun& line, std::int32_t y) {
    if (HasRect())
        FeedWindowAndRing(line, y, m_innerRect, OuterRect(), m_analyser, &m_ringCounter);
    else
        FeedFully(line, m_analyser);
}

const CQLLut* CAutoToneStage::GrayTable() {
    RefreshLuts();
    return m_lut[kGray];
}

void CAutoToneStage::OnColorPixels(std::int32_t lines, CQLLineBuffer* buffer,
                                   void (*kernel)(std::uint16_t*, std::size_t)) {
    if (buffer && buffer->Data() && lines > 0 && m_outFormat.IsInternalColor()) {
        kernel(buffer->Samples(), static_cast<std::size_t>(m_outFormat.m_width) *
                                      static_cast<std::size_t>(std::min(lines, buffer->Lines())));
    }
}

void CAutoToneStage::MixToGray(std::int32_t lines, CQLLineBuffer* buffer) {
    OnColorPixels(lines, buffer, &::MixToGray);
}

void CAutoToneStage::CopyRedToAll(std::int32_t lines, CQLLineBuffer* buffer) {
    OnColorPixels(lines, buffer, &::CopyRedToAll);
}
