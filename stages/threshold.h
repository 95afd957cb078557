// From internal gray to one bit a pixel, with a fixed or an automatic threshold.
#pragma once

#include <memory>

#include "frame/stage_bases.h"

// The automatic threshold takes a pass of its own: that pass collects a histogram of the image, and
// its end places the threshold between the dark and the light end; the next pass uses it. Lines of
// the first pass still come out with the old threshold.
class CThresholdStage final : public CNewLineStage {
  public:
    static constexpr std::int32_t kFineBins = 65536;
    static constexpr std::int32_t kCoarseBins = 4096;

    explicit CThresholdStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    // False when there was no memory for its histograms.
    bool IsComplete() const { return m_fineHistogram && m_coarseHistogram; }
    // A request for the automatic threshold that no pass has served.
    bool HasRequest() const { return m_autoPending; }
    void DropRequest() { m_autoPending = false; }

    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    bool IsBilevel() const;
    // As people see it: turned round while the image is inverted behind this stage.
    std::int32_t ShownThreshold() const;
    void SetShownThreshold(std::int32_t value);
    void SetThreshold(std::int32_t value);
    void SetPreset(std::int32_t preset);
    void TakeDefault();
    void SetCell(std::int32_t value);
    void OnHalftoneCell(std::int32_t cell);
    void OnOutputType(std::int32_t type);
    void SetRect(const QLRect* rect);
    void SetBins(std::int32_t bins) { m_bins = bins; }
    void RequestAuto() { m_autoPending = true; }
    const std::uint32_t* CoarseHistogram() const { return m_coarseHistogram.get(); }

    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;
    void CollectHistogram(const std::uint16_t* samples, std::int32_t lines);
    void AutoThreshold();
    // Bins walked from one end until they hold `count` pixels; the bin where they did.
    std::int32_t WalkUp(std::int64_t count) const;
    std::int32_t WalkDown(std::int64_t count) const;
    void PublishHistogram();

    std::uint16_t m_threshold = 28160;
    std::uint16_t m_defaultThreshold = 28160;
    // What lines are to become: bilevel or halftone. With any other type they pass.
    QLPixelType m_outType = QL_PIXEL_RGB8;
    std::int32_t m_cell = 1;  // kept for readers of its attribute
    bool m_autoPending = false;
    bool m_hasRect = false;
    bool m_collect = false;
    QLRect m_rect;  // its last line and column belong to it
    bool m_inverted = false;
    std::unique_ptr<std::uint32_t[]> m_fineHistogram;
    std::unique_ptr<std::uint32_t[]> m_coarseHistogram;
    std::int32_t m_lineNo = 0;     // within the image, counted while a histogram is collected
    std::int32_t m_linesSeen = 0;  // lines that came by meanwhile
    std::uint32_t m_pixelCount = 0;
    std::uint32_t m_publishedCount = 0;
    std::int32_t m_bins = 0;
};
