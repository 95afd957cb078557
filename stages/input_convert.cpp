#include "stages/input_convert.h"

#include <cstring>

#include "stages/convert_kernels.h"

namespace {

using std::size_t;
using std::uint16_t;
using std::uint8_t;

// A run of input bytes without gaps becomes samples; `decode` has the 256 entries that undo the
// gamma encoding.
using Conversion = void (*)(const uint8_t* source, uint16_t* target, size_t bytes,
                            const uint16_t* decode);

const uint16_t* Wide(const uint8_t* bytes) {
    return reinterpret_cast<const uint16_t*>(bytes);
}

// Samples of 16 storage bits move up by kShift to full scale; those with the high byte first are
// turned before.
template <int kShift, bool kHighByteFirst>
void Shift(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t*) {
    ShiftSamples(Wide(source), target, bytes / 2, kShift, kHighByteFirst);
}
void Widen(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t*) {
    WidenSamples(source, target, bytes);
}
void WidenTurned(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t*) {
    WidenBlueFirst(source, target, bytes / 3);
}
void WidenPadded(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t*) {
    WidenBehindPad(source, target, bytes / 4);
}
void Decode(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t* decode) {
    DecodeSamples(source, target, bytes, decode);
}
void DecodeTurned(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t* decode) {
    DecodeBlueFirst(source, target, bytes / 3, decode);
}
void Copy(const uint8_t* source, uint16_t* target, size_t bytes, const uint16_t*) {
    std::memcpy(target, source, bytes);
}

// 10 significant bits move up by 6, 12 by 4: full scale is 65472 or 65520, as 8 bits give 65280.
// Stages behind reckon with 65535 all the same.
struct ConversionRow {
    QLPixelType type;
    Conversion convert;
};
// Types without a row are not converted.
constexpr ConversionRow kConversions[] = {
    {QL_PIXEL_RGB8, Widen},
    {QL_PIXEL_BGR8, WidenTurned},
    {QL_PIXEL_XRGB8, WidenPadded},
    {QL_PIXEL_RGB10_SWAPPED, Shift<6, true>},
    {QL_PIXEL_RGB8_ENCODED, Decode},
    {QL_PIXEL_BGR8_ENCODED, DecodeTurned},
    {QL_PIXEL_RGB12_SWAPPED, Shift<4, true>},
    {QL_PIXEL_RGB12, Shift<4, false>},
    {QL_PIXEL_RGB16, Copy},
    {QL_PIXEL_RGB16_SWAPPED, Shift<0, true>},
    {QL_PIXEL_GRAY8, Widen},
    {QL_PIXEL_GRAY10, Shift<6, false>},
    {QL_PIXEL_GRAY12, Shift<4, false>},
    {QL_PIXEL_GRAY12_B, Shift<4, false>},
    {QL_PIXEL_GRAY16, Copy},
    {QL_PIXEL_GRAY16_SWAPPED, Shift<0, true>},
    {QL_PIXEL_GRAY8_ENCODED, Decode},
    {QL_PIXEL_BILEVEL, Copy},
    {QL_PIXEL_HALFTONE, Copy},
};

}  // namespace

CInputConvertStage::CInputConvertStage(QLAttribTree* tree) : CNewLineStage(tree) {
    // Any source needs it: there is always a line of another size to be written.
    m_active = true;
    m_outFormat.SetLayout(QL_LAYOUT_INTERNAL);
}

QLStatus CInputConvertStage::OnBeforeOpen() {
    m_linesDone = 0;
    return QL_OK;
}

void CInputConvertStage::TakeInternalFormat() {
    m_outFormat = m_inFormat;
    m_outFormat.SetLayout(QL_LAYOUT_INTERNAL);
}

bool CInputConvertStage::InputIsEncoded() const {
    return m_inFormat.m_pixelType == QL_PIXEL_RGB8_ENCODED ||
           m_inFormat.m_pixelType == QL_PIXEL_BGR8_ENCODED ||
           m_inFormat.m_pixelType == QL_PIXEL_GRAY8_ENCODED;
}

void CInputConvertStage::BuildGammaEncoding(CQLLut* curve) {
    // The limit keeps dark codes apart: near black the inverse rises by a quarter of a code for
    // each.
    curve->BuildGammaLimited(2.2, 4.0);
}

QLStatus CInputConvertStage::NeedDecodeLut() {
    if (!m_decodeLut)
        m_decodeLut = CQLLut::MakeFull();
    return m_decodeLut ? QL_OK : QL_ERR_NO_MEMORY;
}

void CInputConvertStage::TakeDecodeCurve() {
    for (std::int32_t i = 0; i < 256; ++i)
        // 8-bit codes reach every 256th entry of the table only; 512 bytes in a row stay in the
        // nearest cache.
        m_decode[i] = m_decodeLut->At(i << 8);
}

QLStatus CInputConvertStage::OnAfterOpen() {
    TakeInternalFormat();
    // Nothing that the curve depends on ever changes here: one build serves the stage's life.
    if (!InputIsEncoded() || m_decodeLut)
        return QL_OK;
    const QLStatus status = NeedDecodeLut();
    if (status != QL_OK)
        return status;
    BuildGammaEncoding(m_decodeLut.get());
    if (!m_decodeLut->Invert(*m_decodeLut)) {
        // Half a table would pass for a whole one at the next open.
        m_decodeLut.reset();
        return QL_ERR_NO_MEMORY;
    }
    TakeDecodeCurve();
    return QL_OK;
}

QLStatus CInputConvertStage::OnFormatChanged() {
    if (m_upstream)
        m_inFormat = *m_upstream->GetOutputFormat();
    TakeInternalFormat();
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

void CInputConvertStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                    std::uint8_t* target) {
    // Lines follow one another without a gap: one run of bytes.
    const auto bytes = static_cast<size_t>(m_inFormat.m_bytesPerLine) * static_cast<size_t>(lines);
    for (const ConversionRow& row : kConversions) {
        if (row.type == m_inFormat.m_pixelType) {
            row.convert(source.Data(), reinterpret_cast<uint16_t*>(target), bytes, m_decode);
            return;
        }
    }
}
