// Levels of reflective originals: black point, gamma and gain of each channel, and a gray curve.
#pragma once

#include "stages/lut_stage.h"

class CToneLevelsStage final : public CLutStage {
  public:
    explicit CToneLevelsStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    void RebuildLevels();

    double m_gamma[3] = {1.0, 1.0, 1.0};
    double m_black[3] = {};  // on an 8-bit scale
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_grayBlack = 0.0;
    double m_grayGain = 1.0;
    double m_grayGamma = 1.0;
    std::int32_t m_spliceCenter = 0;
    std::int32_t m_spliceWidth = 0;
    bool m_dirty = true;
};
