// Base of the two stages that have a matrix of the device's profile in front of the saturation: the
// picture goes through the matrix first, then through the saturation.
#pragma once

#include "stages/saturation.h"

class CProfileMatrixStage : public CSaturationStage {
  public:
    void BuildMatrix() override;
    double SetSaturation(double value) override;

  protected:
    // Saturation from 0.995 to `deadZoneEnd` counts as neutral.
    CProfileMatrixStage(QLAttribTree* tree, double deadZoneEnd);

    // Nine doubles, copied; null leaves the matrix as it is.
    void TakeMatrix(const double* nine);
    // A boost that stands already reaches this class's own saturation matrix only when the stage is
    // complete.
    void TakeBoost() { SetSaturation(m_saturation); }

    CQLMatrix3 m_grayMatrix;  // all rows the gray weights

  private:
    const double m_deadZoneEnd;
    CQLMatrix3 m_deviceMatrix;
    CQLMatrix3 m_saturationMatrix;
};
