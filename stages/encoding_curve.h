// The encoding of the finished image: sRGB, or gamma 1.8 when the curve select attribute is set.
#pragma once

#include "stages/lut_stage.h"

class CEncodingCurveStage final : public CLutStage {
  public:
    explicit CEncodingCurveStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    const CQLLut* Curve() const { return m_lut[kGray]; }
    void BuildCurve();

    bool m_gammaMode = false;
};
