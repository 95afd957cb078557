#include "stages/output_convert.h"

#include <algorithm>
#include <cstring>

#include "frame/output_type.h"
#include "stages/convert_kernels.h"

namespace {

using std::size_t;
using std::uint16_t;
using std::uint8_t;

bool IsNibbles(std::uint32_t type) {
    return type == QL_PIXEL_4BIT || type == QL_PIXEL_4BIT_ROWS;
}

}  // namespace

// Set while the chain is connected. The format gets the layout at once, for whoever asks before the
// open.
void COutputConvertStage::SetTargetLayout(std::uint32_t layout) {
    m_targetLayout = layout;
    m_outFormat.SetLayout(layout);
}

QLStatus COutputConvertStage::OnAfterOpen() {
    m_outFormat = m_inFormat;
    m_outFormat.SetLayout(m_targetLayout);
    m_linesDone = 0;
    // The same steps as for a change on the way. The stages behind hear of it too; what they answer
    // doesn't concern this open.
    OnFormatChanged();
    return QL_OK;
}

QLStatus COutputConvertStage::OnFormatChanged() {
    TakeUpstreamFormat();
    // Deep layouts keep 16 bits a sample; the type of output says whether of gray or of colour.
    if (IsDeepLayout()) {
        const std::int32_t outputType = GetInteger(QL_ATTR_OUTPUT_TYPE);
        if (outputType == QL_OUTPUT_GRAY)
            m_outFormat.SetPixelType(QL_PIXEL_GRAY16);
        else if (outputType == QL_OUTPUT_COLOR && m_inFormat.m_samplesPerPixel == 3)
            m_outFormat.SetPixelType(QL_PIXEL_RGB16);
    }
    m_outFormat.SetLayout(m_targetLayout);
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

QLStatus COutputConvertStage::TransformColor(QLColorQuery* query) {
    if (!m_upstream)
        return 0;
    const QLStatus answer = m_upstream->TransformColor(query);
    // Colours of the chain are on the 16-bit scale, those of the output on 8 bits. A line that
    // isn't made of 16-bit samples has no colour on that scale.
    if (answer == 0 || m_inFormat.m_bytesPerSample != 2 || m_targetLayout < QL_LAYOUT_PADDED ||
        m_targetLayout > QL_LAYOUT_DEEP_BLUE_FIRST)
        return 0;
    for (int c = 0; c < 3; ++c) {
        query->SecondSamples()[c] >>= 8;
        query->Samples()[c] >>= 8;
    }
    return answer;
}

bool COutputConvertStage::IsDeepLayout() const {
    return m_targetLayout == QL_LAYOUT_DEEP || m_targetLayout == QL_LAYOUT_DEEP_BLUE_FIRST;
}

// The output format gives the size of every row, with one exception: colour at its full depth, when
// the output type asks a deep layout for gray.
std::int32_t COutputConvertStage::RowBytes() const {
    const bool deepColor = m_inFormat.m_pixelType == QL_PIXEL_RGB16 && IsDeepLayout();
    // What is checked is what will be written, so that a buffer made for gray refuses colour.
    return std::max(m_outFormat.m_bytesPerLine, deepColor ? m_inFormat.m_bytesPerLine : 0);
}

// By the pixel type that comes in; within each, by the layout that is to go out. What has no case
// here has no form in that layout, and its rows stay as they are in the target.
void COutputConvertStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                     std::uint8_t* target) {
    switch (m_inFormat.m_pixelType) {
        case QL_PIXEL_RGB16:
            ConvertColor(source.Samples(), lines, target);
            break;
        case QL_PIXEL_GRAY16:
            if (IsNibbles(m_outFormat.m_pixelType))
                ConvertNibbles(source.Samples(), lines, target);
            else
                ConvertGray(source.Samples(), lines, target);
            break;
        case QL_PIXEL_4BIT:
        case QL_PIXEL_4BIT_ROWS:
        case QL_PIXEL_INDEX8:
        case QL_PIXEL_INDEX8_ROWS:
            ConvertIndexed(source.Data(), lines, target);
            break;
        case QL_PIXEL_BILEVEL:
        case QL_PIXEL_HALFTONE:
            ConvertBilevel(source.Data(), lines, target);
            break;
        default:
            break;
    }
}

// Three 16-bit samples a pixel, red first.
void COutputConvertStage::ConvertColor(const uint16_t* source, std::int32_t lines,
                                       uint8_t* target) {
    const auto width = static_cast<size_t>(m_inFormat.m_width);
    const size_t pixels = width * static_cast<size_t>(lines);
    switch (m_targetLayout) {
        case QL_LAYOUT_PADDED:
            NarrowBehindPad(source, target, pixels);
            break;
        case QL_LAYOUT_BITMAP_ROWS:
            for (std::int32_t line = 0; line < lines; ++line) {
                NarrowBlueFirst(source, target, width);
                source += 3 * width;
                target += m_outFormat.m_bytesPerLine;
            }
            break;
        case QL_LAYOUT_DEEP:
            // Three samples of two bytes.
            std::memcpy(target, source, pixels * 6);
            break;
        case QL_LAYOUT_DEEP_BLUE_FIRST:
            CopyBlueFirst(source, target, pixels);
            break;
        default:
            NarrowSamples(source, target, 3 * pixels, 0);
            break;
    }
}

