#include "stages/invert.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "frame/output_type.h"
#include "stages/invert_kernels.h"

namespace {

// Others pass unchanged: their bytes are no plain measure of light.
bool CanBeInverted(std::uint32_t pixelType) {
    switch (pixelType) {
        case QL_PIXEL_RGB8:
        case QL_PIXEL_GRAY8:
        case QL_PIXEL_4BIT:
        case QL_PIXEL_BILEVEL:
        case QL_PIXEL_HALFTONE:
        case QL_PIXEL_RGB16:
        case QL_PIXEL_GRAY16:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::span<const QLAttribRow> CInvertStage::Rows() {
    using S = CInvertStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // Both are switches, and inversion is whether they agree: INVERT_B turns the sense of
        // INVERT round.
        R::Provides(QL_ATTR_INVERT).Reads<&S::m_invert>().Writes<&S::SetInvert>(),
        R::Provides(QL_ATTR_INVERT_B).Keeps<&S::m_polarity>(),
    };
    return rows;
}

CInvertStage::CInvertStage(QLAttribTree* tree) : CInPlaceStage(tree) {
    AttachRows(this);
}

// Switched off between images, the palette of the input holds at once.
void CInvertStage::SetInvert(bool on) {
    if (m_invert && !on && m_outFormat.m_palette == &m_invertedPalette) {
        m_outFormat.m_palette = m_inFormat.m_palette;
        Notify(QL_ATTR_PALETTE_CHANGED);
    }
    m_invert = on;
}

QLStatus CInvertStage::OnBeforeOpen() {
    m_active = m_invert == m_polarity;
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CInvertStage::OnAfterOpen() {
    // Travels to the tail with the format; false tells that light and dark have changed places.
    m_outFormat.m_normalPolarity = m_polarity;
    // Indexed pixels are numbers of colours: turning them round would choose others. Their palette
    // is turned instead.
    if (m_active && GetInteger(QL_ATTR_OUTPUT_TYPE) == QL_OUTPUT_INDEXED && m_inFormat.m_palette)
        InvertPalette();
    return QL_OK;
}

void CInvertStage::InvertPalette() {
    const QLPaletteTable& palette = *m_inFormat.m_palette;
    m_invertedPalette.m_count =
        std::min<std::uint16_t>(palette.m_count, QLPaletteTable::kMaxEntries);
    for (int i = 0; i < m_invertedPalette.m_count; ++i) {
        for (int c = 0; c < 3; ++c) {
            m_invertedPalette.m_entries[i].m_colors[c] =
                // Colours of a palette are on the 8-bit scale, in words of 16. A copy: the palette
                // itself belongs to the stage that made it.
                static_cast<std::uint16_t>(255 - palette.m_entries[i].m_colors[c]);
        }
    }
    m_outFormat.m_palette = &m_invertedPalette;
    Notify(QL_ATTR_PALETTE_CHANGED);
}

// 65535 - x turns all bits of x round: for every depth the bytes of the lines are complemented,
// padding included.
QLStatus CInvertStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    if (CanBeInverted(m_inFormat.m_pixelType)) {
        ComplementBytes(reinterpret_cast<std::uint8_t*>(samples), BlockBytes(count));
    }
    return QL_OK;
}

QLStatus CInvertStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CInPlaceStage::TransformColor(query);
    if (answer == 0 || m_bypass)
        return answer;
    for (int c = 0; c < 3; ++c)
        query->Samples()[c] = static_cast<std::uint16_t>(kSampleMax - query->Samples()[c]);
    return answer;
}
