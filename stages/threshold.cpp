#include "stages/threshold.h"

#include <algorithm>
#include <new>

#include "frame/fixed_point.h"
#include "stages/threshold_kernels.h"

namespace {

constexpr std::uint16_t kPresets[] = {39424, 33792, 28160, 23467, 20114};  // presets 1 to 5
constexpr std::int32_t kHalftoneCellNone = 5;

// The automatic threshold: parts of the image at either end, and where between them it lies.
constexpr double kEndPart = 0.02;
constexpr double kNarrowEndPart = 0.005;
constexpr std::uint32_t kFewestPixels = 100;
constexpr std::int32_t kDarkParts = 51;
constexpr std::int32_t kLightParts = 49;

std::int32_t PartOf(std::uint32_t pixels, double part) {
    return RoundToI32(pixels * part);
}

}  // namespace

CThresholdStage::CThresholdStage(QLAttribTree* tree)
    : CQLFilterStage(tree),
      m_lineBuffer(&m_inFormat),
      m_fineHistogram(new (std::nothrow) std::uint32_t[kFineBins]()),
      m_coarseHistogram(new (std::nothrow) std::uint32_t[kCoarseBins]()) {
    for (const std::int32_t id :
         {QL_ATTR_THRESHOLD, QL_ATTR_THRESHOLD_DEFAULT, QL_ATTR_THRESHOLD_PRESET,
          QL_ATTR_THRESHOLD_AUTO, QL_ATTR_THRESHOLD_HIST, QL_ATTR_THRESHOLD_BINS,
          QL_ATTR_THRESHOLD_LEVEL, QL_ATTR_THRESHOLD_COLLECT, QL_ATTR_THRESHOLD_RECT,
          QL_ATTR_THRESHOLD_CELL})
        RegisterProvider(id);
    for (const std::int32_t id : {QL_ATTR_OUTPUT_TYPE, QL_ATTR_INVERT, QL_ATTR_HALFTONE_CELL})
        SubscribeAndSync(id);
}

std::uint64_t CThresholdStage::GetAttrib(std::int32_t id) {
    switch (id) {
        case QL_ATTR_THRESHOLD:
            return IntegerWord(m_inverted ? kSampleMax - m_threshold : m_threshold);
        case QL_ATTR_THRESHOLD_DEFAULT:
            return m_defaultThreshold;
        case QL_ATTR_THRESHOLD_HIST:
            return PointerWord(m_coarseHistogram.get());
        case QL_ATTR_THRESHOLD_LEVEL:
            return m_publishedCount;
        case QL_ATTR_THRESHOLD_COLLECT:
            return m_collect;
        case QL_ATTR_THRESHOLD_RECT:
            return PointerWord(&m_rect);
        case QL_ATTR_THRESHOLD_CELL:
            return IntegerWord(m_cell);
        default:
            return 0;
    }
}

void CThresholdStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    const std::int32_t number = WordInteger(value);
    switch (id) {
        case QL_ATTR_THRESHOLD:
            SetThreshold(m_inverted ? Clamp(std::int64_t{kSampleMax} - number, 0, kSampleMax)
                                    : number);
            break;
        case QL_ATTR_THRESHOLD_DEFAULT:
            m_defaultThreshold = ClampSample(number);
            break;
        case QL_ATTR_THRESHOLD_PRESET:
            SetPreset(number);
            break;
        case QL_ATTR_THRESHOLD_BINS:
            m_bins = number;
            break;
        case QL_ATTR_THRESHOLD_COLLECT:
            m_collect = (value & 0xFF) != 0;
            break;
        case QL_ATTR_THRESHOLD_RECT:
            m_hasRect = value != 0;
            if (m_hasRect)
                m_rect = *WordPointer<const QLRect>(value);
            break;
        case QL_ATTR_THRESHOLD_CELL:
            SetCell(number);
            m_collect = (value & 0xFF) != 0;
            break;
        default:
            break;
    }
}

