#include "stages/output_convert.h"

#include <algorithm>
#include <cstring>

#include "platform/target_clones.h"
#include "stages/convert_kernels.h"

namespace {

using std::size_t;
using std::uint16_t;
using std::uint8_t;

// Values of QL_ATTR_OUTPUT_TYPE that keep their depth in the 16-bit layouts.
constexpr std::int32_t kOutputGray = 2;
constexpr std::int32_t kOutputColor = 3;

// `invert` is 0 or 0xFF.
NVQ_KERNEL void NarrowSamples(const uint16_t* __restrict source, uint8_t* __restrict target,
                              size_t samples, uint8_t invert) {
    for (size_t i = 0; i < samples; ++i)
        target[i] = static_cast<uint8_t>((source[i] >> 8) ^ invert);
}

void NarrowBehindPad(const uint16_t* __restrict source, uint8_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        target[4 * i] = 0;
        for (size_t c = 0; c < 3; ++c)
            target[4 * i + 1 + c] = static_cast<uint8_t>(source[3 * i + c] >> 8);
    }
}

void CopyBlueFirst(const uint16_t* __restrict source, uint8_t* __restrict target, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const uint16_t turned[3] = {source[3 * i + 2], source[3 * i + 1], source[3 * i]};
        std::memcpy(target + 6 * i, turned, sizeof(turned));
    }
}

bool IsNibbles(std::uint32_t type) {
    return type == QL_PIXEL_4BIT || type == QL_PIXEL_4BIT_ROWS;
}

}  // namespace

void COutputConvertStage::SetTargetLayout(std::uint32_t layout) {
    m_targetLayout = layout;
    m_outFormat.SetLayout(layout);
}

QLStatus COutputConvertStage::OnAfterOpen() {
    m_outFormat = m_inFormat;
    m_outFormat.SetLayout(m_targetLayout);
    m_linesDone = 0;
    OnFormatChanged();
    return QL_OK;
}

QLStatus COutputConvertStage::OnFormatChanged() {
    TakeUpstreamFormat();
    if (m_targetLayout == 8 || m_targetLayout == 10) {
        const std::int32_t outputType = GetInteger(QL_ATTR_OUTPUT_TYPE);
        if (outputType == kOutputGray)
            m_outFormat.SetPixelType(QL_PIXEL_GRAY16);
        else if (outputType == kOutputColor && m_inFormat.m_samplesPerPixel == 3)
            m_outFormat.SetPixelType(QL_PIXEL_RGB16);
    }
    m_outFormat.SetLayout(m_targetLayout);
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

QLStatus COutputConvertStage::TransformColor(QLColorQuery* query) {
    if (!m_upstream)
        return 0;
    const QLStatus answer = m_upstream->TransformColor(query);
    if (answer == 0 || m_inFormat.m_bytesPerSample != 2 || m_targetLayout < 3 ||
        m_targetLayout > 10)
        return 0;
    for (int c = 0; c < 3; ++c) {
        query->SecondSamples()[c] >>= 8;
        query->Samples()[c] >>= 8;
    }
    return answer;
}

QLStatus COutputConvertStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (!m_inLines.Resize(*lines))
        return *lines < 0 ? QL_ERR_BAD_ARGUMENT : QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_inLines);
    if (status != QL_OK)
        return status;
    if (*lines > 0 && !Fits(*lines, buffer))
        return QL_ERR_BAD_ARGUMENT;
    Convert(*lines, buffer);
    m_linesDone += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}

// The output format gives the size of every row, with one exception: colour at its full depth, when
// the output type asks a deep layout for gray.
bool COutputConvertStage::Fits(std::int32_t lines, const CQLLineBuffer* buffer) const {
    const bool deepColor =
        m_inFormat.m_pixelType == QL_PIXEL_RGB16 && (m_targetLayout == 8 || m_targetLayout == 10);
    const std::int32_t row =
        std::max(m_outFormat.m_bytesPerLine, deepColor ? m_inFormat.m_bytesPerLine : 0);
    return buffer && buffer->Data() &&
           std::int64_t{lines} * row <= std::int64_t{buffer->Lines()} * buffer->Stride();
}

void COutputConvertStage::Convert(std::int32_t lines, CQLLineBuffer* buffer) {
    if (lines < 1)
        return;
    uint8_t* target = buffer->Data();
    switch (m_inFormat.m_pixelType) {
        case QL_PIXEL_RGB16:
            ConvertColor(lines, target);
            break;
        case QL_PIXEL_GRAY16:
            if (IsNibbles(m_outFormat.m_pixelType))
                ConvertNibbles(lines, target);
            else
                ConvertGray(lines, target);
            break;
        case QL_PIXEL_4BIT:
        case QL_PIXEL_4BIT_ROWS:
        case QL_PIXEL_INDEX8:
        case QL_PIXEL_INDEX8_ROWS:
            ConvertIndexed(lines, target);
            break;
        case QL_PIXEL_BILEVEL:
        case QL_PIXEL_HALFTONE:
            ConvertBilevel(lines, target);
            break;
        default:
            break;
    }
}

