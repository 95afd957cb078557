#include "stages/chain_ends.h"

#include <algorithm>
#include <iterator>

#include "frame/fixed_point.h"
#include "stages/chain_end_kernels.h"

namespace {

constexpr double kInchesPerMeter = 39.37;

// Pixel types by data type and depth of the source.
struct OutTypeRow {
    std::int32_t dataType;
    // With high depth output asked for, by bits of a source sample; the last is without it.
    std::uint32_t from16, from12, below12, plain;
};
constexpr OutTypeRow kOutTypes[] = {
    {QL_OUTPUT_LINE_ART, 12, 12, 12, 12}, {QL_OUTPUT_HALFTONE, 12, 12, 12, 12},
    {QL_OUTPUT_GRAY, 19, 17, 16, 12},     {QL_OUTPUT_COLOR, 9, 7, 4, 0},
    {QL_OUTPUT_INDEXED, 9, 7, 4, 0},
};

}  // namespace

// ---- CEncodedInputStage

CEncodedInputStage::CEncodedInputStage(QLAttribTree* tree)
    : CInputConvertStage(tree), m_curve(CQLLut::MakeFull()) {}

QLStatus CEncodedInputStage::OnBeforeOpen() {
    if (!m_curve)
        return QL_ERR_NO_MEMORY;
    const bool srgb = GetValue(QL_ATTR_SRGB_OUTPUT) != 0;
    // The sRGB table passes for a known gamma 2.2, which a gamma build would keep.
    if (m_curveIsSrgb != srgb)
        m_curve->SetIdentity();
    m_curveIsSrgb = srgb;
    if (srgb)
        m_curve->BuildSrgb();
    else
        BuildGammaEncoding(m_curve.get());
    return CInputConvertStage::OnBeforeOpen();
}

QLStatus CEncodedInputStage::OnAfterOpen() {
    TakeInternalFormat();
    if (!InputIsEncoded())
        return QL_OK;
    const QLStatus status = NeedDecodeLut();
    if (status != QL_OK)
        return status;
    m_decodeLut->CopyFrom(*m_curve);
    m_decodeLut->Invert(*m_decodeLut);
    TakeDecodeCurve();
    return QL_OK;
}

// ---- COutputFormatStage

COutputFormatStage::COutputFormatStage(QLAttribTree* tree)
    : CQLFilterStage(tree), m_lineBuffer(&m_inFormat) {
    RegisterProvider(QL_ATTR_OUTPUT_TYPE);
    Subscribe(QL_ATTR_HIGH_DEPTH_OUTPUT);
}

std::uint64_t COutputFormatStage::GetAttrib(std::int32_t id) {
    return id == QL_ATTR_OUTPUT_TYPE ? IntegerWord(m_dataType) : 0;
}

void COutputFormatStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    if (id == QL_ATTR_OUTPUT_TYPE)
        m_dataType = WordInteger(value);
}

void COutputFormatStage::OnAttribNotify(std::int32_t id) {
    if (id != QL_ATTR_HIGH_DEPTH_OUTPUT)
        return;
    m_highDepth = GetValue(id) != 0;
    SelectType();
}

QLStatus COutputFormatStage::SetOutType(std::uint32_t type) {
    if ((m_outType == QL_PIXEL_BILEVEL || m_outType == QL_PIXEL_HALFTONE) && type != m_outType)
        return QL_ERR_BAD_OUTPUT_TYPE;
    m_outType = type;
    return QL_OK;
}

void COutputFormatStage::SelectType() {
    const auto* row = std::find_if(std::begin(kOutTypes), std::end(kOutTypes),
                                   [this](const auto& r) { return r.dataType == m_dataType; });
    if (row == std::end(kOutTypes))
        return;
    const std::int32_t bits = GetInteger(QL_ATTR_SOURCE_BITS);
    std::uint32_t type = row->plain;
    if (m_highDepth)
        type = bits >= 16 ? row->from16 : (bits >= 12 ? row->from12 : row->below12);
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
        m_outFormat.SetPixelType(QL_PIXEL_GRAY16);
    return QL_OK;
}

