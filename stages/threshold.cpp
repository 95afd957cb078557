#include "stages/threshold.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "frame/output_type.h"
#include "frame/try_new.h"
#include "stages/threshold_kernels.h"

namespace {

// Presets 1 to 5, on the 16-bit scale: 28160 (110 x 256) by 1.4, 1.2, 1, and divided by 1.2
// and 1.4, from the darkest result to the lightest.
constexpr std::uint16_t kPresets[] = {39424, 33792, 28160, 23467, 20114};
// A cell of this number asks for none.
constexpr std::int32_t kHalftoneCellNone = 5;

// The automatic threshold: parts of the image at either end, and where between them it lies. 49 of
// 100 on the way from dark to light leave strokes a little thinner than the middle would. Of fewer
// pixels than these the ends say nothing.
constexpr double kEndPart = 0.02;
constexpr double kNarrowEndPart = 0.005;
constexpr std::uint32_t kFewestPixels = 100;
constexpr std::int32_t kDarkParts = 51;
constexpr std::int32_t kLightParts = 49;

std::int32_t PartOf(std::uint32_t pixels, double part) {
    return RoundToI32(pixels * part);
}

}  // namespace

std::span<const QLAttribRow> CThresholdStage::Rows() {
    using S = CThresholdStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_THRESHOLD)
            .Reads<&S::ShownThreshold>()
            .Writes<&S::SetShownThreshold>()
            .Range(0, kSampleMax),
        // Written, a default only stands by; fired, it becomes the threshold.
        R::Provides(QL_ATTR_THRESHOLD_DEFAULT)
            .Keeps<&S::m_defaultThreshold>()
            .Range(0, kSampleMax)
            .OnFire<&S::TakeDefault>(),
        R::Provides(QL_ATTR_THRESHOLD_PRESET).Writes<&S::SetPreset>().Range(1, std::size(kPresets)),
        R::Provides(QL_ATTR_THRESHOLD_AUTO).OnFire<&S::RequestAuto>(),
        R::Provides(QL_ATTR_THRESHOLD_HIST).Reads<&S::CoarseHistogram>(),
        R::Provides(QL_ATTR_THRESHOLD_BINS).Writes<&S::SetBins>(),
        R::Provides(QL_ATTR_THRESHOLD_LEVEL).Reads<&S::m_publishedCount>(),
        R::Provides(QL_ATTR_THRESHOLD_COLLECT).Keeps<&S::m_collect>().LowByte(),
        R::Provides(QL_ATTR_THRESHOLD_RECT).Points<&S::m_rect>().Writes<&S::SetRect>(),
        R::Provides(QL_ATTR_THRESHOLD_CELL).Reads<&S::m_cell>().Writes<&S::SetCell>(),
        R::Follows(QL_ATTR_OUTPUT_TYPE).Writes<&S::OnOutputType>(),
        // Inversion comes behind this stage. Its switch turns what people see of the threshold, not
        // the threshold itself, and they are told.
        R::Follows(QL_ATTR_INVERT).Keeps<&S::m_inverted>().Fires(QL_ATTR_THRESHOLD).Always(),
        R::Follows(QL_ATTR_HALFTONE_CELL).Writes<&S::OnHalftoneCell>(),
    };
    return rows;
}

CThresholdStage::CThresholdStage(QLAttribTree* tree)
    : CNewLineStage(tree),
      m_fineHistogram(TryNewArray<std::uint32_t>(kFineBins)),
      m_coarseHistogram(TryNewArray<std::uint32_t>(kCoarseBins)) {
    AttachRows(this);
}

// ---- Attributes

std::int32_t CThresholdStage::ShownThreshold() const {
    return m_inverted ? kSampleMax - m_threshold : m_threshold;
}

void CThresholdStage::SetShownThreshold(std::int32_t value) {
    SetThreshold(m_inverted ? Clamp(std::int64_t{kSampleMax} - value, 0, kSampleMax) : value);
}

void CThresholdStage::SetThreshold(std::int32_t value) {
    m_threshold = ClampSample(value);
}

void CThresholdStage::SetPreset(std::int32_t preset) {
    if (preset < 1 || preset > static_cast<std::int32_t>(std::size(kPresets)))
        return;
    SetThreshold(kPresets[preset - 1]);
    Notify(QL_ATTR_THRESHOLD);
}

void CThresholdStage::TakeDefault() {
    m_threshold = m_defaultThreshold;
    Notify(QL_ATTR_THRESHOLD);
}

// The same word also switches the collection of the histogram, by its low byte.
void CThresholdStage::SetCell(std::int32_t value) {
    const bool usable =
        value != 0 && value != kHalftoneCellNone && GetValue(QL_ATTR_SOURCE_PRESENT) != 0;
    m_cell = usable ? value : 1;
    m_collect = (value & 0xFF) != 0;
}

void CThresholdStage::OnHalftoneCell(std::int32_t cell) {
    m_cell = cell == 0 ? 1 : cell;
}

void CThresholdStage::OnOutputType(std::int32_t type) {
    m_outType = type == QL_OUTPUT_LINE_ART   ? QL_PIXEL_BILEVEL
                : type == QL_OUTPUT_HALFTONE ? QL_PIXEL_HALFTONE
                                             : QL_PIXEL_GRAY8;
}

void CThresholdStage::SetRect(const QLRect* rect) {
    m_hasRect = rect != nullptr;
    if (rect)
        m_rect = *rect;
}

