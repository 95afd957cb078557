// Curves of negative film, before colour is worked out in density. Gray lines pass.
#pragma once

#include "stages/lut_stage.h"

class CChannelCurveStage final : public CLutStage {
  public:
    explicit CChannelCurveStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;

  private:
    QLStatus RebuildCurves();

    bool m_dirty = true;
    double m_black[3] = {};  // on the 16-bit scale
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_gamma[3] = {1.0, 1.0, 1.0};
};
