// Counts the samples of an image that passes, and publishes a histogram a channel.
#pragma once

#include <array>
#include <memory>

#include "frame/histogram.h"
#include "frame/stage.h"

// Lines stay as they are. A pass that was whole publishes at its end and announces
// QL_ATTR_HISTOGRAM_CURRENT; one that was cut leaves the figures of the pass before it. The
// published tables keep their places, so that clients may hold on to their addresses; they change
// at the end of a pass only.
//
// Off as long as the provider of QL_ATTR_HISTOGRAM_ON answers no; on where nobody provides it.
class CHistogramStage final : public CQLFilterStage {
  public:
    // Sixteen codes of a 16-bit sample each.
    static constexpr std::int32_t kBins = CQLHistogram::kToneBins;

    explicit CHistogramStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    // Memory for all tables was there.
    bool IsComplete() const { return m_allocated; }
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus OnAfterClose() override;

  private:
    using Bins = std::unique_ptr<std::uint32_t[]>;
    using Channels = std::array<Bins, 3>;  // red, green, blue

    // By the channel that was chosen: 0 the count of pixels, 1 to 3 a table.
    std::uint64_t Current() const;
    const std::uint32_t* PublishedTable(std::int32_t index) const;
    void SetChannel(std::int32_t channel) { m_channel = channel; }
    void SetRect(const QLRect* rect);
    void Collect(std::int32_t lines, const CQLLineBuffer& buffer);
    void Publish();

    Channels m_work;
    Channels m_published;
    bool m_allocated = false;
    std::int32_t m_lineNo = 0;
    std::uint32_t m_pixelCount = 1;
    std::uint32_t m_publishedCount = 1;
    std::int32_t m_channel = 1;
    QLRect m_rect;  // its last line and column belong to it
    bool m_hasRect = false;
    bool m_on = true;
    bool m_inverted = false;
};
