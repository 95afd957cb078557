// Automatic tone of film negatives: the analyser's film curves make the positive.
#pragma once

#include "analysis/negative_analyser.h"
#include "stages/auto_tone_base.h"

class CAutoToneStage final : public CAutoToneBase {
  public:
    explicit CAutoToneStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

    // The table of gray lines by the settings as they are; null: there is none, and gray lines
    // pass.
    const CQLLut* GrayTable();
    // Of internal colour lines; others pass.
    void MixToGray(std::int32_t lines, CQLLineBuffer* buffer);
    void CopyRedToAll(std::int32_t lines, CQLLineBuffer* buffer);

  private:
    CToneAnalyser& Analyser() override { return m_analyser; }
    void SettleAnalyser() override;
    void PrepareLines(std::uint16_t* samples, std::size_t count) override;
    void SampleLine(const QLPixelRun& line, std::int32_t y) override;
    // The search for a film's colour starts from no point.
    void RestoreBeforeColor() override {}

    double ExposureShift() { return m_analyser.ExposureShift(); }
    void SetExposureShift(double density) { m_analyser.SetExposureShift(density); }
    template <std::int32_t Channel>
    double ChannelShiftOf() {
        return m_analyser.ChannelShift(Channel);
    }
    template <std::int32_t Channel>
    void SetChannelShift(double density) {
        m_analyser.SetChannelShift(Channel, density);
    }
    void OnColorPixels(std::int32_t lines, CQLLineBuffer* buffer,
                       void (*kernel)(std::uint16_t* samples, std::size_t pixels));
    void SetFilmStep(double step) { m_analyser.SetFilmStep(step); }

    CNegativeToneAnalyser m_analyser{0.0};
    std::size_t m_ringCounter = 0;  // pixels around the window since the last that counted fully
};
