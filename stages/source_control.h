// Holder of the attributes that belong to no other stage: the analysis window, the requests for
// automatic analysis, and the two facts about the source that decide the shape of the chain.
#pragma once

#include "frame/stage.h"

// Does nothing to lines. A change of QL_ATTR_TMA or QL_ATTR_NEGATIVE fires QL_ATTR_CMD_START, which
// makes the chain rebuild itself.
class CSourceControlStage final : public CQLFilterStage {
  public:
    explicit CSourceControlStage(QLAttribTree* tree);

    static std::span<const QLAttribRow> Rows();

    // A request for automatic analysis holds for one pass.
    QLStatus OnAfterClose() override;

  private:
    const QLRect* AnalysisRect() const { return m_rectValid ? &m_analysisRect : nullptr; }
    void SetAnalysisRect(const QLRect* rect);
    void RequestTone() { m_autoToneRequested = true; }
    void RequestColor() { m_autoColorRequested = true; }
    void SetCurveSelect(std::uint64_t value);
    void SetNegative(std::uint64_t value);
    void SetTma(std::uint64_t value);

    bool m_autoToneRequested = false;
    bool m_autoColorRequested = false;
    bool m_rectValid = false;
    bool m_histogramOn = false;
    QLRect m_analysisRect;
    std::uint8_t m_negative = 0;
    bool m_tma = false;
    bool m_curveSelect = false;
};
