// From internal gray to one bit a pixel, with a fixed or an automatic threshold.
#pragma once

#include <memory>

#include "frame/stage.h"

// The automatic threshold takes a pass of its own: that pass collects a histogram of the image, and
// its end places the threshold between the dark and the light end; the next pass uses it. Lines of
// the first pass still come out with the old threshold.
class CThresholdStage final : public CQLFilterStage {
  public:
    static constexpr std::int32_t kFineBins = 65536;
    static constexpr std::int32_t kCoarseBins = 4096;

    explicit CThresholdStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    void SetAttrib(std::int32_t id, std::uint64_t value) override;
    void OnAttribNotify(std::int32_t id) override;
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    bool IsBilevel() const;
    void SetThreshold(std::int32_t value);
    void SetPreset(std::int32_t preset);
    void SetCell(std::int32_t value);
    void Binarize(std::int32_t lines, CQLLineBuffer* target) const;
    void CollectHistogram(std::int32_t lines);
    void AutoThreshold();
    // Bins walked from one end until they hold `count` pixels; the bin where they did.
    std::int32_t WalkUp(std::int64_t count) const;
    std::int32_t WalkDown(std::int64_t count) const;
    void PublishHistogram();

    std::uint16_t m_threshold = 28160;
    std::uint16_t m_defaultThreshold = 28160;
    std::uint32_t m_outType = 0;  // pixel type: bilevel, halftone, or gray for none of both
    std::int32_t m_cell = 1;      // kept for readers of its attribute
    bool m_autoPending = false;
    bool m_hasRect = false;
    bool m_collect = false;
    QLRect m_rect;  // rows and columns, all inclusive
    bool m_inverted = false;
    CQLLineBuffer m_lineBuffer;
    std::unique_ptr<std::uint32_t[]> m_fineHistogram;
    std::unique_ptr<std::uint32_t[]> m_coarseHistogram;
    std::int32_t m_lineNo = 0;
    std::uint32_t m_pixelCount = 0;
    std::uint32_t m_publishedCount = 0;
    std::int32_t m_bins = 0;
};