void CThresholdStage::OnAttribNotify(std::int32_t id) {
    switch (id) {
        case QL_ATTR_THRESHOLD_AUTO:
            m_autoPending = true;
            break;
        case QL_ATTR_THRESHOLD_DEFAULT:
            m_threshold = m_defaultThreshold;
            Notify(QL_ATTR_THRESHOLD);
            break;
        case QL_ATTR_OUTPUT_TYPE: {
            const std::int32_t type = GetInteger(id);
            m_outType = type == 0   ? QL_PIXEL_BILEVEL
                        : type == 1 ? QL_PIXEL_HALFTONE
                                    : QL_PIXEL_GRAY8;
            break;
        }
        case QL_ATTR_INVERT:
            m_inverted = GetValue(id) != 0;
            Notify(QL_ATTR_THRESHOLD);
            break;
        case QL_ATTR_HALFTONE_CELL: {
            const std::int32_t cell = GetInteger(id);
            m_cell = cell == 0 ? 1 : cell;
            break;
        }
        default:
            break;
    }
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

void CThresholdStage::SetCell(std::int32_t value) {
    const bool usable =
        value != 0 && value != kHalftoneCellNone && GetValue(QL_ATTR_SOURCE_PRESENT) != 0;
    m_cell = usable ? value : 1;
}

bool CThresholdStage::IsBilevel() const {
    return m_outType == QL_PIXEL_BILEVEL || m_outType == QL_PIXEL_HALFTONE;
}

QLStatus CThresholdStage::OnBeforeOpen() {
    m_active = IsBilevel();
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CThresholdStage::OnAfterOpen() {
    if (!m_fineHistogram || !m_coarseHistogram)
        return QL_ERR_NO_MEMORY;
    if (!m_bypass)
        m_outFormat.SetPixelType(m_outType);
    m_lineNo = 0;
    m_linesDone = 0;
    m_pixelCount = 0;
    std::fill_n(m_fineHistogram.get(), kFineBins, 0u);
    return QL_OK;
}

QLStatus CThresholdStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (m_bypass)
        return CQLFilterStage::Read(lines, buffer);
    if (!m_lineBuffer.Resize(*lines))
        return *lines < 0 ? QL_ERR_BAD_ARGUMENT : QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_lineBuffer);
    if (status != QL_OK)
        return status;
    if (*lines > 0 && buffer && buffer->Data() && m_inFormat.IsInternalGray())
        Binarize(*lines, buffer);
    if (m_autoPending || m_collect) {
        CollectHistogram(*lines);
        m_linesDone += static_cast<std::uint32_t>(*lines);
    }
    return QL_OK;
}

QLStatus CThresholdStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CQLFilterStage::TransformColor(query);
    if (answer == 0 || !IsBilevel())
        return answer;
    for (int c = 0; c < 3; ++c) {
        std::uint16_t& sample = query->Samples()[c];
        sample = sample < m_threshold ? 0 : kSampleMax;
    }
    return answer;
}

void CThresholdStage::Binarize(std::int32_t lines, CQLLineBuffer* target) const {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    for (std::int32_t line = 0; line < lines; ++line) {
        BinarizeLine(m_lineBuffer.Samples() + static_cast<std::size_t>(line) * width, width,
                     m_threshold, target->BytePointer(0, line));
    }
}

void CThresholdStage::CollectHistogram(std::int32_t lines) {
    if (!m_inFormat.IsInternalGray() || lines < 1)
        return;
    const std::int32_t width = m_inFormat.m_width;
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
        CountSamples(m_lineBuffer.Samples() + start, columns, m_fineHistogram.get());
        m_pixelCount += static_cast<std::uint32_t>(columns);
    }
}

QLStatus CThresholdStage::OnAfterClose() {
    m_lineBuffer.Resize(0);
    if (m_autoPending) {
        AutoThreshold();
        m_autoPending = false;
        Notify(QL_ATTR_THRESHOLD);
    }
    // A pass that was cut short publishes nothing.
    if (m_collect && m_linesDone == static_cast<std::uint32_t>(m_inFormat.m_height))
        PublishHistogram();
    return QL_OK;
}

void CThresholdStage::PublishHistogram() {
    std::fill_n(m_coarseHistogram.get(), kCoarseBins, 0u);
    for (std::int32_t i = 0; i < kFineBins; ++i) {
        const std::int32_t bin = m_inverted ? kFineBins - 1 - i : i;
        m_coarseHistogram[i >> 4] += m_fineHistogram[bin];
    }
    m_publishedCount = m_pixelCount;
    Notify(QL_ATTR_THRESHOLD_LEVEL);
    Notify(QL_ATTR_THRESHOLD_HIST);
}

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
    m_threshold = static_cast<std::uint16_t>((low * kDarkParts + high * kLightParts) / 100);
}