// One 16-bit sample a pixel. Where no padding is asked for, rows follow one another and the whole
// block goes in one run.
void COutputConvertStage::ConvertGray(const uint16_t* source, std::int32_t lines, uint8_t* target) {
    const auto width = static_cast<size_t>(m_inFormat.m_width);
    const size_t pixels = width * static_cast<size_t>(lines);
    const auto padding = static_cast<size_t>(m_outFormat.PaddingBytes());
    switch (m_targetLayout) {
        case QL_LAYOUT_PADDED:
        case QL_LAYOUT_BITMAP_ROWS:
            for (std::int32_t line = 0; line < lines; ++line) {
                const bool complement = m_targetLayout == QL_LAYOUT_PADDED;
                NarrowSamples(source, target, width, complement ? 0xFF : 0);
                if (complement)
                    std::memset(target + width, 0xFF, padding);
                source += width;
                target += width + padding;
            }
            break;
        case QL_LAYOUT_DEEP:
        case QL_LAYOUT_DEEP_BLUE_FIRST:
            // Gray has no order of colours: both deep layouts are alike.
            std::memcpy(target, source, pixels * 2);
            break;
        default:
            NarrowSamples(source, target, pixels, 0);
            break;
    }
}

// The high four bits of each sample, two pixels a byte, the left one in the high half. The lone
// pixel of an odd width leaves the low half 0, also in a complemented row.
void COutputConvertStage::ConvertNibbles(const uint16_t* source, std::int32_t lines,
                                         uint8_t* target) {
    const std::int32_t width = m_inFormat.m_width;
    const std::int32_t rowBytes = (width + 1) / 2;
    const bool complement = m_targetLayout == QL_LAYOUT_PADDED;
    // Rows of a bitmap step by the stride; otherwise they follow one another without a gap.
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

void COutputConvertStage::CopyLines(const uint8_t* source, std::int32_t lines, uint8_t* target,
                                    std::int32_t bytes, std::int32_t targetStep) {
    for (std::int32_t line = 0; line < lines; ++line) {
        std::memcpy(target, source, static_cast<size_t>(bytes));
        source += m_inFormat.m_bytesPerLine;
        target += targetStep;
    }
}

// Pixels stay what they are; only the padding of their rows comes, goes, or is there already.
void COutputConvertStage::ConvertIndexed(const uint8_t* source, std::int32_t lines,
                                         uint8_t* target) {
    const bool toRows =
        m_targetLayout == QL_LAYOUT_PADDED || m_targetLayout == QL_LAYOUT_BITMAP_ROWS;
    const bool toPacked =
        (m_targetLayout >= QL_LAYOUT_PACKED && m_targetLayout <= QL_LAYOUT_DEEP) ||
        m_targetLayout == QL_LAYOUT_DEEP_BLUE_FIRST;
    if (!toRows && !toPacked)
        return;
    const std::int32_t width = m_inFormat.m_width;
    const bool nibbles = IsNibbles(m_inFormat.m_pixelType);
    const bool paddedInput = m_inFormat.m_pixelType == QL_PIXEL_4BIT_ROWS ||
                             m_inFormat.m_pixelType == QL_PIXEL_INDEX8_ROWS;
    // Padded to padded, or packed to packed: rows of the same size, so one copy.
    if (paddedInput == toRows) {
        std::memcpy(target, source,
                    static_cast<size_t>(m_inFormat.m_bytesPerLine) * static_cast<size_t>(lines));
    } else if (nibbles) {
        CopyLines(source, lines, target, (width + 1) / 2, m_outFormat.m_bytesPerLine);
    } else {
        CopyLines(source, lines, target, width,
                  toRows ? width + m_outFormat.PaddingBytes() : width);
    }
}

// Eight pixels a byte on both sides. Padding is 0 where the layout speaks of it, left alone in
// bitmap rows, and absent in the packed layout.
void COutputConvertStage::ConvertBilevel(const uint8_t* source, std::int32_t lines,
                                         uint8_t* target) {
    const std::int32_t bytes = m_inFormat.m_bytesPerLine;
    switch (m_targetLayout) {
        case QL_LAYOUT_BITMAP_ROWS:
            CopyLines(source, lines, target, bytes, m_outFormat.m_bytesPerLine);
            break;
        case QL_LAYOUT_PACKED:
            CopyLines(source, lines, target, bytes, bytes);
            break;
        case QL_LAYOUT_PADDED:
        case QL_LAYOUT_PACKED_B:
        case QL_LAYOUT_PACKED_C:
        case QL_LAYOUT_DEEP:
        case QL_LAYOUT_DEEP_BLUE_FIRST: {
            const std::int32_t padding = m_outFormat.PaddingBytes();
            CopyLines(source, lines, target, bytes, bytes + padding);
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
