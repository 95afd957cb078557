#include "stages/histogram_stage.h"

#include <algorithm>
#include <cstddef>

#include "frame/try_new.h"
#include "stages/histogram_kernels.h"

std::span<const QLAttribRow> CHistogramStage::Rows() {
    using S = CHistogramStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_HISTOGRAM_CURRENT).Reads<&S::Current>(),
        R::Provides(QL_ATTR_HISTOGRAM_CHANNEL).Writes<&S::SetChannel>().Range(0, 3),
        R::Provides(QL_ATTR_HISTOGRAM_PIXEL_COUNT).Reads<&S::m_publishedCount>(),
        R::Provides(QL_ATTR_HISTOGRAM_R, QL_ATTR_HISTOGRAM_B).Reads<&S::PublishedTable>(),
        R::Follows(QL_ATTR_HISTOGRAM_ON).Keeps<&S::m_on>(),
        R::Follows(QL_ATTR_ANALYSIS_RECT).Writes<&S::SetRect>(),
        R::Follows(QL_ATTR_INVERT).Keeps<&S::m_inverted>(),
    };
    return rows;
}

CHistogramStage::CHistogramStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    for (Channels* channels : {&m_work, &m_published}) {
        for (Bins& bins : *channels)
            bins = TryNewArray<std::uint32_t>(kBins);
    }
    const auto isThere = [](const Bins& bins) { return bins != nullptr; };
    m_allocated = std::ranges::all_of(m_work, isThere) && std::ranges::all_of(m_published, isThere);
    AttachRows(this);
}

// ---- Attributes

std::uint64_t CHistogramStage::Current() const {
    if (m_channel == 0)
        return m_publishedCount;
    return m_channel >= 1 && m_channel <= 3 ? PointerWord(PublishedTable(m_channel - 1)) : 0;
}

const std::uint32_t* CHistogramStage::PublishedTable(std::int32_t index) const {
    return m_published[static_cast<std::size_t>(index)].get();
}

void CHistogramStage::SetRect(const QLRect* rect) {
    m_hasRect = rect != nullptr;
    if (rect)
        m_rect = *rect;
}

// ---- Lines

QLStatus CHistogramStage::OnBeforeOpen() {
    m_active = true;
    m_lineNo = 0;
    m_pixelCount = 0;
    // Made in the constructor, which has no status to tell of it.
    return m_allocated ? QL_OK : QL_ERR_NO_MEMORY;
}

QLStatus CHistogramStage::OnAfterOpen() {
    if (m_on) {
        for (const Bins& bins : m_work)
            std::fill_n(bins.get(), kBins, 0u);
    }
    return QL_OK;
}

QLStatus CHistogramStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    // Counted while collecting only, so that otherwise this never cuts anything.
    *lines = std::min(*lines, m_inFormat.m_height - m_lineNo);
    if (m_on && *lines > 0 && buffer && buffer->Data())
        Collect(*lines, *buffer);
    return QL_OK;
}

// Both ends belong to the window, and it may reach beyond the image.
void CHistogramStage::Collect(std::int32_t lines, const CQLLineBuffer& buffer) {
    if (!m_inFormat.IsInternal())
        return;
    const std::int32_t width = m_inFormat.m_width;
    const std::int32_t left = m_hasRect ? std::max(m_rect.left, 0) : 0;
    const std::int32_t right = m_hasRect ? std::min(m_rect.right, width - 1) : width - 1;
    const auto columns =
        static_cast<std::size_t>(std::max(std::int64_t{right} - left + 1, std::int64_t{0}));
    const bool color = m_inFormat.m_samplesPerPixel == 3;
    const std::size_t channels = color ? 3 : 1;
    const std::uint16_t* line = buffer.Samples();
    for (std::int32_t i = 0; i < lines; ++i, ++m_lineNo) {
        if (columns > 0 && (!m_hasRect || (m_lineNo >= m_rect.top && m_lineNo <= m_rect.bottom))) {
            const std::uint16_t* first = line + static_cast<std::size_t>(left) * channels;
            if (color)
                CountPixels(first, columns, m_work[0].get(), m_work[1].get(), m_work[2].get());
            else
                CountGray(first, columns, m_work[0].get());
            m_pixelCount += static_cast<std::uint32_t>(columns);
        }
        line += static_cast<std::size_t>(width) * channels;
    }
}

QLStatus CHistogramStage::OnAfterClose() {
    if (m_on && m_allocated && m_lineNo == m_inFormat.m_height)
        Publish();
    return QL_OK;
}

// People look at an inverted image: its dark end is here the light one. The samples of gray lines
// were counted once and stand in all three tables.
void CHistogramStage::Publish() {
    const bool color = m_inFormat.m_samplesPerPixel == 3;
    for (std::size_t c = 0; c < m_work.size(); ++c) {
        const std::uint32_t* work = m_work[color ? c : 0].get();
        if (m_inverted)
            std::reverse_copy(work, work + kBins, m_published[c].get());
        else
            std::copy_n(work, kBins, m_published[c].get());
    }
    m_publishedCount = m_pixelCount;
    Notify(QL_ATTR_HISTOGRAM_CURRENT);
}
