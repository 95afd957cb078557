#include "engine/chain.h"
#include "stages/auto_tone_base.h"
#include "stages/palette.h"
#include "stages/threshold.h"

namespace {

constexpr CChainStages::Slot kToneSlots[] = {
    &CChainStages::m_autoTonePhoto,
    &CChainStages::m_autoToneSlide,
    &CChainStages::m_autoToneNeg,
};

}  // namespace

std::span<const QLAttribRow> CChainFull::Rows() {
    using C = CChainFull;
    using R = QLRowsOf<C>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_CHAIN_FLAG_116).Keeps<&C::m_collectHistogram>(),
        R::Provides(QL_ATTR_CHAIN_FLAG_345).Keeps<&C::m_collectThreshold>(),
        R::Provides(QL_ATTR_CHAIN_FLAG_117).Reads<&C::m_chainFlag117>(),
        R::Provides(QL_ATTR_CLIP_RECT).Points<&C::m_clipRect>().Writes<&C::SetClipRect>(),
    };
    return rows;
}

CChainFull::CChainFull(QLAttribTree* tree)
    : CChainPump(tree),
      m_port(tree, this, nullptr, &CChainFull::GetOwnAttrib, &CChainFull::SetOwnAttrib) {
    // Stages first, in their own order: ids that two of them provide belong to the one made last.
    for (const Slot slot : Construction())
        Make(slot, tree);
    m_rows.Attach(m_port, this, Rows());
}

// Only a pass of analysis pays for the counting of its samples; what a user has switched on counts
// in every pass.
QLStatus CChainFull::BeforeAnalysisOpen() {
    m_savedHistogram = m_port.GetValue(QL_ATTR_HISTOGRAM_ON);
    m_savedThreshold = m_port.GetValue(QL_ATTR_THRESHOLD_COLLECT);
    if (m_collectHistogram)
        m_port.SetValue(QL_ATTR_HISTOGRAM_ON, 1);
    if (m_collectThreshold)
        m_port.SetValue(QL_ATTR_THRESHOLD_COLLECT, 1);
    return QL_OK;
}

QLStatus CChainFull::AfterAnalysisClose() {
    m_port.SetValue(QL_ATTR_HISTOGRAM_ON, m_savedHistogram);
    m_port.SetValue(QL_ATTR_THRESHOLD_COLLECT, m_savedThreshold);
    return QL_OK;
}

// A stage serves what it was asked for when the pass brings the whole image and something to look
// at. What it still holds must not come over the next image.
bool CChainFull::TakeBackRequests() {
    const auto takeBack = [](auto* stage) {
        const bool held = stage && stage->HasRequest();
        if (held)
            stage->DropRequest();
        return held;
    };
    bool taken = takeBack(static_cast<CThresholdStage*>(m_threshold.get()));
    taken = takeBack(PaletteStage()) || taken;
    for (const Slot slot : kToneSlots)
        taken = takeBack(ToneStage(slot)) || taken;
    return taken;
}

CAutoToneBase* CChainFull::ToneStage(Slot slot) {
    // What the table of the stages makes for these slots.
    return static_cast<CAutoToneBase*>((this->*slot).get());
}

CPaletteStage* CChainFull::PaletteStage() const {
    return static_cast<CPaletteStage*>(m_palette.get());
}

bool CChainFull::HasOwnPalette() const {
    return PaletteStage() && PaletteStage()->HasAdaptive();
}

// Noted, so that only what was on comes on again.
QLStatus CChainFull::HoldClip() {
    m_savedClipHigh = m_port.GetValue(QL_ATTR_CLIP_HIGH) != 0;
    if (m_savedClipHigh)
        m_port.SetValue(QL_ATTR_CLIP_HIGH, 0);
    m_savedClipLow = m_port.GetValue(QL_ATTR_CLIP_LOW) != 0;
    if (m_savedClipLow)
        m_port.SetValue(QL_ATTR_CLIP_LOW, 0);
    return QL_OK;
}

QLStatus CChainFull::ReleaseClip() {
    if (m_savedClipHigh)
        m_port.SetValue(QL_ATTR_CLIP_HIGH, 1);
    if (m_savedClipLow)
        m_port.SetValue(QL_ATTR_CLIP_LOW, 1);
    return QL_OK;
}

void CChainFull::SetClipRect(const QLRect* rect) {
    m_clipRect = rect ? *rect : QLRect{};
}

bool CChainFull::WantsRangeClip() {
    return m_port.GetValue(QL_ATTR_CLIP_HIGH) != 0 || m_port.GetValue(QL_ATTR_CLIP_LOW) != 0 ||
           (m_clipRect.top < m_clipRect.bottom && m_clipRect.left < m_clipRect.right);
}

QLStatus CChainFull::ProbeColor(QLColorQuery* record) {
    // From the last stage that changes colours, and so through all of them.
    return m_invert ? m_invert->TransformColor(record) : QL_OK;
}

CQLStage* CChainFull::BuildHead(CQLStage* upstream) {
    CQLStage* last = upstream;
    if (m_port.GetValue(QL_ATTR_SKIP_SHARPEN) == 0) {
        last = Connect(&CChainStages::m_sharpenSwitch, last);
        if (m_port.GetValue(QL_ATTR_EARLY_SHARPEN) != 0)
            last = Connect(&CChainStages::m_lutSharpen, last);
    }
    last = Connect(&CChainStages::m_mirror, last);
    // Beside the data path rotation hangs on the chain, and the next stage takes the same upstream
    // neighbour.
    CQLStage* turned = Connect(&CChainStages::m_rotate, last);
    m_turner = m_rotateOnPath ? static_cast<CRotateStage*>(m_rotate.get()) : nullptr;
    return m_turner ? turned : last;
}

CQLStage* CChainFull::BuildVariant(CQLStage* upstream) {
    const bool tma = m_port.GetValue(QL_ATTR_TMA) != 0;
    const bool negative = m_port.GetValue(QL_ATTR_NEGATIVE) != 0;
    // Film counts only on the adapter; the choice of negative or slide stands for as long as paper
    // is scanned.
    const QLChainVariant variant = !tma       ? QLChainVariant::Reflective
                                   : negative ? QLChainVariant::Negative
                                              : QLChainVariant::Slide;
    // A new matrix stage takes over the mode that the type of output asked of the one before it.
    if (EnterVariant(variant, m_store))
        SetMatrixMode();
    // Sharpening has one stage and three places: early in the head, late in the body, or none.
    const bool sharpenHere =
        m_port.GetValue(QL_ATTR_EARLY_SHARPEN) == 0 && m_port.GetValue(QL_ATTR_SKIP_SHARPEN) == 0;
    const bool clipHere = WantsRangeClip();
    const std::int32_t type = WordInteger(m_port.GetValue(QL_ATTR_OUTPUT_TYPE));
    CQLStage* last = BuildHead(upstream);
    for (const Slot slot : Body(variant, type)) {
        if ((slot != &CChainStages::m_lutSharpen || sharpenHere) &&
            (slot != &CChainStages::m_rangeClip || clipHere))
            last = Connect(slot, last);
    }
    if (HasColors(type))
        TellExposure();
    return last;
}

// Of the variants for positives. Each run builds twice, and may tell twice.
void CChainFull::TellExposure() {
    const bool expose = m_port.GetValue(QL_ATTR_AUTO_EXPOSE_COLOR) != 0;
    for (const Slot slot : {&CChainStages::m_autoTonePhoto, &CChainStages::m_autoToneSlide}) {
        if (CAutoToneBase* tone = ToneStage(slot))
            tone->SetExposeFlag(expose);
    }
}
