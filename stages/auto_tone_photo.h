// Automatic tone of reflective originals. Brightness and contrast of a scan end here, in the
// analyser. Gray lines go through a table of their own.
#pragma once

#include "analysis/photo_analyser.h"
#include "stages/auto_tone_base.h"

class CAutoTonePhotoStage final : public CAutoToneBase {
  public:
    explicit CAutoTonePhotoStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    CToneAnalyser& Analyser() override { return m_analyser; }
    const CQLLut* GrayLut() override { return m_analyser.GrayTable(); }
    void SettleAnalyser() override;
    void SampleLine(const QLPixelRun& line, std::int32_t y) override {
        FeedWindow(line, y, m_innerRect, m_analyser);
    }
    void RestoreOnReset() override { m_analyser.ResetColor(); }
    std::span<const std::int32_t> LevelIds() const override;
    // A request that stands is served before another announcement counts.
    bool TakesOver(bool stands) const override { return !stands; }
    void RequestExposure();

    CPhotoToneAnalyser m_analyser;
};