void COutputConvertStage::ConvertColor(std::int32_t lines, uint8_t* target) {
    const uint16_t* source = m_inLines.Samples();
    const auto width = static_cast<size_t>(m_inFormat.m_width);
    const size_t pixels = width * static_cast<size_t>(lines);
    switch (m_targetLayout) {
        case 3:
            NarrowBehindPad(source, target, pixels);
            break;
        case QL_LAYOUT_BITMAP_ROWS:
            for (std::int32_t line = 0; line < lines; ++line) {
                NarrowBlueFirst(source, target, width);
                source += 3 * width;
                target += m_outFormat.m_bytesPerLine;
            }
            break;
        case 8:
            std::memcpy(target, source, pixels * 6);
            break;
        case 10:
            CopyBlueFirst(source, target, pixels);
            break;
        default:
            NarrowSamples(source, target, 3 * pixels, 0);
            break;
    }
}

void COutputConvertStage::ConvertGray(std::int32_t lines, uint8_t* target) {
    const uint16_t* source = m_inLines.Samples();
    const auto width = static_cast<size_t>(m_inFormat.m_width);
    const size_t pixels = width * static_cast<size_t>(lines);
    const auto padding = static_cast<size_t>(m_outFormat.PaddingBytes());
    switch (m_targetLayout) {
        case 3:
        case QL_LAYOUT_BITMAP_ROWS:
            for (std::int32_t line = 0; line < lines; ++line) {
                const bool complement = m_targetLayout == 3;
                NarrowSamples(source, target, width, complement ? 0xFF : 0);
                if (complement)
                    std::memset(target + width, 0xFF, padding);
                source += width;
                target += width + padding;
            }
            break;
        case 8:
        case 10:
            std::memcpy(target, source, pixels * 2);
            break;
        default:
            NarrowSamples(source, target, pixels, 0);
            break;
    }
}

void COutputConvertStage::ConvertNibbles(std::int32_t lines, uint8_t* target) {
    const uint16_t* source = m_inLines.Samples();
    const std::int32_t width = m_inFormat.m_width;
    const std::int32_t rowBytes = (width + 1) / 2;
    const bool complement = m_targetLayout == 3;
    const bool rows = complement || m_targetLayout == QL_LAYOUT_BITMAP_ROWS;
    const auto nibble = [&](std::int32_t x) {
        const int n = source[x] >> 12;
        return complement ? 15 - n : n;
    };
    for (std::int32_t line = 0; line < lines; ++line) {
        for (std::int32_t x = 0; x < width; x += 2) {
            const int low = x + 1 < width ? nibble(x + 1) : 0;
            target[x / 2] = static_cast<uint8_t>(nibble(x) << 4 | low);
        }
        if (complement) {
            std::memset(target + rowBytes, 0xFF,
                        static_cast<size_t>(m_outFormat.m_bytesPerLine - rowBytes));
        }
        source += width;
        target += rows ? m_outFormat.m_bytesPerLine : rowBytes;
    }
}

void COutputConvertStage::CopyLines(std::int32_t lines, uint8_t* target, std::int32_t bytes,
                                    std::int32_t targetStep) {
    const uint8_t* source = m_inLines.Data();
    for (std::int32_t line = 0; line < lines; ++line) {
        std::memcpy(target, source, static_cast<size_t>(bytes));
        source += m_inFormat.m_bytesPerLine;
        target += targetStep;
    }
}

void COutputConvertStage::ConvertIndexed(std::int32_t lines, uint8_t* target) {
    const bool toRows = m_targetLayout == 3 || m_targetLayout == QL_LAYOUT_BITMAP_ROWS;
    const bool toPacked = (m_targetLayout >= 5 && m_targetLayout <= 8) || m_targetLayout == 10;
    if (!toRows && !toPacked)
        return;
    const std::int32_t width = m_inFormat.m_width;
    const bool nibbles = IsNibbles(m_inFormat.m_pixelType);
    const bool paddedInput = m_inFormat.m_pixelType == QL_PIXEL_4BIT_ROWS ||
                             m_inFormat.m_pixelType == QL_PIXEL_INDEX8_ROWS;
    if (paddedInput == toRows) {
        std::memcpy(target, m_inLines.Data(),
                    static_cast<size_t>(m_inFormat.m_bytesPerLine) * static_cast<size_t>(lines));
    } else if (nibbles) {
        CopyLines(lines, target, (width + 1) / 2, m_outFormat.m_bytesPerLine);
    } else {
        CopyLines(lines, target, width, toRows ? width + m_outFormat.PaddingBytes() : width);
    }
}

void COutputConvertStage::ConvertBilevel(std::int32_t lines, uint8_t* target) {
    const std::int32_t bytes = m_inFormat.m_bytesPerLine;
    switch (m_targetLayout) {
        case QL_LAYOUT_BITMAP_ROWS:
            CopyLines(lines, target, bytes, m_outFormat.m_bytesPerLine);
            break;
        case 5:
            CopyLines(lines, target, bytes, bytes);
            break;
        case 3:
        case 6:
        case 7:
        case 8:
        case 10: {
            const std::int32_t padding = m_outFormat.PaddingBytes();
            CopyLines(lines, target, bytes, bytes + padding);
            for (std::int32_t line = 0; line < lines; ++line) {
                std::memset(target +
                                static_cast<size_t>(line) * static_cast<size_t>(bytes + padding) +
                                bytes,
                            0, static_cast<size_t>(padding));
            }
            break;
        }
        default:
            break;
    }
}

QLStatus COutputConvertStage::OnAfterClose() {
    m_inLines.Resize(0);
    return QL_OK;
}
