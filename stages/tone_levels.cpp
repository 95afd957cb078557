#include "stages/tone_levels.h"

#include <algorithm>

#include "frame/fixed_point.h"

std::span<const QLAttribRow> CToneLevelsStage::Rows() {
    using S = CToneLevelsStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // The numbers of flatbed or feeder, whichever the engine says is the source. They are
        // compared as they come out of 16.16, so that the same profile never makes a table stale.
        R::Follows(QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B)
            .Keeps<&S::m_gamma>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B)
            .Keeps<&S::m_gain>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B)
            .Keeps<&S::m_black>()
            .Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_GRAY_TONE_BLACK).Keeps<&S::m_grayBlack>().Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_GRAY_TONE_GAIN).Keeps<&S::m_grayGain>().Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_GRAY_TONE_GAMMA).Keeps<&S::m_grayGamma>().Marks<&S::m_dirty>(),
        // Of the pair the first is the splice's centre, the second its width, both in 1/256 of the
        // table.
        R::Follows(QL_ATTR_TONE_WINDOW_LOW).Keeps<&S::m_spliceCenter>().Marks<&S::m_dirty>(),
        R::Follows(QL_ATTR_TONE_WINDOW_HIGH).Keeps<&S::m_spliceWidth>().Marks<&S::m_dirty>(),
    };
    return rows;
}

CToneLevelsStage::CToneLevelsStage(QLAttribTree* tree) : CLutStage(tree) {
    m_lutMode = kModePerChannel;
    AttachRows(this);
}

QLStatus CToneLevelsStage::OnBeforeOpen() {
    const QLStatus status = NeedTables(kChannels);
    if (status != QL_OK)
        return status;
    if (m_dirty)
        RebuildLevels();
    // The gains and the gray curve take no part in this: neutral gamma and black bypass the stage.
    const bool neutral = std::all_of(m_gamma, m_gamma + 3, [](double g) { return g == 1.0; }) &&
                         std::all_of(m_black, m_black + 3, [](double b) { return b == 0.0; });
    m_active = !neutral;
    m_bypass = neutral;
    return QL_OK;
}

QLStatus CToneLevelsStage::OnAfterOpen() {
    // Colour of any form goes on, so do internal gray lines, which have a curve of their own.
    if (!m_outFormat.IsInternal() && m_outFormat.m_samplesPerPixel != 3)
        m_bypass = true;
    return QL_OK;
}

void CToneLevelsStage::RebuildLevels() {
    const double black[kChannels] = {m_black[0], m_black[1], m_black[2], m_grayBlack};
    const double gamma[kChannels] = {m_gamma[0], m_gamma[1], m_gamma[2], m_grayGamma};
    const double gain[kChannels] = {m_gain[0], m_gain[1], m_gain[2], m_grayGain};
    for (int c = 0; c < kChannels; ++c) {
        m_ownLut[c]->SetIdentity();
        // Black is told on the 8-bit scale: 257 codes of the table for each step. Then gamma, then
        // gain; the curves of negatives put the gain first.
        m_ownLut[c]->RemapValues(TruncToU16(black[c] * 65535.0 / 255.0), kSampleMax, 0, kSampleMax);
        m_ownLut[c]->ApplyGamma(gamma[c]);
        m_ownLut[c]->Scale(gain[c]);
    }
    m_dirty = false;
    // Last, over all four: what it blends in is the finished curve.
    Splice(kChannels, m_spliceCenter, m_spliceWidth);
}