// ---- Lines

bool CThresholdStage::IsBilevel() const {
    return m_outType == QL_PIXEL_BILEVEL || m_outType == QL_PIXEL_HALFTONE;
}

QLStatus CThresholdStage::OnBeforeOpen() {
    m_active = IsBilevel();
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CThresholdStage::OnAfterOpen() {
    if (!IsComplete())
        return QL_ERR_NO_MEMORY;
    if (!m_bypass)
        m_outFormat.SetPixelType(m_outType);
    m_lineNo = 0;
    m_linesSeen = 0;
    m_linesDone = 0;
    m_pixelCount = 0;
    // 256 KB, once a pass: a histogram covers one pass and no more.
    std::fill_n(m_fineHistogram.get(), kFineBins, 0u);
    return QL_OK;
}

void CThresholdStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                 std::uint8_t* target) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const auto rowBytes = static_cast<std::size_t>(m_outFormat.m_bytesPerLine);
    // Lines of any other form come out as the buffer was; they still count as seen.
    const bool gray = m_inFormat.IsInternalGray();
    for (std::size_t line = 0; gray && line < static_cast<std::size_t>(lines); ++line) {
        BinarizeLine(source.Samples() + line * width, width, m_threshold, target + line * rowBytes);
    }
    if (m_autoPending || m_collect) {
        if (gray)
            CollectHistogram(source.Samples(), lines);
        m_linesSeen += lines;
    }
}

QLStatus CThresholdStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CNewLineStage::TransformColor(query);
    if (answer == 0 || !IsBilevel())
        return answer;
    for (int c = 0; c < 3; ++c) {
        std::uint16_t& sample = query->Samples()[c];
        // A sample at the threshold is white here and black in a line, where only what lies above
        // it is 1.
        sample = sample < m_threshold ? 0 : kSampleMax;
    }
    return answer;
}

void CThresholdStage::CollectHistogram(const std::uint16_t* samples, std::int32_t lines) {
    const std::int32_t width = m_inFormat.m_width;
    // Both ends belong to the rectangle, and it may reach beyond the image.
    const std::int32_t left = m_hasRect ? std::max(m_rect.left, 0) : 0;
    const std::int32_t right = m_hasRect ? std::min(m_rect.right, width - 1) : width - 1;
    for (std::int32_t line = 0; line < lines; ++line, ++m_lineNo) {
        if (m_hasRect && (m_lineNo < m_rect.top || m_lineNo > m_rect.bottom))
            continue;
        if (left > right)
            continue;
        const std::size_t columns =
            static_cast<std::size_t>(right) - static_cast<std::size_t>(left) + 1;
        const std::size_t start = static_cast<std::size_t>(line) * static_cast<std::size_t>(width) +
                                  static_cast<std::size_t>(left);
        CountSamples(samples + start, columns, m_fineHistogram.get());
        m_pixelCount += static_cast<std::uint32_t>(columns);
    }
}

QLStatus CThresholdStage::OnAfterClose() {
    if (m_autoPending) {
        AutoThreshold();
        m_autoPending = false;
        Notify(QL_ATTR_THRESHOLD);
    }
    // A pass that was cut short publishes nothing.
    if (m_collect && m_linesSeen == m_inFormat.m_height)
        PublishHistogram();
    return CNewLineStage::OnAfterClose();
}

void CThresholdStage::PublishHistogram() {
    std::fill_n(m_coarseHistogram.get(), kCoarseBins, 0u);
    for (std::int32_t i = 0; i < kFineBins; ++i) {
        const std::int32_t bin = m_inverted ? kFineBins - 1 - i : i;
        // Sixteen fine bins make a coarse one. People look at an inverted image: its dark end is
        // here the light one.
        m_coarseHistogram[i >> 4] += m_fineHistogram[bin];
    }
    m_publishedCount = m_pixelCount;
    Notify(QL_ATTR_THRESHOLD_LEVEL);
    Notify(QL_ATTR_THRESHOLD_HIST);
}

// Fewer pixels than asked for end the walk at the far end.
std::int32_t CThresholdStage::WalkUp(std::int64_t count) const {
    std::int64_t sum = 0;
    for (std::int32_t bin = 0; bin < kFineBins; ++bin) {
        sum += m_fineHistogram[bin];
        if (sum >= count)
            return bin;
    }
    return kFineBins - 1;
}

std::int32_t CThresholdStage::WalkDown(std::int64_t count) const {
    std::int64_t sum = 0;
    for (std::int32_t bin = kFineBins - 1; bin >= 0; --bin) {
        sum += m_fineHistogram[bin];
        if (sum >= count)
            return bin;
    }
    return 0;
}

void CThresholdStage::AutoThreshold() {
    if (m_pixelCount <= kFewestPixels) {
        m_threshold = m_defaultThreshold;
        return;
    }
    std::int32_t end = PartOf(m_pixelCount, kEndPart);
    std::int32_t low = WalkUp(end);
    // So little of the image is dark that its dark end reaches into the light tones.
    if (low > m_defaultThreshold) {
        end = PartOf(m_pixelCount, kNarrowEndPart);
        low = WalkUp(end);
    }
    const std::int32_t high = WalkDown(end);
    // In whole codes, truncated; 65535 x 100 stays far within 32 bits.
    m_threshold = static_cast<std::uint16_t>((low * kDarkParts + high * kLightParts) / 100);
}
