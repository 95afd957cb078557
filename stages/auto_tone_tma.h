// Automatic tone of slides. The white side and the midtone are applied in density, where the hue
// stays; the analyser's tables carry the rest. Gray lines pass.
#pragma once

#include <memory>
#include <optional>

#include "analysis/slide_analyser.h"
#include "stages/auto_tone_base.h"
#include "stages/density_balance.h"

class CAutoToneTmaStage final : public CAutoToneBase {
  public:
    explicit CAutoToneTmaStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;
    QLStatus TransformColor(QLColorQuery* query) override;

  private:
    CToneAnalyser& Analyser() override { return m_analyser; }
    void SettleAnalyser() override { m_analyser.SetGray(GrayInput()); }
    void PrepareLines(std::uint16_t* samples, std::size_t count) override;
    void SampleLine(const QLPixelRun& line, std::int32_t y) override {
        FeedWindow(line, y, m_innerRect, m_analyser);
    }
    void BuildDensityCurve(std::int32_t midtone);
    void Brighten(double part);

    CSlideToneAnalyser m_analyser;
    CDensityBalance m_balance;
    std::unique_ptr<CQLLut> m_densityCurve;    // on the density axis, made at the first open
    std::optional<std::int32_t> m_curveLevel;  // the midtone that the curve was built for
};
