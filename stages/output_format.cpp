#include "stages/output_format.h"

#include "stages/output_format_kernels.h"

namespace {

// Pixel types by data type and depth of the source.
struct OutTypeRow {
    // With high depth output asked for, by bits of a source sample; the last is without it.
    QLPixelType from16, from12, below12, plain;
};
// For line art and halftone gray is what threshold and palette behind this stage get.
constexpr OutTypeRow kOutTypes[kOutputTypes] = {
    {QL_PIXEL_GRAY8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8},                 // line art
    {QL_PIXEL_GRAY8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8, QL_PIXEL_GRAY8},                 // halftone
    {QL_PIXEL_GRAY16, QL_PIXEL_GRAY12, QL_PIXEL_GRAY10, QL_PIXEL_GRAY8},              // gray
    {QL_PIXEL_RGB16, QL_PIXEL_RGB12_SWAPPED, QL_PIXEL_RGB10_SWAPPED, QL_PIXEL_RGB8},  // colour
    {QL_PIXEL_RGB16, QL_PIXEL_RGB12_SWAPPED, QL_PIXEL_RGB10_SWAPPED, QL_PIXEL_RGB8},  // indexed
};

}  // namespace

std::span<const QLAttribRow> COutputFormatStage::Rows() {
    using S = COutputFormatStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // The one holder of the data type. Chain and threshold hear of it and choose their shape by
        // it.
        R::Provides(QL_ATTR_OUTPUT_TYPE)
            .Keeps<&S::m_dataType>()
            .Range(QL_OUTPUT_LINE_ART, QL_OUTPUT_INDEXED),
        R::Listens(QL_ATTR_HIGH_DEPTH_OUTPUT)
            .Keeps<&S::m_highDepth>()
            .Calls<&S::SelectType>()
            .Always(),
    };
    return rows;
}

COutputFormatStage::COutputFormatStage(QLAttribTree* tree) : CNewLineStage(tree) {
    AttachRows(this);
}

QLStatus COutputFormatStage::SetOutType(QLPixelType type) {
    // Bits hold no tones that another type could be made of.
    if ((m_outType == QL_PIXEL_BILEVEL || m_outType == QL_PIXEL_HALFTONE) && type != m_outType)
        return QL_ERR_BAD_OUTPUT_TYPE;
    m_outType = type;
    return QL_OK;
}

void COutputFormatStage::SelectType() {
    // A number without a type leaves the one that stands.
    if (m_dataType < 0 || m_dataType >= kOutputTypes)
        return;
    const OutTypeRow& row = kOutTypes[m_dataType];
    // Significant bits of a sample as the scanner delivers it.
    const std::int32_t bits = GetInteger(QL_ATTR_SOURCE_BITS);
    QLPixelType type = row.plain;
    if (m_highDepth)
        type = bits >= 16 ? row.from16 : (bits >= 12 ? row.from12 : row.below12);
    SetOutType(type);
}

QLStatus COutputFormatStage::OnBeforeOpen() {
    m_active = false;
    m_linesDone = 0;
    SelectType();
    return QL_OK;
}

QLStatus COutputFormatStage::OnAfterOpen() {
    const bool gray = m_outType == QL_PIXEL_GRAY8 || m_outType == QL_PIXEL_GRAY10 ||
                      m_outType == QL_PIXEL_GRAY12 || m_outType == QL_PIXEL_GRAY16;
    if (m_inFormat.IsInternalColor() && gray)
        // Whatever depth the type names: between the stages gray is always one 16-bit sample, and
        // the output conversion drops bits at the end.
        m_outFormat.SetPixelType(QL_PIXEL_GRAY16);
    m_active = WritesNewLines();
    return QL_OK;
}

// By the formats as they stand: a change of the source's format may have come since the open.
bool COutputFormatStage::WritesNewLines() const {
    return m_inFormat.IsInternalColor() && m_outFormat.m_samplesPerPixel == 1;
}

void COutputFormatStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                    std::uint8_t* target) {
    TakeGreen(source.Samples(), reinterpret_cast<std::uint16_t*>(target),
              static_cast<std::size_t>(m_inFormat.m_width) * static_cast<std::size_t>(lines));
}
