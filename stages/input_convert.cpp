#include "stages/input_convert.h"

#include <cstring>

#include "platform/target_clones.h"
#include "stages/convert_kernels.h"

namespace {

using std::size_t;
using std::uint16_t;
using std::uint8_t;

inline uint16_t Widen(uint8_t sample) {
    return static_cast<uint16_t>(sample << 8);
}

NVQ_KERNEL void WidenSamples(const uint8_t* __restrict source, uint16_t* __restrict target,
                             size_t samples) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = Widen(source[i]);
}

void WidenBehindPad(const uint8_t* __restrict source, uint16_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c)
            target[3 * i + c] = Widen(source[4 * i + 1 + c]);
    }
}

void Decode(const uint8_t* __restrict source, uint16_t* __restrict target, size_t samples,
            const uint16_t* __restrict table) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = table[source[i]];
}

void DecodeBlueFirst(const uint8_t* __restrict source, uint16_t* __restrict target, size_t pixels,
                     const uint16_t* __restrict table) {
    for (size_t i = 0; i < pixels; ++i) {
        target[3 * i] = table[source[3 * i + 2]];
        target[3 * i + 1] = table[source[3 * i + 1]];
        target[3 * i + 2] = table[source[3 * i]];
    }
}

// Samples of fewer than 16 significant bits move up to full scale; those with the high byte first
// are turned first.
NVQ_KERNEL void ShiftSamples(const uint16_t* __restrict source, uint16_t* __restrict target,
                             size_t samples, int shift, bool highByteFirst) {
    if (highByteFirst) {
        for (size_t i = 0; i < samples; ++i) {
            const auto sample = static_cast<uint16_t>((source[i] << 8) | (source[i] >> 8));
            target[i] = static_cast<uint16_t>(sample << shift);
        }
    } else {
        for (size_t i = 0; i < samples; ++i)
            target[i] = static_cast<uint16_t>(source[i] << shift);
    }
}

}  // namespace

CInputConvertStage::CInputConvertStage(QLAttribTree* tree)
    : CQLFilterStage(tree), m_inLines(&m_inFormat) {
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
    curve->BuildGammaLimited(2.2, 4.0);
}

QLStatus CInputConvertStage::NeedDecodeLut() {
    if (!m_decodeLut)
        m_decodeLut = CQLLut::MakeFull();
    return m_decodeLut ? QL_OK : QL_ERR_NO_MEMORY;
}

void CInputConvertStage::TakeDecodeCurve() {
    for (std::int32_t i = 0; i < 256; ++i)
        m_decode[i] = m_decodeLut->At(i << 8);
}

QLStatus CInputConvertStage::OnAfterOpen() {
    TakeInternalFormat();
    if (!InputIsEncoded() || m_decodeLut)
        return QL_OK;
    const QLStatus status = NeedDecodeLut();
    if (status != QL_OK)
        return status;
    BuildGammaEncoding(m_decodeLut.get());
    m_decodeLut->Invert(*m_decodeLut);
    TakeDecodeCurve();
    return QL_OK;
}

QLStatus CInputConvertStage::OnFormatChanged() {
    if (m_upstream)
        m_inFormat = *m_upstream->GetOutputFormat();
    TakeInternalFormat();
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

QLStatus CInputConvertStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    // A width whose 8-bit line has a 32-bit stride and whose 16-bit line has none.
    if (m_inFormat.m_bytesPerLine > 0 && m_outFormat.m_bytesPerLine <= 0)
        return QL_ERR_BAD_ARGUMENT;
    if (!m_inLines.Resize(*lines))
        return *lines < 0 ? QL_ERR_BAD_ARGUMENT : QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_inLines);
    if (status == QL_OK)
        Convert(*lines, buffer);
    return status;
}

void CInputConvertStage::Convert(std::int32_t lines, CQLLineBuffer* buffer) {
    if (lines < 1 || !buffer || !buffer->Data() || m_inFormat.m_bytesPerLine < 0)
        return;
    m_linesDone += static_cast<std::uint32_t>(lines);
    // Lines follow one another without a gap: one run of bytes.
    const auto bytes = static_cast<size_t>(m_inFormat.m_bytesPerLine) * static_cast<size_t>(lines);
    const uint8_t* source = m_inLines.Data();
    const uint16_t* wide = m_inLines.Samples();
    uint16_t* target = buffer->Samples();
    switch (m_inFormat.m_pixelType) {
        case QL_PIXEL_RGB8:
        case QL_PIXEL_GRAY8:
            WidenSamples(source, target, bytes);
            break;
        case QL_PIXEL_BGR8:
            WidenBlueFirst(source, target, bytes / 3);
            break;
        case QL_PIXEL_XRGB8:
            WidenBehindPad(source, target, bytes / 4);
            break;
        case QL_PIXEL_RGB8_ENCODED:
        case QL_PIXEL_GRAY8_ENCODED:
            Decode(source, target, bytes, m_decode);
            break;
        case QL_PIXEL_BGR8_ENCODED:
            DecodeBlueFirst(source, target, bytes / 3, m_decode);
            break;
        case QL_PIXEL_RGB10_SWAPPED:
            ShiftSamples(wide, target, bytes / 2, 6, true);
            break;
        case QL_PIXEL_RGB12_SWAPPED:
            ShiftSamples(wide, target, bytes / 2, 4, true);
            break;
        case QL_PIXEL_RGB12:
        case QL_PIXEL_GRAY12:
        case QL_PIXEL_GRAY12_B:
            ShiftSamples(wide, target, bytes / 2, 4, false);
            break;
        case QL_PIXEL_GRAY10:
            ShiftSamples(wide, target, bytes / 2, 6, false);
            break;
        case QL_PIXEL_RGB16_SWAPPED:
        case QL_PIXEL_GRAY16_SWAPPED:
            ShiftSamples(wide, target, bytes / 2, 0, true);
            break;
        case QL_PIXEL_RGB16:
        case QL_PIXEL_GRAY16:
        case QL_PIXEL_BILEVEL:
        case QL_PIXEL_HALFTONE:
            std::memcpy(target, source, bytes);
            break;
        default:
            break;
    }
}

QLStatus CInputConvertStage::OnAfterClose() {
    m_inLines.Resize(0);
    return QL_OK;
}