bool COutputFormatStage::ReducesToGray() const {
    return m_inFormat.IsInternalColor() && m_outFormat.m_samplesPerPixel == 1;
}

QLStatus COutputFormatStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (!ReducesToGray())
        return CQLFilterStage::Read(lines, buffer);
    if (!m_lineBuffer.Resize(*lines))
        return *lines < 0 ? QL_ERR_BAD_ARGUMENT : QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_lineBuffer);
    if (*lines > 0 && buffer && buffer->Data() && m_lineBuffer.Data()) {
        const std::int32_t count = std::min({*lines, m_lineBuffer.Lines(), buffer->Lines()});
        TakeGreen(m_lineBuffer.Samples(), buffer->Samples(),
                  static_cast<std::size_t>(m_inFormat.m_width) * static_cast<std::size_t>(count));
    }
    m_linesDone += static_cast<std::uint32_t>(*lines);
    return status;
}

QLStatus COutputFormatStage::OnAfterClose() {
    m_lineBuffer.Resize(0);
    return QL_OK;
}

// ---- CInvertStage

CInvertStage::CInvertStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    RegisterProvider(QL_ATTR_INVERT);
    RegisterProvider(QL_ATTR_INVERT_B);
}

std::uint64_t CInvertStage::GetAttrib(std::int32_t id) {
    if (id == QL_ATTR_INVERT)
        return m_invert;
    return id == QL_ATTR_INVERT_B ? m_polarity : 0;
}

void CInvertStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    if (id == QL_ATTR_INVERT_B) {
        m_polarity = value != 0;
    } else if (id == QL_ATTR_INVERT) {
        if (m_invert && value == 0 && m_outFormat.m_palette == &m_invertedPalette) {
            m_outFormat.m_palette = m_inFormat.m_palette;
            Notify(QL_ATTR_PALETTE_CHANGED);
        }
        m_invert = value != 0;
    }
}

QLStatus CInvertStage::OnBeforeOpen() {
    m_active = m_invert == m_polarity;
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CInvertStage::OnAfterOpen() {
    m_outFormat.m_normalPolarity = m_polarity;
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
                static_cast<std::uint16_t>(255 - palette.m_entries[i].m_colors[c]);
        }
    }
    m_outFormat.m_palette = &m_invertedPalette;
    Notify(QL_ATTR_PALETTE_CHANGED);
}

QLStatus CInvertStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (buffer && buffer->Data() && m_active && *lines > 0) {
        const std::size_t bytes =
            static_cast<std::size_t>(m_inFormat.m_bytesPerLine) * static_cast<std::size_t>(*lines);
        switch (m_inFormat.m_pixelType) {
            case QL_PIXEL_RGB8:
            case QL_PIXEL_GRAY8:
            case QL_PIXEL_4BIT:
            case QL_PIXEL_BILEVEL:
            case QL_PIXEL_HALFTONE:
            // 65535 - x has all bits of x turned round, too.
            case QL_PIXEL_RGB16:
            case QL_PIXEL_GRAY16:
                ComplementBytes(buffer->Data(), bytes);
                break;
            default:
                break;
        }
    }
    m_linesDone += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}

QLStatus CInvertStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CQLFilterStage::TransformColor(query);
    if (answer == 0 || m_bypass)
        return answer;
    for (int c = 0; c < 3; ++c)
        query->Samples()[c] = static_cast<std::uint16_t>(kSampleMax - query->Samples()[c]);
    return answer;
}

// ---- CQLBitmap

namespace {

std::size_t ColorTableSize(std::uint32_t pixelType) {
    switch (pixelType) {
        case QL_PIXEL_GRAY8_ROWS:
        case QL_PIXEL_INDEX8:
        case QL_PIXEL_INDEX8_ROWS:
            return 256;
        case QL_PIXEL_4BIT:
        case QL_PIXEL_4BIT_ROWS:
            return 16;
        case QL_PIXEL_BILEVEL_ROWS:
        case QL_PIXEL_HALFTONE:
        case QL_PIXEL_HALFTONE_ROWS:
            return 2;
        default:
            return 0;
    }
}

DWORD ColorsUsed(std::uint32_t bitsPerPixel) {
    return bitsPerPixel == 1 ? 2 : (bitsPerPixel == 4 ? 16 : (bitsPerPixel == 8 ? 256 : 0));
}

}  // namespace

