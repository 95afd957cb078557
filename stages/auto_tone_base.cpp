#include "stages/auto_tone_base.h"

#include "frame/fixed_point.h"

namespace {

// Of a window, an eighth of each side stays out: a quarter, half of it to either side.
void TakeBorderOff(QLRect* rect) {
    constexpr double kBorder = 0.25 / 2;
    rect->Shrink(RoundToI32(rect->Width() * kBorder), RoundToI32(rect->Height() * kBorder));
}

}  // namespace

CAutoToneBase::CAutoToneBase(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
}

void CAutoToneBase::SetExposeFlag(bool on) {
    Analyser().SetExposeFlag(on);
    if (on)
        m_keepOnReset = true;
}

void CAutoToneBase::RefreshLuts() {
    Analyser().BuildCurves();
    for (int c = 0; c < 3; ++c)
        m_lut[c] = Analyser().Lut(c);
    m_lut[kGray] = GrayLut();
}

// ---- A pass

QLStatus CAutoToneBase::OnBeforeOpen() {
    m_active = true;
    m_bypass = false;
    m_linesSeen = 0;
    m_lineNo = 0;
    Analyser().StartCollect();
    SettleAnalyser();
    RefreshLuts();
    return IsComplete() ? QL_OK : QL_ERR_NO_MEMORY;
}

QLStatus CAutoToneBase::OnAfterOpen() {
    m_active = m_inFormat.IsInternal();
    m_innerRect = WindowInside();
    return QL_OK;
}

QLRect CAutoToneBase::WindowInside() const {
    if (m_hasRect)
        return m_outerRect;
    QLRect image{0, 0, m_outFormat.m_height, m_outFormat.m_width};
    TakeBorderOff(&image);
    return image;
}

QLStatus CAutoToneBase::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    PrepareLines(samples, count);
    if (HasRequest())
        Sample(samples, count);
    m_linesSeen += static_cast<std::int32_t>(count / static_cast<std::size_t>(m_outFormat.m_width));
    return CLutStage::ProcessPixels(samples, count);
}

void CAutoToneBase::Sample(const std::uint16_t* samples, std::size_t count) {
    const auto width = static_cast<std::size_t>(m_outFormat.m_width);
    const std::size_t channels = m_outFormat.m_samplesPerPixel;
    for (std::size_t done = 0; done < count; done += width, ++m_lineNo)
        SampleLine({samples + done * channels, width, channels, channels == 3}, m_lineNo);
}

void CAutoToneBase::RestoreBeforeColor() {
    Analyser().RestoreColor(!ExposeFlag() && m_keepOnReset);
}

QLStatus CAutoToneBase::OnAfterClose() {
    const bool whole = m_linesSeen == m_outFormat.m_height;
    m_linesSeen = 0;
    // What was cut, and a window without a pixel, leave the settings alone and the request
    // standing.
    if (!HasRequest() || !whole || !Analyser().HasStatistics())
        return QL_OK;
    if (m_wantColor)
        RestoreBeforeColor();
    const QLAnalysisKind what = !m_wantColor  ? QL_ANALYSE_TONE
                                : !m_wantTone ? QL_ANALYSE_COLOR
                                              : QL_ANALYSE_TONE_AND_COLOR;
    Analyser().Analyse(what);
    const bool tone = m_wantTone;
    const bool color = m_wantColor;
    DropRequest();
    if (tone)
        AnnounceLevels();
    if (color)
        AnnounceHue();
    return QL_OK;
}

// ---- Attributes

std::span<const std::int32_t> CAutoToneBase::LevelIds() const {
    static constexpr std::int32_t ids[] = {QL_ATTR_AUTO_WHITE, QL_ATTR_AUTO_MID,
                                           QL_ATTR_AUTO_BLACK};
    return ids;
}

void CAutoToneBase::AnnounceLevels() {
    for (const std::int32_t id : LevelIds())
        Notify(id);
}

void CAutoToneBase::AnnounceHue() {
    Notify(QL_ATTR_HUE_X);
    Notify(QL_ATTR_HUE_Y);
}

void CAutoToneBase::TakeRect(const QLRect* rect) {
    m_hasRect = rect && !rect->IsEmpty();
    if (!m_hasRect)
        return;
    m_outerRect = *rect;
    TakeBorderOff(&m_outerRect);
}

void CAutoToneBase::TakeInvert(bool on) {
    m_inverted = on;
    AnnounceLevels();
}

void CAutoToneBase::ResetTone() {
    Analyser().RestoreTone(m_keepOnReset);
    AnnounceLevels();
    m_keepOnReset = false;
}

void CAutoToneBase::ResetColor() {
    RestoreOnReset();
    AnnounceHue();
}

std::int32_t CAutoToneBase::White() {
    return m_inverted ? -Analyser().Shadow() : Analyser().Highlight();
}

std::int32_t CAutoToneBase::Black() {
    return m_inverted ? -Analyser().Highlight() : Analyser().Shadow();
}

std::int32_t CAutoToneBase::Mid() {
    return m_inverted ? -Analyser().Midtone() : Analyser().Midtone();
}

void CAutoToneBase::SetWhite(std::int32_t level) {
    m_inverted ? Analyser().SetShadow(-level) : Analyser().SetHighlight(level);
}

void CAutoToneBase::SetBlack(std::int32_t level) {
    m_inverted ? Analyser().SetHighlight(-level) : Analyser().SetShadow(level);
}

void CAutoToneBase::SetMid(std::int32_t level) {
    Analyser().SetMidtone(m_inverted ? -level : level);
}