void CQLBitmap::Build(const QLImageFormat& format) {
    m_colors = {};
    m_colorCount = ColorTableSize(format.m_pixelType);
    m_header = {};
    m_header.biSize = sizeof(BITMAPINFOHEADER);
    m_header.biWidth = format.m_width;
    m_header.biHeight = format.m_height;
    m_header.biPlanes = 1;
    m_header.biBitCount = static_cast<WORD>(format.m_bitsPerPixel);
    const std::int64_t rowBytes =
        (std::int64_t{m_header.biBitCount} * format.m_width + 31) / 32 * 4;
    // Wraps in 32 bits for images of 4 GiB and more, where the field has no value to give.
    m_header.biSizeImage = static_cast<DWORD>(rowBytes) * static_cast<DWORD>(format.m_height);
    m_header.biXPelsPerMeter = RoundToI32(format.m_xResolution * kInchesPerMeter);
    m_header.biYPelsPerMeter = m_header.biXPelsPerMeter;
    m_header.biClrUsed = ColorsUsed(format.m_bitsPerPixel);
    m_header.biClrImportant = m_header.biClrUsed;
    FillColors(format.m_palette);
}

void CQLBitmap::FillColors(const QLPaletteTable* palette) {
    const std::size_t count = m_colorCount;
    if (count == 2) {
        m_colors[1] = {255, 255, 255, 0};
    } else if (count != 0 && palette) {
        const std::size_t used = std::min<std::size_t>(
            {count, palette->m_count, static_cast<std::size_t>(QLPaletteTable::kMaxEntries)});
        for (std::size_t i = 0; i < used; ++i) {
            const std::uint16_t* rgb = palette->m_entries[i].m_colors;
            m_colors[i] = {static_cast<BYTE>(rgb[2]), static_cast<BYTE>(rgb[1]),
                           static_cast<BYTE>(rgb[0]), 0};
        }
    } else if (count != 0) {
        const std::size_t step = 256 / (count - 1);
        for (std::size_t i = 0; i < count; ++i) {
            const auto gray = static_cast<BYTE>(i * step);
            m_colors[i] = {gray, gray, gray, 0};
        }
    }
}

// ---- CBandSinkStage

CBandSinkStage::CBandSinkStage(QLAttribTree* tree) : CBitmapSinkStage(tree) {
    for (std::int32_t id = QL_ATTR_TAP_HEADER; id <= QL_ATTR_TAP_ON; ++id)
        RegisterProvider(id);
}

std::uint64_t CBandSinkStage::GetAttrib(std::int32_t id) {
    switch (id) {
        case QL_ATTR_TAP_HEADER:
            return PointerWord(&m_bitmap);
        case QL_ATTR_TAP_BAND:
            return PointerWord(m_band);
        case QL_ATTR_TAP_RECT:
            return PointerWord(&m_bandRect);
        case QL_ATTR_TAP_ON:
            return m_ready;
        default:
            return 0;
    }
}

QLStatus CBandSinkStage::OnAfterOpen() {
    m_linesDone = 0;
    m_bitmap.Build(m_outFormat);
    m_ready = true;
    Notify(QL_ATTR_TAP_HEADER);
    return QL_OK;
}

QLStatus CBandSinkStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    m_bandRect.top = static_cast<std::int32_t>(m_linesDone);
    m_bandRect.left = 0;
    m_bandRect.bottom = m_bandRect.top + *lines;
    m_bandRect.right = m_bitmap.Header().biWidth;
    m_band = buffer;
    Notify(QL_ATTR_TAP_BAND);
    m_linesDone += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}
